#include "base/xml.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "base/attributes.h"
#include "base/children.h"
#include "tests/support/repeated.h"

namespace corvenna::test {
namespace {

/// A document of a text, with the options that the project parses with.
XmlDocument Parse(const std::string &text) {
    return XmlDocument(xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                                     XML_PARSE_NOBLANKS));
}

const xmlNode *Root(const XmlDocument &document) {
    return xmlDocGetRootElement(document.get());
}

std::string FirstAttribute(const std::string &text) {
    const XmlGuard guard;
    const XmlDocument document = Parse(text);
    return AttributeText(Root(document)->properties).Get();
}

TEST(AttributeText, IsTheValue) {
    EXPECT_EQ("b", FirstAttribute("<r a='b'/>"));
    EXPECT_EQ("a<&>\"'", FirstAttribute("<r a='a&lt;&amp;&gt;&quot;&apos;'/>"));
    EXPECT_EQ("\xE2\x82\xAC", FirstAttribute("<r a='&#8364;'/>"));
}

TEST(AttributeText, OfAnEmptyAttributeIsEmpty) {
    EXPECT_EQ("", FirstAttribute("<r a=''/>"));
}

TEST(AttributeText, ResolvesTheDocumentsEntities) {
    EXPECT_EQ("xbxb", FirstAttribute("<!DOCTYPE r [<!ENTITY e 'xb'>]><r a='&e;&e;'/>"));
    EXPECT_EQ("", FirstAttribute("<!DOCTYPE r [<!ENTITY e ''>]><r a='&e;'/>"));
}

TEST(AttributeText, ResolvesEntitiesInsideOfEntitiesAndBetweenTexts) {
    EXPECT_EQ("1<xbx2", FirstAttribute("<!DOCTYPE r [<!ENTITY i 'b'><!ENTITY e 'x&i;x'>]>"
                                       "<r a='1&lt;&e;2'/>"));
}

TEST(AttributeText, OfOneLongPieceIsWhole) {
    const std::string text(1'000'000, 'x');
    EXPECT_EQ(text, FirstAttribute("<r a='" + text + "'/>"));
}

// The parser lets it pass that a long entity is named many times: 2 GB from 300 KB.
TEST(AttributeText, WithEntitiesIsCutAt64Kibibytes) {
    const std::string document =
        "<!DOCTYPE r [<!ENTITY e '" + std::string(100'000, 'x') + "'>]><r a='";
    const std::size_t pieces = 2;  // the entity and the text in it count too
    EXPECT_EQ(std::string(65536 - pieces, 'x'),
              FirstAttribute(document + Repeated("&e;", 20'000) + "'/>"));
}

TEST(AttributeText, WithEntitiesThatStandForNothingIsBoundedToo) {
    EXPECT_EQ("1",
              FirstAttribute("<!DOCTYPE r [<!ENTITY n ''><!ENTITY e '" + Repeated("&n;", 3000) +
                             "'>]><r a='1" + Repeated("&e;", 3000) + "2'/>"));
}

TEST(AttributeText, OfOnePiecePointsIntoTheDocument) {
    const XmlGuard guard;
    const XmlDocument document = Parse("<r a='value'/>");
    const xmlAttr *attribute = Root(document)->properties;
    EXPECT_EQ(FromXml(attribute->children->content), AttributeText(attribute).Get());
}

TEST(IsElement, ComparesTheNameAndTheKind) {
    const XmlGuard guard;
    const XmlDocument document = Parse("<r>r<!--r--><r/></r>");
    EXPECT_TRUE(IsElement(Root(document), "r"));
    EXPECT_FALSE(IsElement(Root(document), "R"));
    EXPECT_FALSE(IsElement(Root(document), "rr"));
    std::vector<bool> kinds;
    for (const xmlNode *node = Root(document)->children; node != nullptr; node = node->next) {
        kinds.push_back(IsElement(node, "r"));
    }
    EXPECT_EQ((std::vector<bool>{false, false, true}), kinds);
}

TEST(ForEachChild, VisitsTheElementsOfThatNameInOrder) {
    const XmlGuard guard;
    const XmlDocument document = Parse("<r><a n='1'/><b n='2'><a n='3'/></b>text<a n='4'/></r>");
    std::string visited;
    ForEachChild(Root(document), "a",
                 [&](const xmlNode *child) { visited += AttributeText(child->properties).Get(); });
    EXPECT_EQ("14", visited);
}

constexpr Attribute<std::string> kRows[] = {
    {"a", [](auto &record, auto value) { record += std::string("a=") + value + ";"; }},
    {"b", [](auto &record, auto value) { record += std::string("b=") + value + ";"; }},
};

TEST(ReadAttributes, FollowsTheElementsOrderAndPassesOverOthers) {
    const XmlGuard guard;
    const XmlDocument document = Parse("<r b='2' c='3' a='1'/>");
    std::string record;
    ReadAttributes(Root(document), kRows, record);
    EXPECT_EQ("b=2;a=1;", record);
}

constexpr DefaultedAttribute<std::string> kDefaultedRows[] = {
    {"a", [](auto &record, auto value) { record += std::string("a=") + value + ";"; },
     [](auto &record) { record += "no a;"; }},
    {"b", [](auto &record, auto value) { record += std::string("b=") + value + ";"; },
     [](auto &record) { record += "no b;"; }},
};

TEST(ReadWithDefaults, FollowsTheRowsOrderEachSetOrAbsent) {
    const XmlGuard guard;
    std::string record;
    const XmlDocument none = Parse("<r/>");
    ReadWithDefaults(Root(none), kDefaultedRows, record);
    EXPECT_EQ("no a;no b;", record);
    record.clear();
    const XmlDocument document = Parse("<r b='' c='3' a='1'/>");
    ReadWithDefaults(Root(document), kDefaultedRows, record);
    EXPECT_EQ("a=1;b=;", record);
}

TEST(XmlGuard, IsSharedByMany) {
    const XmlGuard guard;
    std::thread([] { const XmlGuard other; }).join();
}

TEST(XmlGuard, HoldsTheCleanUpBack) {
    std::atomic<bool> freed{false};
    std::promise<void> held;
    std::promise<void> release;
    std::thread holder([&] {
        const XmlGuard guard;
        const XmlDocument document = Parse("<r/>");
        held.set_value();
        release.get_future().wait();
        freed = true;
    });
    held.get_future().wait();
    std::thread cleaner([&] {
        CleanUpXml();
        EXPECT_TRUE(freed) << "the clean-up ran while a guard was held";
    });
    release.set_value();
    holder.join();
    cleaner.join();
}

TEST(XmlGuard, ThreadsParseWhileOthersCleanUp) {
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([] {
            for (int round = 0; round < 50; ++round) {
                EXPECT_EQ("v", FirstAttribute("<r a='v'><b c='d'>text</b></r>"));
            }
        });
    }
    threads.emplace_back([] {
        for (int round = 0; round < 50; ++round) {
            CleanUpXml();
        }
    });
    for (std::thread &thread : threads) {
        thread.join();
    }
}

}  // namespace
}  // namespace corvenna::test
