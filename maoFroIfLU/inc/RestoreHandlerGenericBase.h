// RestoreHandlerGenericBase: the stored fROs brought back at start.
//
// At start froMgr is empty and what the operator configured lies in the database.
// performRestore reads the stored fROs and makes them again in froMgr, with their
// stored attribute values, before the service is published: no request meets a
// half-restored tree. The transaction manager plays no part. Each fRO stands alone: one
// that cannot be made is passed over and its rows stay in the database; one whose
// attributes cannot be read keeps its defaults. Only when every fRO exists is each one
// told that it was recreated.
//
// An application derives from the class to narrow the types, reorder the list and act
// before and after each fRO.
#ifndef RESTORE_HANDLER_GENERIC_BASE_H
#define RESTORE_HANDLER_GENERIC_BASE_H

#include "Attribute.h"
#include "FroInfo.h"
#include "dynTrace.h"

#include <cstdint>
#include <string>
#include <vector>

class FroDatabase;
class fRO;

class RestoreHandlerGenericBase {
  public:
    RestoreHandlerGenericBase();
    virtual ~RestoreHandlerGenericBase();
    RestoreHandlerGenericBase(const RestoreHandlerGenericBase&) = delete;
    RestoreHandlerGenericBase& operator=(const RestoreHandlerGenericBase&) = delete;

    /// The fRO types to restore; default: none, which means all.
    virtual void userCallback_GetFroTypes(std::vector<uint32_t>& froTypes);
    /// Reads the stored fROs of the types (all when empty); false when none could be read.
    virtual bool userCallback_RetrieveFros(const std::vector<uint32_t>& froTypes,
                                           std::vector<FroInfo>& froInfos, FroDatabase& db);
    /// Before one fRO is made, with the attributes read (empty when the read failed).
    virtual void userCallback_BeforeRecreate(uint32_t froId, uint32_t froType,
                                             const std::string& ldn, Attributes& attributes);
    /// After all fROs are made, once per fRO; default: a FroCtrlIf's notifyAfterRecreate().
    virtual void userCallback_AfterRecreate(fRO* fro);
    /// Reorders the list before the fROs are made; default: nothing.
    virtual void userCallback_SortFros(std::vector<FroInfo>& froInfos);

    /// Brings the stored fROs back into froMgr. Call once at start, after the database
    /// has been initialised and before the service is published.
    void performRestore();

  private:
    /// Makes one stored fRO with its stored values; false when froMgr could not make it.
    bool recreate(const FroInfo& info, FroDatabase& db);

    TraceHandle traceObject;
    TraceObject* restartTraceObject;
};

#endif  // RESTORE_HANDLER_GENERIC_BASE_H
