#include "fROFactory.h"

#include "FroIdHandler.h"
#include "LdnText.h"
#include "dummy_fRO.h"
#include "fRO.h"
#include "froMgmtTrace.h"

namespace {
fROFactory* factoryInstance = nullptr;
}  // namespace

fROFactory& fROFactory::instance() {
    if (factoryInstance == nullptr) {
        factoryInstance = new fROFactory();
    }
    return *factoryInstance;
}

void fROFactory::destroyInstance() {
    delete factoryInstance;
    factoryInstance = nullptr;
}

fROFactory::fROFactory() : trace(&froMgmtTrace()) {}

fROFactory::~fROFactory() = default;

std::shared_ptr<fRO> fROFactory::createFRO(const std::string& ldn, uint32_t fROType,
                                           int32_t externalFroId, bool createDummy,
                                           bool addReadOnly, bool reserveId) {
    TRACE(*trace, 2, "fROFactory::createFRO(ldn=%s, fROType=%d,externalFroId=%d)", ldn.c_str(),
          static_cast<int>(fROType), externalFroId);
    TRACE(*trace, 8, "Creating fRO: ldn=%s, type=%d, externalId=%d", ldn.c_str(),
          static_cast<int>(fROType), externalFroId);
    if (ldn.empty()) {
        TRACE(*trace, 8, "ldn is empty, cannot return new fro");
        return std::shared_ptr<fRO>();
    }
    const std::string moType = getMoType(ldn);
    TRACE(*trace, 8, "MO-type is %s", moType.c_str());
    if (moType.empty()) {
        TRACE(*trace, 8, "ldn does not correspond to a known MO type, cannot return new fro");
        return std::shared_ptr<fRO>();
    }

    // A registration under type and instance ("Foo1") gives one object a class of its own.
    std::shared_ptr<MOCRegistrationItem> registration =
        findMOCRegistration(moType + getInstance(ldn));
    if (!registration) {
        registration = findMOCRegistration(moType);
    }

    fRO* made = nullptr;
    if (registration && !createDummy && registration->hasAllocator()) {
        TRACE(*trace, 8, "Calling derived allocation function for fro");
        made = registration->allocatefRO();
        if (made == nullptr) {
            return std::shared_ptr<fRO>();
        }
    } else {
        TRACE(*trace, 8, "Creating dummy fRO");
        made = new dummy_fRO(moType);
    }
    std::shared_ptr<fRO> fro(made, fRO::fRODeleter());
    TRACE(*trace, 8, "fRO created");
    fro->setFroType(fROType);

    FroIdHandler& ids = FroIdHandler::instance();
    if (externalFroId < 0) {
        TRACE(*trace, 8, "External ID is negative, generating new internal ID");
        fro->setFroId(static_cast<int32_t>(ids.getNewFroId(fROType)));
    } else {
        if (reserveId) {
            TRACE(*trace, 8, "ID being reserved");
            if (!ids.reserveFroId(fROType, static_cast<uint32_t>(externalFroId))) {
                TRACE(*trace, 8, "Could not reserve ID, cancel creation of fRO");
                // froId is still -1: the holder of the id keeps it.
                return std::shared_ptr<fRO>();
            }
        }
        TRACE(*trace, 8, "Transform external ID to internal");
        fro->setFroId(static_cast<int32_t>(
            ids.transformExternalFroIdToInternal(fROType, static_cast<uint32_t>(externalFroId))));
        TRACE(*trace, 8, "Internal ID is %d", fro->getFroId());
    }

    if (addReadOnly) {
        TRACE(*trace, 8, "Adding RO attributes to fRO");
        addROAttr(fro, ldn);
    }
    return fro;
}

void fROFactory::deleteFRO(std::shared_ptr<fRO>& fro) {
    if (!fro) {
        return;
    }
    if (fro->getState() != listener::Subject::stateDeleted) {
        fro->prepareForDeletion();
    }
    if (fro.use_count() != 1) {
        TRACE(*trace, 8, "fRO instance not deleted when expected. froId: %d", fro->getFroId());
    }
    fro.reset();
}

void fROFactory::addROAttr(const std::shared_ptr<fRO>& fro, const std::string& ldn) {
    TRACE(*trace, 2, "fROFactory::addROAttr(ldn=%s)", ldn.c_str());
    if (!fro) {
        return;
    }
    const auto range = readOnlyAttributes.equal_range(getMoType(ldn));
    for (auto entry = range.first; entry != range.second; ++entry) {
        const ReadOnlyAttribute& attribute = *entry->second;
        fro->addAttribute(attribute.getName(), attribute.getValue(), attribute.getType());
    }
}

