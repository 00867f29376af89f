// Reading and writing the MAO-FRO documents.
#include "LevelTraceCapture.h"
#include "xmlHandler.h"

#include <tinyxml.h>

#include <gtest/gtest.h>

#include <random>
#include <tuple>

namespace {

const std::vector<std::string> kDefaultTrace{kTraceDefaultObjectName};

std::string withoutWhiteSpace(const std::string& text) {
    std::string out;
    for (const char c : text) {
        if (c != ' ' && c != '\n' && c != '\t') {
            out += c;
        }
    }
    return out;
}

const char kCreate[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n"
    "<mim version=\"R2\">\n"
    "<class ldn=\"ManagedElement=1,UlSpectrumAnalyzer=1\">\n"
    "<attr name=\"samplingType\" type=\"STRING\" value=\"SINGLE\"/>\n"
    "<attr name=\"targetRfPort\" type=\"S32\" value=\"-3\"/>\n"
    "<struct name=\"settings\">\n"
    "<array name=\"bands\">\n"
    "<attr type=\"U32\" value=\"1\"/>\n"
    "<struct>\n<attr name=\"low\" type=\"S64\" value=\"700\"/>\n"
    "<array name=\"marks\">\n<attr type=\"STRING\" value=\"a&amp;amp;b\"/>\n</array>\n"
    "</struct>\n"
    "</array>\n"
    "<moref name=\"owner\">\n<attr name=\"ldn\" type=\"STRING\" value=\"ManagedElement=1\"/>\n"
    "</moref>\n"
    "</struct>\n"
    "<attr name=\"info\" type=\"STRING\" value=\"&lt;none&gt; &amp;amp; &quot;q&quot;\"/>\n"
    "</class>\n"
    "</mim>";

TEST(XmlHandler, ReadsACreateRequestWithNestedStructsAndArrays) {
    XmlClassData data;
    ASSERT_TRUE(xmlHandler::instance().parseXml(kCreate, data));
    EXPECT_EQ("R2", data.version);
    EXPECT_EQ("ManagedElement=1,UlSpectrumAnalyzer=1", data.ldn);
    EXPECT_EQ(XmlClassData::kindPlain, data.kind);
    EXPECT_EQ(4u, data.attributeCount);
    ASSERT_EQ(4u, data.attributes.size());
    EXPECT_EQ(Attribute("samplingType", "STRING", "SINGLE"), data.attributes[0]);
    EXPECT_EQ(Attribute("targetRfPort", "S32", "-3"), data.attributes[1]);
    EXPECT_EQ("settings", data.attributes[2].name);
    EXPECT_EQ("struct", data.attributes[2].type);
    // Decoded twice on the way in: "&amp;amp;" arrives as "&".
    EXPECT_EQ("<none> & \"q\"", data.attributes[3].value);
    // A derived value is the whole element, escaped again so that it stays XML.
    EXPECT_EQ(
        "<struct name=\"settings\">\n<array name=\"bands\">\n<attr type=\"U32\" value=\"1\"/>\n"
        "<struct>\n<attr name=\"low\" type=\"S64\" value=\"700\"/>\n<array name=\"marks\">\n"
        "<attr type=\"STRING\" value=\"a&amp;b\"/>\n</array>\n</struct>\n</array>\n"
        "<moref name=\"owner\">\n<attr name=\"ldn\" type=\"STRING\" value=\"ManagedElement=1\"/>\n"
        "</moref>\n</struct>\n",
        data.attributes[2].value);
}

TEST(XmlHandler, RoundTripKeepsTagsAndOrder) {
    XmlClassData first;
    ASSERT_TRUE(xmlHandler::instance().parseXml(kCreate, first));
    std::string written;
    ASSERT_TRUE(
        xmlHandler::instance().createXml(first.ldn, first.version, first.attributes, written));
    EXPECT_EQ(0u, written.find("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<mim version=\"R2\">\n"
                               "<class ldn=\"ManagedElement=1,UlSpectrumAnalyzer=1\">\n"
                               "<attr name=\"samplingType\" type=\"STRING\" value=\"SINGLE\"/>\n"));
    EXPECT_EQ("</class>\n</mim>", written.substr(written.size() - 15));
    XmlClassData second;
    ASSERT_TRUE(xmlHandler::instance().parseXml(written, second));
    EXPECT_EQ(first.attributes, second.attributes);
    EXPECT_EQ(first.ldn, second.ldn);
    EXPECT_EQ(first.version, second.version);
    // Only white space differs, and the value that was decoded twice.
    std::string original = withoutWhiteSpace(kCreate);
    const std::string twice = "&amp;amp;";
    for (std::size_t at = original.find(twice); at != std::string::npos;
         at = original.find(twice)) {
        original.replace(at, twice.size(), "&amp;");
    }
    EXPECT_EQ(original, withoutWhiteSpace(written));
}

TEST(XmlHandler, ActionsFaultsAndGetRequests) {
    XmlClassData action;
    ASSERT_TRUE(xmlHandler::instance().parseXml(
        "<mim version=\"1\"><class ldn=\"X=1\"><action name=\"startUlsaSampling\">"
        "<attr name=\"ftpServer\" type=\"STRING\" value=\"host\"/>"
        "<array name=\"ports\"><attr type=\"S32\" value=\"1\"/></array>"
        "</action></class></mim>",
        action));
    EXPECT_EQ(XmlClassData::kindAction, action.kind);
    EXPECT_EQ("startUlsaSampling", action.actionName);
    ASSERT_EQ(2u, action.attributes.size());
    EXPECT_EQ("array", action.attributes[1].type);

    XmlClassData fault;
    ASSERT_TRUE(xmlHandler::instance().parseXml(
        "<mim version=\"1\"><class ldn=\"X=1\"><fault name=\"linkDown\">"
        "<struct name=\"detail\"><attr name=\"code\" type=\"U32\" value=\"5\"/></struct>"
        "</fault></class></mim>",
        fault));
    EXPECT_EQ(XmlClassData::kindFault, fault.kind);
    EXPECT_EQ("linkDown", fault.faultName);
    ASSERT_EQ(1u, fault.attributes.size());

    XmlClassData empty;
    ASSERT_TRUE(
        xmlHandler::instance().parseXml("<mim version=\"1\"><class ldn=\"x\"/></mim>", empty));
    EXPECT_EQ(XmlClassData::kindPlain, empty.kind);
    EXPECT_EQ(0u, empty.attributeCount);
    EXPECT_TRUE(empty.attributes.empty());

    XmlClassData get;
    get.attributes.emplace_back("stale", "S32", "1");
    ASSERT_TRUE(xmlHandler::instance().parseXml(
        "<mim version=\"1\"><class ldn=\"x\"><attr name=\"info\"/><attr name=\"samplingType\"/>"
        "</class></mim>",
        get));
    ASSERT_EQ(2u, get.attributes.size());
    EXPECT_EQ(Attribute("info", "", ""), get.attributes[0]);
}

TEST(XmlHandler, MalformedDocumentsFail) {
    LevelTraceCapture traces(kDefaultTrace);
    XmlClassData data;
    EXPECT_FALSE(xmlHandler::instance().parseXml("<mim version=\"1\"><class", data));
    EXPECT_TRUE(traces.has(1, "Parsing of xmlbuffer Failed"));
    EXPECT_FALSE(xmlHandler::instance().parseXml("", data));

    traces.clear();
    EXPECT_FALSE(xmlHandler::instance().parseXml("<mim/>", data));
    EXPECT_FALSE(xmlHandler::instance().parseXml("<class ldn=\"x\"/>", data));
    EXPECT_FALSE(xmlHandler::instance().parseXml("<mim><other/><class ldn=\"x\"/></mim>", data));
    EXPECT_EQ(0u, traces.size());

    EXPECT_FALSE(xmlHandler::instance().parseXml(
        "<mim version=\"1\"><class ldn=\"x\"><attr name=\"a\" type=\"S32\" value=\"1\"/><foo/>"
        "</class></mim>",
        data));
    EXPECT_TRUE(traces.has(1,
                           "Parsing of XML-element failed: element not attr, array or struct. "
                           "Element not included."));

    // Anything cut short, or with bytes changed at random, is refused or read,
    // and never brings the process down.
    const std::string whole = kCreate;
    for (std::size_t length = 0; length < whole.size(); ++length) {
        XmlClassData cut;
        EXPECT_FALSE(xmlHandler::instance().parseXml(whole.substr(0, length), cut)) << length;
    }
    // A text that begins with the usual declaration is read as the same text behind a
    // space (which the parser skips, declaration and all): same result, same traces.
    const auto sameAsTheLongWay = [&traces](const std::string& text) {
        traces.clear();
        XmlClassData direct;
        const bool read = xmlHandler::instance().parseXml(text, direct);
        const std::size_t traced = traces.size();
        XmlClassData longWay;
        EXPECT_EQ(read, xmlHandler::instance().parseXml(" " + text, longWay)) << text;
        EXPECT_EQ(traces.size(), 2 * traced) << text;
        EXPECT_EQ(std::tie(direct.version, direct.ldn, direct.kind, direct.actionName,
                           direct.faultName, direct.attributeCount, direct.attributes),
                  std::tie(longWay.version, longWay.ldn, longWay.kind, longWay.actionName,
                           longWay.faultName, longWay.attributeCount, longWay.attributes))
            << text;
    };
    sameAsTheLongWay("<?xml version=\"1.0\" encoding=\"UTF-8\" ?>");
    sameAsTheLongWay("<?xml version=\"1.0\" encoding=\"UTF-8\" ?> \n");
    std::mt19937 random(7);
    for (int round = 0; round < 2000; ++round) {
        std::string mangled = whole;
        for (int n = 0; n < 3; ++n) {
            mangled[random() % mangled.size()] = static_cast<char>(random() % 256);
        }
        sameAsTheLongWay(mangled);
    }
}

TEST(XmlHandler, WritingAnswers) {
    LevelTraceCapture traces(kDefaultTrace);
    std::string out;
    ASSERT_TRUE(xmlHandler::instance().createXml(
        "A=1", "", {Attribute("v", "STRING", "a&b<c>"), Attribute("n", "U32", "7")}, out));
    EXPECT_EQ(
        "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<class ldn=\"A=1\">\n"
        "<attr name=\"v\" type=\"STRING\" value=\"a&amp;b&lt;c&gt;\"/>\n"
        "<attr name=\"n\" type=\"U32\" value=\"7\"/>\n</class>",
        out);
    // Without the mim wrapper the answer cannot be read back as a request.
    XmlClassData data;
    EXPECT_FALSE(xmlHandler::instance().parseXml(out, data));

    ASSERT_TRUE(
        xmlHandler::instance().createXml("A=1", "V", {Attribute("v", "STRING", "a&amp;b")}, out));
    EXPECT_NE(std::string::npos, out.find("value=\"a&amp;b\""));
    ASSERT_TRUE(xmlHandler::instance().createXml("A=1", "V", {}, out));
    EXPECT_EQ(
        "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<mim version=\"V\">\n<class ldn=\"A=1\">\n"
        "</class>\n</mim>",
        out);

    EXPECT_FALSE(xmlHandler::instance().createXml("A=1", "V", {Attribute("x", "U64", "1")}, out));
    EXPECT_TRUE(traces.has(1, "Creation XML from stored fRO failed: non-valid type \"U64\" read"));

    TiXmlDocument document;
    document.Parse(
        "<struct name=\"s\"><attr name=\"a\" type=\"BOOL\" value=\"1\"/>"
        "<attr name=\"b\" type=\"S32\" value=\"2\"/></struct>");
    ASSERT_FALSE(document.Error());
    std::string text;
    ASSERT_TRUE(xmlHandler::instance().elementToXml(*document.RootElement(), text));
    EXPECT_EQ("<struct name=\"s\">\n<attr name=\"b\" type=\"S32\" value=\"2\"/>\n</struct>\n",
              text);
    EXPECT_TRUE(traces.has(1, "Creation of XML failed: unknown type \"BOOL\" found"));
    std::string unchanged = "kept";
    EXPECT_FALSE(xmlHandler::instance().elementToXml(*document.RootElement()->FirstChildElement(),
                                                     unchanged));
    EXPECT_EQ("kept", unchanged);

    EXPECT_TRUE(xmlHandler::isPrimitiveType("S64"));
    EXPECT_FALSE(xmlHandler::isPrimitiveType("U64"));
    EXPECT_FALSE(xmlHandler::isPrimitiveType("s32"));
    EXPECT_TRUE(xmlHandler::isDerivedType("moref"));
    EXPECT_FALSE(xmlHandler::isDerivedType("attr"));
}

TEST(XmlHandler, DocumentsWithSeveralClasses) {
    LevelTraceCapture traces(kDefaultTrace);
    std::vector<XmlClassData> records;
    ASSERT_TRUE(xmlHandler::instance().parseClasses(
        "<ima version=\"R1A\">"
        "<class ldn=\"A=1\"><attr name=\"fullDistinguishedName\" type=\"STRING\" "
        "value=\"x\"/></class>"
        "<other/>"
        "<class ldn=\"A=2\" name=\"classFault\"><fault name=\"ignored\">"
        "<attr name=\"p\" type=\"S32\" value=\"1\"/></fault></class>"
        "</ima>",
        records));
    ASSERT_EQ(3u, records.size());
    EXPECT_EQ("A=1", records[0].ldn);
    EXPECT_EQ("", records[0].version);
    ASSERT_EQ(1u, records[0].attributes.size());
    EXPECT_EQ("", records[1].ldn);  // not a class: an empty record
    EXPECT_EQ(XmlClassData::kindFault, records[2].kind);
    EXPECT_EQ("classFault", records[2].faultName);  // taken from the class element
    EXPECT_EQ(1u, records[2].attributeCount);

    std::vector<XmlClassData> none;
    EXPECT_FALSE(xmlHandler::instance().parseClasses("<ima><other/></ima>", none));
    EXPECT_FALSE(xmlHandler::instance().parseClasses("<ima>", none));
    EXPECT_TRUE(traces.has(1, "Parsing of xmlbuffer Failed"));
    EXPECT_FALSE(
        xmlHandler::instance().parseClasses("<ima><class ldn=\"A=1\"><bad/></class></ima>", none));
    EXPECT_TRUE(traces.has(1,
                           "Parsing of XML-element failed: element not attr, array or struct. "
                           "Element not included."));
}

}  // namespace
