#include "GenericAttribute.h"

#include "froMgmtTrace.h"

#include <tinyxml.h>

GenericAttribute::GenericAttribute() : trace(&froMgmtTrace()) {}

GenericAttribute::GenericAttribute(std::string attrName, std::string attrType)
    : name(std::move(attrName)), type(std::move(attrType)), trace(&froMgmtTrace()) {}

GenericAttribute::~GenericAttribute() = default;

bool GenericAttribute::setS32(int32_t /*newValue*/) {
    return true;
}
bool GenericAttribute::setU32(uint32_t /*newValue*/) {
    return true;
}
bool GenericAttribute::setString(const std::string& /*newValue*/) {
    return true;
}
int32_t GenericAttribute::getS32() const {
    return 0;
}
uint32_t GenericAttribute::getU32() const {
    return 0;
}
std::string GenericAttribute::getString() const {
    return std::string();
}
GenericAttribute& GenericAttribute::getMember(const std::string& /*memberName*/) {
    return nullAttribute();
}
GenericAttribute& GenericAttribute::getElement(uint32_t /*index*/) {
    return nullAttribute();
}
TiXmlElement* GenericAttribute::toXml() const {
    return nullptr;
}
AttrIterator GenericAttribute::begin() const {
    return AttrIterator();
}
AttrIterator GenericAttribute::end() const {
    return AttrIterator();
}
GenericAttribute* GenericAttribute::clone() const {
    return nullptr;
}

std::string GenericAttribute::toXmlText() const {
    TiXmlElement* element = toXml();
    if (element == nullptr) {
        return std::string();
    }
    TiXmlDocument document;
    document.LinkEndChild(element);
    TiXmlPrinter printer;
    printer.SetIndent("    ");
    printer.SetLineBreak("\n");
    document.Accept(&printer);
    return printer.Str();
}

GenericAttribute& GenericAttribute::nullAttribute() {
    static GenericAttribute* null = new GenericAttribute();  // lookups may run during exit
    return *null;
}