void fROFactory::regMOType(const std::string& motype, fRO* (*allocate)()) {
    if (registrations.count(motype) != 0) {
        TRACE(*trace, 8, "TR: Could not register MO-type %s", motype.c_str());
        return;
    }
    TRACE(*trace, 8, "Registring MO-type %s", motype.c_str());
    // A null function gives an empty function object, which allocatefRO refuses.
    auto owned = std::make_shared<fROAllocator>(allocate);
    registrations[motype] = std::make_shared<MOCRegistrationItem>(motype, owned);
}

std::shared_ptr<MOCRegistrationItem> fROFactory::createMOTypeRegistration(
    const std::string& motype, const std::string& froTypeName, int32_t froTypeId,
    const std::weak_ptr<fROAllocator>& allocator) {
    if (registrations.count(motype) != 0) {
        TRACE(*trace, 8, "TR: Could not register MO-type %s", motype.c_str());
        return std::shared_ptr<MOCRegistrationItem>();
    }
    TRACE(*trace, 8, "Registring MO-type %s with froTypeName=%s, froTypeId=%d", motype.c_str(),
          froTypeName.c_str(), froTypeId);
    auto item = std::make_shared<MOCRegistrationItem>(motype, froTypeName, froTypeId, allocator);
    registrations[motype] = item;
    return item;
}

void fROFactory::deleteMOCRegistration(const std::string& motype) {
    auto found = registrations.find(motype);
    if (found == registrations.end()) {
        TRACE(*trace, 8, "TR: Could not find registration of MO-type %s", motype.c_str());
        return;
    }
    TRACE(*trace, 8, "Remove registration of MO-type %s", motype.c_str());
    registrations.erase(found);
}

void fROFactory::deleteMOCRegistration(int32_t fROTypeId) {
    for (auto entry = registrations.begin(); entry != registrations.end(); ++entry) {
        if (entry->second->getFroTypeId() == fROTypeId) {
            TRACE(*trace, 8, "Remove registration of MO-type %s", entry->first.c_str());
            registrations.erase(entry);
            return;
        }
    }
    TRACE(*trace, 8, "TR: Could not find registration of MO-type with froTypeId=%d", fROTypeId);
}

std::shared_ptr<MOCRegistrationItem> fROFactory::findMOCRegistration(
    const std::string& motype) const {
    auto found = registrations.find(motype);
    return found != registrations.end() ? found->second : std::shared_ptr<MOCRegistrationItem>();
}

std::shared_ptr<MOCRegistrationItem> fROFactory::findMOCRegistration(int32_t fROTypeId) const {
    for (const auto& entry : registrations) {
        if (entry.second->getFroTypeId() == fROTypeId) {
            return entry.second;
        }
    }
    return std::shared_ptr<MOCRegistrationItem>();
}

std::vector<std::shared_ptr<MOCRegistrationItem>> fROFactory::getMOCRegistrations() const {
    std::vector<std::shared_ptr<MOCRegistrationItem>> all;
    all.reserve(registrations.size());
    for (const auto& entry : registrations) {
        all.push_back(entry.second);
    }
    return all;
}

void fROFactory::clearMOCRegistrations() {
    registrations.clear();
}

std::shared_ptr<ReadOnlyAttribute> fROFactory::addReadOnlyAttribute(const std::string& froName,
                                                                    const std::string& name,
                                                                    const std::string& type,
                                                                    const std::string& value) {
    if (getReadOnlyAttribute(froName, name)) {
        return std::shared_ptr<ReadOnlyAttribute>();
    }
    auto attribute = std::make_shared<ReadOnlyAttribute>(name, type, value);
    // A multimap inserts behind the entries of an equal key.
    readOnlyAttributes.emplace(froName, attribute);
    return attribute;
}

void fROFactory::deleteReadOnlyAttribute(const std::string& froName, const std::string& name) {
    const auto range = readOnlyAttributes.equal_range(froName);
    for (auto entry = range.first; entry != range.second; ++entry) {
        if (entry->second->getName() == name) {
            readOnlyAttributes.erase(entry);
            return;
        }
    }
}

std::shared_ptr<ReadOnlyAttribute> fROFactory::getReadOnlyAttribute(const std::string& froName,
                                                                    const std::string& name) const {
    const auto range = readOnlyAttributes.equal_range(froName);
    for (auto entry = range.first; entry != range.second; ++entry) {
        if (entry->second->getName() == name) {
            return entry->second;
        }
    }
    return std::shared_ptr<ReadOnlyAttribute>();
}

std::vector<std::shared_ptr<ReadOnlyAttribute>> fROFactory::getReadOnlyAttributes(
    const std::string& froName) const {
    std::vector<std::shared_ptr<ReadOnlyAttribute>> found;
    const auto range = readOnlyAttributes.equal_range(froName);
    for (auto entry = range.first; entry != range.second; ++entry) {
        found.push_back(entry->second);
    }
    return found;
}

void fROFactory::removeAllReadOnlyAttributes() {
    readOnlyAttributes.clear();
}
