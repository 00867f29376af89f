// xmlTree: paths by name and index, typed reads, changes, and refusals.
#include "LevelTraceCapture.h"
#include "xmlTree.h"

#include <gtest/gtest.h>

namespace {

const std::vector<std::string> kDefaultTrace{kTraceDefaultObjectName};

const char kValue[] =
    "<struct name=\"cfg\">"
    "<attr name=\"rate\" type=\"S32\" value=\"-4\"/>"
    "<attr name=\"count\" type=\"U32\" value=\"4000000000\"/>"
    "<attr name=\"1\" type=\"STRING\" value=\"named one\"/>"
    "<array name=\"ports\">"
    "<attr type=\"S32\" value=\"10\"/><attr type=\"S32\" value=\"11\"/><attr type=\"S32\" "
    "value=\"12\"/>"
    "</array>"
    "<array name=\"names\"><attr type=\"STRING\" value=\"a&amp;b\"/><attr type=\"STRING\" "
    "value=\"q&quot;\"/></array>"
    "<array name=\"mixed\"><attr type=\"S32\" value=\"1\"/><attr type=\"STRING\" "
    "value=\"x\"/></array>"
    "<struct name=\"inner\"><moref name=\"peer\"><attr name=\"ldn\" type=\"STRING\" "
    "value=\"A=1\"/></moref></struct>"
    "</struct>";

TEST(XmlTree, PathsByNameAndIndex) {
    LevelTraceCapture traces(kDefaultTrace);
    const xmlTree tree("cfg", "struct", kValue);
    ASSERT_TRUE(tree.isValid());
    std::string text;
    ASSERT_TRUE(tree.getName(text));
    EXPECT_EQ("cfg", text);
    ASSERT_TRUE(tree.getType(text, "ports"));
    EXPECT_EQ("array", text);
    int32_t number = 0;
    ASSERT_TRUE(tree.getS32(number, "ports", "2"));  // the last of three
    EXPECT_EQ(12, number);
    ASSERT_TRUE(tree.getS32(number, "3", "0"));  // steps by index at every level
    EXPECT_EQ(10, number);
    ASSERT_TRUE(tree.getValue(text, "inner", "peer", "ldn"));
    EXPECT_EQ("A=1", text);
    ASSERT_TRUE(tree.getType(text, "inner", "0", "0"));
    EXPECT_EQ("STRING", text);
    // A member named "1" is found by name before the step is read as an index.
    ASSERT_TRUE(tree.getValue(text, "1"));
    EXPECT_EQ("named one", text);
    uint32_t size = 0;
    ASSERT_TRUE(tree.getSize(size));
    EXPECT_EQ(7u, size);
    ASSERT_TRUE(tree.getSize(size, "ports"));
    EXPECT_EQ(3u, size);

    traces.clear();
    EXPECT_FALSE(tree.getS32(number, "ports", "3"));
    EXPECT_TRUE(traces.has(1, "Index does not exist"));
    traces.clear();
    EXPECT_FALSE(tree.getS32(number, "ports", "x"));  // silently
    EXPECT_FALSE(traces.has(1, "Index does not exist"));
    EXPECT_FALSE(tree.getName(text, "nope"));
    EXPECT_TRUE(
        traces.hasPrefix(1, "No Xml-Element with given path was found in <struct name=\"cfg\">"));
    EXPECT_FALSE(tree.getSize(size, "ports", "9", "deeper"));
    EXPECT_TRUE(traces.hasPrefix(
        1, "No Xml-Element with given name \"ports/9/deeper\" was found in <struct"));
    EXPECT_EQ(3u, size);
}

TEST(XmlTree, TypedReads) {
    LevelTraceCapture traces(kDefaultTrace);
    const xmlTree tree("cfg", "struct", kValue);
    int32_t s = 0;
    uint32_t u = 0;
    EXPECT_TRUE(tree.getS32(s, "rate"));
    EXPECT_EQ(-4, s);
    EXPECT_TRUE(tree.getU32(u, "count"));
    EXPECT_EQ(4000000000u, u);
    EXPECT_FALSE(tree.getS32(s, "count"));
    EXPECT_TRUE(traces.has(1, "Element is not of type S32 but of type: U32"));
    EXPECT_FALSE(tree.getU32(u, "rate"));
    EXPECT_TRUE(traces.has(1, "Element is not of type U32 but of type: S32"));

    xmlTree negative("n", "U32", "-5");
    EXPECT_FALSE(negative.getU32(u));
    EXPECT_TRUE(traces.has(1, "Element stored is negative (-5) and cannot be converted to U32"));
    EXPECT_EQ(4000000000u, u);

    std::vector<int32_t> ports{99};
    EXPECT_TRUE(tree.getS32Array(ports, "ports"));
    EXPECT_EQ((std::vector<int32_t>{10, 11, 12}), ports);
    std::vector<std::string> names;
    EXPECT_TRUE(tree.getStringArray(names, "names"));
    // Values are kept escaped as read.
    EXPECT_EQ((std::vector<std::string>{"a&amp;b", "q&quot;"}), names);

    EXPECT_FALSE(tree.getS32Array(ports, "mixed"));
    EXPECT_TRUE(traces.has(1, "Element is not S32 in array of S32 but of type: STRING"));
    EXPECT_TRUE(traces.has(1, "Array contains non S32 elements"));
    EXPECT_EQ((std::vector<int32_t>{10, 11, 12}), ports);  // untouched
    EXPECT_FALSE(tree.getStringArray(names, "mixed"));
    EXPECT_TRUE(traces.has(1, "Element is not STRING in array of STRING but of type: S32"));
    EXPECT_TRUE(traces.has(1, "Array contains non STRING elements"));
    EXPECT_EQ(2u, names.size());
    EXPECT_FALSE(tree.getS32Array(ports, "inner"));
    EXPECT_TRUE(traces.has(1, "Element is not of type array but of type: struct"));
    EXPECT_FALSE(tree.getStringArray(names, "rate"));
    EXPECT_TRUE(traces.has(1, "Element is not of type array but of type: S32"));

    xmlTree unreadable("bad", "array", "<array><attr type=\"S32\" value=\"zz\"/></array>");
    EXPECT_FALSE(unreadable.getS32Array(ports));
    EXPECT_TRUE(traces.has(1, "Type or Value retrieval failure"));
}

TEST(XmlTree, ChangesAndAdditions) {
    LevelTraceCapture traces(kDefaultTrace);
    xmlTree tree("cfg", "struct", kValue);
    EXPECT_TRUE(tree.setS32(7, "rate"));
    EXPECT_TRUE(tree.setU32(8, "count"));
    EXPECT_TRUE(tree.setString("renamed", "1"));
    int32_t s = 0;
    EXPECT_TRUE(tree.getS32(s, "rate"));
    EXPECT_EQ(7, s);
    const std::string before = tree.toXml();
    EXPECT_FALSE(tree.setString("x", "rate"));
    EXPECT_FALSE(tree.setS32(1, "count"));
    EXPECT_EQ(2u, traces.count(1, "Element is not of type U32 but of type: S32") +
                      traces.count(1, "Element is not of type U32 but of type: U32"));

    // Refused additions leave the tree as it was.
    EXPECT_FALSE(tree.addString("rate", "dup"));
    EXPECT_TRUE(traces.has(1, "Cannot add attribute to xmlTree, attribute already exists"));
    EXPECT_FALSE(tree.addS32("x", 1, "rate"));
    EXPECT_TRUE(
        traces.has(1, "Cannot add attribute to xmlTree, cannot add attribute below primitive"));
    EXPECT_FALSE(tree.addS32("named", 1, "ports"));
    EXPECT_TRUE(
        traces.has(1, "Cannot add attribute to xmlTree, array attributes cannot have names"));
    EXPECT_FALSE(tree.addStruct("s", "missing"));
    EXPECT_TRUE(traces.hasPrefix(1, "No Xml-Element with given name \"missing\" was found in"));
    EXPECT_EQ(before, tree.toXml());

    EXPECT_TRUE(tree.addS32Element(13, "ports"));
    EXPECT_TRUE(tree.addStruct("extra"));
    EXPECT_TRUE(tree.addU32("size", 5, "extra"));
    EXPECT_TRUE(tree.addArray("list", "extra"));
    EXPECT_TRUE(tree.addS32Element(-1, "extra", "list"));
    EXPECT_TRUE(tree.addString("note", "hi", "extra"));
    uint32_t u = 0;
    EXPECT_TRUE(tree.getU32(u, "extra", "size"));
    EXPECT_EQ(5u, u);
    std::vector<int32_t> list;
    EXPECT_TRUE(tree.getS32Array(list, "extra", "list"));
    EXPECT_EQ((std::vector<int32_t>{-1}), list);
    EXPECT_TRUE(tree.getS32(s, "ports", "3"));
    EXPECT_EQ(13, s);

    // What was written can be read again to the same tree.
    const xmlTree again("cfg", "struct", tree.toXml());
    EXPECT_EQ(tree.toXml(), again.toXml());
}

TEST(XmlTree, TextFormAndBrokenTrees) {
    LevelTraceCapture traces(kDefaultTrace);
    const xmlTree tree(
        "s", "struct",
        "<struct name=\"s\"><attr name=\"a\" type=\"STRING\" value=\"x&amp;y &lt;\"/>"
        "<array name=\"l\"><attr type=\"S32\" value=\"1\"/></array></struct>");
    EXPECT_EQ(
        "<struct name=\"s\">\n<attr name=\"a\" type=\"STRING\" value=\"x&amp;y &lt;\"/>\n"
        "<array name=\"l\">\n<attr type=\"S32\" value=\"1\"/>\n</array>\n</struct>",
        tree.toXml());
    EXPECT_EQ("<struct name=\"e\">\n</struct>",
              xmlTree("e", "struct", "<struct name=\"e\"/>").toXml());
    // A leaf made from a value keeps it as given.
    const xmlTree leaf("n", "STRING", "a&b");
    EXPECT_EQ("<attr name=\"n\" type=\"STRING\" value=\"a&b\"/>", leaf.toXml());

    const xmlTree notXml("x", "struct", "<struct");
    EXPECT_FALSE(notXml.isValid());
    EXPECT_TRUE(traces.has(1, "xmlTree could not parse the value attribute \"<struct\" as XML"));
    const xmlTree noRoot("x", "array", "<?xml version=\"1.0\" ?>");
    EXPECT_FALSE(noRoot.isValid());
    EXPECT_TRUE(traces.has(1, "xmlTree could not get root element from string, returned NULL"));
    const xmlTree unknown("x", "BOOL", "1");
    EXPECT_FALSE(unknown.isValid());
    EXPECT_TRUE(
        traces.has(1, "xmlTree could not be created, unknown type \"BOOL\" (name is \"x\")"));
    const xmlTree noValue("x", "struct", "<attr name=\"x\" type=\"S32\"/>");
    EXPECT_FALSE(noValue.isValid());
    EXPECT_TRUE(traces.has(1, "Primitive XML element does not contain a value tag"));
    const xmlTree wrongTag("x", "struct", "<foo/>");
    EXPECT_FALSE(wrongTag.isValid());
    EXPECT_TRUE(traces.has(1, "Xml-element is not of primitive or derived type"));

    std::string text;
    traces.clear();
    EXPECT_FALSE(xmlTree().getName(text));
    EXPECT_TRUE(
        traces.has(1, "xmlTree is not correctly set up, cannot return itself or any child"));
    EXPECT_EQ("", xmlTree().toXml());
    xmlTree invalid;
    EXPECT_FALSE(invalid.addS32("a", 1));
}

}  // namespace
