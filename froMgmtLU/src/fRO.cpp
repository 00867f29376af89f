#include "fRO.h"

#include "AttributeTypes.h"
#include "FroIdHandler.h"
#include "froMgmtTrace.h"
#include "numberText.h"

namespace {

// The texts of a missing attribute differ between the members of the family in
// the conversion and in a blank; each member keeps its own.
enum class MissingText { formatI, formatD, formatINoBlank };

void traceMissing(const TraceHandle& trace, MissingText which, const std::string& name,
                  uint32_t froType) {
    switch (which) {
        case MissingText::formatI:
            TRACE(trace, 0, "Attribute \"%s\" does not exist on fRO (frotype=%i).", name.c_str(),
                  static_cast<int>(froType));
            break;
        case MissingText::formatD:
            TRACE(trace, 0, "Attribute \"%s\" does not exist on fRO (frotype=%d).", name.c_str(),
                  static_cast<int>(froType));
            break;
        case MissingText::formatINoBlank:
            TRACE(trace, 0, "Attribute \"%s\" does not exist on fRO(frotype=%i).", name.c_str(),
                  static_cast<int>(froType));
            break;
    }
}

template <typename Callback>
std::uintptr_t keyOf(const std::shared_ptr<Callback>& callback) {
    return reinterpret_cast<std::uintptr_t>(callback.get());
}

}  // namespace

void fRO::fRODeleter::operator()(fRO* fro) const {
    delete fro;
}

fRO::fRO() : trace(&froMgmtTrace()) {}

fRO::~fRO() {
    if (froId >= 0) {
        if (!FroIdHandler::instance().freeFroId(froType, static_cast<uint32_t>(froId))) {
            TRACE(*trace, 8, "Failed to free froId: %d for froType: %d", froId, froType);
        }
    }
}

void fRO::observer_update(listener::Subject* /*subject*/) {}

void fRO::attributeChanged(const std::string& /*name*/, const std::string& /*oldValue*/,
                           const std::string& /*newValue*/) {}

int fRO::statePropagated(const stateUserData& /*userData*/) {
    return 0;
}

int fRO::stateAggregated(const stateUserData& /*userData*/) {
    return 0;
}

void fRO::dump(std::ostream& out) const {
    out << "Dump interface not implemented.";
}

uint32_t fRO::getExternalFroId() const {
    return FroIdHandler::instance().getExternalFroId(static_cast<uint32_t>(froId));
}

const AttrNameValue* fRO::findStored(const std::string& name) const {
    for (const AttrNameValue& attribute : attributes) {
        if (attribute.name == name) {
            return &attribute;
        }
    }
    return nullptr;
}

bool fRO::hasAttribute(const std::string& name) const {
    return findStored(name) != nullptr;
}

AttrNameValue* fRO::findAttribute(const std::string& name) {
    return const_cast<AttrNameValue*>(findStored(name));
}

int fRO::findAttributeIndex(const std::string& name, std::string& value) const {
    int index = 0;
    for (const AttrNameValue& attribute : attributes) {
        if (attribute.name == name) {
            value = attribute.value;
            return index;
        }
        ++index;
    }
    return -1;
}

std::string fRO::getAttrType(const std::string& name) const {
    const AttrNameValue* attribute = findStored(name);
    return attribute != nullptr ? attribute->type : std::string();
}

Attribute fRO::getAttribute(const std::string& name) const {
    const AttrNameValue* attribute = findStored(name);
    if (attribute == nullptr || attribute->type.empty()) {
        return Attribute();
    }
    return Attribute(attribute->name, attribute->type, attribute->value);
}

std::vector<std::string> fRO::getAttributeNames() const {
    std::vector<std::string> names;
    names.reserve(attributes.size());
    for (const AttrNameValue& attribute : attributes) {
        names.push_back(attribute.name);
    }
    return names;
}

std::string fRO::getAttrValue(const std::string& name) const {
    const AttrNameValue* attribute = findStored(name);
    return attribute != nullptr ? attribute->value : std::string();
}

