#include "SimpleAttribute.h"

#include "AttributeTypes.h"
#include "froMgmtTrace.h"
#include "numberText.h"

#include <tinyxml.h>

#include <sstream>

namespace {

template <typename Number>
bool formatNumber(Number number, std::string& out) {
    std::ostringstream stream;
    stream << std::dec << number;
    if (stream.fail()) {
        return false;
    }
    out = stream.str();
    return true;
}

}  // namespace

SimpleAttribute::SimpleAttribute() = default;

SimpleAttribute::SimpleAttribute(std::string attrName, std::string attrType, std::string attrValue)
    : GenericAttribute(std::move(attrName), std::move(attrType)),
      value(std::move(attrValue)),
      hasValue(true) {}

SimpleAttribute::SimpleAttribute(std::string attrName, std::string attrValue)
    : GenericAttribute(std::move(attrName), attrType::STRING),
      value(std::move(attrValue)),
      hasValue(true) {}

SimpleAttribute::SimpleAttribute(std::string attrName, int32_t attrValue)
    : GenericAttribute(std::move(attrName), attrType::S32) {
    setS32(attrValue);
}

SimpleAttribute::SimpleAttribute(std::string attrName, uint32_t attrValue)
    : GenericAttribute(std::move(attrName), attrType::U32) {
    setU32(attrValue);
}

SimpleAttribute::SimpleAttribute(const std::string& xmlText) {
    TiXmlDocument document;
    document.Parse(xmlText.c_str());
    if (document.Error()) {
        TRACE(*trace, 0, "Failed to parse xml");
        return;
    }
    const TiXmlElement* element = document.FirstChildElement();
    if (element != nullptr) {
        readElement(*element);
    }
}

SimpleAttribute::SimpleAttribute(const TiXmlElement& element) {
    readElement(element);
}

SimpleAttribute::~SimpleAttribute() = default;

void SimpleAttribute::readElement(const TiXmlElement& element) {
    if (const char* text = element.Attribute("name")) {
        name = text;
    }
    if (const char* text = element.Attribute("type")) {
        type = text;
    }
    if (const char* text = element.Attribute("value")) {
        value = text;
        hasValue = true;
    }
}

bool SimpleAttribute::setS32(int32_t newValue) {
    hasValue = true;
    return formatNumber(newValue, value);
}

bool SimpleAttribute::setU32(uint32_t newValue) {
    hasValue = true;
    return formatNumber(newValue, value);
}

bool SimpleAttribute::setString(const std::string& newValue) {
    value = newValue;
    hasValue = true;
    return true;
}

int32_t SimpleAttribute::getS32() const {
    int32_t number = 0;
    if (!readS32(value, number)) {
        TRACE(*trace, 0, "Attribute \"%s\" is not a valid S32", name.c_str());
        return 0;
    }
    return number;
}

uint32_t SimpleAttribute::getU32() const {
    uint32_t number = 0;
    if (!readU32(value, number)) {
        TRACE(*trace, 0, "Attribute \"%s\" is not a valid U32", name.c_str());
        return 0;
    }
    return number;
}

std::string SimpleAttribute::getString() const {
    return value;
}

TiXmlElement* SimpleAttribute::toXml() const {
    auto* element = new TiXmlElement("attr");
    if (!name.empty()) {
        element->SetAttribute("name", name);
    }
    if (!type.empty()) {
        element->SetAttribute("type", type);
    }
    if (hasValue) {
        element->SetAttribute("value", value);
    }
    return element;
}

GenericAttribute* SimpleAttribute::clone() const {
    return new SimpleAttribute(name, type, value);
}
