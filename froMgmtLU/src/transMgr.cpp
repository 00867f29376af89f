#include "transMgr.h"

#include "AttributeTypes.h"
#include "FroIdGuard.h"
#include "FroIdHandler.h"
#include "LdnText.h"
#include "fRO.h"
#include "fROFactory.h"
#include "froMgmtTrace.h"
#include "froMgr.h"

#include <set>
#include <sstream>
#include <utility>

namespace {

transMgr* managerInstance = nullptr;

const char kTransState[] = "TransState";

// The exit line at level 3 that every public operation writes, on every way out.
class ExitTrace {
  public:
    ExitTrace(const TraceHandle& traceHandle, const char* operationName)
        : handle(traceHandle), operation(operationName) {}
    ~ExitTrace() { TRACE(handle, 3, "Leaving transMgr::%s", operation); }
    ExitTrace(const ExitTrace&) = delete;
    ExitTrace& operator=(const ExitTrace&) = delete;

  private:
    const TraceHandle& handle;
    const char* operation;
};

}  // namespace

transMgr& transMgr::instance() {
    if (managerInstance == nullptr) {
        managerInstance = new transMgr();
    }
    return *managerInstance;
}

void transMgr::destroyInstance() {
    delete managerInstance;
    managerInstance = nullptr;
}

transMgr::transMgr()
    : stateCreate("CREATE"), stateSet("SET"), stateDelete("DELETE"), trace(&froMgmtTrace()) {}

transMgr::~transMgr() {
    clear();
}

// ---- Dictionaries ----

LdnDictionary* transMgr::getLdnDictionary(int32_t transactionId) {
    auto found = transactions.find(transactionId);
    return found != transactions.end() ? found->second.get() : nullptr;
}

LdnDictionary* transMgr::createLdnDictionary(int32_t transactionId) {
    std::unique_ptr<LdnDictionary>& dictionary = transactions[transactionId];
    if (!dictionary) {
        dictionary = std::make_unique<LdnDictionary>();
    }
    return dictionary.get();
}

bool transMgr::removeLdnDictionary(int32_t transactionId) {
    auto found = transactions.find(transactionId);
    if (found == transactions.end()) {
        TRACE(*trace, 8,
              "Cannot remove ldnDict associated with transactionId %d, it does not exist (either "
              "no fROs has been added in the transaction or transaction does not exist)",
              transactionId);
        return true;
    }
    // Out of the map before the shadows go: whatever their going sets off finds the
    // transaction ended.
    std::unique_ptr<LdnDictionary> dictionary = std::move(found->second);
    transactions.erase(found);
    froMgr& store = froMgr::instance();
    for (auto& entry : *dictionary) {
        if (fRO* committed = store.getFro(entry.first)) {
            committed->setTransactionId(0);
        }
        deleteDummyfRO(entry.second, entry.first);
    }
    return true;
}

std::shared_ptr<fRO> transMgr::getTransactionFRO(const std::string& ldn, int32_t& transactionId) {
    for (auto& transaction : transactions) {
        auto found = transaction.second->find(ldn);
        if (found != transaction.second->end()) {
            transactionId = transaction.first;
            return found->second;
        }
    }
    transactionId = -1;
    return std::shared_ptr<fRO>();
}

bool transMgr::insertFRO(int32_t transactionId, const std::string& ldn,
                         const std::shared_ptr<fRO>& fro) {
    int32_t holder = -1;
    if (getTransactionFRO(ldn, holder)) {
        TRACE(*trace, 1,
              "Cannot insert fRO %s into transaction, it is already in an transaction with ID %d",
              ldn.c_str(), holder);
        return false;
    }
    (*createLdnDictionary(transactionId))[ldn] = fro;
    return true;
}

bool transMgr::removeFRO(int32_t transactionId, const std::string& ldn) {
    LdnDictionary* dictionary = getLdnDictionary(transactionId);
    if (dictionary == nullptr) {
        TRACE(*trace, 1, "removeFRO: Couldn't find transaction %d", transactionId);
        return false;
    }
    auto found = dictionary->find(ldn);
    if (found == dictionary->end()) {
        TRACE(*trace, 1,
              "Tried to remove fRO with ldn \"%s\" in transaction %d though it does not exist in "
              "this transaction",
              ldn.c_str(), transactionId);
        return false;
    }
    // Erased before the shadow goes, so that nothing its going sets off finds it.
    std::shared_ptr<fRO> shadow = std::move(found->second);
    dictionary->erase(found);
    deleteDummyfRO(shadow, ldn);
    return true;  // an emptied dictionary stays until commit or rollback
}

