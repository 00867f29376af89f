// AttrNameValue: one attribute as a fRO stores it, and a subject that observers of
// that single attribute attach to. Observers hear of a change only through
// fRO::setAttrValue; assigning the strings directly tells nobody.
#ifndef ATTR_NAME_VALUE_H
#define ATTR_NAME_VALUE_H

#include "listener.h"

#include <string>

class AttrNameValue : public listener::Subject {
  public:
    AttrNameValue() = default;
    /// Mind the order: name, value, type (an Attribute is name, type, value).
    AttrNameValue(std::string attrName, std::string attrValue, std::string attrType);
    /// Copies the three strings; the copy has no observers and state 0.
    AttrNameValue(const AttrNameValue& other);
    /// Copies the three strings; observers and state stay.
    AttrNameValue& operator=(const AttrNameValue& other);
    ~AttrNameValue() override;

    /// "AttrNameValue".
    std::string getSubjectName() const override;

    /// Compares name, then value, then type.
    bool operator==(const AttrNameValue& other) const;
    bool operator!=(const AttrNameValue& other) const { return !(*this == other); }
    /// "{ name, value, type  }", empty fields shown as "noName", "noValue", "noType".
    std::string toString() const;

    std::string name;
    std::string value;
    std::string type;
};

#endif  // ATTR_NAME_VALUE_H
