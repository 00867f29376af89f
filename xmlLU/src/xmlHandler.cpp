#include "xmlHandler.h"

#include "AttributeTypes.h"
#include "dynTrace.h"
#include "xmlErrorTrace.h"
#include "xmlStringUtils.h"

#include <tinyxml.h>

#include <cstring>
#include <string_view>
#include <utility>

namespace {

const char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n";

std::string attributeOf(const TiXmlElement& element, const char* attributeName) {
    return unescapeXml(element.Attribute(attributeName));
}

bool isTag(const TiXmlElement& element, const char* tag) {
    return std::strcmp(element.Value(), tag) == 0;
}

bool isDerivedTag(const char* tag) {
    return std::strcmp(tag, "struct") == 0 || std::strcmp(tag, "array") == 0 ||
           std::strcmp(tag, "moref") == 0;
}

// The declaration that the documents of the management layer begin with.
constexpr std::string_view kDeclarationLine = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>";

// Parses text into document. No text of this unit reports where a parse failed, so the
// parser keeps no row and column (a tab size below 1).
//
// The parser reads a declaration only to learn the encoding, and none of this unit's
// readers looks at it: when the text begins with the usual one and markup follows, the
// rest is parsed as UTF-8 on its own, which gives the same elements and the same errors
// for a sixth less work. Where no markup follows, the declaration would be the
// document's only node and the rest alone an empty document: that goes the long way.
void parseInto(TiXmlDocument& document, const std::string& text) {
    document.SetTabSize(0);
    const std::string_view whole(text);
    if (whole.substr(0, kDeclarationLine.size()) == kDeclarationLine) {
        const std::size_t next = whole.find_first_not_of(" \t\r\n", kDeclarationLine.size());
        if (next != std::string_view::npos && whole[next] == '<') {
            document.Parse(text.c_str() + kDeclarationLine.size(), nullptr, TIXML_ENCODING_UTF8);
            return;
        }
    }
    document.Parse(text.c_str());
}

}  // namespace

xmlHandler& xmlHandler::instance() {
    static xmlHandler handler;
    return handler;
}

bool xmlHandler::isPrimitiveType(const std::string& type) {
    const std::string_view t(type);
    return t == attrType::S32 || t == attrType::U32 || t == attrType::S64 || t == attrType::STRING;
}

bool xmlHandler::isDerivedType(const std::string& type) {
    const std::string_view t(type);
    return t == attrType::ARRAY || t == attrType::STRUCT || t == attrType::MOREF;
}

// Reads the attribute elements from first on, through its siblings, into record.
// False, with the trace, at the first element that is no attribute.
static bool readAttributes(xmlHandler& handler, const TiXmlElement* first, XmlClassData& record) {
    std::size_t elements = 0;
    for (const TiXmlElement* element = first; element != nullptr;
         element = element->NextSiblingElement()) {
        ++elements;
    }
    record.attributes.reserve(record.attributes.size() + elements);
    for (const TiXmlElement* element = first; element != nullptr;
         element = element->NextSiblingElement()) {
        const char* tag = element->Value();
        std::string name = attributeOf(*element, "name");
        if (std::strcmp(tag, "attr") == 0) {
            record.attributes.emplace_back(std::move(name), attributeOf(*element, "type"),
                                           attributeOf(*element, "value"));
            ++record.attributeCount;
        } else if (isDerivedTag(tag)) {
            std::string text;
            handler.elementToXml(*element, text);
            record.attributes.emplace_back(std::move(name), tag, std::move(text));
            ++record.attributeCount;
        } else {
            TRACE(xmlErrorTrace(), 1,
                  "Parsing of XML-element failed: element not attr, array or struct. Element not "
                  "included.");
            return false;
        }
    }
    return true;
}

bool xmlHandler::parseXml(const std::string& text, XmlClassData& out) {
    out.attributes.clear();
    TiXmlDocument document;
    parseInto(document, text);
    if (document.Error()) {
        TRACE(xmlErrorTrace(), 1, "Parsing of xmlbuffer Failed");
        return false;
    }
    const TiXmlElement* root = document.RootElement();
    if (root == nullptr || !isTag(*root, "mim")) {
        return false;
    }
    out.version = attributeOf(*root, "version");
    const TiXmlElement* classElement = root->FirstChildElement();
    if (classElement == nullptr || !isTag(*classElement, "class")) {
        return false;
    }
    out.ldn = attributeOf(*classElement, "ldn");
    out.kind = XmlClassData::kindPlain;
    out.attributeCount = 0;
    out.actionName.clear();

    const TiXmlElement* first = classElement->FirstChildElement();
    if (first == nullptr) {
        return true;
    }
    if (isTag(*first, "action")) {
        out.kind = XmlClassData::kindAction;
        out.actionName = attributeOf(*first, "name");
        first = first->FirstChildElement();
    } else if (isTag(*first, "fault")) {
        out.kind = XmlClassData::kindFault;
        out.faultName = attributeOf(*first, "name");
        first = first->FirstChildElement();
    }
    return readAttributes(*this, first, out);
}

