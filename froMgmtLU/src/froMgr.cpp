#include "froMgr.h"

#include "AttributeTypes.h"
#include "FroIdGuard.h"
#include "FroIdHandler.h"
#include "LdnManager.h"
#include "LdnNode.h"
#include "LdnText.h"
#include "fRO.h"
#include "fROFactory.h"
#include "traceGroups.h"
#include "froMgmtTrace.h"
#include "xmlTree.h"

#include <algorithm>
#include <cinttypes>

namespace {

froMgr* storeInstance = nullptr;

std::uintptr_t keyOf(const std::shared_ptr<froMgr::CreationCallback>& callback) {
    return reinterpret_cast<std::uintptr_t>(callback.get());
}

}  // namespace

froMgr& froMgr::instance() {
    if (storeInstance == nullptr) {
        storeInstance = new froMgr();
    }
    return *storeInstance;
}

void froMgr::destroyInstance() {
    // The instance stays reachable while its destructor runs: fROs that go ask it for
    // their parents (disconnectFromParent) and find an emptied store.
    delete storeInstance;
    storeInstance = nullptr;
}

froMgr::froMgr() : traces(&froMgmtTrace(), &traceGroups::Ft_CONFIG) {
    // New nodes find no fRO here: the store keys its fROs by handles on their nodes,
    // so a node that is being made has none. The lookup is what the tree asks for.
    LdnManager::instance().setFroLookup(
        [](const std::string& ldn) { return froMgr::instance().getFroWeak(ldn); });
}

froMgr::~froMgr() {
    clear();
    LdnManager::instance().setFroLookup(LdnManager::FroLookup());
    fROFactory::destroyInstance();
}

std::string froMgr::getSubjectName() const {
    return "froMgr";
}

bool froMgr::LdnOrder::operator()(const Ldn& left, const LdnNode* right) const {
    return left.getOrderIndex() < right->getOrderIndex();
}

bool froMgr::LdnOrder::operator()(const LdnNode* left, const Ldn& right) const {
    return left->getOrderIndex() < right.getOrderIndex();
}

froMgr::Store::const_iterator froMgr::findEntry(const std::string& ldn) const {
    // One hash lookup of the text; the map search then compares integers.
    const LdnNode* node = LdnManager::instance().findNode(ldn);
    if (node == nullptr) {
        return fros.end();
    }
    return fros.find(node);
}

froMgr::Store::const_iterator froMgr::findById(uint32_t completeId) const {
    auto found = fros.end();
    const auto range = idIndex.equal_range(completeId);
    for (auto candidate = range.first; candidate != range.second; ++candidate) {
        const Store::const_iterator entry = candidate->second;
        if (static_cast<uint32_t>(entry->second->getFroId()) != completeId) {
            continue;  // its id was changed while stored: a walk would pass it by too
        }
        if (found == fros.end() || fros.key_comp()(entry->first, found->first)) {
            found = entry;
        }
    }
    return found;
}

void froMgr::indexById(Store::const_iterator entry) {
    idIndex.emplace(static_cast<uint32_t>(entry->second->getFroId()), entry);
}

void froMgr::unindexById(Store::const_iterator entry) {
    const auto range = idIndex.equal_range(static_cast<uint32_t>(entry->second->getFroId()));
    for (auto candidate = range.first; candidate != range.second; ++candidate) {
        if (candidate->second == entry) {
            idIndex.erase(candidate);
            return;
        }
    }
    // Filed under the id it had when stored, which someone has changed since: look
    // everywhere rather than leave the index pointing at an erased entry.
    for (auto candidate = idIndex.begin(); candidate != idIndex.end(); ++candidate) {
        if (candidate->second == entry) {
            idIndex.erase(candidate);
            return;
        }
    }
}

froMgr::Store::const_iterator froMgr::findByMoType(const std::string& moType,
                                                   int32_t externalId) const {
    for (auto entry = fros.begin(); entry != fros.end(); ++entry) {
        if (getMoType(entry->first.getLdnText()) == moType &&
            static_cast<int32_t>(entry->second->getExternalFroId()) == externalId) {
            return entry;
        }
    }
    return fros.end();
}