bool fRO::setAttrValue(const std::string& name, const std::string& value) {
    AttrNameValue* attribute = findAttribute(name);
    if (attribute == nullptr) {
        return false;
    }
    if (attribute->value != value) {
        attribute->setState(listener::Subject::stateChanged);
        setState(listener::Subject::stateChanged);
    }
    attribute->value = value;
    // In state 0 (value unchanged) these reach nobody.
    attribute->notify(1);
    notify(1);
    return true;
}

bool fRO::setAttrValue(const std::string& name, const char* value) {
    return setAttrValue(name, std::string(value != nullptr ? value : ""));
}

void fRO::addAttribute(const std::string& name, const std::string& value, const std::string& type) {
    if (hasAttribute(name)) {
        return;
    }
    attributes.emplace_back(name, value, type);
    // A subscriber may subscribe or unsubscribe from its callback: walk a copy.
    const auto subscribers = attrAdditionSubscribers;
    for (const auto& entry : subscribers) {
        if (std::shared_ptr<AttrAdditionCallback> callback = entry.second.lock()) {
            (*callback)(self, name);
        } else {
            attrAdditionSubscribers.erase(entry.first);
        }
    }
}

void fRO::addAttribute(const Attribute& attribute) {
    addAttribute(attribute.name, attribute.value, attribute.type);
}

void fRO::clearChanges() {
    for (AttrNameValue& attribute : attributes) {
        attribute.notify(0);
        attribute.setState(listener::Subject::stateClean);
    }
    notify(0);
    setState(listener::Subject::stateClean);
}

void fRO::prepareForDeletion() {
    const auto subscribers = deletionSubscribers;
    for (const auto& entry : subscribers) {
        // Expired entries stay until the fRO goes.
        if (std::shared_ptr<DeletionCallback> callback = entry.second.lock()) {
            (*callback)(self);
        }
    }
    for (AttrNameValue& attribute : attributes) {
        attribute.notifyDeletion();
    }
    notifyDeletion();
    disconnectFromParent();
}

void fRO::subscribeDeletion(const std::weak_ptr<DeletionCallback>& callback) {
    if (std::shared_ptr<DeletionCallback> alive = callback.lock()) {
        deletionSubscribers[keyOf(alive)] = callback;
    } else {
        TRACE(*trace, 0,
              "Subscribe to fRO deletion failed because the provided callback has expired. "
              "froId: %d for froType: %d",
              froId, static_cast<int>(froType));
    }
}

void fRO::unsubscribeDeletion(const std::weak_ptr<DeletionCallback>& callback) {
    if (std::shared_ptr<DeletionCallback> alive = callback.lock()) {
        deletionSubscribers.erase(keyOf(alive));
    } else {
        TRACE(*trace, 0,
              "Unsubscribe to fRO deletion failed because the provided callback has expired. "
              "froId: %d for froType: %d",
              froId, static_cast<int>(froType));
    }
}

void fRO::subscribeAttrAddition(const std::weak_ptr<AttrAdditionCallback>& callback) {
    if (std::shared_ptr<AttrAdditionCallback> alive = callback.lock()) {
        attrAdditionSubscribers[keyOf(alive)] = callback;
    } else {
        TRACE(*trace, 0,
              "Subscribe to attribute addition failed because the provided callback has "
              "expired. froId: %d for froType: %d",
              froId, static_cast<int>(froType));
    }
}

void fRO::unsubscribeAttrAddition(const std::weak_ptr<AttrAdditionCallback>& callback) {
    if (std::shared_ptr<AttrAdditionCallback> alive = callback.lock()) {
        attrAdditionSubscribers.erase(keyOf(alive));
    } else {
        TRACE(*trace, 0,
              "Unsubscribe to attribute addition failed because the provided callback has "
              "expired. froId: %d for froType: %d",
              froId, static_cast<int>(froType));
    }
}

bool fRO::setTyped(const std::string& name, const char* expectedType, const std::string& text,
                   int missingText) {
    const std::string type = getAttrType(name);
    if (type.empty()) {
        traceMissing(*trace, static_cast<MissingText>(missingText), name, froType);
        return false;
    }
    if (type != expectedType) {
        TRACE(*trace, 0, "Attribute \"%s\" is not of expected %s type", name.c_str(), expectedType);
        return false;
    }
    return setAttrValue(name, text);
}

