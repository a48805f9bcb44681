// The calls that make a file, in their order: what libxml2, zlib and the C library are asked for,
// and when the host's list and the log learn of it.

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlIO.h>
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

void __real_xmlNodeDumpOutput(xmlOutputBufferPtr output, xmlDocPtr document, xmlNodePtr node,
                              int level, int format, const char *encoding);
void __real_xmlFreeDoc(xmlDocPtr document);
void __real_xmlCleanupParser();
void __real_xmlMemoryDump();
int __real_compress(Bytef *output, uLongf *capacity, const Bytef *text, uLong length);
std::FILE *__real_fopen(const char *path, const char *mode);
std::time_t __real_time(std::time_t *result);

void __wrap_xmlNodeDumpOutput(xmlOutputBufferPtr output, xmlDocPtr document, xmlNodePtr node,
                              int level, int format, const char *encoding) {
    Record("xmlNodeDumpOutput " + Text(node->name) + ' ' + std::to_string(format) + ' ' + encoding);
    __real_xmlNodeDumpOutput(output, document, node, level, format, encoding);
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

    static Lines Recorded(const std::function<void()> &job) {
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

TEST_F(Calls, PlainXmlIsSpeltFreedWrittenCleanedUpLoggedAndThenListed) {
    Configure("xml");
    EXPECT_EQ(OfRealData(), (Lines{"xmlNodeDumpOutput node 1 UTF-8", "xmlFreeDoc", "xmlFreeDoc",
                                   "fopen /tmp/up/S20240305070809.xml wb", "xmlCleanupParser",
                                   "xmlMemoryDump", "log at 3, listed 0"}));
    EXPECT_EQ(files_.size(), 1U);
}

TEST_F(Calls, PlainXmlOfAlarmsIsSpeltBeforeTheTimeOfItsNameIsTaken) {
    Configure("xml");
    EXPECT_EQ(OfAlarmData(), (Lines{"xmlNodeDumpOutput node 1 UTF-8", "xmlFreeDoc", "time",
                                    "fopen /tmp/up/T20240305070809.xml wb", "xmlCleanupParser",
                                    "xmlMemoryDump", "log at 3, listed 0"}));
    EXPECT_EQ(files_.size(), 1U);
}

TEST_F(Calls, CompressedXmlIsCompressedWrittenCleanedUpLoggedAndThenListed) {
    Configure("xml", true);
    EXPECT_EQ(OfRealData(),
              (Lines{"xmlNodeDumpOutput node 1 UTF-8", "xmlFreeDoc", "xmlFreeDoc",
                     "compress text and NUL into 20480", "fopen /tmp/up/S20240305070809.xmlz wb+",
                     "xmlCleanupParser", "xmlMemoryDump", "log at 3, listed 0"}));
    EXPECT_EQ(OfAlarmData(),
              (Lines{"xmlNodeDumpOutput node 1 UTF-8", "xmlFreeDoc", "time",
                     "compress text and NUL into 20480", "fopen /tmp/up/T20240305070809.xmlz wb+",
                     "xmlCleanupParser", "xmlMemoryDump", "log at 3, listed 1"}));
}

TEST_F(Calls, XmlThatCannotBeSavedIsCleanedUpAllTheSame) {
    Configure("xml");
    dir_ = "/tmp/absent";
    EXPECT_EQ(OfRealData(), (Lines{"xmlNodeDumpOutput node 1 UTF-8", "xmlFreeDoc", "xmlFreeDoc",
                                   "fopen /tmp/absent/S20240305070809.xml wb", "xmlCleanupParser",
                                   "xmlMemoryDump", "log at 4, listed 0"}));
}

TEST_F(Calls, AbandonedXmlIsFreedAndNothingIsWritten) {
    Configure("xml");
    values_.clear();
    EXPECT_EQ(OfRealData(), (Lines{"xmlFreeDoc", "xmlFreeDoc", "log at 3, listed 0"}));
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

}  // namespace
}  // namespace corvenna::test
