// How the loaders use the XML library: what they ask of it, what they do with a document that has
// no root, and when they let others use it.

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <netinet/in.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "base/xml.h"
#include "log/log.h"
#include "tests/config/loaders.h"
#include "tests/support/capture_stdout.h"
#include "tests/support/files.h"
#include "tests/support/log_capture.h"
#include "tests/support/pauses.h"

namespace {

struct Read {
    std::string path;
    std::string encoding;
    int options;
};

std::vector<Read> gReads;
std::vector<int> gKeepBlanks;
bool gEmptyDocuments = false;
int gEntitiesLookedUp = 0;

// How many of the locks that keep the library's clean-up away the thread has.
thread_local int tLocks = 0;

void ExpectNoCleanUp() {
    EXPECT_EQ(1, tLocks);
}

}  // namespace

extern "C" {
xmlDocPtr __real_xmlReadFile(const char *path, const char *encoding, int options);
xmlDocPtr __wrap_xmlReadFile(const char *path, const char *encoding, int options);

xmlDocPtr __wrap_xmlReadFile(const char *path, const char *encoding, int options) {
    ExpectNoCleanUp();
    gReads.push_back({path, encoding, options});
    return gEmptyDocuments ? xmlNewDoc(nullptr) : __real_xmlReadFile(path, encoding, options);
}

void __real_xmlFreeDoc(xmlDocPtr document);
void __wrap_xmlFreeDoc(xmlDocPtr document);

void __wrap_xmlFreeDoc(xmlDocPtr document) {
    ExpectNoCleanUp();
    __real_xmlFreeDoc(document);
}

xmlEntityPtr __real_xmlGetDocEntity(const xmlDoc *document, const xmlChar *name);
xmlEntityPtr __wrap_xmlGetDocEntity(const xmlDoc *document, const xmlChar *name);

xmlEntityPtr __wrap_xmlGetDocEntity(const xmlDoc *document, const xmlChar *name) {
    ExpectNoCleanUp();
    ++gEntitiesLookedUp;
    return __real_xmlGetDocEntity(document, name);
}

int __real_pthread_rwlock_rdlock(pthread_rwlock_t *lock);
int __wrap_pthread_rwlock_rdlock(pthread_rwlock_t *lock);

int __wrap_pthread_rwlock_rdlock(pthread_rwlock_t *lock) {
    ++tLocks;
    return __real_pthread_rwlock_rdlock(lock);
}

int __real_pthread_rwlock_wrlock(pthread_rwlock_t *lock);
int __wrap_pthread_rwlock_wrlock(pthread_rwlock_t *lock);

int __wrap_pthread_rwlock_wrlock(pthread_rwlock_t *lock) {
    ++tLocks;
    return __real_pthread_rwlock_wrlock(lock);
}

int __real_pthread_rwlock_unlock(pthread_rwlock_t *lock);
int __wrap_pthread_rwlock_unlock(pthread_rwlock_t *lock);

int __wrap_pthread_rwlock_unlock(pthread_rwlock_t *lock) {
    --tLocks;
    return __real_pthread_rwlock_unlock(lock);
}

int __real_xmlKeepBlanksDefault(int value);
int __wrap_xmlKeepBlanksDefault(int value);

int __wrap_xmlKeepBlanksDefault(int value) {
    gKeepBlanks.push_back(value);
    return __real_xmlKeepBlanksDefault(value);
}
}

namespace corvenna::test {
namespace {

constexpr char kPath[] = "/quorvane/Config/file.xml";

/// A port of this machine that would take a call.
class ListeningSocket {
public:
    ListeningSocket() : socket_(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0)) {
        address_.sin_family = AF_INET;
        address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address_;
        auto *address = reinterpret_cast<sockaddr *>(&address_);
        EXPECT_EQ(0, bind(socket_, address, length));
        EXPECT_EQ(0, listen(socket_, 1));
        EXPECT_EQ(0, getsockname(socket_, address, &length));
    }
    ~ListeningSocket() { close(socket_); }
    ListeningSocket(const ListeningSocket &) = delete;
    ListeningSocket &operator=(const ListeningSocket &) = delete;

