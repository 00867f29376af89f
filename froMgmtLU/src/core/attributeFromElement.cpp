#include "attributeFromElement.h"

#include "ArrayAttribute.h"
#include "SimpleAttribute.h"
#include "StructAttribute.h"

#include <tinyxml.h>

#include <string>

GenericAttribute* attributeFromElement(const TiXmlElement& element) {
    const std::string tag = element.Value();
    if (tag == "attr") {
        return new SimpleAttribute(element);
    }
    if (tag == "struct" || tag == "moref") {
        return new StructAttribute(element);
    }
    if (tag == "array") {
        return new ArrayAttribute(element);
    }
    return nullptr;
}