void transMgr::deleteDummyfRO(std::shared_ptr<fRO>& fro, const std::string& /*ldn*/) {
    if (!fro) {
        return;
    }
    // A shadow that shares its committed fRO's id leaves it alone; one that holds an id
    // of its own frees it in its destructor.
    if (ownIdShadows.erase(fro.get()) == 0) {
        fro->setFroId(-1);
    }
    fROFactory::instance().deleteFRO(fro);
}

// ---- Shadows ----

void transMgr::setTransState(fRO* fro, const std::string& state) {
    if (fro == nullptr) {
        TRACE(*trace, 1, "Pointer to fRO is NULL, cannot read TransState");
        return;
    }
    if (fro->hasAttribute(kTransState)) {
        if (!fro->setStringAttrValue(kTransState, state)) {
            TRACE(*trace, 0, "Failed to set TransState on fRO");
        }
    } else {
        fro->addAttribute(kTransState, state, attrType::STRING);
    }
}

std::string transMgr::getTransState(const fRO* fro) {
    if (fro == nullptr) {
        TRACE(*trace, 1, "Pointer to fRO is NULL, cannot read TransState");
        return std::string();
    }
    return fro->getStringAttrValue(kTransState);
}

// A shadow in CREATE is born with the attributes its class declares, at their defaults.
// A request's value for one of them takes the default's place, in the declared type, so
// that the committed fRO holds what the database row holds; any other attribute is
// added. The first value of a name counts, and "TransState" stays the transaction's.
void transMgr::addfROAttributes(fRO& fro, const Attributes& attributes) {
    std::set<std::string> given;
    for (const Attribute& attribute : attributes) {
        if (!given.insert(attribute.name).second || attribute.name == kTransState) {
            continue;
        }
        const std::string declaredType = fro.getAttrType(attribute.name);
        if (declaredType.empty()) {
            fro.addAttribute(attribute.name, attribute.value, attribute.type);
            continue;
        }
        if (declaredType != attribute.type) {
            TRACE(*trace, 8, "Attribute %s is declared as %s, its value given as %s is kept as %s",
                  attribute.name.c_str(), declaredType.c_str(), attribute.type.c_str(),
                  declaredType.c_str());
        }
        fro.setAttrValue(attribute.name, attribute.value);
    }
}

bool transMgr::createAndInsertFRO(int32_t transactionId, const std::string& ldn,
                                  const Attributes& attributes, uint32_t froType,
                                  int32_t& externalId, const std::string& state) {
    const bool creating = state == stateCreate;
    std::shared_ptr<fRO> shadow =
        fROFactory::instance().createFRO(ldn, froType, externalId, true, creating, creating);
    if (!shadow) {
        TRACE(*trace, 8, "TR: Could not create fro in FroFactory for %s", ldn.c_str());
        return false;
    }
    if (creating) {
        ownIdShadows.insert(shadow.get());
    }
    setTransState(shadow.get(), state);
    shadow->setTransactionId(static_cast<uint32_t>(transactionId));
    fRO* committed = froMgr::instance().getFro(ldn);
    const uint32_t committedTransaction = committed != nullptr ? committed->getTransactionId() : 0;
    if (committed != nullptr) {
        committed->setTransactionId(static_cast<uint32_t>(transactionId));
    }
    addfROAttributes(*shadow, attributes);
    if (insertFRO(transactionId, ldn, shadow)) {
        externalId = static_cast<int32_t>(shadow->getExternalFroId());
        TRACE(*trace, 8, "Creation of fRO in state %s went OK", state.c_str());
        return true;
    }
    TRACE(*trace, 1, "Creation of fRO: FAILED - Could not insert fRO into dictionary");
    if (committed != nullptr) {
        committed->setTransactionId(committedTransaction);
    }
    deleteDummyfRO(shadow, ldn);
    return false;
}

bool transMgr::copyAttributes(const fRO& source, fRO& goal, bool withAdding) {
    bool result = true;
    const std::vector<std::string> goalNames = goal.getAttributeNames();
    for (const std::string& name : source.getAttributeNames()) {
        if (name == kTransState) {
            continue;  // what the shadow is to become is no attribute of the object
        }
        const std::string type = source.getAttrType(name);
        const std::string value = source.getAttrValue(name);
        bool inGoal = false;
        for (const std::string& goalName : goalNames) {
            if (goalName != name) {
                continue;
            }
            inGoal = true;
            const std::string goalType = goal.getAttrType(goalName);
            if (goalType == type) {
                goal.setAttrValue(goalName, value);
            } else {
                TRACE(*trace, 1,
                      "Cannot copy attribute %s of type %s, goal attribute is of type %s",
                      name.c_str(), type.c_str(), goalType.c_str());
                result = false;
            }
        }
        if (!inGoal) {
            if (withAdding) {
                goal.addAttribute(name, value, type);
            } else {
                TRACE(*trace, 8,
                      "Attribute did not exist in goal fRO, and withAdding==false, will not add "
                      "attribute");
                result = false;
            }
        }
    }
    return result;
}

