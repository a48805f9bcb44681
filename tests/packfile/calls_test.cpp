// The calls that make a file, in their order: what libxml2, zlib and the C library are asked for,
// and when the host's list and the log learn of it.

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <zlib.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "base/xml.h"
#include "tests/packfile/packing.h"

namespace {

bool gRecording = false;
std::vector<std::string> gCalls;

void Record(const std::string &call) {
    if (gRecording) {
        gCalls.push_back(call);
    }
}

std::string Text(const xmlChar *text) {
    return text == nullptr ? "null" : corvenna::FromXml(text);
}

}  // namespace

extern "C" {

xmlDocPtr __real_xmlNewDoc(const xmlChar *version);
xmlNodePtr __real_xmlNewNode(xmlNsPtr space, const xmlChar *name);
xmlNodePtr __real_xmlDocSetRootElement(xmlDocPtr document, xmlNodePtr root);
xmlNodePtr __real_xmlNewChild(xmlNodePtr parent, xmlNsPtr space, const xmlChar *name,
                              const xmlChar *content);
xmlAttrPtr __real_xmlNewProp(xmlNodePtr node, const xmlChar *name, const xmlChar *value);
int __real_xmlSaveFormatFileEnc(const char *path, xmlDocPtr document, const char *encoding,
                                int format);
void __real_xmlDocDumpFormatMemoryEnc(xmlDocPtr document, xmlChar **memory, int *size,
                                      const char *encoding, int format);
void __real_xmlFreeDoc(xmlDocPtr document);
void __real_xmlCleanupParser();
void __real_xmlMemoryDump();
int __real_compress(Bytef *output, uLongf *capacity, const Bytef *text, uLong length);
std::FILE *__real_fopen(const char *path, const char *mode);
std::time_t __real_time(std::time_t *result);

xmlDocPtr __wrap_xmlNewDoc(const xmlChar *version) {
    Record("xmlNewDoc " + Text(version));
    return __real_xmlNewDoc(version);
}

xmlNodePtr __wrap_xmlNewNode(xmlNsPtr space, const xmlChar *name) {
    Record("xmlNewNode " + Text(name));
    return __real_xmlNewNode(space, name);
}

xmlNodePtr __wrap_xmlDocSetRootElement(xmlDocPtr document, xmlNodePtr root) {
    Record("xmlDocSetRootElement " + Text(root->name));
    return __real_xmlDocSetRootElement(document, root);
}

xmlNodePtr __wrap_xmlNewChild(xmlNodePtr parent, xmlNsPtr space, const xmlChar *name,
                              const xmlChar *content) {
    Record("xmlNewChild " + Text(parent->name) + ' ' + Text(name) + ' ' + Text(content));
    return __real_xmlNewChild(parent, space, name, content);
}

xmlAttrPtr __wrap_xmlNewProp(xmlNodePtr node, const xmlChar *name, const xmlChar *value) {
    Record("xmlNewProp " + Text(node->name) + ' ' + Text(name) + ' ' + Text(value));
    return __real_xmlNewProp(node, name, value);
}

int __wrap_xmlSaveFormatFileEnc(const char *path, xmlDocPtr document, const char *encoding,
                                int format) {
    Record(std::string("xmlSaveFormatFileEnc ") + path + ' ' + encoding + ' ' +
           std::to_string(format));
    return __real_xmlSaveFormatFileEnc(path, document, encoding, format);
}

void __wrap_xmlDocDumpFormatMemoryEnc(xmlDocPtr document, xmlChar **memory, int *size,
                                      const char *encoding, int format) {
    Record(std::string("xmlDocDumpFormatMemoryEnc ") + encoding + ' ' + std::to_string(format));
    __real_xmlDocDumpFormatMemoryEnc(document, memory, size, encoding, format);
}

void __wrap_xmlFreeDoc(xmlDocPtr document) {
    Record("xmlFreeDoc");
    __real_xmlFreeDoc(document);
}

void __wrap_xmlCleanupParser() {
    Record("xmlCleanupParser");
    __real_xmlCleanupParser();
}

void __wrap_xmlMemoryDump() {
    Record("xmlMemoryDump");
    __real_xmlMemoryDump();
}

int __wrap_compress(Bytef *output, uLongf *capacity, const Bytef *text, uLong length) {
    const bool endsInItsNul = std::memchr(text, '\0', length) == text + length - 1;
    Record("compress " + std::string(endsInItsNul ? "text and NUL" : "something else") + " into " +
           std::to_string(*capacity));
    return __real_compress(output, capacity, text, length);
}

std::FILE *__wrap_fopen(const char *path, const char *mode) {
    Record(std::string("fopen ") + path + ' ' + mode);
    return __real_fopen(path, mode);
}

std::time_t __wrap_time(std::time_t *result) {
    if (!gRecording) {
        return __real_time(result);
    }
    Record("time");
    return corvenna::test::kSampleTime;
}
}

namespace corvenna::test {
namespace {

using Lines = std::vector<std::string>;

class Calls : public PackingTest {
protected:
    Calls() {
        AddPoint(0xC0010001, "Load", "kW");
        values_[0xC0010001] = 1.5;
        alarms_ = {{0, 0xC0010001, 2, 1, 3, 4}};
        log_.OnText([this](const LogEntry &entry) {
            Record("log at " + std::to_string(entry.level) + ", listed " +
                   std::to_string(files_.size()));
        });
    }

    /// The calls of a job; those that build the tree left out.
    static Lines Recorded(const std::function<void()> &job) {
        Lines calls;
        for (const std::string &call : AllRecorded(job)) {
            if (call.find("xmlNew") != 0 && call.find("xmlDocSetRootElement") != 0) {
                calls.push_back(call);
            }
        }
        return calls;
    }

