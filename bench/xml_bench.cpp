// xml_bench: the cost of the MAO-FRO documents of one create request.
//
//   xml_parse_100_us   median µs of xmlHandler::parseXml of a create request with
//                      100 attributes (70 primitive, 15 structs, 15 arrays)
//   xml_create_100_us  median µs of xmlHandler::createXml of its answer
//
// References, measured interleaved in the same run: TinyXML's own Parse of the same
// text (the floor under parseXml), and TinyXML building and printing the answer as a
// document (what createXml's string concatenation replaces).
#include "xmlHandler.h"

#include <tinyxml.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

std::string makeRequest() {
    std::string text =
        "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<mim version=\"R1\">\n"
        "<class ldn=\"ManagedElement=1,EquipmentSupportFunction=1,UlSpectrumAnalyzer=1\">\n";
    for (int n = 0; n < 70; ++n) {
        const std::string index = std::to_string(n);
        switch (n % 3) {
            case 0:
                text +=
                    "<attr name=\"s32_" + index + "\" type=\"S32\" value=\"-" + index + "\"/>\n";
                break;
            case 1:
                text +=
                    "<attr name=\"u32_" + index + "\" type=\"U32\" value=\"" + index + "000\"/>\n";
                break;
            default:
                text += "<attr name=\"text_" + index +
                        "\" type=\"STRING\" value=\"value &amp; &lt;" + index + "&gt;\"/>\n";
        }
    }
    for (int n = 0; n < 15; ++n) {
        const std::string index = std::to_string(n);
        text +=
            "<struct name=\"rec_" + index +
            "\">\n<attr name=\"a\" type=\"S32\" value=\"1\"/>\n"
            "<attr name=\"b\" type=\"STRING\" value=\"b\"/>\n"
            "<moref name=\"peer\"><attr name=\"ldn\" type=\"STRING\" value=\"ManagedElement=1\"/>"
            "</moref>\n</struct>\n";
        text += "<array name=\"list_" + index + "\">\n";
        for (int e = 0; e < 4; ++e) {
            text += "<attr type=\"S32\" value=\"" + std::to_string(e) + "\"/>\n";
        }
        text += "</array>\n";
    }
    text += "</class>\n</mim>";
    return text;
}

// TinyXML builds and prints the answer document: the reference for createXml.
std::string tinyXmlAnswer(const XmlClassData& data) {
    TiXmlDocument document;
    document.LinkEndChild(new TiXmlDeclaration("1.0", "UTF-8", ""));
    auto* mim = new TiXmlElement("mim");
    mim->SetAttribute("version", data.version);
    auto* cls = new TiXmlElement("class");
    cls->SetAttribute("ldn", data.ldn);
    for (const Attribute& attribute : data.attributes) {
        if (xmlHandler::isDerivedType(attribute.type)) {
            TiXmlDocument value;
            value.Parse(attribute.value.c_str());
            if (value.RootElement() != nullptr) {
                cls->InsertEndChild(*value.RootElement());
            }
        } else {
            auto* attr = new TiXmlElement("attr");
            attr->SetAttribute("name", attribute.name);
            attr->SetAttribute("type", attribute.type);
            attr->SetAttribute("value", attribute.value);
            cls->LinkEndChild(attr);
        }
    }
    mim->LinkEndChild(cls);
    document.LinkEndChild(mim);
    TiXmlPrinter printer;
    document.Accept(&printer);
    return printer.Str();
}

double microseconds(Clock::duration duration) {
    return std::chrono::duration<double, std::micro>(duration).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace

int main() {
    const std::string request = makeRequest();
    xmlHandler& handler = xmlHandler::instance();
    XmlClassData parsed;
    if (!handler.parseXml(request, parsed) || parsed.attributeCount != 100) {
        std::fprintf(stderr, "the request did not parse to 100 attributes\n");
        return 1;
    }

    constexpr int kRounds = 2000;
    std::vector<double> parse, parseReference, create, createReference;
    std::size_t sink = 0;
    for (int round = 0; round < kRounds + 100; ++round) {
        const bool keep = round >= 100;  // the first rounds warm the caches up

        auto start = Clock::now();
        XmlClassData data;
        handler.parseXml(request, data);
        auto stop = Clock::now();
        sink += data.attributes.size();
        if (keep) {
            parse.push_back(microseconds(stop - start));
        }

        start = Clock::now();
        {
            TiXmlDocument document;  // destroyed inside the measurement, as in parseXml
            document.Parse(request.c_str());
            sink += document.Error() ? 0 : 1;
        }
        stop = Clock::now();
        if (keep) {
            parseReference.push_back(microseconds(stop - start));
        }

        start = Clock::now();
        std::string answer;
        handler.createXml(parsed.ldn, parsed.version, parsed.attributes, answer);
        stop = Clock::now();
        sink += answer.size();
        if (keep) {
            create.push_back(microseconds(stop - start));
        }

        start = Clock::now();
        const std::string reference = tinyXmlAnswer(parsed);
        stop = Clock::now();
        sink += reference.size();
        if (keep) {
            createReference.push_back(microseconds(stop - start));
        }
    }

    const double parseUs = median(parse);
    const double parseRefUs = median(parseReference);
    const double createUs = median(create);
    const double createRefUs = median(createReference);
    std::printf("# request %zu bytes, answer of %zu attributes; %d rounds each (checksum %zu)\n",
                request.size(), parsed.attributes.size(), kRounds, sink);
    std::printf("figure xml_parse_100_us %.2f\n", parseUs);
    std::printf("figure xml_parse_100_tinyxml_parse_us %.2f\n", parseRefUs);
    std::printf("figure xml_parse_100_ratio %.2f\n", parseUs / parseRefUs);
    std::printf("figure xml_create_100_us %.2f\n", createUs);
    std::printf("figure xml_create_100_tinyxml_print_us %.2f\n", createRefUs);
    std::printf("figure xml_create_100_ratio %.2f\n", createUs / createRefUs);
    return 0;
}