// ---- Changes within a transaction ----

bool transMgr::createMO(int32_t transactionId, const std::string& ldn, const Attributes& attributes,
                        uint32_t froType, int32_t& externalId) {
    TRACE(*trace, 2, "transMgr::createMO(transactionId=%d,ldn=\"%s\",fROType=%d,externalId=%d)",
          transactionId, ldn.c_str(), static_cast<int>(froType), externalId);
    ExitTrace exit(*trace, "createMO");
    TRACE(*trace, 8, "Creating fRO %s in transaction %d", ldn.c_str(), transactionId);
    if (transactionId == 0) {
        TRACE(*trace, 1, "Create MO without transaction is not allowed ldn = \"%s\"", ldn.c_str());
        return false;
    }
    switch (checkExternalFroId(froType, externalId)) {
        case FroIdRefusal::outOfRange:
            TRACE(*trace, 1, "Create MO with external id %d above %d is not allowed ldn = \"%s\"",
                  externalId, kHighestExternalFroId, ldn.c_str());
            return false;
        case FroIdRefusal::exhausted:
            TRACE(*trace, 1, "Create MO refused, every id of fROType %d is taken ldn = \"%s\"",
                  static_cast<int>(froType), ldn.c_str());
            return false;
        case FroIdRefusal::none:
            break;
    }
    int32_t holder = -1;
    std::shared_ptr<fRO> shadow = getTransactionFRO(ldn, holder);
    froMgr& store = froMgr::instance();
    if (!shadow) {
        TRACE(*trace, 8, "createMO(): %s was not part of a transaction", ldn.c_str());
        if (store.exists(ldn)) {
            TRACE(*trace, 1, "fRO with ldn \"%s\" exists, it cannot be created", ldn.c_str());
            return false;
        }
        return createAndInsertFRO(transactionId, ldn, attributes, froType, externalId, stateCreate);
    }
    const std::string state = getTransState(shadow.get());
    if (state != stateDelete) {
        TRACE(*trace, 1,
              "Could not add fRO %s, it already exists and is not in state DELETE but state %s",
              ldn.c_str(), state.c_str());
        return false;
    }
    shadow.reset();
    // With the caller's id: a shadow in DELETE of another transaction stays, and the
    // create fails.
    if (!removeFRO(transactionId, ldn)) {
        TRACE(*trace, 1, "Recreation of deleted fRO: FAILED - Could not insert recreated fRO");
        return false;
    }
    if (createAndInsertFRO(transactionId, ldn, attributes, froType, externalId, stateCreate)) {
        return true;
    }
    // The delete has gone with its shadow: the committed fRO is in no transaction now.
    if (fRO* committed = store.getFro(ldn)) {
        committed->setTransactionId(0);
    }
    return false;
}

bool transMgr::deleteMO(int32_t transactionId, const std::string& ldn) {
    TRACE(*trace, 2, "transMgr::deleteMO(transactionId=%d,ldn=\"%s\")", transactionId, ldn.c_str());
    ExitTrace exit(*trace, "deleteMO");
    TRACE(*trace, 8, "Deleting fRO %s in transaction %d", ldn.c_str(), transactionId);
    if (transactionId == 0) {
        TRACE(*trace, 1, "Delete MO without transaction is not allowed ldn = \"%s\"", ldn.c_str());
        return false;
    }
    int32_t holder = -1;
    std::shared_ptr<fRO> shadow = getTransactionFRO(ldn, holder);
    froMgr& store = froMgr::instance();
    if (!shadow) {
        fRO* committed = store.getFro(ldn);
        if (committed == nullptr) {
            TRACE(*trace, 1, "Cannot delete fRO with ldn \"%s\", it does not exist", ldn.c_str());
            return false;
        }
        int32_t externalId = static_cast<int32_t>(committed->getExternalFroId());
        return createAndInsertFRO(transactionId, ldn, Attributes(), committed->getFroType(),
                                  externalId, stateDelete);
    }
    if (holder != transactionId) {
        TRACE(*trace, 1,
              "Cannot delete fRO with ldn \"%s\" in transaction %d, fro is already part of "
              "transaction %d",
              ldn.c_str(), transactionId, holder);
        return false;
    }
    const std::string state = getTransState(shadow.get());
    if (state == stateSet) {
        setTransState(shadow.get(), stateDelete);
        TRACE(*trace, 8, "Deleting of fRO already existing in transMgr: OK");
        return true;
    }
    if (state == stateCreate) {
        if (!store.exists(ldn)) {
            TRACE(*trace, 8,
                  "Canceling creation of fRO already existing in transMgr by deleting it");
            shadow.reset();
            return removeFRO(transactionId, ldn);
        }
        // A delete and re-create came before: the committed fRO is to go after all.
        TRACE(*trace, 8, "Reset fRO to state DELETE");
        setTransState(shadow.get(), stateDelete);
        return true;
    }
    if (state == stateDelete) {
        TRACE(*trace, 1,
              "Cannot delete fRO with ldn \"%s\" in transaction %d, fro is already deleted in the "
              "same transaction",
              ldn.c_str(), transactionId);
        return false;
    }
    TRACE(*trace, 1, "State not recognized: %s", state.c_str());
    return false;
}

