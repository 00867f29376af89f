#include "AttrNameValue.h"

AttrNameValue::AttrNameValue(std::string attrName, std::string attrValue, std::string attrType)
    : name(std::move(attrName)), value(std::move(attrValue)), type(std::move(attrType)) {}

AttrNameValue::AttrNameValue(const AttrNameValue& other)
    : listener::Subject(), name(other.name), value(other.value), type(other.type) {}

AttrNameValue& AttrNameValue::operator=(const AttrNameValue& other) {
    name = other.name;
    value = other.value;
    type = other.type;
    return *this;
}

AttrNameValue::~AttrNameValue() = default;

std::string AttrNameValue::getSubjectName() const {
    return "AttrNameValue";
}

bool AttrNameValue::operator==(const AttrNameValue& other) const {
    return name == other.name && value == other.value && type == other.type;
}

std::string AttrNameValue::toString() const {
    return "{ " + (name.empty() ? std::string("noName") : name) + ", " +
           (value.empty() ? std::string("noValue") : value) + ", " +
           (type.empty() ? std::string("noType") : type) + "  }";
}
