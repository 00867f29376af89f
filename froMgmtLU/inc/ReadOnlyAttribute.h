// ReadOnlyAttribute: an attribute that every fRO of an MO type gets at birth.
#ifndef READ_ONLY_ATTRIBUTE_H
#define READ_ONLY_ATTRIBUTE_H

#include <string>

class ReadOnlyAttribute {
  public:
    ReadOnlyAttribute(std::string attrName, std::string attrType, std::string attrValue)
        : name(std::move(attrName)), type(std::move(attrType)), value(std::move(attrValue)) {}

    const std::string& getName() const { return name; }
    const std::string& getType() const { return type; }
    const std::string& getValue() const { return value; }

  private:
    std::string name;
    std::string type;
    std::string value;
};

#endif  // READ_ONLY_ATTRIBUTE_H