bool transMgr::setMoAttribute(int32_t transactionId, const std::string& ldn,
                              const std::string& name, const std::string& value) {
    TRACE(*trace, 2,
          "transMgr::setMoAttribute(transactionId=%d,ldn=\"%s\",name=\"%s\",value=\"%s\")",
          transactionId, ldn.c_str(), name.c_str(), value.c_str());
    ExitTrace exit(*trace, "setMoAttribute");
    return setMoAttributeText(transactionId, ldn, name, value);
}

bool transMgr::setMoAttribute(int32_t transactionId, const std::string& ldn,
                              const std::string& name, const char* value) {
    return setMoAttribute(transactionId, ldn, name, std::string(value != nullptr ? value : ""));
}

bool transMgr::setMoAttribute(int32_t transactionId, const std::string& ldn,
                              const std::string& name, int32_t value) {
    return setMoAttribute(transactionId, ldn, name, std::to_string(value));
}

bool transMgr::setMoAttribute(int32_t transactionId, const std::string& ldn,
                              const std::string& name, uint32_t value) {
    return setMoAttribute(transactionId, ldn, name, std::to_string(value));
}

bool transMgr::setMoAttributeText(int32_t transactionId, const std::string& ldn,
                                  const std::string& name, const std::string& value) {
    TRACE(*trace, 8, "Setting attribute %s to value %s in fRO %s in transaction %d", name.c_str(),
          value.c_str(), ldn.c_str(), transactionId);
    if (transactionId == 0) {
        TRACE(*trace, 1, "Set MO attribute without transaction is not allowed ldn = \"%s\"",
              ldn.c_str());
        return false;
    }
    int32_t holder = -1;
    std::shared_ptr<fRO> shadow = getTransactionFRO(ldn, holder);
    fRO* committed = froMgr::instance().getFro(ldn);
    if (!shadow) {
        TRACE(*trace, 8, "setMoAttribute(): %s was not found in transMgr", ldn.c_str());
        if (committed == nullptr) {
            TRACE(*trace, 1, "Could not set attribute in fRO with ldn %s, fro does not exist",
                  ldn.c_str());
            return false;
        }
        if (!committed->hasAttribute(name)) {
            TRACE(*trace, 1, "Could not set attribute in fRO with ldn %s, attribute does not exist",
                  ldn.c_str());
            return false;
        }
        int32_t externalId = static_cast<int32_t>(committed->getExternalFroId());
        // The shadow of a committed fRO cannot fail to go in: the LDN is in no
        // transaction, and the shadow needs neither a class nor an id of its own.
        createAndInsertFRO(transactionId, ldn,
                           Attributes{Attribute(name, committed->getAttrType(name), value)},
                           committed->getFroType(), externalId, stateSet);
        return true;
    }
    if (holder != transactionId) {
        TRACE(*trace, 1, "Cannot set attribute of fRO, fRO part of another transaction");
        return false;
    }
    const std::string state = getTransState(shadow.get());
    if (state == stateCreate || state == stateSet) {
        if (shadow->hasAttribute(name)) {
            shadow->setAttrValue(name, value);
            TRACE(*trace, 8, "Updating attribute of fRO already existing in transMgr: %s=%s",
                  name.c_str(), value.c_str());
            return true;
        }
        if (committed == nullptr) {
            TRACE(*trace, 1,
                  "Could not set attribute in fRO with ldn %s, fRO was not found in froMgr, "
                  "transaction inconsistant",
                  ldn.c_str());
            return false;
        }
        if (!committed->hasAttribute(name)) {
            TRACE(*trace, 1, "Could not set attribute in fRO with ldn %s, attribute does not exist",
                  ldn.c_str());
            return false;
        }
        shadow->addAttribute(name, value, committed->getAttrType(name));
        TRACE(*trace, 8, "Adding attribute of fRO not existing in transMgr: %s=%s", name.c_str(),
              value.c_str());
        return true;
    }
    if (state == stateDelete) {
        TRACE(*trace, 1,
              "Could not set attribute in fRO with ldn %s, fRO is deleted in the same transaction",
              ldn.c_str());
        return false;
    }
    TRACE(*trace, 1, "fRO state is not recognized: %s", state.c_str());
    return false;
}