fRO* froMgr::createMO(const std::string& ldn, uint32_t fROType, int32_t fROId) {
    TRACE(*traces.first, 2, "froMgr::createMO(ldn=\"%s\",fROType=%d,fROId=%d)", ldn.c_str(),
          static_cast<int>(fROType), fROId);
    if (findEntry(ldn) != fros.end()) {
        TRACE(*traces.second, 8, "createMO: fRO already exists fRO={%s}", ldn.c_str());
        return nullptr;
    }
    if (checkExternalFroId(fROType, fROId) != FroIdRefusal::none) {
        // An id that could never be freed again, or none left to give.
        TRACE(*traces.first, 1, "createMO: no usable id %d for fROType=%d fRO={%s}", fROId,
              static_cast<int>(fROType), ldn.c_str());
        TRACE(*traces.second, 8, "fRO %s NOT created", ldn.c_str());
        return nullptr;
    }
    std::shared_ptr<fRO> fro =
        fROFactory::instance().createFRO(ldn, fROType, fROId, false, true, true);
    bool stored = false;
    if (fro) {
        Ldn key = LdnManager::instance().insertLdn(ldn, fro);
        if (!key.isEmpty()) {
            auto entry = fros.find(key);
            if (entry != fros.end()) {
                unindexById(entry);
                entry->second = fro;
            } else {
                entry = fros.emplace(std::move(key), fro).first;
            }
            indexById(entry);
            stored = true;
        }
    }
    if (!stored) {
        TRACE(*traces.second, 8, "fRO %s NOT created", ldn.c_str());
        fROFactory::instance().deleteFRO(fro);
        return nullptr;
    }
    fro->connectToParent();
    fro->setSelf(fro);
    TRACE(*traces.second, 8, "fRO %s created", ldn.c_str());
    setState(stateCreated);
    notify(1);
    // A subscriber may subscribe or unsubscribe from its callback: walk a copy.
    const auto subscribers = creationSubscribers;
    for (const auto& entry : subscribers) {
        if (std::shared_ptr<CreationCallback> callback = entry.second.lock()) {
            (*callback)(std::weak_ptr<fRO>(fro));
        } else {
            creationSubscribers.erase(entry.first);
        }
    }
    return fro.get();
}

bool froMgr::deleteMO(const std::string& ldn) {
    TRACE(*traces.first, 2, "froMgr::deleteMO(ldn=\"%s\")", ldn.c_str());
    auto entry = findEntry(ldn);
    if (entry == fros.end()) {
        TRACE(*traces.second, 8, "deleteMO: fRO does not exist fRO={%s}", ldn.c_str());
        return false;
    }
    std::shared_ptr<fRO> fro = entry->second;
    LdnManager::instance().invalidateNode(entry->first.getNode());
    // The key's release may take the node and its unused ancestors out of the tree.
    unindexById(entry);
    fros.erase(entry);
    fro->prepareForDeletion();
    fROFactory::instance().deleteFRO(fro);
    TRACE(*traces.second, 8, "fRO %s deleted", ldn.c_str());
    setState(stateDeleted);
    notify(1);
    return true;
}

bool froMgr::saveMO(const std::string& ldn) {
    TRACE(*traces.first, 2, "froMgr::saveMO(ldn=\"%s\")", ldn.c_str());
    auto entry = findEntry(ldn);
    if (entry == fros.end()) {
        TRACE(*traces.first, 1, "No FRO found with ldn=\"%s\"", ldn.c_str());
        return false;
    }
    const fRO& fro = *entry->second;
    Attributes attributes;
    for (const std::string& name : fro.getAttributeNames()) {
        Attribute attribute = fro.getAttribute(name);
        if (!attribute.isEmpty()) {
            attributes.push_back(std::move(attribute));
        }
    }
    if (attributes.empty()) {
        TRACE(*traces.first, 8, "No attributes to save for FRO with ldn=\"%s\"", ldn.c_str());
        return false;
    }
    return saveAttributes(fro.getExternalFroId(), fro.getFroType(), attributes, true);
}

bool froMgr::exists(const std::string& ldn) const {
    return findEntry(ldn) != fros.end();
}

