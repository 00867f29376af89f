// FroHandler: starts the MAO-FRO service layer as a whole, in its fixed order.
//
// startFroFramework brings up, in this order: the indication handler; the database,
// with the tables of the fRO types that are stored, installed as froMgr's attribute
// writer; the classes of the managed objects in the fRO factory, with their attributes
// and defaults; the restore of the stored fROs; and only then the service, so that no
// request meets a half-restored tree: the transaction dispatcher first, then the
// request dispatcher, which publishes the service under its name.
//
// The three handlers are the application's and are not owned; the two dispatchers
// are the FroHandler's own.
#ifndef FRO_HANDLER_H
#define FRO_HANDLER_H

#include "Attribute.h"
#include "MaoFroSignalDispatcher.h"
#include "TraniSignalDispatcher.h"

#include <cstdint>
#include <string>
#include <vector>

class MaoFroGenericBase;
class RestoreHandlerGenericBase;
class TraniGenericBase;
class fRO;

/// One managed-object class as the application declares it to the framework.
struct MocRegistration {
    /// The MO type, for example "UlSpectrumAnalyzer".
    std::string className;
    uint32_t froType = 0;
    /// Allocates an object of the class; null: the type gets plain fROs.
    fRO* (*creator)() = nullptr;
    /// Name, type and default of each attribute that every fRO of the class has.
    Attributes attributes;
    /// 0: the class is stored in the database; anything else keeps it out.
    uint8_t flags = 0;
};
using MocRegistrations = std::vector<MocRegistration>;

class FroHandler {
  public:
    /// The handlers must outlive the FroHandler.
    FroHandler(MaoFroGenericBase* maoFroHandler, TraniGenericBase* traniHandler,
               RestoreHandlerGenericBase* restoreHandler);
    /// Releases the indication handler taken at start.
    virtual ~FroHandler();
    FroHandler(const FroHandler&) = delete;
    FroHandler& operator=(const FroHandler&) = delete;

    /// Indications, database, classes, restore, then the service.
    virtual void startFroFramework(const std::string& databaseName, const std::string& serviceName,
                                   const MocRegistrations& registrations);
    /// The transaction dispatcher, then the request dispatcher under the service name.
    virtual void startService(const std::string& serviceName);
    /// Opens the database under its name with the stored classes' types and names, and
    /// makes it froMgr's attribute writer.
    virtual void openDatabase(const std::string& databaseName,
                              const MocRegistrations& registrations);
    /// Registers each class's creator and its attributes with froMgr.
    virtual void registerMocs(const MocRegistrations& registrations);
    /// Brings the stored fROs back.
    virtual void restore();

  private:
    MaoFroGenericBase* maoFroHandler;
    MaoFroSignalDispatcher maoFroSignalDispatcher;
    TraniGenericBase* traniHandler;
    TraniSignalDispatcher traniSignalDispatcher;
    RestoreHandlerGenericBase* restoreHandler;
    bool indicationsTaken;
    TraceHandle traceObject;
};

#endif  // FRO_HANDLER_H