bool fRO::getTyped(const std::string& name, const char* expectedType, int missingText,
                   std::string& value) const {
    const Attribute attribute = getAttribute(name);
    if (attribute.isEmpty()) {
        traceMissing(*trace, static_cast<MissingText>(missingText), name, froType);
        return false;
    }
    if (attribute.type != expectedType) {
        TRACE(*trace, 0, "Attribute \"%s\" is not of expected %s type", name.c_str(), expectedType);
        return false;
    }
    value = attribute.value;
    return true;
}

bool fRO::setS32AttrValue(const std::string& name, int32_t value) {
    return setTyped(name, attrType::S32, std::to_string(value),
                    static_cast<int>(MissingText::formatI));
}

bool fRO::setS64AttrValue(const std::string& name, int64_t value) {
    return setTyped(name, attrType::S64, std::to_string(value),
                    static_cast<int>(MissingText::formatI));
}

bool fRO::setU32AttrValue(const std::string& name, uint32_t value) {
    return setTyped(name, attrType::U32, std::to_string(value),
                    static_cast<int>(MissingText::formatD));
}

bool fRO::setStringAttrValue(const std::string& name, const std::string& value) {
    return setTyped(name, attrType::STRING, value, static_cast<int>(MissingText::formatI));
}

bool fRO::setMoRefAttrValue(const std::string& name, const std::string& value) {
    return setTyped(name, attrType::MOREF, value, static_cast<int>(MissingText::formatI));
}

bool fRO::setStructAttrValue(const std::string& name, const std::string& value) {
    return setTyped(name, attrType::STRUCT, value, static_cast<int>(MissingText::formatI));
}

bool fRO::setArrayAttrValue(const std::string& name, const std::string& value) {
    return setTyped(name, attrType::ARRAY, value, static_cast<int>(MissingText::formatI));
}

int32_t fRO::getS32AttrValue(const std::string& name) const {
    std::string text;
    if (!getTyped(name, attrType::S32, static_cast<int>(MissingText::formatI), text)) {
        return 0;
    }
    int32_t number = 0;
    if (!readS32(text, number)) {
        TRACE(*trace, 0, "Attribute \"%s\" is not a valid S32", name.c_str());
        return 0;
    }
    return number;
}

int64_t fRO::getS64AttrValue(const std::string& name) const {
    std::string text;
    if (!getTyped(name, attrType::S64, static_cast<int>(MissingText::formatI), text)) {
        return 0;
    }
    int64_t number = 0;
    if (!readS64(text, number)) {
        TRACE(*trace, 0, "Attribute \"%s\" is not a valid S64", name.c_str());
        return 0;
    }
    return number;
}

uint32_t fRO::getU32AttrValue(const std::string& name) const {
    std::string text;
    if (!getTyped(name, attrType::U32, static_cast<int>(MissingText::formatI), text)) {
        return 0;
    }
    uint32_t number = 0;
    if (!readU32(text, number)) {
        TRACE(*trace, 0, "Attribute \"%s\" is not a valid U32", name.c_str());
        return 0;
    }
    return number;
}

std::string fRO::getStringAttrValue(const std::string& name) const {
    std::string text;
    return getTyped(name, attrType::STRING, static_cast<int>(MissingText::formatINoBlank), text)
               ? text
               : std::string();
}

std::string fRO::getMoRefAttrValue(const std::string& name) const {
    std::string text;
    return getTyped(name, attrType::MOREF, static_cast<int>(MissingText::formatI), text)
               ? text
               : std::string();
}

std::string fRO::getStructAttrValue(const std::string& name) const {
    std::string text;
    return getTyped(name, attrType::STRUCT, static_cast<int>(MissingText::formatI), text)
               ? text
               : std::string();
}

std::string fRO::getArrayAttrValue(const std::string& name) const {
    std::string text;
    return getTyped(name, attrType::ARRAY, static_cast<int>(MissingText::formatI), text)
               ? text
               : std::string();
}