    static Lines AllRecorded(const std::function<void()> &job) {
        gCalls.clear();
        gRecording = true;
        job();
        gRecording = false;
        return gCalls;
    }

    Lines OfRealData() {
        return Recorded([this] { CreateRealData(); });
    }
    Lines OfAlarmData() {
        return Recorded([this] { CreateAlarmData(); });
    }
};

TEST_F(Calls, PlainXmlIsSavedFreedCleanedUpLoggedAndThenListed) {
    Configure("xml");
    EXPECT_EQ(OfRealData(),
              (Lines{"xmlSaveFormatFileEnc /tmp/up/S20240305070809.xml UTF-8 1", "xmlFreeDoc",
                     "xmlCleanupParser", "xmlMemoryDump", "log at 3, listed 0"}));
    EXPECT_EQ(files_.size(), 1U);
}

TEST_F(Calls, PlainXmlOfAlarmsTakesTheSameWayAfterAskingForTheTime) {
    Configure("xml");
    EXPECT_EQ(OfAlarmData(),
              (Lines{"time", "xmlSaveFormatFileEnc /tmp/up/T20240305070809.xml UTF-8 1",
                     "xmlFreeDoc", "xmlCleanupParser", "xmlMemoryDump", "log at 3, listed 0"}));
    EXPECT_EQ(files_.size(), 1U);
}

TEST_F(Calls, CompressedXmlIsDumpedCompressedAndWrittenBeforeItIsFreed) {
    Configure("xml", true);
    EXPECT_EQ(OfRealData(),
              (Lines{"xmlDocDumpFormatMemoryEnc UTF-8 1", "compress text and NUL into 20480",
                     "fopen /tmp/up/S20240305070809.xmlz wb+", "xmlFreeDoc", "xmlCleanupParser",
                     "xmlMemoryDump", "log at 3, listed 0"}));
    EXPECT_EQ(OfAlarmData(),
              (Lines{"time", "xmlDocDumpFormatMemoryEnc UTF-8 1",
                     "compress text and NUL into 20480", "fopen /tmp/up/T20240305070809.xmlz wb+",
                     "xmlFreeDoc", "xmlCleanupParser", "xmlMemoryDump", "log at 3, listed 1"}));
}

TEST_F(Calls, XmlThatCannotBeSavedIsFreedAndCleanedUpAllTheSame) {
    Configure("xml");
    dir_ = "/tmp/absent";
    EXPECT_EQ(OfRealData(),
              (Lines{"xmlSaveFormatFileEnc /tmp/absent/S20240305070809.xml UTF-8 1", "xmlFreeDoc",
                     "xmlCleanupParser", "xmlMemoryDump", "log at 4, listed 0"}));
}

TEST_F(Calls, AbandonedXmlIsFreedAndNothingIsSaved) {
    Configure("xml");
    values_.clear();
    EXPECT_EQ(OfRealData(), (Lines{"log at 3, listed 0", "xmlFreeDoc"}));
}

TEST_F(Calls, PlainJsonIsListedAndThenLogged) {
    Configure("json");
    EXPECT_EQ(OfRealData(), (Lines{"log at 3, listed 1"}));
    EXPECT_EQ(OfAlarmData(), (Lines{"time", "log at 3, listed 2"}));
}

TEST_F(Calls, CompressedJsonIsWrittenListedAndThenLogged) {
    Configure("json", true);
    EXPECT_EQ(OfRealData(),
              (Lines{"compress text and NUL into 20480", "fopen /tmp/up/S20240305070809.jsonz wb+",
                     "log at 3, listed 1"}));
    EXPECT_EQ(OfAlarmData(),
              (Lines{"time", "compress text and NUL into 20480",
                     "fopen /tmp/up/T20240305070809.jsonz wb+", "log at 3, listed 2"}));
}

TEST_F(Calls, TreeOfRealDataIsBuiltInTheOrderOfItsDocument) {
    Configure("xml");
    Lines calls = AllRecorded([this] { CreateRealData(); });
    ASSERT_GE(calls.size(), 12U);
    calls.resize(12);
    EXPECT_EQ(calls, (Lines{"xmlNewDoc 1.0", "xmlNewNode data", "xmlDocSetRootElement data",
                            "xmlNewProp data logdt 2024-03-05 07:08:09",
                            "xmlNewChild data device null", "xmlNewProp device id 1",
                            "xmlNewProp device channel 192", "xmlNewChild device node null",
                            "xmlNewProp node name Load", "xmlNewProp node dblink c0010001",
                            "xmlNewProp node value 1.500", "xmlNewProp node unit kW"}));
}

TEST_F(Calls, TreeOfAlarmsIsBuiltBeforeTheTimeOfItsNameIsTaken) {
    Configure("xml");
    Lines calls = AllRecorded([this] { CreateAlarmData(); });
    ASSERT_GE(calls.size(), 15U);
    calls.resize(15);
    EXPECT_EQ(calls,
              (Lines{"xmlNewDoc 1.0", "xmlNewNode data", "xmlDocSetRootElement data",
                     "xmlNewChild data node null", "xmlNewProp node logdt 1970-01-01 00:00:00",
                     "xmlNewProp node channel 192", "xmlNewProp node device 1",
                     "xmlNewProp node dblink c0010001", "xmlNewProp node name Load",
                     "xmlNewProp node value 1.000", "xmlNewProp node unit kW",
                     "xmlNewProp node thredhold_value 2.000", "xmlNewProp node type 3",
                     "xmlNewProp node flag 4", "time"}));
}

}  // namespace
}  // namespace corvenna::test