    int Port() const { return ntohs(address_.sin_port); }
    bool WasCalled() const {
        const int call = accept(socket_, nullptr, nullptr);
        if (call >= 0) {
            close(call);
        }
        return call >= 0;
    }

private:
    int socket_;
    sockaddr_in address_{};
};

TEST(Documents, AreReadAsUtf8WithoutBlanks) {
    const PauseRecorder pauses;
    for (const Loader &loader : kLoaders) {
        SCOPED_TRACE(loader.name);
        gReads.clear();
        WriteFile(kPath, loader.document);
        Printed([&] { EXPECT_EQ(0, loader.load(kPath)); });
        ASSERT_FALSE(gReads.empty());
        EXPECT_EQ(kPath, gReads[0].path);
        EXPECT_EQ("UTF-8", gReads[0].encoding);
        EXPECT_EQ(XML_PARSE_NOBLANKS, gReads[0].options);
    }
}

TEST(Documents, ThePointFileIsReadByTheDevicesName) {
    const PauseRecorder pauses;
    WriteFile(kPath,
              "<ChannelConfig><Channel><Dev Name='a.xml'/><Dev Name='/b'/></Channel>"
              "</ChannelConfig>");
    CChannelSet set;
    EXPECT_EQ(0, set.Open(kPath));
    ASSERT_EQ(3U, gReads.size());
    EXPECT_EQ("a.xml", gReads[1].path);
    EXPECT_EQ("/b", gReads[2].path);
}

TEST(Documents, OnceParsedByOpenSwitchBlanksOffForTheLibrary) {
    const PauseRecorder pauses;
    for (const Loader &loader : kLoaders) {
        SCOPED_TRACE(loader.name);
        const bool isOpen = loader.load != LoadPoints;
        WriteFile(kPath, loader.document);
        gKeepBlanks.clear();
        Printed([&] { EXPECT_EQ(0, loader.load(kPath)); });
        EXPECT_EQ(std::vector<int>(isOpen ? 1 : 0, 0), gKeepBlanks);
        gKeepBlanks.clear();
        EXPECT_EQ(-1, loader.load("/none"));
        EXPECT_TRUE(gKeepBlanks.empty());
    }
}

// Whatever could make the host wait is no file: the parser is not asked.
class NoFile : public testing::TestWithParam<Loader> {
protected:
    static void ExpectRefused(const std::string &path) {
        gReads.clear();
        const LogCapture log;
        EXPECT_EQ(-1, GetParam().load(path.c_str())) << path;
        EXPECT_EQ(1U, log.Text().size()) << path;
        EXPECT_TRUE(gReads.empty()) << path;
    }
};

TEST_P(NoFile, IsStandardInput) {
    ExpectRefused("-");
}

TEST_P(NoFile, IsAPipeADeviceOrAFolder) {
    ASSERT_EQ(0, mkfifo("/tmp/pipe", 0600));
    ExpectRefused("/tmp/pipe");
    ExpectRefused("/dev/zero");
    ExpectRefused("/tmp");
}

TEST_P(NoFile, IsAPipeByAnyNameThatTheLibraryWouldOpen) {
    ASSERT_EQ(0, mkfifo("/tmp/pipe", 0600));
    for (const char *name : {"file:///tmp/pipe", "file:/tmp/pipe", "file://localhost/tmp/pipe",
                             "file://tmp/pipe", "FILE:///tmp/pipe", "File://LocalHost/tmp/pipe",
                             "//tmp/pipe", "/tmp/%70ipe", "%2Ftmp%2fpipe", "file:///tmp/%70%69pe",
                             "file%3A/tmp/pipe", "%2D", "file:/dev/zero", "file:///tmp"}) {
        ExpectRefused(name);
    }
}

TEST_P(NoFile, IsAnotherMachinesFile) {
    ListeningSocket server;
    const std::string address = "127.0.0.1:" + std::to_string(server.Port()) + "/file.xml";
    ExpectRefused("http://" + address);
    ExpectRefused("HTTP://" + address);
    ExpectRefused("ftp://" + address);
    EXPECT_FALSE(server.WasCalled());
}

INSTANTIATE_TEST_SUITE_P(Loaders, NoFile, testing::ValuesIn(kLoaders),
                         [](const auto &loader) { return std::string(loader.param.name); });

TEST(Documents, AreFoundByEveryNameThatTheLibraryKnows) {
    const PauseRecorder pauses;
    for (const Loader &loader : kLoaders) {
        WriteFile("/quorvane/Config/a b.xml", loader.document);
        WriteFile("/quorvane/Config/c%20d.xml", loader.document);
        for (const char *name :
             {"/quorvane/Config/a b.xml", "/quorvane/Config/a%20b.xml",
              "file:///quorvane/Config/a%20b.xml", "file:/quorvane/Config/a b.xml",
              "file://localhost/quorvane/Config/a%20b.xml", "/quorvane/Config/c%20d.xml"}) {
            Printed([&] { EXPECT_EQ(0, loader.load(name)) << loader.name << ' ' << name; });
        }
    }
}

TEST(Documents, AreThoseOfTheNameAsItStandsBeforeThoseOfItsEscapes) {
    const PauseRecorder pauses;
    WriteFile("/quorvane/Config/a b.xml", "<other/>");
    for (const Loader &loader : kLoaders) {
        WriteFile("/quorvane/Config/a%20b.xml", loader.document);
        for (const char *name :
             {"/quorvane/Config/a%20b.xml", "file:/quorvane/Config/a%20b.xml",
              "file:///quorvane/Config/a%20b.xml", "file://localhost/quorvane/Config/a%20b.xml"}) {
            Printed([&] { EXPECT_EQ(0, loader.load(name)) << loader.name << ' ' << name; });
        }
    }
}

TEST(Documents, AreLookedUpInNoCatalogue) {
    const PauseRecorder pauses;
    WriteFile("/tmp/catalogue.xml",
              "<catalog xmlns='urn:oasis:names:tc:entity:xmlns:xml:catalog'>"
              "<system systemId='/tmp/missing.xml' uri='/tmp/other.xml'/>"
              "<system systemId='/tmp/a%20b.xml' uri='/tmp/other.xml'/>"
              "<system systemId='file:/tmp/file.xml' uri='/tmp/other.xml'/></catalog>");
    setenv("XML_CATALOG_FILES", "/tmp/catalogue.xml", 1);
    for (const Loader &loader : kLoaders) {
        SCOPED_TRACE(loader.name);
        WriteFile("/tmp/a b.xml", loader.document);
        WriteFile("/tmp/file.xml", loader.document);
        WriteFile("/tmp/other.xml", "<other/>");
        Printed([&] {
            EXPECT_EQ(0, loader.load("/tmp/a%20b.xml"));
            EXPECT_EQ(0, loader.load("file:/tmp/file.xml"));
        });
        WriteFile("/tmp/other.xml", loader.document);
        EXPECT_EQ(-1, loader.load("/tmp/missing.xml"));
    }
}

TEST(Documents, ThatNameOthersElsewhereMakeNoRequest) {
    const PauseRecorder pauses;
    ListeningSocket server;
    const std::string address = "http://127.0.0.1:" + std::to_string(server.Port());
    std::string doctype =
        "<!DOCTYPE x SYSTEM \"ADDRESS\" [<!ENTITY general SYSTEM \"ADDRESS\">"
        "<!ENTITY % parameter SYSTEM \"ADDRESS\">%parameter;]>";
    for (std::size_t at = 0; (at = doctype.find("ADDRESS")) != std::string::npos;) {
        doctype.replace(at, std::strlen("ADDRESS"), address);
    }
    for (const Loader &loader : kLoaders) {
        std::string document = loader.document;
        const std::size_t declaration = document.find("?>");
        document.erase(0, declaration == std::string::npos ? 0 : declaration + 2);
        document.insert(document.rfind("</"), "&general;");
        WriteFile(kPath, doctype + document);
        Printed([&] { EXPECT_EQ(0, loader.load(kPath)) << loader.name; });
    }
    EXPECT_FALSE(server.WasCalled());
}

TEST(Documents, WithoutARootAreRejectedWithTheLoadersMessage) {
    gEmptyDocuments = true;
    const LogCapture log;
    CSysSet sys;
    EXPECT_EQ(0, sys.Open(kPath));
    EXPECT_EQ(-1, sys.IsOpen());
    CsnSet sn;
    EXPECT_EQ(-1, sn.Open(kPath));
    EXPECT_EQ(-1, sn.IsOpen());
    CForwardConfig forward;
    EXPECT_EQ(-1, forward.Open(kPath));
    EXPECT_EQ(-1, forward.IsOpen());
    CChannelSet channels;
    EXPECT_EQ(-1, channels.Open(kPath));
    EXPECT_EQ(-1, channels.IsOpen());
    EXPECT_EQ(-1, LoadPoints(kPath));
    EXPECT_EQ((std::vector<LogEntry>{{kLogError, "SysConfigXml document,Empty document."},
                                     {kLogError, "parse SN Document failed,empty document."},
                                     {kLogError, "[LoadForwardParamFromXml]: Empty document."},
                                     {kLogError, "[LoadChannelParamFromXml]: Empty document."},
                                     {kLogError, "[LoadDevPointAttr]: empty document"}}),
              log.Text());
}

TEST(Documents, AHeldOneIsFreedByTheNextOpen) {
    WriteFile(kPath, "<sysConfig/>");
    CSysSet set;
    Printed([&] { EXPECT_EQ(0, set.Open(kPath)); });
    Printed([&] { EXPECT_EQ(0, set.Open(kPath)); });
    EXPECT_EQ(0, set.IsOpen());
    EXPECT_EQ(-1, set.Open("/none")) << "and a failed one holds none";
    EXPECT_EQ(-1, set.IsOpen());
}

TEST(Documents, MayBeLoadedAgainWhileTheyAreHeld) {
    WriteFile(kPath, R"(<snConfig><model model="Mosso"/><sn sn="ABC1"/></snConfig>)");
    CsnSet set;
    EXPECT_EQ(0, set.Open(kPath));
    EXPECT_EQ(0, set.LoadNodeFromXml());
    EXPECT_EQ(0, set.IsOpen());
}

TEST(Documents, ClosedOnesWaitForNobody) {
    const XmlExclusiveLock alone;
    std::thread([] {
        EXPECT_EQ(-1, CSysSet().Close());
        EXPECT_EQ(-1, CsnSet().Close());
        EXPECT_EQ(-1, CForwardConfig().Close());
        EXPECT_EQ(-1, CChannelSet().Close());
        EXPECT_EQ(0, tLocks);
    }).join();
}

TEST(Documents, AttributesAreReadWhileNobodyCleansUp) {
    const PauseRecorder pauses;
    const std::string entity = "<!DOCTYPE x [<!ENTITY e \"1\">]>";
    for (const Loader &loader : kLoaders) {
        SCOPED_TRACE(loader.name);
        std::string document = loader.document;
        const std::size_t declaration = document.find("?>");
        document.erase(0, declaration == std::string::npos ? 0 : declaration + 2);
        int attributes = 0;
        for (std::size_t at = 0; (at = document.find("=\"", at)) != std::string::npos; ++at) {
            document.insert(at + 2, "&e;");
            ++attributes;
        }
        WriteFile(kPath, entity + document);
        gEntitiesLookedUp = 0;
        Printed([&] { loader.load(kPath); });
        EXPECT_GT(gEntitiesLookedUp, 0);
        EXPECT_LE(gEntitiesLookedUp, 2 * attributes);
        EXPECT_EQ(0, tLocks);
    }
}

TEST(Documents, OthersMayCleanUpTheLibraryDuringThePausesOfTheTemplate) {
    PauseRecorder pauses;
    pauses.OnPause([] { std::thread(CleanUpXml).join(); });
    WriteFile(kPath, R"(<ChannelConfig><Channel No="1"><Dev SlaveId="1" Desc="a"/>)"
                     R"(<Dev SlaveId="2"/></Channel></ChannelConfig>)");
    CChannelSet set;
    EXPECT_EQ(0, set.Open(kPath));
    ST_DEV_ATTR *dev = nullptr;
    ASSERT_EQ(0, set.GetAttr(static_cast<unsigned short>(0x0102), &dev));
    EXPECT_STREQ("a", dev->Desc);
}

TEST(Documents, EntitiesOfTheFileItselfAreResolved) {
    WriteFile(kPath, R"(<!DOCTYPE snConfig [<!ENTITY n "AB"><!ENTITY m "&n;C7">]>)"
                     R"(<snConfig><model model="Mosso"/><sn sn="&m;89"/></snConfig>)");
    CsnSet set;
    EXPECT_EQ(0, set.Open(kPath));
    EXPECT_STREQ("ABC789", set.GetSn());
    unsigned number = 0;
    set.GetSn(&number);
    EXPECT_EQ(789U, number);
}

}  // namespace
}  // namespace corvenna::test