bool xmlHandler::parseClasses(const std::string& text, std::vector<XmlClassData>& out) {
    TiXmlDocument document;
    parseInto(document, text);
    if (document.Error()) {
        TRACE(xmlErrorTrace(), 1, "Parsing of xmlbuffer Failed");
        return false;
    }
    const TiXmlElement* root = document.RootElement();
    if (root == nullptr) {
        return false;
    }
    bool anyClass = false;
    for (const TiXmlElement* classElement = root->FirstChildElement(); classElement != nullptr;
         classElement = classElement->NextSiblingElement()) {
        out.emplace_back();
        XmlClassData& record = out.back();
        if (!isTag(*classElement, "class")) {
            continue;
        }
        anyClass = true;
        record.ldn = attributeOf(*classElement, "ldn");
        const TiXmlElement* first = classElement->FirstChildElement();
        if (first != nullptr) {
            if (isTag(*first, "action")) {
                record.kind = XmlClassData::kindAction;
                record.actionName = attributeOf(*first, "name");
                first = first->FirstChildElement();
            } else if (isTag(*first, "fault")) {
                // Here the fault's name is read from the class element.
                record.kind = XmlClassData::kindFault;
                record.faultName = attributeOf(*classElement, "name");
                first = first->FirstChildElement();
            }
        }
        if (!readAttributes(*this, first, record)) {
            return false;
        }
    }
    return anyClass;
}

bool xmlHandler::createXml(const std::string& ldn, const std::string& version,
                           const Attributes& attributes, std::string& out) {
    // One allocation for the usual answer: the fixed parts and the texts, with room for
    // a few escapes.
    std::size_t size = sizeof kDeclaration + version.size() + ldn.size() + 64;
    for (const Attribute& attribute : attributes) {
        size += attribute.name.size() + attribute.type.size() + attribute.value.size() + 40;
    }
    out.clear();
    out.reserve(size);
    out += kDeclaration;
    if (!version.empty()) {
        out += "<mim version=\"";
        out += version;
        out += "\">\n";
    }
    out += "<class ldn=\"";
    out += ldn;
    out += "\">\n";
    for (const Attribute& attribute : attributes) {
        if (isPrimitiveType(attribute.type)) {
            out += "<attr name=\"";
            out += attribute.name;
            out += "\" type=\"";
            out += attribute.type;
            out += "\" value=\"";
            appendEscapedXml(attribute.value, out);
            out += "\"/>\n";
        } else if (isDerivedType(attribute.type)) {
            out += attribute.value;
        } else {
            TRACE(xmlErrorTrace(), 1,
                  "Creation XML from stored fRO failed: non-valid type \"%s\" read",
                  attribute.type.c_str());
            return false;
        }
    }
    out += "</class>";
    if (!version.empty()) {
        out += "\n</mim>";
    }
    return true;
}

bool xmlHandler::elementToXml(const TiXmlElement& element, std::string& out) {
    std::string text;
    if (!appendElement(element, text)) {
        return false;
    }
    out.swap(text);
    return true;
}

bool xmlHandler::appendElement(const TiXmlElement& element, std::string& out) {
    const char* tag = element.Value();
    const std::string name = escapeXml(element.Attribute("name"));
    const std::string type = escapeXml(element.Attribute("type"));
    if (std::strcmp(tag, "attr") == 0 && isPrimitiveType(type)) {
        out += "<attr";
        if (!name.empty()) {
            out += " name=\"";
            out += name;
            out += "\"";
        }
        out += " type=\"";
        out += type;
        out += "\" value=\"";
        out += escapeXml(element.Attribute("value"));
        out += "\"/>\n";
        return true;
    }
    if (isDerivedTag(tag)) {
        out += "<";
        out += tag;
        if (!name.empty()) {
            out += " name=\"";
            out += name;
            out += "\"";
        }
        out += ">\n";
        for (const TiXmlElement* child = element.FirstChildElement(); child != nullptr;
             child = child->NextSiblingElement()) {
            // A failing child adds nothing.
            const std::size_t before = out.size();
            if (!appendElement(*child, out)) {
                out.resize(before);
            }
        }
        out += "</";
        out += tag;
        out += ">\n";
        return true;
    }
    TRACE(xmlErrorTrace(), 1, "Creation of XML failed: unknown type \"%s\" found",
          std::strcmp(tag, "attr") == 0 ? type.c_str() : tag);
    return false;
}