// ---- Reading within a transaction ----

bool transMgr::getMoAttributes(int32_t transactionId, const std::string& ldn,
                               const std::vector<std::string>& names, Attributes& attributes,
                               bool onlyInTx) {
    TRACE(*trace, 2, "transMgr::getMoAttributes(transactionId=%d,ldn=\"%s\",onlyInTx=%d)",
          transactionId, ldn.c_str(), onlyInTx ? 1 : 0);
    ExitTrace exit(*trace, "getMoAttributes");
    TRACE(*trace, 8, "Getting attributes for fRO %s in transaction %d", ldn.c_str(), transactionId);
    froMgr& store = froMgr::instance();
    const fRO* primary = nullptr;
    const fRO* secondary = nullptr;
    if (transactionId == 0) {
        if (onlyInTx) {
            TRACE(*trace, 8,
                  "We are not in a transaction, and onlyInTx == true; therefore do nothing for "
                  "fRO: %s in froMgr",
                  ldn.c_str());
            return false;
        }
        TRACE(*trace, 8, "We are not in a transaction, looking for fRO: %s in froMgr", ldn.c_str());
        primary = store.getFro(ldn);
        return getMoAttributesForFRO(primary, secondary, names, attributes);
    }
    int32_t holder = -1;
    std::shared_ptr<fRO> shadow = getTransactionFRO(ldn, holder);
    if (!shadow) {
        if (onlyInTx) {
            return false;
        }
        TRACE(*trace, 8, "fRO not found in any transaction, looking for fRO in froMgr");
        primary = store.getFro(ldn);
    } else if (holder != transactionId) {
        if (onlyInTx) {
            return true;  // with the list untouched: the caller must take nothing as read
        }
        TRACE(*trace, 8, "fRO not found in the current transaction, looking for fRO in froMgr");
        primary = store.getFro(ldn);
    } else {
        const std::string state = getTransState(shadow.get());
        if (state == stateCreate) {
            TRACE(*trace, 8, "fRO is in state CREATE");
            primary = shadow.get();
        } else if (state == stateSet) {
            TRACE(*trace, 8, "fRO is in state SET");
            primary = shadow.get();
            if (!onlyInTx) {
                secondary = store.getFro(ldn);
            }
        } else if (state == stateDelete) {
            TRACE(*trace, 1, "Cannot get attributes, fRO in state DELETE");
            return false;
        } else {
            TRACE(*trace, 1, "Cannot get attributes, fRO in unknown state");
            return false;
        }
    }
    return getMoAttributesForFRO(primary, secondary, names, attributes);
}

bool transMgr::getMoAttributesForFRO(const fRO* primary, const fRO* secondary,
                                     const std::vector<std::string>& names,
                                     Attributes& attributes) {
    if (primary == nullptr) {
        TRACE(*trace, 8, "No primary fRO given");
        return false;
    }
    // The caller's names, or all of the fRO's when none are given.
    std::vector<std::string> allNames;
    if (names.empty()) {
        fillListOfAttributeNames(primary, secondary, allNames);
    }
    const std::vector<std::string>& wanted = names.empty() ? allNames : names;
    std::vector<std::string> types;
    std::vector<std::string> values;
    types.reserve(wanted.size());
    values.reserve(wanted.size());
    bool result = true;
    for (const std::string& name : wanted) {
        if (findAttributeAndPushBack(primary, name, types, values)) {
            continue;
        }
        if (secondary != nullptr && findAttributeAndPushBack(secondary, name, types, values)) {
            continue;
        }
        TRACE(*trace, 1, "Could not find attribute with name: %s", name.c_str());
        result = false;
    }
    if (!result) {
        return false;  // the caller's list stays as it was
    }
    attributes.clear();
    attributes.reserve(wanted.size());
    for (std::size_t index = 0; index < wanted.size(); ++index) {
        attributes.emplace_back(wanted[index], std::move(types[index]), std::move(values[index]));
    }
    return true;
}

bool transMgr::findAttributeAndPushBack(const fRO* fro, const std::string& name,
                                        std::vector<std::string>& types,
                                        std::vector<std::string>& values) {
    if (!fro->hasAttribute(name)) {
        return false;
    }
    values.push_back(fro->getAttrValue(name));
    types.push_back(fro->getAttrType(name));
    TRACE(*trace, 8, "Retrieval of attribute %s with value: \"%s\"", name.c_str(),
          values.back().c_str());
    return true;
}