void froMgr::clear() {
    TRACE(*traces.first, 2, "froMgr::clear()");
    Store going;
    going.swap(fros);
    idIndex.clear();
    LdnManager::instance().invalidateAll();
    TRACE(*traces.second, 8, "Size before callback: %d",
          static_cast<int>(creationSubscribers.size()));
    // Every listener hears of every deletion before the first object goes.
    for (auto& entry : going) {
        TRACE(*traces.second, 8, "Clearing fRO-listener for fRO with ldn = %s",
              entry.first.getLdnText().c_str());
        entry.second->prepareForDeletion();
    }
    for (auto& entry : going) {
        TRACE(*traces.second, 8, "Clearing fRO with ldn = %s", entry.first.getLdnText().c_str());
        fROFactory::instance().deleteFRO(entry.second);
    }
}

void froMgr::observer_update() {
    TRACE(*traces.first, 2, "froMgr::observer_update()");
    for (auto& entry : fros) {
        entry.second->clearChanges();
    }
    notify(0);
    setState(stateClean);
}

void froMgr::dump(std::ostream& out) const {
    out << "=========== froMgr.dump ==================\n";
    out << "Number of stored fRO's: " << fros.size() << "\n";
    out << "==========================================\n";
    LdnManager::instance().dump(out);
}

// ---- Lookups ----

fRO* froMgr::getFro(const std::string& ldn) const {
    auto entry = findEntry(ldn);
    return entry != fros.end() ? entry->second.get() : nullptr;
}

std::weak_ptr<fRO> froMgr::getFroWeak(const std::string& ldn) const {
    return getFroShared(ldn);
}

std::shared_ptr<fRO> froMgr::getFroShared(const std::string& ldn) const {
    auto entry = findEntry(ldn);
    return entry != fros.end() ? entry->second : std::shared_ptr<fRO>();
}

fRO* froMgr::getFro(uint32_t froType, int32_t externalId) const {
    return getFroShared(froType, externalId).get();
}

std::weak_ptr<fRO> froMgr::getFroWeak(uint32_t froType, int32_t externalId) const {
    return getFroShared(froType, externalId);
}

std::shared_ptr<fRO> froMgr::getFroShared(uint32_t froType, int32_t externalId) const {
    auto entry = findById(FroIdHandler::instance().transformExternalFroIdToInternal(
        froType, static_cast<uint32_t>(externalId)));
    return entry != fros.end() ? entry->second : std::shared_ptr<fRO>();
}

fRO* froMgr::getFro(const std::string& moType, int32_t externalId) const {
    return getFroShared(moType, externalId).get();
}

std::weak_ptr<fRO> froMgr::getFroWeak(const std::string& moType, int32_t externalId) const {
    return getFroShared(moType, externalId);
}

std::shared_ptr<fRO> froMgr::getFroShared(const std::string& moType, int32_t externalId) const {
    auto entry = findByMoType(moType, externalId);
    return entry != fros.end() ? entry->second : std::shared_ptr<fRO>();
}

std::string froMgr::getLdn(int32_t fROId) const {
    auto entry = findById(static_cast<uint32_t>(fROId));
    return entry != fros.end() ? entry->first.getLdnText() : std::string();
}

std::string froMgr::getLdn(uint32_t froType, int32_t fROId) const {
    auto entry = findById(FroIdHandler::instance().transformExternalFroIdToInternal(
        froType, static_cast<uint32_t>(fROId)));
    return entry != fros.end() ? entry->first.getLdnText() : std::string();
}

std::string froMgr::getLdn(const std::string& moType, int32_t fROId) const {
    auto entry = findByMoType(moType, fROId);
    return entry != fros.end() ? entry->first.getLdnText() : std::string();
}

// ---- Lists ----

std::size_t froMgr::getMOs(std::vector<std::string>& out) const {
    out.clear();
    out.reserve(fros.size());
    for (const auto& entry : fros) {
        out.push_back(entry.first.getLdnText());
    }
    return out.size();
}

std::size_t froMgr::getSpecificMOs(std::vector<std::string>& out, const std::string& moType) const {
    out.clear();
    for (const auto& entry : fros) {
        const std::string ldn = entry.first.getLdnText();
        if (getMoType(ldn) == moType) {
            out.push_back(ldn);
            continue;
        }
        // A type with no fRO of its own that stands above fROs is listed too.
        for (std::string above = getParentLdn(ldn); !above.empty(); above = getParentLdn(above)) {
            if (getMoType(above) == moType) {
                if (std::find(out.begin(), out.end(), above) == out.end()) {
                    out.push_back(above);
                }
                break;
            }
        }
    }
    return out.size();
}

