#include "xmlTree.h"

#include "AttributeTypes.h"
#include "dynTrace.h"
#include "numberText.h"
#include "xmlErrorTrace.h"
#include "xmlHandler.h"
#include "xmlStringUtils.h"

#include <tinyxml.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>

struct xmlTree::Path {
    std::array<std::string, 5> steps;

    Path(const std::string& p1, const std::string& p2, const std::string& p3, const std::string& p4,
         const std::string& p5)
        : steps{p1, p2, p3, p4, p5} {}

    /// The remaining steps, shifted up with an empty last step.
    Path rest() const { return Path(steps[1], steps[2], steps[3], steps[4], std::string()); }

    /// The steps joined by "/", for the traces.
    std::string joined() const {
        std::string text;
        for (const std::string& step : steps) {
            if (step.empty()) {
                break;
            }
            if (!text.empty()) {
                text += "/";
            }
            text += step;
        }
        return text;
    }
};

namespace {

// The tree's own escape: one pass, every & included, also where it begins an entity.
std::string escapeValue(const std::string& text) {
    std::string escaped;
    escaped.reserve(text.size());
    for (const char c : text) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            case '\'':
                escaped += "&apos;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

bool whollyNumeric(const std::string& text) {
    if (text.empty()) {
        return false;
    }
    for (const char c : text) {
        if (c < '0' || c > '9') {
            return false;
        }
    }
    return true;
}

// A step read as a decimal number the way atoi does: leading blanks, a sign,
// digits, and anything behind them ignored; 0 when there are no digits.
long long stepNumber(const std::string& text) {
    errno = 0;
    const long long number = std::strtoll(text.c_str(), nullptr, 10);
    return errno == ERANGE ? (number < 0 ? LLONG_MIN : LLONG_MAX) : number;
}

}  // namespace

xmlTree::xmlTree(const std::string& attrName, const std::string& attrType,
                 const std::string& attrValue) {
    if (xmlHandler::isPrimitiveType(attrType)) {
        tag = "attr";
        name = attrName;
        type = attrType;
        value = attrValue;
        invalid = false;
        return;
    }
    if (!xmlHandler::isDerivedType(attrType)) {
        TRACE(xmlErrorTrace(), 1,
              "xmlTree could not be created, unknown type \"%s\" (name is \"%s\")",
              attrType.c_str(), attrName.c_str());
        return;
    }
    TiXmlDocument document;
    document.SetTabSize(0);  // no text says where a parse failed: no rows and columns
    document.Parse(attrValue.c_str());
    if (document.Error()) {
        TRACE(xmlErrorTrace(), 1, "xmlTree could not parse the value attribute \"%s\" as XML",
              attrValue.c_str());
        return;
    }
    const TiXmlElement* root = document.RootElement();
    if (root == nullptr) {
        TRACE(xmlErrorTrace(), 1, "xmlTree could not get root element from string, returned NULL");
        return;
    }
    fill(*root);
}

xmlTree::xmlTree(const TiXmlElement& element) {
    fill(element);
}

void xmlTree::fill(const TiXmlElement& element) {
    tag = element.Value();
    const char* elementName = element.Attribute("name");
    name = elementName != nullptr ? elementName : "";
    const char* elementType = element.Attribute("type");
    if (tag == "attr" && elementType != nullptr && xmlHandler::isPrimitiveType(elementType)) {
        type = elementType;
        const char* elementValue = element.Attribute("value");
        if (elementValue == nullptr) {
            TRACE(xmlErrorTrace(), 1, "Primitive XML element does not contain a value tag");
            invalid = true;
            return;
        }
        value = escapeValue(elementValue);
        invalid = false;
        return;
    }
    if (xmlHandler::isDerivedType(tag)) {
        type = tag;
        value.clear();
        for (const TiXmlElement* child = element.FirstChildElement(); child != nullptr;
             child = child->NextSiblingElement()) {
            children.emplace_back(*child);
        }
        invalid = false;
        return;
    }
    TRACE(xmlErrorTrace(), 1, "Xml-element is not of primitive or derived type");
    invalid = true;
}

const xmlTree* xmlTree::find(const Path& path) const {
    if (invalid) {
        TRACE(xmlErrorTrace(), 1,
              "xmlTree is not correctly set up, cannot return itself or any child");
        return nullptr;
    }
    const xmlTree* node = this;
    Path remaining = path;
    while (!remaining.steps[0].empty()) {
        const std::string& step = remaining.steps[0];
        const xmlTree* next = nullptr;
        for (const xmlTree& child : node->children) {
            if (child.name == step) {
                next = &child;
                break;
            }
        }
        if (next == nullptr) {
            const long long index = stepNumber(step);
            if (index == 0 && !whollyNumeric(step)) {
                return nullptr;
            }
            if (index < 0 || index >= static_cast<long long>(node->children.size())) {
                TRACE(xmlErrorTrace(), 1, "Index does not exist");
                return nullptr;
            }
            next = &node->children[static_cast<std::size_t>(index)];
        }
        node = next;
        remaining = remaining.rest();
    }
    return node;
}

xmlTree* xmlTree::find(const Path& path) {
    return const_cast<xmlTree*>(static_cast<const xmlTree*>(this)->find(path));
}

bool xmlTree::getName(std::string& out, const std::string& p1, const std::string& p2,
                      const std::string& p3, const std::string& p4, const std::string& p5) const {
    const xmlTree* node = find(Path(p1, p2, p3, p4, p5));
    if (node == nullptr) {
        TRACE(xmlErrorTrace(), 1, "No Xml-Element with given path was found in %s",
              toXml().c_str());
        return false;
    }
    out = node->name;
    return true;
}

bool xmlTree::getType(std::string& out, const std::string& p1, const std::string& p2,
                      const std::string& p3, const std::string& p4, const std::string& p5) const {
    const xmlTree* node = find(Path(p1, p2, p3, p4, p5));
    if (node == nullptr) {
        TRACE(xmlErrorTrace(), 1, "No Xml-Element with given path was found in %s",
              toXml().c_str());
        return false;
    }
    out = node->type;
    return true;
}

bool xmlTree::getValue(std::string& out, const std::string& p1, const std::string& p2,
                       const std::string& p3, const std::string& p4, const std::string& p5) const {
    const xmlTree* node = find(Path(p1, p2, p3, p4, p5));
    if (node == nullptr) {
        TRACE(xmlErrorTrace(), 1, "No Xml-Element with given path was found in %s",
              toXml().c_str());
        return false;
    }
    out = node->value;
    return true;
}

bool xmlTree::getS32(int32_t& out, const std::string& p1, const std::string& p2,
                     const std::string& p3, const std::string& p4, const std::string& p5) const {
    const xmlTree* node = find(Path(p1, p2, p3, p4, p5));
    if (node == nullptr) {
        TRACE(xmlErrorTrace(), 1, "No Xml-Element with given path was found in %s",
              toXml().c_str());
        return false;
    }
    if (node->type != attrType::S32) {
        TRACE(xmlErrorTrace(), 1, "Element is not of type S32 but of type: %s", node->type.c_str());
        return false;
    }
    int32_t number = 0;
    if (!readS32(node->value, number)) {
        TRACE(xmlErrorTrace(), 1, "Type or Value retrieval failure");
        return false;
    }
    out = number;
    return true;
}

bool xmlTree::getU32(uint32_t& out, const std::string& p1, const std::string& p2,
                     const std::string& p3, const std::string& p4, const std::string& p5) const {
    const xmlTree* node = find(Path(p1, p2, p3, p4, p5));
    if (node == nullptr) {
        TRACE(xmlErrorTrace(), 1, "No Xml-Element with given path was found in %s",
              toXml().c_str());
        return false;
    }
    if (node->type != attrType::U32) {
        TRACE(xmlErrorTrace(), 1, "Element is not of type U32 but of type: %s", node->type.c_str());
        return false;
    }
    int64_t number = 0;
    if (!readS64(node->value, number) || number > static_cast<int64_t>(UINT32_MAX)) {
        TRACE(xmlErrorTrace(), 1, "Type or Value retrieval failure");
        return false;
    }
    if (number < 0) {
        TRACE(xmlErrorTrace(), 1, "Element stored is negative (%d) and cannot be converted to U32",
              static_cast<int>(number < INT32_MIN ? INT32_MIN : number));
        return false;
    }
    out = static_cast<uint32_t>(number);
    return true;
}

bool xmlTree::getS32Array(std::vector<int32_t>& out, const std::string& p1, const std::string& p2,
                          const std::string& p3, const std::string& p4,
                          const std::string& p5) const {
    const xmlTree* node = find(Path(p1, p2, p3, p4, p5));
    if (node == nullptr) {
        TRACE(xmlErrorTrace(), 1, "No Xml-Element with given path was found in %s",
              toXml().c_str());
        return false;
    }
    if (node->type != attrType::ARRAY) {
        TRACE(xmlErrorTrace(), 1, "Element is not of type array but of type: %s",
              node->type.c_str());
        return false;
    }
    // Gathered aside, so that a failure leaves out untouched.
    std::vector<int32_t> gathered;
    bool allS32 = true;
    bool readable = true;
    for (const xmlTree& member : node->children) {
        if (member.type != attrType::S32) {
            TRACE(xmlErrorTrace(), 1, "Element is not S32 in array of S32 but of type: %s",
                  member.type.c_str());
            allS32 = false;
            continue;
        }
        int32_t number = 0;
        if (member.invalid || !readS32(member.value, number)) {
            TRACE(xmlErrorTrace(), 1, "Type or Value retrieval failure");
            readable = false;
            continue;
        }
        gathered.push_back(number);
    }
    if (!allS32) {
        TRACE(xmlErrorTrace(), 1, "Array contains non S32 elements");
        return false;
    }
    if (!readable) {
        return false;
    }
    out = gathered;
    return true;
}

bool xmlTree::getStringArray(std::vector<std::string>& out, const std::string& p1,
                             const std::string& p2, const std::string& p3, const std::string& p4,
                             const std::string& p5) const {
    const xmlTree* node = find(Path(p1, p2, p3, p4, p5));
    if (node == nullptr) {
        TRACE(xmlErrorTrace(), 1, "No Xml-Element with given path was found in %s",
              toXml().c_str());
        return false;
    }
    if (node->type != attrType::ARRAY) {
        TRACE(xmlErrorTrace(), 1, "Element is not of type array but of type: %s",
              node->type.c_str());
        return false;
    }
    std::vector<std::string> gathered;
    bool allStrings = true;
    bool readable = true;
    for (const xmlTree& member : node->children) {
        if (member.type != attrType::STRING) {
            TRACE(xmlErrorTrace(), 1, "Element is not STRING in array of STRING but of type: %s",
                  member.type.c_str());
            allStrings = false;
            continue;
        }
        if (member.invalid) {
            TRACE(xmlErrorTrace(), 1, "Type or Value retrieval failure");
            readable = false;
            continue;
        }
        gathered.push_back(member.value);
    }
    if (!allStrings) {
        TRACE(xmlErrorTrace(), 1, "Array contains non STRING elements");
        return false;
    }
    if (!readable) {
        return false;
    }
    out = gathered;
    return true;
}

bool xmlTree::getSize(uint32_t& out, const std::string& p1, const std::string& p2,
                      const std::string& p3, const std::string& p4, const std::string& p5) const {
    const Path path(p1, p2, p3, p4, p5);
    const xmlTree* node = find(path);
    if (node == nullptr) {
        TRACE(xmlErrorTrace(), 1, "No Xml-Element with given name \"%s\" was found in %s",
              path.joined().c_str(), toXml().c_str());
        return false;
    }
    out = static_cast<uint32_t>(node->children.size());
    return true;
}

bool xmlTree::setLeaf(const std::string& leafType, const std::string& newValue, const Path& path) {
    xmlTree* node = find(path);
    if (node == nullptr) {
        TRACE(xmlErrorTrace(), 1, "No Xml-Element with given name \"%s\" was found in %s",
              path.joined().c_str(), toXml().c_str());
        return false;
    }
    if (node->type != leafType) {
        // The same text for all three setters.
        TRACE(xmlErrorTrace(), 1, "Element is not of type U32 but of type: %s", node->type.c_str());
        return false;
    }
    node->value = newValue;
    return true;
}

bool xmlTree::setString(const std::string& newValue, const std::string& p1, const std::string& p2,
                        const std::string& p3, const std::string& p4, const std::string& p5) {
    return setLeaf(attrType::STRING, newValue, Path(p1, p2, p3, p4, p5));
}

bool xmlTree::setS32(int32_t newValue, const std::string& p1, const std::string& p2,
                     const std::string& p3, const std::string& p4, const std::string& p5) {
    return setLeaf(attrType::S32, toString(newValue), Path(p1, p2, p3, p4, p5));
}

bool xmlTree::setU32(uint32_t newValue, const std::string& p1, const std::string& p2,
                     const std::string& p3, const std::string& p4, const std::string& p5) {
    return setLeaf(attrType::U32, toString(newValue), Path(p1, p2, p3, p4, p5));
}

bool xmlTree::addChild(const std::string& childName, const std::string& childType,
                       const std::string& childValue, const Path& path) {
    xmlTree* node = find(path);
    if (node == nullptr) {
        TRACE(xmlErrorTrace(), 1, "No Xml-Element with given name \"%s\" was found in %s",
              path.joined().c_str(), toXml().c_str());
        return false;
    }
    if (node->type.empty()) {
        TRACE(xmlErrorTrace(), 1, "Unexpected error reading type of xmlTree internally");
        return false;
    }
    if (xmlHandler::isPrimitiveType(node->type)) {
        TRACE(xmlErrorTrace(), 1,
              "Cannot add attribute to xmlTree, cannot add attribute below primitive");
        return false;
    }
    for (const xmlTree& child : node->children) {
        if (!child.name.empty() && child.name == childName) {
            TRACE(xmlErrorTrace(), 1, "Cannot add attribute to xmlTree, attribute already exists");
            return false;
        }
        if (child.name.empty() && !childName.empty()) {
            TRACE(xmlErrorTrace(), 1,
                  "Cannot add attribute to xmlTree, array attributes cannot have names");
            return false;
        }
    }
    xmlTree child(childName, childType, childValue);
    if (child.invalid) {
        return false;  // the constructor has traced why
    }
    node->children.push_back(std::move(child));
    return true;
}

bool xmlTree::addString(const std::string& childName, const std::string& childValue,
                        const std::string& p1, const std::string& p2, const std::string& p3,
                        const std::string& p4, const std::string& p5) {
    return addChild(childName, attrType::STRING, childValue, Path(p1, p2, p3, p4, p5));
}

bool xmlTree::addS32(const std::string& childName, int32_t childValue, const std::string& p1,
                     const std::string& p2, const std::string& p3, const std::string& p4,
                     const std::string& p5) {
    return addChild(childName, attrType::S32, toString(childValue), Path(p1, p2, p3, p4, p5));
}

bool xmlTree::addU32(const std::string& childName, uint32_t childValue, const std::string& p1,
                     const std::string& p2, const std::string& p3, const std::string& p4,
                     const std::string& p5) {
    return addChild(childName, attrType::U32, toString(childValue), Path(p1, p2, p3, p4, p5));
}

bool xmlTree::addStruct(const std::string& childName, const std::string& p1, const std::string& p2,
                        const std::string& p3, const std::string& p4, const std::string& p5) {
    return addChild(childName, attrType::STRUCT, "<struct name=\"" + childName + "\"></struct>",
                    Path(p1, p2, p3, p4, p5));
}

bool xmlTree::addArray(const std::string& childName, const std::string& p1, const std::string& p2,
                       const std::string& p3, const std::string& p4, const std::string& p5) {
    return addChild(childName, attrType::ARRAY, "<array name=\"" + childName + "\"></array>",
                    Path(p1, p2, p3, p4, p5));
}

bool xmlTree::addS32Element(int32_t childValue, const std::string& p1, const std::string& p2,
                            const std::string& p3, const std::string& p4, const std::string& p5) {
    return addChild(std::string(), attrType::S32, toString(childValue), Path(p1, p2, p3, p4, p5));
}

std::string xmlTree::toXml() const {
    const std::string namePart = name.empty() ? std::string() : " name=\"" + name + "\"";
    if (xmlHandler::isPrimitiveType(type)) {
        return "<" + tag + namePart + " type=\"" + type + "\" value=\"" + value + "\"/>";
    }
    if (xmlHandler::isDerivedType(type)) {
        std::string text = "<" + tag + namePart + ">";
        for (const xmlTree& child : children) {
            text += "\n" + child.toXml();
        }
        text += "\n</" + tag + ">";
        return text;
    }
    return std::string();
}