void transMgr::fillListOfAttributeNames(const fRO* primary, const fRO* secondary,
                                        std::vector<std::string>& names) {
    if (names.empty()) {
        names = (secondary != nullptr ? secondary : primary)->getAttributeNames();
    }
}

bool transMgr::getAttrValue(int32_t txId, const std::string& ldn, const std::string& name,
                            std::string& value, bool onlyInTx) {
    TRACE(*trace, 2, "transMgr::getAttrValue(txId=%d,ldn=\"%s\",name=\"%s\",onlyInTx=%d)", txId,
          ldn.c_str(), name.c_str(), onlyInTx ? 1 : 0);
    ExitTrace exit(*trace, "getAttrValue");
    Attributes found;
    // An empty list with success is a fRO in another transaction under onlyInTx: absent.
    if (!getMoAttributes(txId, ldn, std::vector<std::string>{name}, found, onlyInTx) ||
        found.empty()) {
        return false;
    }
    value = found.front().value;
    return true;
}

bool transMgr::getAttrValue(int32_t txId, const std::string& ldn, const std::string& name,
                            uint32_t& value, bool onlyInTx) {
    TRACE(*trace, 2, "transMgr::getAttrValue(txId=%d,ldn=\"%s\",name=\"%s\",onlyInTx=%d)", txId,
          ldn.c_str(), name.c_str(), onlyInTx ? 1 : 0);
    ExitTrace exit(*trace, "getAttrValue");
    Attributes found;
    if (!getMoAttributes(txId, ldn, std::vector<std::string>{name}, found, onlyInTx) ||
        found.empty() || found.front().type != attrType::U32) {
        return false;
    }
    // A plain stream extraction: unlike the attribute readers it lets "-1" through
    // as 4294967295.
    std::istringstream stream(found.front().value);
    uint32_t number = 0;
    stream >> number;
    if (stream.fail() || stream.bad()) {
        return false;
    }
    value = number;
    return true;
}

bool transMgr::getAttrValue(int32_t txId, const std::string& ldn, const std::string& name,
                            int32_t& value, bool onlyInTx) {
    TRACE(*trace, 2, "transMgr::getAttrValue(txId=%d,ldn=\"%s\",name=\"%s\",onlyInTx=%d)", txId,
          ldn.c_str(), name.c_str(), onlyInTx ? 1 : 0);
    ExitTrace exit(*trace, "getAttrValue");
    Attributes found;
    if (!getMoAttributes(txId, ldn, std::vector<std::string>{name}, found, onlyInTx) ||
        found.empty() || found.front().type != attrType::S32) {
        return false;
    }
    std::istringstream stream(found.front().value);
    int32_t number = 0;
    stream >> number;
    if (stream.fail() || stream.bad()) {
        return false;
    }
    value = number;
    return true;
}

fRO* transMgr::getfRO(int32_t transactionId, const std::string& ldn) {
    TRACE(*trace, 2, "transMgr::getfRO(transactionId=%d,ldn=\"%s\")", transactionId, ldn.c_str());
    ExitTrace exit(*trace, "getfRO");
    int32_t holder = -1;
    std::shared_ptr<fRO> shadow = getTransactionFRO(ldn, holder);
    if (shadow && holder == transactionId) {
        return shadow.get();  // the dictionary keeps it
    }
    TRACE(*trace, 8, "fRO does not exist in the right transaction, searching froMgr...");
    fRO* committed = froMgr::instance().getFro(ldn);
    if (committed != nullptr) {
        TRACE(*trace, 8, "fRO found in froMgr");
        return committed;
    }
    TRACE(*trace, 1,
          "Could not get get fRO with ldn %s, fRO was found in neither transMgr nor froMgr",
          ldn.c_str());
    return nullptr;
}

std::string transMgr::getLdn(int32_t transactionId, int32_t internalfROId) {
    TRACE(*trace, 2, "transMgr::getLdn(transactionId=%d,internalfROId=%d)", transactionId,
          internalfROId);
    ExitTrace exit(*trace, "getLdn");
    if (LdnDictionary* dictionary = getLdnDictionary(transactionId)) {
        for (const auto& entry : *dictionary) {
            if (entry.second->getFroId() == internalfROId) {
                TRACE(*trace, 8, "Found ldn %s in transMgr", entry.first.c_str());
                return getTransState(entry.second.get()) == stateDelete ? std::string()
                                                                        : entry.first;
            }
        }
    }
    TRACE(*trace, 8, "Could not find ldn of fRO with internal ID %d in transaction %d",
          internalfROId, transactionId);
    std::string ldn = froMgr::instance().getLdn(internalfROId);
    if (!ldn.empty()) {
        TRACE(*trace, 8, "Found ldn %s in froMgr", ldn.c_str());
    } else {
        TRACE(*trace, 8, "Could not find ldn of fRO with internal ID %d in froMgr", internalfROId);
    }
    return ldn;
}

