#include "base/xml.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "base/xml_attributes.h"
#include "base/xml_children.h"
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

/// Entities that stand for each other, the innermost for "x".
std::string Nested(int depth) {
    std::string document = "<!DOCTYPE r [<!ENTITY e1 'x'>";
    for (int i = 2; i <= depth; ++i) {
        const std::string inner = std::to_string(i - 1);
        document += "<!ENTITY e" + std::to_string(i) + " '&e" + inner + ";'>";
    }
    return document + "]><r a='&e" + std::to_string(depth) + ";'/>";
}

TEST(AttributeText, ResolvesEntitiesAsDeepAsTheParserLetsThemBe) {
    int depth = 1;
    for (;; ++depth) {
        const XmlGuard guard;
        const XmlDocument document = Parse(Nested(depth));
        if (document == nullptr) {
            break;
        }
        ASSERT_STREQ("x", AttributeText(Root(document)->properties).Get()) << depth;
    }
    EXPECT_LT(5, depth);
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

/// An element whose attribute the test puts together from pieces that no parser makes.
class BuiltAttribute {
public:
    xmlDocPtr Document() const { return document_.get(); }
    void Add(xmlNodePtr piece) { xmlAddChild(reinterpret_cast<xmlNodePtr>(attribute_), piece); }
    std::string Text() const { return AttributeText(attribute_).Get(); }

private:
    XmlGuard guard_;
    XmlDocument document_ = Parse("<r/>");
    xmlAttrPtr attribute_ = xmlNewProp(xmlDocGetRootElement(document_.get()), ToXml("a"), nullptr);
};

TEST(AttributeText, WithoutAnyPieceIsEmpty) {
    EXPECT_EQ("", BuiltAttribute().Text());
}

TEST(AttributeText, OfATextWithoutContentIsEmpty) {
    BuiltAttribute attribute;
    attribute.Add(xmlNewText(nullptr));
    EXPECT_EQ("", attribute.Text());
}

TEST(AttributeText, PassesOverWhatIsNoText) {
    BuiltAttribute attribute;
    attribute.Add(xmlNewText(ToXml("before ")));
    attribute.Add(xmlNewComment(ToXml("aside")));
    attribute.Add(xmlNewText(ToXml("after")));
    EXPECT_EQ("before after", attribute.Text());
}

TEST(AttributeText, PassesOverAnEntityThatIsNotDeclared) {
    BuiltAttribute attribute;
    attribute.Add(xmlNewText(ToXml("before ")));
    attribute.Add(xmlNewReference(attribute.Document(), ToXml("none")));
    attribute.Add(xmlNewText(ToXml("after")));
    EXPECT_EQ("before after", attribute.Text());
}

/// The value of entities that stand for each other, the innermost for "x".
std::string BuiltOf(int depth) {
    BuiltAttribute attribute;
    xmlCreateIntSubset(attribute.Document(), ToXml("r"), nullptr, nullptr);
    xmlNodePtr piece = xmlNewText(ToXml("x"));
    for (int i = 1; i <= depth; ++i) {
        const std::string name = "e" + std::to_string(i);
        xmlEntityPtr entity =
            xmlAddDocEntity(attribute.Document(), ToXml(name.c_str()), XML_INTERNAL_GENERAL_ENTITY,
                            nullptr, nullptr, ToXml(""));
        entity->children = entity->last = piece;
        entity->owner = 1;
        piece->parent = reinterpret_cast<xmlNodePtr>(entity);
        piece = xmlNewReference(attribute.Document(), ToXml(name.c_str()));
    }
    attribute.Add(piece);
    return attribute.Text();
}

TEST(AttributeText, ResolvesEntitiesUpToFortyDeep) {
    EXPECT_EQ("x", BuiltOf(39));
    EXPECT_EQ("x", BuiltOf(40));
    EXPECT_EQ("", BuiltOf(41));
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

TEST(IsElement, IsNoneOfAnyNameWithoutOne) {
    xmlNode nameless{};
    nameless.type = XML_ELEMENT_NODE;
    EXPECT_FALSE(IsElement(&nameless, ""));
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
    {{"a", [](auto &record, auto value) { record += std::string("a=") + value + ";"; }}, "none"},
    {{"b", [](auto &record, auto value) { record += std::string("b=") + value + ";"; }}, "no b"},
};

TEST(ReadWithDefaults, FollowsTheRowsOrderEachSetToItsValueOrItsDefault) {
    const XmlGuard guard;
    std::string record;
    const XmlDocument none = Parse("<r/>");
    ReadWithDefaults(Root(none), kDefaultedRows, record);
    EXPECT_EQ("a=none;b=no b;", record);
    record.clear();
    const XmlDocument document = Parse("<r b='' c='3' a='1'/>");
    ReadWithDefaults(Root(document), kDefaultedRows, record);
    EXPECT_EQ("a=1;b=;", record);
}

#pragma pack(push, 1)
struct PackedTexts {
    char odd;
    char first[4];
    char second[4];
    char last;
};
#pragma pack(pop)

constexpr Attribute<PackedTexts> kTexts[] = {
    {"whole", CORVENNA_TEXT(PackedTexts, first, 4)},
    {"less", CORVENNA_TEXT(PackedTexts, second, 3)},
};

TEST(ReadAttributes, CutsTextsAtTheirLimitsAndWritesNothingBeside) {
    const XmlGuard guard;
    const XmlDocument document = Parse("<r less='12345' whole='abcde'/>");
    PackedTexts record{'<', "---", {'-', '-', '-', '-'}, '>'};
    ReadAttributes(Root(document), kTexts, record);
    EXPECT_STREQ("abc", record.first);
    EXPECT_EQ(std::string("12\0-", 4), std::string(record.second, 4));
    EXPECT_EQ('<', record.odd);
    EXPECT_EQ('>', record.last);
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
