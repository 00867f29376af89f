// Attribute: the plain (name, type, value) triple in which attributes cross
// between the XML layer, the framework and the database.
#ifndef ATTRIBUTE_H
#define ATTRIBUTE_H

#include <string>
#include <vector>

struct Attribute {
    std::string name;
    std::string type;
    std::string value;

    Attribute() = default;
    Attribute(std::string attrName, std::string attrType, std::string attrValue)
        : name(std::move(attrName)), type(std::move(attrType)), value(std::move(attrValue)) {}

    /// The all-empty triple stands for "no such attribute".
    bool isEmpty() const { return name.empty() && type.empty() && value.empty(); }
    /// Compares all three strings.
    bool operator==(const Attribute& other) const {
        return name == other.name && type == other.type && value == other.value;
    }
    bool operator!=(const Attribute& other) const { return !(*this == other); }

    const std::string& getName() const { return name; }
    const std::string& getType() const { return type; }
    const std::string& getValue() const { return value; }
};

/// Attributes in the order in which they were given.
using Attributes = std::vector<Attribute>;

#endif  // ATTRIBUTE_H
