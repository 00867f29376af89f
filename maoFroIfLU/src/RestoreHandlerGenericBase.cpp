// RestoreHandlerGenericBase: the stored fROs brought back into froMgr at start.
#include "RestoreHandlerGenericBase.h"

#include "DynTraceHandler.h"
#include "FroCtrlIf.h"
#include "FroDatabase.h"
#include "fRO.h"
#include "froMgr.h"

RestoreHandlerGenericBase::RestoreHandlerGenericBase()
    : traceObject("MaoFroIfLU"),
      // The node's restart group, under its own name: no prefix or suffix.
      restartTraceObject(DynTraceHandler::registerTraceObject("Ft_RESTART")) {}

RestoreHandlerGenericBase::~RestoreHandlerGenericBase() {
    DynTraceHandler::deregisterTraceObject(restartTraceObject);
}

void RestoreHandlerGenericBase::userCallback_GetFroTypes(std::vector<uint32_t>&) {}

bool RestoreHandlerGenericBase::userCallback_RetrieveFros(const std::vector<uint32_t>& froTypes,
                                                          std::vector<FroInfo>& froInfos,
                                                          FroDatabase& db) {
    if (froTypes.empty()) {
        return db.retrieveFROs(froInfos);
    }
    return db.retrieveFROs(froTypes, froInfos);
}

void RestoreHandlerGenericBase::userCallback_BeforeRecreate(uint32_t, uint32_t,
                                                            const std::string&, Attributes&) {}

void RestoreHandlerGenericBase::userCallback_AfterRecreate(fRO* fro) {
    TRACE(traceObject, 2, "RestoreHandlerGenericBase::userCallback_AfterRecreate()");
    auto* control = dynamic_cast<FroCtrlIf*>(fro);
    if (control != nullptr) {
        control->notifyAfterRecreate();
    }
}

void RestoreHandlerGenericBase::userCallback_SortFros(std::vector<FroInfo>&) {}

void RestoreHandlerGenericBase::performRestore() {
    TRACE(traceObject, 2, "RestoreHandlerGenericBase::performRestore");
    FroDatabase* db = FroDatabase::instance();
    // One connection for the whole restore.
    db->open();

    std::vector<uint32_t> froTypes;
    std::vector<FroInfo> froInfos;
    userCallback_GetFroTypes(froTypes);
    const bool found = userCallback_RetrieveFros(froTypes, froInfos, *db);
    TRACE(restartTraceObject, 8, "Checking the database for stored fROs to recreate at startup");
    if (!found) {
        // The normal way of a first start: no table holds a fRO yet.
        TRACE(restartTraceObject, 8,
              "Couldn't get list of fROs from the database, maybe no fRO's were stored");
        db->close();
        return;
    }
    userCallback_SortFros(froInfos);
    TRACE(restartTraceObject, 8, "Found %u fROs to recreate at startup",
          static_cast<unsigned>(froInfos.size()));

    std::vector<bool> made;
    made.reserve(froInfos.size());
    for (const FroInfo& info : froInfos) {
        made.push_back(recreate(info, *db));
    }
    // Each fRO is told only when all of them exist. One that could not be made is told
    // as null, even when another row of the same LDN was made.
    froMgr& store = froMgr::instance();
    for (std::size_t i = 0; i < froInfos.size(); ++i) {
        userCallback_AfterRecreate(made[i] ? store.getFro(froInfos[i].ldn) : nullptr);
    }
    TRACE(restartTraceObject, 8, "All stored fROs restored and initilized.");
    db->close();
}

bool RestoreHandlerGenericBase::recreate(const FroInfo& info, FroDatabase& db) {
    std::string storedLdn;
    Attributes attributes;
    const bool read = db.retrieveListedFRO(info.froId, info.froType, storedLdn, attributes);
    if (!read) {
        attributes.clear();
    }
    userCallback_BeforeRecreate(info.froId, info.froType, info.ldn, attributes);

    fRO* fro =
        froMgr::instance().createMO(info.ldn, info.froType, static_cast<int32_t>(info.froId));
    if (fro == nullptr) {
        // The rows stay in the database; the next start tries again.
        TRACE(traceObject, 1,
              "Failed to recreate the fRO in the fRO manager, type: 0x%08x, id: %u, ldn: %s",
              info.froType, info.froId, info.ldn.c_str());
        return false;
    }
    TRACE(restartTraceObject, 8, "Recreated fRO type: 0x%08x, id: %u, ldn: %s at startup.",
          info.froType, info.froId, info.ldn.c_str());
    if (!read) {
        TRACE(restartTraceObject, 8,
              "Couldn't recreate the attributes for fRO type: 0x%08x, id: %u, ldn: %s",
              info.froType, info.froId, info.ldn.c_str());
        return true;
    }
    for (const Attribute& attribute : attributes) {
        if (fro->hasAttribute(attribute.name)) {
            fro->setAttrValue(attribute.name, attribute.value);
        } else {
            // An attribute the class no longer declares stays as a plain one.
            fro->addAttribute(attribute.name, attribute.value, attribute.type);
        }
    }
    return true;
}
