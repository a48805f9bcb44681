#include "base/xml_tree.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace corvenna::test {
namespace {

xmlDictPtr Names() {
    static xmlDict *const kNames = MakeXmlNames({"data", "node", "name"});
    return kNames;
}

std::string Saved(const XmlTree &tree) {
    const XmlGuard guard;
    xmlChar *memory = nullptr;
    int length = 0;
    xmlDocDumpFormatMemoryEnc(tree.Document(), &memory, &length, "UTF-8", 1);
    const XmlText text(memory);
    return FromXml(text.get());
}

void AddNode(const XmlTree &tree, const char *name) {
    const XmlGuard guard;
    AddAttribute(AddElement(tree.Root(), "node"), "name", name);
}

TEST(XmlTree, IsSavedInTheOrderOfItsBuilding) {
    XmlTree tree(Names());
    AddNode(tree, "a");
    AddNode(tree, "<&\">");
    AddNode(tree, "");
    AddNode(tree, nullptr);
    EXPECT_EQ(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<data>\n  <node name=\"a\"/>\n"
        "  <node name=\"&lt;&amp;&quot;&gt;\"/>\n  <node name=\"\"/>\n  <node "
        "name=\"\"/>\n</data>\n",
        Saved(tree));
}

TEST(XmlTree, IsSavedAlikeOnEveryThread) {
    const auto save = [] {
        XmlTree tree(Names());
        AddNode(tree, "a");
        return Saved(tree);
    };
    const std::string here = save();
    std::string there;
    std::thread([&] { there = save(); }).join();
    EXPECT_EQ(here, there);
}

TEST(XmlTree, SharesEachNameWithAllOthersOfItsDictionary) {
    XmlTree one(Names());
    XmlTree other(Names());
    AddNode(one, "a");
    AddNode(other, "a");
    EXPECT_EQ(one.Root()->children->name, other.Root()->children->name);
    EXPECT_EQ(one.Root()->children->properties->name, other.Root()->children->properties->name);
}

TEST(XmlTree, MayBeFreedEarly) {
    XmlTree tree(Names());
    tree.Free();
    EXPECT_EQ(nullptr, tree.Document());
    EXPECT_EQ(nullptr, tree.Root());
}

}  // namespace
}  // namespace corvenna::test
