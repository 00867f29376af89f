// TraniGenericBase: the process as a resource of the platform's transactions.
//
// Every change that the management layer asks for runs inside a transaction of the
// transaction server "TarvoTransaction". registerResource binds the process to a
// transaction at its first request (one registration per transaction). When the server
// tells commit, handleCommit moves the transaction's fROs into froMgr, tells the fROs
// concerned, lets the request handler close the actions bound to the transaction, and
// hands the indication to the database last, after every fRO has been told. A rollback
// drops the shadows; a server that goes down takes all open transactions with it.
//
// An application derives from the class and overrides the userCallback... hooks; the
// defaults of the three notifying hooks tell a fRO that is a FroCtrlIf.
//
// The class-wide state (registered transactions, the commit in progress) has one copy
// in the process. Everything runs on the application's one process: no locks.
#ifndef TRANI_GENERIC_BASE_H
#define TRANI_GENERIC_BASE_H

#include "dynTrace.h"
#include "ose.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

class MaoFroGenericBase;
class fRO;

class TraniGenericBase {
  public:
    /// Keys of the LDN lists of the commit in progress (isInCommit).
    enum CommitKind : uint32_t { COMMIT_CREATED = 0, COMMIT_MODIFIED = 1, COMMIT_DELETED = 2 };

    TraniGenericBase();
    virtual ~TraniGenericBase();
    TraniGenericBase(const TraniGenericBase&) = delete;
    TraniGenericBase& operator=(const TraniGenericBase&) = delete;

    /// A fRO about to be deleted by the commit, while it is still whole; default: its
    /// notifyBeforeDelete().
    virtual void userCallbackHandleCommit_BeforeDeleteFro(fRO* fro);
    /// A fRO deleted by the commit; default: nothing.
    virtual void userCallbackHandleCommit_DeletedFro(uint32_t transactionId, std::string ldn);
    /// A fRO created by the commit; default: its notifyAfterCreate().
    virtual void userCallbackHandleCommit_CreatedFro(uint32_t transactionId, fRO* fro);
    /// A fRO whose attributes the commit set; default: its notifyAfterSet().
    virtual void userCallbackHandleCommit_SetFro(uint32_t transactionId, fRO* fro);
    /// Before the framework commits; default: nothing.
    virtual void userCallbackHandleCommit_BeforeCommit(uint32_t transactionId);
    /// After the framework committed and every fRO was told; default: nothing.
    virtual void userCallbackHandleCommit_AfterCommit(uint32_t transactionId);
    /// The framework's commit failed (also a transaction without fROs); default: nothing.
    virtual void userCallbackHandleCommit_CommitFailed(uint32_t transactionId);
    /// After the framework rolled back; default: nothing.
    virtual void userCallbackHandleRollback_AfterRollback(uint32_t transactionId);
    /// The framework had nothing to roll back; default: nothing.
    virtual void userCallbackHandleRollback_RollbackFailed(uint32_t transactionId);

    /// Registers the calling process as a resource of the transaction and waits for the
    /// server's answer (other signals stay queued). True when registered now or before;
    /// otherwise errorText names the failure. trace is the caller's trace object.
    static bool registerResource(uint32_t transactionId, std::string& errorText,
                                 const TraceObject* trace);
    static bool registerResource(uint32_t transactionId, std::string& errorText,
                                 const TraceHandle& trace) {
        return registerResource(transactionId, errorText, trace.get());
    }

    /// TARVO_TRANS_COMMIT_IND: the framework, the fROs, the actions, then the database.
    void handleCommit(union SIGNAL* signal, MaoFroGenericBase& mao);
    /// TARVO_TRANS_ROLLBACK_IND: the framework, the actions, then the database.
    void handleRollback(union SIGNAL* signal, MaoFroGenericBase& mao);
    /// TARVO_TRANS_SERVER_DOWN_IND: every open transaction is dropped; true.
    bool handleServerDown();
    /// Tells the fROs of a successful commit: all created, then all set, then all deleted.
    void postCommit(uint32_t transactionId, const std::vector<std::string>& created,
                    const std::vector<std::string>& modified,
                    const std::vector<std::string>& deleted);

    /// Whether a commit is being run.
    static bool isCommitting();
    /// Whether the commit in progress has the LDN under that kind.
    static bool isInCommit(uint32_t kind, const std::string& ldn);

    /// Whether the transaction is registered and not ended.
    static bool isRegistered(uint32_t transactionId);

  private:
    // The dispatcher ends registrations as the server's indications come in.
    friend class TraniSignalDispatcher;

    TraceHandle traceObject;

    static std::set<uint32_t> registeredTransactions;
    static bool committing;
    static std::map<uint32_t, std::vector<std::string>> commitFros;
};

#endif  // TRANI_GENERIC_BASE_H
