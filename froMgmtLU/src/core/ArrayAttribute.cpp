#include "ArrayAttribute.h"

#include "AttributeTypes.h"
#include "attributeFromElement.h"
#include "froMgmtTrace.h"

#include <tinyxml.h>

ArrayAttribute::ArrayAttribute() = default;

ArrayAttribute::ArrayAttribute(std::string attrName, std::string attrType)
    : GenericAttribute(std::move(attrName), std::move(attrType)) {}

ArrayAttribute::ArrayAttribute(const std::string& xmlText) {
    TiXmlDocument document;
    document.Parse(xmlText.c_str());
    if (document.Error()) {
        // A text that is no XML is taken as the name of an empty array.
        name = xmlText;
        type = attrType::ARRAY;
        return;
    }
    const TiXmlElement* element = document.FirstChildElement();
    if (element != nullptr) {
        readElement(*element);
    }
}

ArrayAttribute::ArrayAttribute(const TiXmlElement& element) {
    readElement(element);
}

ArrayAttribute::ArrayAttribute(const ArrayAttribute& other) : GenericAttribute(other) {
    for (const GenericAttribute* element : other.elements) {
        if (element != nullptr) {
            addElement(element->clone());
        }
    }
}

ArrayAttribute& ArrayAttribute::operator=(const ArrayAttribute& other) {
    if (this == &other) {
        return *this;
    }
    GenericAttribute::operator=(other);
    deleteElements();
    for (const GenericAttribute* element : other.elements) {
        if (element != nullptr) {
            addElement(element->clone());
        }
    }
    return *this;
}

ArrayAttribute::~ArrayAttribute() {
    deleteElements();
}

void ArrayAttribute::deleteElements() {
    for (GenericAttribute* element : elements) {
        delete element;
    }
    elements.clear();
}

void ArrayAttribute::addElement(GenericAttribute* element) {
    elements.push_back(element);
}

void ArrayAttribute::readElement(const TiXmlElement& element) {
    if (const char* text = element.Attribute("name")) {
        name = text;
    }
    type = element.Value();
    for (const TiXmlElement* child = element.FirstChildElement(); child != nullptr;
         child = child->NextSiblingElement()) {
        elements.push_back(attributeFromElement(*child));
    }
}

GenericAttribute& ArrayAttribute::getElement(uint32_t index) {
    if (index >= elements.size()) {
        TRACE(*trace, 1, "Array index out of bounds");
        return nullAttribute();
    }
    if (elements[index] == nullptr) {
        return nullAttribute();
    }
    return *elements[index];
}

TiXmlElement* ArrayAttribute::toXml() const {
    auto* element = new TiXmlElement(type);
    if (!name.empty()) {
        element->SetAttribute("name", name);
    }
    for (const GenericAttribute* child : elements) {
        if (child == nullptr) {
            continue;
        }
        if (TiXmlElement* childElement = child->toXml()) {
            element->LinkEndChild(childElement);
        }
    }
    return element;
}

AttrIterator ArrayAttribute::begin() const {
    return AttrIterator{1, 0, 0};
}

AttrIterator ArrayAttribute::end() const {
    return AttrIterator{1, static_cast<uint32_t>(elements.size()), 0};
}

GenericAttribute* ArrayAttribute::clone() const {
    return new ArrayAttribute(*this);
}