// ---- End of a transaction ----

bool transMgr::commit(int32_t transactionId, std::vector<std::string>& created,
                      std::vector<std::string>& set, std::vector<std::string>& deleted) {
    TRACE(*trace, 2, "transMgr::commit(transactionId=%d)", transactionId);
    ExitTrace exit(*trace, "commit");
    created.clear();
    set.clear();
    deleted.clear();
    LdnDictionary* dictionary = getLdnDictionary(transactionId);
    if (dictionary == nullptr) {
        TRACE(*trace, 8, "Transaction %d does not exist.", transactionId);
        TRACE(*trace, 8, "Commit of transaction %d finished in state OK", transactionId);
        return true;
    }
    TRACE(*trace, 8, "%d fRO(s) in transaction to deal with", static_cast<int>(dictionary->size()));
    // Subscribers and observers of the store run inside this walk and may call back
    // into the transaction: walk what it held at the start.
    std::vector<std::pair<std::string, std::shared_ptr<fRO>>> items(dictionary->begin(),
                                                                    dictionary->end());
    froMgr& store = froMgr::instance();
    FroIdHandler& ids = FroIdHandler::instance();
    bool ok = true;
    int dealtWith = 0;
    // In ascending text order: parents before children.
    for (auto& item : items) {
        const std::string& ldn = item.first;
        fRO& shadow = *item.second;
        const std::string state = getTransState(&shadow);
        TRACE(*trace, 8, "Dealing with fRO %s with state %s", ldn.c_str(), state.c_str());
        const uint32_t froType = shadow.getFroType();
        const int32_t internalId = shadow.getFroId();
        const int32_t externalId = static_cast<int32_t>(shadow.getExternalFroId());
        if (state == stateCreate) {
            TRACE(*trace, 8, "Creating fRO: ldn=%s, froType=%d, internalId=%d, externalId=%d",
                  ldn.c_str(), static_cast<int>(froType), internalId, externalId);
            if (store.exists(ldn)) {
                TRACE(*trace, 8, "Deleting old fRO before creating new one");
                store.deleteMO(ldn);
            }
            // The shadow's reservation is handed over: freed here, taken again by the
            // committed fRO. A shadow without one of its own frees nothing.
            if (ownIdShadows.erase(&shadow) != 0) {
                ids.freeFroId(froType, static_cast<uint32_t>(internalId));
            }
            shadow.setFroId(-1);
            fRO* real = store.createMO(ldn, froType, externalId);
            // A class whose allocation fails leaves nothing to copy to: a failed copy.
            if (real != nullptr && copyAttributes(shadow, *real, true)) {
                created.push_back(ldn);
            } else {
                TRACE(*trace, 1, "Could not copy attributes to real fRO");
                ok = false;
            }
        } else if (state == stateSet) {
            TRACE(*trace, 8,
                  "Setting attributes on fRO: ldn=%s, froType=%d, internalId=%d, externalId=%d",
                  ldn.c_str(), static_cast<int>(froType), internalId, externalId);
            fRO* committed = store.getFro(ldn);
            if (committed != nullptr && copyAttributes(shadow, *committed, false)) {
                set.push_back(ldn);
            } else {
                TRACE(*trace, 1, "Could not copy attributes to real fRO");
                ok = false;
            }
        } else if (state == stateDelete) {
            TRACE(*trace, 8, "Deleting fRO: ldn=%s, froType=%d, internalId=%d, externalId=%d",
                  ldn.c_str(), static_cast<int>(froType), internalId, externalId);
            if (store.deleteMO(ldn)) {
                deleted.push_back(ldn);
                // The shared id went with the committed fRO. A shadow that was created
                // and then reset to DELETE keeps its own id, which its destructor frees.
                if (ownIdShadows.count(&shadow) == 0) {
                    shadow.setFroId(-1);
                }
            } else {
                TRACE(*trace, 1, "Could not delete fRO");
                ok = false;
            }
        } else {
            TRACE(*trace, 1, "fRO transaction state not recognized: %s", state.c_str());
            ok = false;
        }
        ++dealtWith;
    }
    items.clear();  // the dictionary is the last holder of the shadows again
    removeLdnDictionary(transactionId);
    TRACE(*trace, 8, "Commit of transaction %d finished, %d fROs dealt with", transactionId,
          dealtWith);
    TRACE(*trace, 8,
          ok ? "Commit of transaction %d finished in state OK"
             : "Commit of transaction %d finished in state NOT OK",
          transactionId);
    return ok;
}

