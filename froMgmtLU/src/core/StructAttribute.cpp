#include "StructAttribute.h"

#include "AttributeTypes.h"
#include "attributeFromElement.h"

#include <tinyxml.h>

StructAttribute::StructAttribute() = default;

StructAttribute::StructAttribute(std::string attrName, std::string attrType)
    : GenericAttribute(std::move(attrName), std::move(attrType)) {}

StructAttribute::StructAttribute(const std::string& xmlText) {
    TiXmlDocument document;
    document.Parse(xmlText.c_str());
    if (document.Error()) {
        // A text that is no XML is taken as the name of an empty struct.
        name = xmlText;
        type = attrType::STRUCT;
        return;
    }
    const TiXmlElement* element = document.FirstChildElement();
    if (element != nullptr) {
        readElement(*element);
    }
}

StructAttribute::StructAttribute(const TiXmlElement& element) {
    readElement(element);
}

StructAttribute::StructAttribute(const StructAttribute& other) : GenericAttribute(other) {
    for (const auto& entry : other.members) {
        if (entry.second != nullptr) {
            addMember(entry.second->clone());
        }
    }
}

StructAttribute& StructAttribute::operator=(const StructAttribute& other) {
    if (this == &other) {
        return *this;
    }
    GenericAttribute::operator=(other);
    deleteMembers();
    // Clones arrive in the map's order: the copy's memberOrder is sorted by name.
    for (const auto& entry : other.members) {
        if (entry.second != nullptr) {
            addMember(entry.second->clone());
        }
    }
    return *this;
}

StructAttribute::~StructAttribute() {
    deleteMembers();
}

void StructAttribute::deleteMembers() {
    for (auto& entry : members) {
        delete entry.second;
    }
    members.clear();
    memberOrder.clear();
}

void StructAttribute::fileMember(const std::string& memberName, GenericAttribute* member) {
    // The name is listed whether or not the map takes the member: a repeated name
    // is written twice, with the first member both times.
    memberOrder.push_back(memberName);
    if (!members.emplace(memberName, member).second) {
        delete member;
    }
}

void StructAttribute::addMember(GenericAttribute* member) {
    if (member == nullptr) {
        return;
    }
    fileMember(member->getName(), member);
}

void StructAttribute::readElement(const TiXmlElement& element) {
    if (const char* text = element.Attribute("name")) {
        name = text;
    }
    type = element.Value();
    for (const TiXmlElement* child = element.FirstChildElement(); child != nullptr;
         child = child->NextSiblingElement()) {
        const char* childName = child->Attribute("name");
        // A member without a name is filed under the empty name.
        fileMember(childName != nullptr ? childName : "", attributeFromElement(*child));
    }
}

GenericAttribute& StructAttribute::getMember(const std::string& memberName) {
    auto found = members.find(memberName);
    if (found == members.end() || found->second == nullptr) {
        return nullAttribute();
    }
    return *found->second;
}

TiXmlElement* StructAttribute::toXml() const {
    auto* element = new TiXmlElement(type);
    if (!name.empty()) {
        element->SetAttribute("name", name);
    }
    for (const std::string& memberName : memberOrder) {
        auto found = members.find(memberName);
        if (found == members.end() || found->second == nullptr) {
            continue;
        }
        if (TiXmlElement* child = found->second->toXml()) {
            element->LinkEndChild(child);
        }
    }
    return element;
}

AttrIterator StructAttribute::begin() const {
    return AttrIterator{0, 0, 0};
}

AttrIterator StructAttribute::end() const {
    return AttrIterator{0, 0, static_cast<uint32_t>(members.size())};
}

GenericAttribute* StructAttribute::clone() const {
    return new StructAttribute(*this);
}
