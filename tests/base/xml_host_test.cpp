// What the host notices of our use of libxml2 on its threads: nothing.

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/xmlerror.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>

#include "base/xml.h"
#include "base/xml_tree.h"
#include "tests/support/files.h"
#include "tests/support/xml_lock_wait.h"

namespace corvenna::test {
namespace {

XmlDocument Parse(const std::string &text) {
    return XmlDocument(
        xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr, 0));
}

void Uses() {
    {
        const XmlGuard guard;
        EXPECT_EQ(nullptr, Parse("<r><a></b>&none;"));
        EXPECT_NE(nullptr, Parse("<r a:b='c'/>")) << "with a warning";
    }
    CleanUpXml();
    const XmlGuard guard;
    EXPECT_EQ(nullptr, Parse("no document"));
}

/// Runs the test on the thread that initialised libxml2, and on another.
void OnBothKindsOfThreads(const std::function<void()> &test) {
    xmlInitParser();
    ASSERT_NE(0, xmlIsMainThread());
    std::thread(test).join();
    CleanUpXml();  // makes this thread that one again
    test();
}

TEST(XmlGuard, KeepsTheLibrarySilent) {
    OnBothKindsOfThreads([] {
        testing::internal::CaptureStderr();
        testing::internal::CaptureStdout();
        Uses();
        EXPECT_EQ("", testing::internal::GetCapturedStdout());
        EXPECT_EQ("", testing::internal::GetCapturedStderr());
    });
}

TEST(XmlGuard, KeepsMessagesSilentThatAreNoErrors) {
    OnBothKindsOfThreads([] {
        testing::internal::CaptureStderr();
        {
            const XmlGuard guard;
            xmlGenericError(xmlGenericErrorContext, "a message of the library\n");
        }
        EXPECT_EQ("", testing::internal::GetCapturedStderr());
    });
}

int gGenericContext = 0;
int gStructuredContext = 0;
void Generic(void *, const char *, ...) {}
void Structured(void *, xmlErrorPtr) {}

TEST(XmlGuard, LeavesTheHostsHandlersAlone) {
    OnBothKindsOfThreads([] {
        xmlSetGenericErrorFunc(&gGenericContext, Generic);
        xmlSetStructuredErrorFunc(&gStructuredContext, Structured);
        {
            const XmlGuard guard;
            EXPECT_EQ(nullptr, Parse("no document"));
        }
        EXPECT_EQ(Generic, xmlGenericError);
        EXPECT_EQ(&gGenericContext, xmlGenericErrorContext);
        EXPECT_EQ(Structured, xmlStructuredError);
        EXPECT_EQ(&gStructuredContext, xmlStructuredErrorContext);
    });
}

TEST(CleanUpXml, LeavesTheHandlersOfItsThreadAlone) {
    OnBothKindsOfThreads([] {
        xmlSetGenericErrorFunc(&gGenericContext, Generic);
        xmlSetStructuredErrorFunc(&gStructuredContext, Structured);
        Uses();
        EXPECT_EQ(Generic, xmlGenericError);
        EXPECT_EQ(&gGenericContext, xmlGenericErrorContext);
        EXPECT_EQ(Structured, xmlStructuredError);
        EXPECT_EQ(&gStructuredContext, xmlStructuredErrorContext);
    });
}

TEST(XmlGuard, LeavesTheHostsLastErrorAlone) {
    OnBothKindsOfThreads([] {
        xmlSetStructuredErrorFunc(nullptr, Structured);
        EXPECT_EQ(nullptr, Parse("<host>"));
        ASSERT_NE(nullptr, xmlGetLastError());
        const std::string before = xmlGetLastError()->message;
        {
            const XmlGuard guard;
            EXPECT_EQ(nullptr, xmlGetLastError());
            EXPECT_EQ(nullptr, Parse("no document"));
        }
        ASSERT_NE(nullptr, xmlGetLastError());
        EXPECT_EQ(before, xmlGetLastError()->message);
        xmlResetLastError();
    });
}

/// What a host may have set, for its threads to come and for the calling one.
void SetAsNobodyElse() {
    xmlThrDefSubstituteEntitiesDefaultValue(1);
    xmlThrDefLoadExtDtdDefaultValue(1);
    xmlThrDefDoValidityCheckingDefaultValue(1);
    xmlThrDefIndentTreeOutput(0);
    xmlThrDefSaveNoEmptyTags(1);
    xmlThrDefTreeIndentString("\t");
    xmlSubstituteEntitiesDefaultValue = 1;
    xmlLoadExtDtdDefaultValue = 1;
    xmlDoValidityCheckingDefaultValue = 1;
    xmlIndentTreeOutput = 0;
    xmlSaveNoEmptyTags = 1;
    xmlTreeIndentString = "\t";
}

TEST(XmlGuard, LeavesTheHostsSettingsAlone) {
    OnBothKindsOfThreads([] {
        SetAsNobodyElse();
        {
            const XmlGuard guard;
            EXPECT_EQ(0, xmlSubstituteEntitiesDefaultValue);
        }
        EXPECT_EQ(1, xmlSubstituteEntitiesDefaultValue);
        EXPECT_EQ(1, xmlLoadExtDtdDefaultValue);
        EXPECT_EQ(1, xmlDoValidityCheckingDefaultValue);
        EXPECT_EQ(0, xmlIndentTreeOutput);
        EXPECT_EQ(1, xmlSaveNoEmptyTags);
        EXPECT_STREQ("\t", xmlTreeIndentString);
    });
}

std::string Dump(xmlDocPtr document) {
    xmlChar *text = nullptr;
    int length = 0;
    xmlDocDumpFormatMemory(document, &text, &length, 1);
    const XmlText owned(text);
    return text != nullptr ? FromXml(text) : "";
}

TEST(XmlGuard, ReadsNoOtherFileAndSavesAlikeWhateverTheHostHasSet) {
    WriteFile("/tmp/other", "<b/>");
    const std::string answer =
        "<!DOCTYPE r SYSTEM '/tmp/other' [<!ENTITY e SYSTEM '/tmp/other'>]><r>&e;</r>";
    const std::string plain = "<r><a></a></r>";
    OnBothKindsOfThreads([&] {
        SetAsNobodyElse();
        const XmlGuard guard;
        const XmlDocument document(xmlParseMemory(answer.data(), static_cast<int>(answer.size())));
        ASSERT_NE(nullptr, document);
        EXPECT_EQ(nullptr, document->extSubset);
        EXPECT_EQ(XML_ENTITY_REF_NODE, xmlDocGetRootElement(document.get())->children->type);
        EXPECT_EQ("<?xml version=\"1.0\"?>\n<r>\n  <a/>\n</r>\n", Dump(Parse(plain).get()));
    });
}

/// Uses libxml2 again and again on a thread, in every way.
class BusyThread {
public:
    ~BusyThread() {
        end_ = true;
        thread_.join();
    }

private:
    std::atomic<bool> end_{false};
    std::thread thread_{[this] {
        while (!end_) {
            Uses();
        }
    }};
};

constexpr unsigned kPatienceSeconds = 300;

/// Whether a child of this moment can use libxml2 and end in an orderly way.
bool ChildLives() {
    const pid_t child = fork();
    if (child == 0) {
        alarm(kPatienceSeconds);
        Uses();
        _exit(0);
    }
    int status = -1;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST(ForkedChild, UsesTheLibraryWhateverOthersWereDoing) {
    XmlLockWait::Prolong(kPatienceSeconds);
    const BusyThread one;
    const BusyThread two;
    for (int i = 0; i < 200; ++i) {
        ASSERT_TRUE(ChildLives()) << i;
    }
}

TEST(ForkedChild, ComesAfterASecondWhereItsOwnThreadHoldsAGuard) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the sanitizer takes the child's lock for its parent's";
#endif
    const XmlGuard guard;
    const pid_t child = fork();
    if (child == 0) {
        alarm(kPatienceSeconds);
        CleanUpXml();
        _exit(0);
    }
    int status = -1;
    EXPECT_EQ(child, waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
    std::thread([] { const XmlGuard other; }).join();
}

}  // namespace
}  // namespace corvenna::test