bool froMgr::getChildren(const std::string& ldn, std::vector<Ldn>& out,
                         const std::string& moType) const {
    TRACE(*traces.first, 2, "froMgr::getChildren (NEW) (ldn=\"%s\", moType=\"%s\")", ldn.c_str(),
          moType.c_str());
    out.clear();
    const Ldn own(ldn);
    if (!own.isEmpty()) {
        for (Ldn& below : own.getChildren(moType)) {
            if (below.hasFro()) {
                out.push_back(std::move(below));
            }
        }
    }
    if (moType.empty()) {
        out.insert(out.begin(), own);
    }
    return !out.empty();
}

bool froMgr::getChildren(const std::string& ldn, std::vector<std::string>& out, int aScope,
                         const std::string& moType) const {
    TRACE(*traces.first, 2, "froMgr::getChildren(ldn=\"%s\",aScope=%d, moType=\"%s\")", ldn.c_str(),
          aScope, moType.c_str());
    out.clear();
    if (moType.empty()) {
        out.push_back(ldn);
    }
    const Ldn own(ldn);
    if (!own.isEmpty()) {
        for (const Ldn& below : own.getChildren(moType)) {
            if (below.hasFro()) {
                out.push_back(below.getLdnText());
            }
        }
    }
    return !out.empty();
}

namespace {
fRO* resultOf(const std::shared_ptr<fRO>& fro, fRO*) {
    return fro.get();
}
std::shared_ptr<fRO> resultOf(const std::shared_ptr<fRO>& fro, std::shared_ptr<fRO>) {
    return fro;
}
}  // namespace

template <class Result>
std::vector<Result> froMgr::collectFros(const std::string& moType, const std::string* attributeName,
                                        const std::string& attributeValue) const {
    TRACE(*traces.first, 2,
          "froMgr::findFro(moType=\"%s\", attributeName=\"%s\", attributeValue=\"%s\")",
          moType.c_str(), attributeName != nullptr ? attributeName->c_str() : "",
          attributeValue.c_str());
    std::vector<Result> found;
    for (const auto& entry : fros) {
        if (getMoType(entry.first.getLdnText()) != moType) {
            continue;
        }
        if (attributeName != nullptr &&
            entry.second->getAttrValue(*attributeName) != attributeValue) {
            continue;
        }
        found.push_back(resultOf(entry.second, Result()));
    }
    return found;
}

std::vector<fRO*> froMgr::findFro(const std::string& moType) const {
    return collectFros<fRO*>(moType, nullptr, std::string());
}

std::vector<std::shared_ptr<fRO>> froMgr::findFroShared(const std::string& moType) const {
    return collectFros<std::shared_ptr<fRO>>(moType, nullptr, std::string());
}

std::vector<fRO*> froMgr::findFro(const std::string& moType, const std::string& attributeName,
                                  const std::string& attributeValue) const {
    return collectFros<fRO*>(moType, &attributeName, attributeValue);
}

std::vector<std::shared_ptr<fRO>> froMgr::findFroShared(const std::string& moType,
                                                        const std::string& attributeName,
                                                        const std::string& attributeValue) const {
    return collectFros<std::shared_ptr<fRO>>(moType, &attributeName, attributeValue);
}

template <class Result>
std::vector<Result> froMgr::collectMoRefs(const std::string& ldn) const {
    TRACE(*traces.first, 2, "froMgr::findSpMoRef(ldn=\"%s\")", ldn.c_str());
    std::vector<Result> found;
    for (const auto& entry : fros) {
        const fRO& fro = *entry.second;
        for (const std::string& name : fro.getAttributeNames()) {
            const std::string type = fro.getAttrType(name);
            if (type == attrType::MOREF) {
                const xmlTree tree(name, type, fro.getAttrValue(name));
                std::string target;
                if (tree.getValue(target, "ldn") && target == ldn) {
                    found.push_back(resultOf(entry.second, Result()));
                    break;  // on with the next fRO
                }
            } else if (type == attrType::ARRAY) {
                const xmlTree tree(name, type, fro.getAttrValue(name));
                uint32_t count = 0;
                if (!tree.getSize(count)) {
                    TRACE(*traces.first, 8,
                          "Unable to determine the number of array elements in %s", name.c_str());
                    continue;
                }
                for (uint32_t index = 0; index < count; ++index) {
                    std::string target;
                    if (tree.getValue(target, std::to_string(index), "ldn") && target == ldn) {
                        // On with the fRO's next attribute: two arrays holding the LDN
                        // take the fRO twice.
                        found.push_back(resultOf(entry.second, Result()));
                        break;
                    }
                }
            }
        }
    }
    return found;
}

