// XmlClassData: what a "class" element of a MAO-FRO document carries.
#ifndef XML_CLASS_DATA_H
#define XML_CLASS_DATA_H

#include "Attribute.h"

#include <cstdint>
#include <string>

struct XmlClassData {
    /// Values of kind.
    enum : uint32_t { kindPlain = 0, kindAction = 1, kindFault = 2 };

    std::string version;
    std::string ldn;
    uint32_t kind = kindPlain;
    std::string actionName;
    std::string faultName;
    uint32_t attributeCount = 0;
    Attributes attributes;  // the attributes, or the action's or fault's parameters
};

#endif  // XML_CLASS_DATA_H