void transMgr::rollback(int32_t transactionId) {
    TRACE(*trace, 2, "transMgr::rollback(transactionId=%d)", transactionId);
    ExitTrace exit(*trace, "rollback");
    TRACE(*trace, 8, "Rolling back transaction %d", transactionId);
    // No committed attribute has changed: dropping the shadows is all. Reserved ids go
    // back with the shadows in CREATE.
    removeLdnDictionary(transactionId);
}

void transMgr::clear() {
    TRACE(*trace, 2, "transMgr::clear()");
    ExitTrace exit(*trace, "clear");
    while (!transactions.empty()) {
        removeLdnDictionary(transactions.begin()->first);
    }
}

// ---- Pending lists ----

std::vector<std::string> transMgr::getFrosInState(int32_t transactionId, const std::string& state) {
    std::vector<std::string> found;
    if (LdnDictionary* dictionary = getLdnDictionary(transactionId)) {
        for (const auto& entry : *dictionary) {
            if (getTransState(entry.second.get()) == state) {
                found.push_back(entry.first);
            }
        }
    }
    return found;
}

std::vector<std::string> transMgr::getFrosPendingDelete(int32_t transactionId) {
    TRACE(*trace, 2, "transMgr::getFrosPendingDelete(transactionId=%d)", transactionId);
    ExitTrace exit(*trace, "getFrosPendingDelete");
    std::vector<std::string> ascending = getFrosInState(transactionId, stateDelete);
    // Children before parents.
    return std::vector<std::string>(ascending.rbegin(), ascending.rend());
}

std::vector<std::string> transMgr::getFrosPendingCreate(int32_t transactionId) {
    TRACE(*trace, 2, "transMgr::getFrosPendingCreate(transactionId=%d)", transactionId);
    ExitTrace exit(*trace, "getFrosPendingCreate");
    return getFrosInState(transactionId, stateCreate);
}

std::vector<std::string> transMgr::getFrosPendingSet(int32_t transactionId) {
    TRACE(*trace, 2, "transMgr::getFrosPendingSet(transactionId=%d)", transactionId);
    ExitTrace exit(*trace, "getFrosPendingSet");
    return getFrosInState(transactionId, stateSet);
}

bool transMgr::getFrosPendingCreate(int32_t transactionId, const std::string& moType) {
    TRACE(*trace, 2, "transMgr::getFrosPendingCreate(transactionId=%d,moType=\"%s\")",
          transactionId, moType.c_str());
    ExitTrace exit(*trace, "getFrosPendingCreate");
    LdnDictionary* dictionary = getLdnDictionary(transactionId);
    if (dictionary == nullptr) {
        return false;
    }
    for (const auto& entry : *dictionary) {
        if (getTransState(entry.second.get()) == stateDelete) {
            continue;
        }
        // Up part by part; the climb ends where two neighbouring parts have the same
        // type, which is also where it ends at the top.
        std::string text = entry.first;
        std::string type = getMoType(text);
        while (!text.empty()) {
            if (type == moType) {
                return true;
            }
            const std::string parent = getParentLdn(text);
            const std::string parentType = getMoType(parent);
            if (parentType == type) {
                break;
            }
            text = parent;
            type = parentType;
        }
    }
    return false;
}

// ---- Identities ----

int32_t transMgr::getTransactionId(const std::string& ldn) {
    TRACE(*trace, 2, "transMgr::getTransactionId(ldn=\"%s\")", ldn.c_str());
    ExitTrace exit(*trace, "getTransactionId");
    int32_t holder = -1;
    return getTransactionFRO(ldn, holder) ? holder : 0;
}

int32_t transMgr::getTransactionId(int32_t internalFROId) {
    TRACE(*trace, 2, "transMgr::getTransactionId(internalFROId=%d)", internalFROId);
    ExitTrace exit(*trace, "getTransactionId");
    for (const auto& transaction : transactions) {
        for (const auto& entry : *transaction.second) {
            if (entry.second->getFroId() == internalFROId) {
                return transaction.first;
            }
        }
    }
    return 0;
}

bool transMgr::saveAttributes(int32_t txId, uint32_t froId, uint32_t froType,
                              const Attributes& attributes) {
    TRACE(*trace, 2, "transMgr::saveAttributes(txId=%d,froId=%u,froType=%u)", txId, froId, froType);
    ExitTrace exit(*trace, "saveAttributes");
    return froMgr::instance().saveAttributes(froId, froType, attributes, false);
}