std::vector<fRO*> froMgr::findSpMoRef(const std::string& ldn) const {
    return collectMoRefs<fRO*>(ldn);
}

std::vector<std::shared_ptr<fRO>> froMgr::findSpMoRefShared(const std::string& ldn) const {
    return collectMoRefs<std::shared_ptr<fRO>>(ldn);
}

// ---- Attribute access by LDN ----

std::string froMgr::getMoAttribute(const std::string& ldn, const std::string& AttrName) const {
    const fRO* fro = getFro(ldn);
    return fro != nullptr ? fro->getAttrValue(AttrName) : std::string();
}

bool froMgr::setMoAttribute(const std::string& ldn, const std::string& AttrName,
                            const std::string& AttrValue) {
    TRACE(*traces.first, 2, "froMgr::setMoAttribute(ldn=\"%s\",AttrName=\"%s\",AttrValue=\"%s\")",
          ldn.c_str(), AttrName.c_str(), AttrValue.c_str());
    std::shared_ptr<fRO> fro = getFroShared(ldn);
    if (!fro) {
        TRACE(*traces.second, 8, "setAttribute: MO={%s} not found", ldn.c_str());
        return false;
    }
    const std::string oldValue = getMoAttribute(ldn, AttrName);
    if (!fro->setAttrValue(AttrName, AttrValue)) {
        TRACE(*traces.second, 8, "setAttribute: Attribute=%s could not be set in MO={%s}",
              AttrName.c_str(), ldn.c_str());
        return false;
    }
    // Told even when the value did not change.
    fro->attributeChanged(AttrName, oldValue, AttrValue);
    setState(stateChanged);
    notify(1);
    return true;
}

Attribute froMgr::getAttribute(const std::string& ldn, const std::string& name) const {
    const fRO* fro = getFro(ldn);
    return fro != nullptr ? fro->getAttribute(name) : Attribute();
}

bool froMgr::setAttrValue(const std::string& ldn, const std::string& name,
                          const std::string& value) {
    fRO* fro = getFro(ldn);
    return fro != nullptr && fro->setAttrValue(name, value);
}

bool froMgr::setAttrValue(const std::string& ldn, const std::string& name, const char* value) {
    fRO* fro = getFro(ldn);
    return fro != nullptr && fro->setAttrValue(name, value);
}

AttrNameValue* froMgr::getAttributeToBeObserved(const std::string& ldn,
                                                const std::string& AttrName) {
    fRO* fro = getFro(ldn);
    return fro != nullptr ? fro->findAttribute(AttrName) : nullptr;
}

bool froMgr::setS32AttrValue(const std::string& ldn, const std::string& name, int32_t value) {
    TRACE(*traces.first, 2, "froMgr::setS32AttrValue(ldn=\"%s\", name=\"%s\", value=\"%d\")",
          ldn.c_str(), name.c_str(), value);
    fRO* fro = getFro(ldn);
    return fro != nullptr && fro->setS32AttrValue(name, value);
}

bool froMgr::setS64AttrValue(const std::string& ldn, const std::string& name, int64_t value) {
    TRACE(*traces.first, 2,
          "froMgr::setS64AttrValue(ldn=\"%s\", name=\"%s\", value=\"%" PRId64 "\")", ldn.c_str(),
          name.c_str(), value);
    fRO* fro = getFro(ldn);
    return fro != nullptr && fro->setS64AttrValue(name, value);
}

bool froMgr::setU32AttrValue(const std::string& ldn, const std::string& name, uint32_t value) {
    TRACE(*traces.first, 2, "froMgr::setU32AttrValue(ldn=\"%s\", name=\"%s\", value=\"%u\")",
          ldn.c_str(), name.c_str(), value);
    fRO* fro = getFro(ldn);
    return fro != nullptr && fro->setU32AttrValue(name, value);
}

