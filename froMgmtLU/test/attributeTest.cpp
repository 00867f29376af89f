// Attributes: number reading, the plain triple, AttrNameValue and the typed tree.
#include "ArrayAttribute.h"
#include "AttrNameValue.h"
#include "Attribute.h"
#include "SimpleAttribute.h"
#include "StructAttribute.h"
#include "LevelTraceCapture.h"
#include "numberText.h"

#include <gtest/gtest.h>

#include <memory>
#include <tuple>

namespace {

const std::vector<std::string> kFroTrace{"FroMgmtLU"};

// Each text, whether it reads, and the value read; a failure leaves the output alone.
template <typename T>
void expectReads(bool (*read)(const std::string&, T&),
                 const std::vector<std::tuple<std::string, bool, T>>& cases) {
    for (const auto& [text, reads, value] : cases) {
        T out = 99;
        EXPECT_EQ(reads, read(text, out)) << '"' << text << '"';
        EXPECT_EQ(reads ? value : T{99}, out) << '"' << text << '"';
    }
}

TEST(NumberText, ReadsLikeADecimalStream) {
    // A "-" anywhere fails an unsigned read; blanks before and text behind the number do not.
    expectReads<uint32_t>(readU32, {{"-1", false, 0},
                                    {"1-", false, 0},
                                    {"+1", true, 1},
                                    {"4294967295", true, 4294967295u},
                                    {"4294967296", false, 0},
                                    {"7 days", true, 7},
                                    {"  12abc", true, 12},
                                    {"", false, 0},
                                    {"abc", false, 0}});
    expectReads<int32_t>(readS32, {{"-2147483648", true, INT32_MIN},
                                   {"2147483648", false, 0},
                                   {"+17", true, 17},
                                   {"x1", false, 0}});
    expectReads<int64_t>(readS64, {{"-9223372036854775808", true, INT64_MIN},
                                   {"9223372036854775808", false, 0},
                                   {"4294967296", true, 4294967296LL}});
}

TEST(AttributeTriple, EmptinessAndEqualityLookAtAllThreeStrings) {
    EXPECT_TRUE(Attribute().isEmpty());
    EXPECT_FALSE(Attribute("", "", "v").isEmpty());
    EXPECT_FALSE(Attribute("", "S32", "").isEmpty());
    EXPECT_EQ(Attribute("a", "S32", "1"), Attribute("a", "S32", "1"));
    EXPECT_NE(Attribute("a", "S32", "1"), Attribute("a", "U32", "1"));
    EXPECT_NE(Attribute("a", "S32", "1"), Attribute("a", "S32", "2"));
    EXPECT_NE(Attribute("a", "S32", "1"), Attribute("b", "S32", "1"));
}

class CountingObserver : public listener::Observer {
  public:
    void observer_update(listener::Subject* /*subject*/) override { ++calls; }
    int calls = 0;
};

TEST(AttrNameValue, StoresNameValueTypeAndCopiesWithoutObservers) {
    AttrNameValue original("speed", "12", "U32");
    EXPECT_EQ("AttrNameValue", original.getSubjectName());
    EXPECT_EQ("{ speed, 12, U32  }", original.toString());
    EXPECT_EQ("{ noName, noValue, noType  }", AttrNameValue().toString());

    CountingObserver observer;
    original.attach(&observer, 1);
    original.setState(listener::Subject::stateChanged);
    AttrNameValue copy(original);
    EXPECT_EQ(original, copy);
    EXPECT_FALSE(copy.hasObservers());
    EXPECT_EQ(0u, copy.getState());

    AttrNameValue other("x", "y", "STRING");
    other = original;  // copies the strings, keeps its own (empty) observer list
    EXPECT_EQ(original, other);
    EXPECT_FALSE(other.hasObservers());
    EXPECT_TRUE(original.hasObservers());
    other.value = "13";
    EXPECT_NE(original, other);
}

TEST(SimpleAttribute, NumbersTextAndTheirFailures) {
    LevelTraceCapture traces(kFroTrace);
    SimpleAttribute s32("count", int32_t{-5});
    EXPECT_EQ("S32", s32.getType());
    EXPECT_EQ(-5, s32.getS32());
    EXPECT_EQ("-5", s32.getString());
    EXPECT_EQ(0u, s32.getU32());
    EXPECT_TRUE(traces.has(0, "Attribute \"count\" is not a valid U32"));

    SimpleAttribute u32("size", uint32_t{4000000000u});
    EXPECT_EQ("U32", u32.getType());
    EXPECT_EQ(4000000000u, u32.getU32());
    EXPECT_EQ(0, u32.getS32());
    EXPECT_TRUE(traces.has(0, "Attribute \"size\" is not a valid S32"));

    SimpleAttribute text("label", std::string("7 days"));
    EXPECT_EQ("STRING", text.getType());
    EXPECT_EQ(7, text.getS32());
    EXPECT_TRUE(text.setS32(42));
    EXPECT_EQ("42", text.getString());
    EXPECT_TRUE(text.setString("free"));
    EXPECT_EQ("free", text.getString());

    SimpleAttribute empty;
    EXPECT_FALSE(empty.getHasValue());
    EXPECT_TRUE(empty.setU32(3));
    EXPECT_TRUE(empty.getHasValue());
}

TEST(SimpleAttribute, XmlWritesOnlyWhatIsThereAndReadsAnyTag) {
    EXPECT_EQ("<attr name=\"a\" type=\"S32\" value=\"1\" />\n",
              SimpleAttribute("a", "S32", "1").toXmlText());
    EXPECT_EQ("<attr />\n", SimpleAttribute().toXmlText());

    // The tag is not looked at; a missing value stays missing.
    SimpleAttribute read(std::string("<whatever name=\"n\" type=\"STRING\"/>"));
    EXPECT_EQ("n", read.getName());
    EXPECT_EQ("STRING", read.getType());
    EXPECT_FALSE(read.getHasValue());
    EXPECT_EQ("<attr name=\"n\" type=\"STRING\" />\n", read.toXmlText());

    // A clone is built from the three strings: it always has a value.
    std::unique_ptr<GenericAttribute> clone(read.clone());
    EXPECT_EQ("<attr name=\"n\" type=\"STRING\" value=\"\" />\n", clone->toXmlText());

    LevelTraceCapture traces(kFroTrace);
    SimpleAttribute broken(std::string("<attr name=\"x\""));
    EXPECT_TRUE(traces.has(0, "Failed to parse xml"));
    EXPECT_EQ("", broken.getName());
    EXPECT_FALSE(broken.getHasValue());
}

const char kNested[] =
    "<struct name=\"cfg\">"
    "<attr name=\"zeta\" type=\"S32\" value=\"3\"/>"
    "<array name=\"ports\">"
    "<attr type=\"U32\" value=\"10\"/><attr type=\"U32\" value=\"11\"/>"
    "<struct><attr name=\"deep\" type=\"STRING\" value=\"x\"/></struct>"
    "</array>"
    "<moref name=\"peer\"><attr name=\"ldn\" type=\"STRING\" value=\"A=1\"/></moref>"
    "<attr name=\"alpha\" type=\"STRING\" value=\"a&amp;b\"/>"
    "</struct>";

TEST(StructAttribute, ReadsNestedXmlAndWritesMembersInArrivalOrder) {
    StructAttribute cfg{std::string(kNested)};
    EXPECT_EQ("cfg", cfg.getName());
    EXPECT_EQ("struct", cfg.getType());
    EXPECT_EQ(3, cfg.getMember("zeta").getS32());
    EXPECT_EQ("a&b", cfg.getMember("alpha").getString());
    EXPECT_EQ("array", cfg.getMember("ports").getType());
    EXPECT_EQ(11u, cfg.getMember("ports").getElement(1).getU32());
    EXPECT_EQ("x", cfg.getMember("ports").getElement(2).getMember("deep").getString());
    EXPECT_EQ("moref", cfg.getMember("peer").getType());
    EXPECT_EQ("A=1", cfg.getMember("peer").getMember("ldn").getString());

    const std::vector<std::string> order{"zeta", "ports", "peer", "alpha"};
    EXPECT_EQ(order, cfg.getMemberOrder());
    const std::string xml = cfg.toXmlText();
    EXPECT_LT(xml.find("\"zeta\""), xml.find("\"ports\""));
    EXPECT_LT(xml.find("\"ports\""), xml.find("<moref name=\"peer\""));
    EXPECT_LT(xml.find("<moref"), xml.find("\"alpha\""));
    EXPECT_NE(std::string::npos, xml.find("value=\"a&amp;b\""));

    // Written and read again, the tree is the same.
    StructAttribute again{xml};
    EXPECT_EQ(xml, again.toXmlText());

    EXPECT_EQ(cfg.begin(), AttrIterator({0, 0, 0}));
    EXPECT_EQ(cfg.end(), AttrIterator({0, 0, 4}));
    ArrayAttribute& ports = static_cast<ArrayAttribute&>(cfg.getMember("ports"));
    EXPECT_EQ(ports.end(), AttrIterator({1, 3, 0}));
    EXPECT_EQ(SimpleAttribute().begin(), SimpleAttribute().end());
}

TEST(StructAttribute, LookupsThatFindNothingGiveTheNullAttribute) {
    LevelTraceCapture traces(kFroTrace);
    StructAttribute cfg{std::string(kNested)};
    GenericAttribute& missing = cfg.getMember("nope").getMember("deeper").getElement(4);
    EXPECT_TRUE(missing.isNull());
    EXPECT_EQ("", missing.getString());
    EXPECT_EQ(0, missing.getS32());
    EXPECT_EQ(nullptr, missing.toXml());
    EXPECT_EQ(nullptr, missing.clone());
    EXPECT_TRUE(missing.setS32(5));  // answers true and changes nothing
    EXPECT_EQ(0, GenericAttribute::nullAttribute().getS32());

    EXPECT_TRUE(cfg.getMember("zeta").getMember("x").isNull());  // a leaf has no members
    EXPECT_TRUE(cfg.getElement(0).isNull());                     // a struct has no elements
    EXPECT_EQ(0u, traces.count(1, "Array index out of bounds"));
    EXPECT_TRUE(cfg.getMember("ports").getElement(3).isNull());
    EXPECT_EQ(1u, traces.count(1, "Array index out of bounds"));
}

TEST(StructAttribute, RepeatedAndUnknownChildren) {
    StructAttribute twice{std::string(
        "<struct><attr name=\"a\" type=\"S32\" value=\"1\"/><attr name=\"a\" type=\"S32\" "
        "value=\"2\"/></struct>")};
    const std::vector<std::string> order{"a", "a"};
    EXPECT_EQ(order, twice.getMemberOrder());
    EXPECT_EQ(1u, twice.getMembers().size());
    EXPECT_EQ(1, twice.getMember("a").getS32());
    EXPECT_EQ(
        "<struct>\n    <attr name=\"a\" type=\"S32\" value=\"1\" />\n"
        "    <attr name=\"a\" type=\"S32\" value=\"1\" />\n</struct>\n",
        twice.toXmlText());

    StructAttribute unknown{std::string(
        "<struct><foo name=\"f\"/><attr name=\"b\" type=\"U32\" value=\"2\"/></struct>")};
    ASSERT_EQ(1u, unknown.getMembers().count("f"));
    EXPECT_EQ(nullptr, unknown.getMembers().at("f"));
    EXPECT_TRUE(unknown.getMember("f").isNull());
    EXPECT_EQ("<struct>\n    <attr name=\"b\" type=\"U32\" value=\"2\" />\n</struct>\n",
              unknown.toXmlText());
    std::unique_ptr<GenericAttribute> clone(unknown.clone());
    EXPECT_EQ(unknown.toXmlText(), clone->toXmlText());

    ArrayAttribute withHole{std::string("<array><bar/><attr type=\"S32\" value=\"9\"/></array>")};
    ASSERT_EQ(2u, withHole.getElements().size());
    EXPECT_EQ(nullptr, withHole.getElements()[0]);
    EXPECT_TRUE(withHole.getElement(0).isNull());
    EXPECT_EQ(9, withHole.getElement(1).getS32());
}

TEST(StructAttribute, CopiesAreDeepAndSortTheirMembers) {
    StructAttribute original{std::string(kNested)};
    StructAttribute copy(original);
    const std::vector<std::string> sorted{"alpha", "peer", "ports", "zeta"};
    EXPECT_EQ(sorted, copy.getMemberOrder());
    copy.getMember("zeta").setS32(99);
    EXPECT_EQ(3, original.getMember("zeta").getS32());
    EXPECT_EQ(99, copy.getMember("zeta").getS32());

    StructAttribute assigned("other", "struct");
    assigned.addMember(new SimpleAttribute("old", int32_t{1}));
    assigned = original;
    EXPECT_EQ("cfg", assigned.getName());
    EXPECT_EQ(sorted, assigned.getMemberOrder());
    EXPECT_TRUE(assigned.getMember("old").isNull());
    EXPECT_EQ("x", assigned.getMember("ports").getElement(2).getMember("deep").getString());

    StructAttribute& self = assigned;
    assigned = self;
    EXPECT_EQ(sorted, assigned.getMemberOrder());
    EXPECT_EQ(3, assigned.getMember("zeta").getS32());

    ArrayAttribute array("list", "array");
    array.addElement(new SimpleAttribute("", "S32", "5"));
    array.addElement(new SimpleAttribute("", "S32", "6"));
    ArrayAttribute arrayCopy;
    arrayCopy = array;
    EXPECT_EQ(6, arrayCopy.getElement(1).getS32());
    arrayCopy.getElement(1).setS32(7);
    EXPECT_EQ(6, array.getElement(1).getS32());
    EXPECT_EQ(
        "<array name=\"list\">\n    <attr type=\"S32\" value=\"5\" />\n"
        "    <attr type=\"S32\" value=\"6\" />\n</array>\n",
        array.toXmlText());
}

TEST(StructAttribute, TextThatIsNoXmlNamesAnEmptyContainer) {
    StructAttribute s(std::string("notxml"));
    EXPECT_EQ("notxml", s.getName());
    EXPECT_EQ("struct", s.getType());
    EXPECT_TRUE(s.getMembers().empty());
    ArrayAttribute a(std::string("plain words"));
    EXPECT_EQ("plain words", a.getName());
    EXPECT_EQ("array", a.getType());
    EXPECT_TRUE(a.getElements().empty());

    StructAttribute moref("peer", "moref");
    moref.addMember(new SimpleAttribute("ldn", std::string("A=1")));
    EXPECT_EQ(
        "<moref name=\"peer\">\n    <attr name=\"ldn\" type=\"STRING\" value=\"A=1\" />\n"
        "</moref>\n",
        moref.toXmlText());
}

}  // namespace
