// FroHandler: the start of the MAO-FRO service layer.
#include "FroHandler.h"

#include "DbiAPI.h"
#include "FroDatabase.h"
#include "FroDatabaseWriter.h"
#include "IndHandlerApi.h"
#include "RestoreHandlerGenericBase.h"
#include "froMgr.h"

FroHandler::FroHandler(MaoFroGenericBase* mao, TraniGenericBase* trani,
                       RestoreHandlerGenericBase* restorer)
    : maoFroHandler(mao),
      maoFroSignalDispatcher(*mao),
      traniHandler(trani),
      traniSignalDispatcher(trani, mao),
      restoreHandler(restorer),
      indicationsTaken(false),
      traceObject("MaoFroIfLU") {}

FroHandler::~FroHandler() {
    if (indicationsTaken) {
        releaseIndHandlerApi();
    }
}

void FroHandler::startFroFramework(const std::string& databaseName, const std::string& serviceName,
                                   const MocRegistrations& registrations) {
    TRACE(traceObject, 2, "FroHandler::startFroFramework(databaseName=%s, serviceName=%s)",
          databaseName.c_str(), serviceName.c_str());
    IndHandlerApi* indications = getIndHandlerApi();
    indicationsTaken = true;
    indications->init();
    openDatabase(databaseName, registrations);
    registerMocs(registrations);
    restore();
    startService(serviceName);
    TRACE(traceObject, 3, "FroHandler::startFroFramework");
}

void FroHandler::startService(const std::string& serviceName) {
    TRACE(traceObject, 2, "FroHandler::startService(serviceName=%s)", serviceName.c_str());
    traniSignalDispatcher.init();
    maoFroSignalDispatcher.init(serviceName);
}

void FroHandler::openDatabase(const std::string& databaseName,
                              const MocRegistrations& registrations) {
    TRACE(traceObject, 2, "FroHandler::openDatabase(databaseName=%s)", databaseName.c_str());
    std::vector<FroTypeEntry> stored;
    for (const MocRegistration& registration : registrations) {
        if (registration.flags == 0) {
            stored.emplace_back(registration.froType, registration.className);
        }
    }
    FroDatabase::instance()->initialize(databaseName, stored);
    // What a fRO changes of itself outside any transaction (froMgr::saveMO) reaches
    // the database through this writer.
    installFroDatabaseWriter();
}

void FroHandler::registerMocs(const MocRegistrations& registrations) {
    TRACE(traceObject, 2, "FroHandler::registerMocs(%u)",
          static_cast<unsigned>(registrations.size()));
    froMgr& store = froMgr::instance();
    for (const MocRegistration& registration : registrations) {
        if (registration.creator != nullptr) {
            store.regMOType(registration.className, registration.creator);
        }
        for (const Attribute& attribute : registration.attributes) {
            store.addReadOnlyAttribute(registration.className, attribute.name, attribute.type,
                                       attribute.value);
        }
    }
}

void FroHandler::restore() {
    TRACE(traceObject, 2, "FroHandler::restore()");
    if (restoreHandler != nullptr) {
        restoreHandler->performRestore();
    }
}