bool froMgr::setStringAttrValue(const std::string& ldn, const std::string& name,
                                const std::string& value) {
    TRACE(*traces.first, 2, "froMgr::setStringAttrValue(ldn=\"%s\", name=\"%s\", value=\"%s\")",
          ldn.c_str(), name.c_str(), value.c_str());
    fRO* fro = getFro(ldn);
    return fro != nullptr && fro->setStringAttrValue(name, value);
}

bool froMgr::setMoRefAttrValue(const std::string& ldn, const std::string& name,
                               const std::string& value) {
    TRACE(*traces.first, 2, "froMgr::setMoRefAttrValue(ldn=\"%s\", name=\"%s\", value=\"%s\")",
          ldn.c_str(), name.c_str(), value.c_str());
    fRO* fro = getFro(ldn);
    return fro != nullptr && fro->setMoRefAttrValue(name, value);
}

bool froMgr::setStructAttrValue(const std::string& ldn, const std::string& name,
                                const std::string& value) {
    TRACE(*traces.first, 2, "froMgr::setStructAttrValue(ldn=\"%s\", name=\"%s\", value=\"%s\")",
          ldn.c_str(), name.c_str(), value.c_str());
    fRO* fro = getFro(ldn);
    return fro != nullptr && fro->setStructAttrValue(name, value);
}

bool froMgr::setArrayAttrValue(const std::string& ldn, const std::string& name,
                               const std::string& value) {
    TRACE(*traces.first, 2, "froMgr::setArrayAttrValue(ldn=\"%s\", name=\"%s\", value=\"%s\")",
          ldn.c_str(), name.c_str(), value.c_str());
    fRO* fro = getFro(ldn);
    return fro != nullptr && fro->setArrayAttrValue(name, value);
}

int32_t froMgr::getS32AttrValue(const std::string& ldn, const std::string& name) const {
    TRACE(*traces.first, 2, "froMgr::getS32AttrValue(ldn=\"%s\", name=\"%s\")", ldn.c_str(),
          name.c_str());
    const fRO* fro = getFro(ldn);
    return fro != nullptr ? fro->getS32AttrValue(name) : 0;
}

int64_t froMgr::getS64AttrValue(const std::string& ldn, const std::string& name) const {
    TRACE(*traces.first, 2, "froMgr::getS64AttrValue(ldn=\"%s\", name=\"%s\")", ldn.c_str(),
          name.c_str());
    const fRO* fro = getFro(ldn);
    return fro != nullptr ? fro->getS64AttrValue(name) : 0;
}

uint32_t froMgr::getU32AttrValue(const std::string& ldn, const std::string& name) const {
    TRACE(*traces.first, 2, "froMgr::getU32AttrValue(ldn=\"%s\", name=\"%s\")", ldn.c_str(),
          name.c_str());
    const fRO* fro = getFro(ldn);
    return fro != nullptr ? fro->getU32AttrValue(name) : 0;
}

std::string froMgr::getStringAttrValue(const std::string& ldn, const std::string& name) const {
    TRACE(*traces.first, 2, "froMgr::getStringAttrValue(ldn=\"%s\", name=\"%s\")", ldn.c_str(),
          name.c_str());
    const fRO* fro = getFro(ldn);
    return fro != nullptr ? fro->getStringAttrValue(name) : std::string();
}

std::string froMgr::getMoRefAttrValue(const std::string& ldn, const std::string& name) const {
    TRACE(*traces.first, 2, "froMgr::getMoRefAttrValue(ldn=\"%s\", name=\"%s\")", ldn.c_str(),
          name.c_str());
    const fRO* fro = getFro(ldn);
    return fro != nullptr ? fro->getMoRefAttrValue(name) : std::string();
}

std::string froMgr::getStructAttrValue(const std::string& ldn, const std::string& name) const {
    TRACE(*traces.first, 2, "froMgr::getStructAttrValue(ldn=\"%s\", name=\"%s\")", ldn.c_str(),
          name.c_str());
    const fRO* fro = getFro(ldn);
    return fro != nullptr ? fro->getStructAttrValue(name) : std::string();
}

