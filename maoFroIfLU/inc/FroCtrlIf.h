// FroCtrlIf: what a concrete fRO class implements beside fRO to be told of the
// management layer's work on it. The framework finds it by a dynamic cast from the
// fRO; a fRO that is no FroCtrlIf is simply not told. Every operation does nothing by
// default.
#ifndef FRO_CTRL_IF_H
#define FRO_CTRL_IF_H

#include "Attribute.h"

#include <cstdint>
#include <string>

class FroCallbackIf;

class FroCtrlIf {
  public:
    /// The fRO was created by a transaction that has committed.
    virtual void notifyAfterCreate() {}
    /// The fRO was made anew from the database at start.
    virtual void notifyAfterRecreate() {}
    /// The fRO is deleted by a transaction that is committing; it is still whole.
    virtual void notifyBeforeDelete() {}
    /// Attributes of the fRO were set by a transaction that has committed.
    virtual void notifyAfterSet() {}
    /// Starts an action; the fRO answers through callback->actionCompleted, at once or later.
    virtual void performAction(const std::string& command, const Attributes& parameters,
                               FroCallbackIf* callback) {
        (void)command;
        (void)parameters;
        (void)callback;
    }
    /// The transaction in which the action ran has committed.
    virtual void notifyAfterActionCommit(uint32_t transactionId, const std::string& command) {
        (void)transactionId;
        (void)command;
    }
    /// The transaction in which the action ran was rolled back.
    virtual void notifyAfterActionRollback(uint32_t transactionId, const std::string& command) {
        (void)transactionId;
        (void)command;
    }
    /// "FroCtrlIf", for diagnostics.
    virtual std::string getInterfaceName() { return "FroCtrlIf"; }
    /// Brings the snapshot parameters up to date for a get; true when the fRO will call
    /// callback->snapshotParamUpdated later, false when its attributes can be read now.
    virtual bool updateSnapshotParams(FroCallbackIf* callback, const Attributes& attributes) {
        (void)callback;
        (void)attributes;
        return false;
    }
    virtual ~FroCtrlIf() = default;
};

#endif  // FRO_CTRL_IF_H