std::string froMgr::getArrayAttrValue(const std::string& ldn, const std::string& name) const {
    TRACE(*traces.first, 2, "froMgr::getArrayAttrValue(ldn=\"%s\", name=\"%s\")", ldn.c_str(),
          name.c_str());
    const fRO* fro = getFro(ldn);
    return fro != nullptr ? fro->getArrayAttrValue(name) : std::string();
}

// ---- Creation subscribers ----

void froMgr::subscribeCreation(const std::weak_ptr<CreationCallback>& callback) {
    if (std::shared_ptr<CreationCallback> alive = callback.lock()) {
        creationSubscribers[keyOf(alive)] = callback;
    } else {
        TRACE(*traces.first, 0,
              "Subscribe to fRO creation failed because the provided callback has expired.");
    }
}

void froMgr::unsubscribeCreation(const std::weak_ptr<CreationCallback>& callback) {
    std::shared_ptr<CreationCallback> alive = callback.lock();
    if (!alive) {
        TRACE(*traces.first, 0,
              "Unsubscribe to fRO creation failed because the provided callback has expired.");
        return;
    }
    if (creationSubscribers.erase(keyOf(alive)) == 0) {
        TRACE(*traces.first, 0, "Attempt to remove subscriber that is not in froMgr.");
    }
}

// ---- Registrations ----

void froMgr::regMOType(const std::string& motype, fRO* (*allocate)()) {
    fROFactory::instance().regMOType(motype, allocate);
}

std::shared_ptr<MOCRegistrationItem> froMgr::createMOTypeRegistration(
    const std::string& motype, const std::string& froTypeName, int32_t froTypeId,
    const std::weak_ptr<fROAllocator>& allocator) {
    return fROFactory::instance().createMOTypeRegistration(motype, froTypeName, froTypeId,
                                                           allocator);
}

void froMgr::deleteMOCRegistration(const std::string& motype) {
    fROFactory::instance().deleteMOCRegistration(motype);
}

void froMgr::deleteMOCRegistration(int32_t fROTypeId) {
    fROFactory::instance().deleteMOCRegistration(fROTypeId);
}

std::shared_ptr<MOCRegistrationItem> froMgr::findMOCRegistration(const std::string& motype) const {
    return fROFactory::instance().findMOCRegistration(motype);
}

std::shared_ptr<MOCRegistrationItem> froMgr::findMOCRegistration(int32_t fROTypeId) const {
    return fROFactory::instance().findMOCRegistration(fROTypeId);
}

std::vector<std::shared_ptr<MOCRegistrationItem>> froMgr::getMOCRegistrations() const {
    return fROFactory::instance().getMOCRegistrations();
}

void froMgr::clearMOCRegistrations() {
    fROFactory::instance().clearMOCRegistrations();
}

std::shared_ptr<ReadOnlyAttribute> froMgr::addReadOnlyAttribute(const std::string& froName,
                                                                const std::string& name,
                                                                const std::string& type,
                                                                const std::string& value) {
    return fROFactory::instance().addReadOnlyAttribute(froName, name, type, value);
}

void froMgr::deleteReadOnlyAttribute(const std::string& froName, const std::string& name) {
    fROFactory::instance().deleteReadOnlyAttribute(froName, name);
}

std::shared_ptr<ReadOnlyAttribute> froMgr::getReadOnlyAttribute(const std::string& froName,
                                                                const std::string& name) const {
    return fROFactory::instance().getReadOnlyAttribute(froName, name);
}

std::vector<std::shared_ptr<ReadOnlyAttribute>> froMgr::getReadOnlyAttributes(
    const std::string& froName) const {
    return fROFactory::instance().getReadOnlyAttributes(froName);
}

void froMgr::removeAllReadOnlyAttributes() {
    fROFactory::instance().removeAllReadOnlyAttributes();
}

// ---- Database ----

bool froMgr::saveAttributes(uint32_t froId, uint32_t froType, const Attributes& attributes,
                            bool onlyPersistent) {
    if (!attributeWriter) {
        TRACE(*traces.first, 1, "froMgr::saveAttributes: no database attribute writer installed");
        return false;
    }
    // Outside any transaction: the write is applied at once.
    return attributeWriter(0, froId, froType, attributes, onlyPersistent);
}
