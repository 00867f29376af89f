// TraniGenericBase: registration with the transaction server, and commit, rollback and
// server-down on the framework.
#include "TraniGenericBase.h"

#include "FroCtrlIf.h"
#include "FroDatabase.h"
#include "MaoFroGenericBase.h"
#include "fRO.h"
#include "froMgr.h"
#include "tarvo_transaction.h"
#include "transMgr.h"

#include <cstring>

std::set<uint32_t> TraniGenericBase::registeredTransactions;
bool TraniGenericBase::committing = false;
std::map<uint32_t, std::vector<std::string>> TraniGenericBase::commitFros;

namespace {

// The transaction id of TARVO_TRANS_COMMIT_IND and TARVO_TRANS_ROLLBACK_IND; 0 when the
// signal is too short to hold one (no transaction: the steps run with empty lists).
uint32_t indicationTransactionId(union SIGNAL* signal) {
    if (signal == nullptr || sigsize(&signal) < sizeof(TarvoTransInd)) {
        return 0;
    }
    TarvoTransInd indication;
    std::memcpy(&indication, signal, sizeof indication);
    return indication.transactionId;
}

const char* const kResultNames[] = {
    "TARVO_TRANI_OK",         "TARVO_TRANI_FAILURE",      "TARVO_TRANI_MEMORY_NOT_INITIATED",
    "TARVO_TRANI_ALREADY_INITIATED", "TARVO_TRANI_UNKNOWN_SIGNAL", "TARVO_TRANI_UNAVAILABLE",
    "TARVO_TRANI_NOT_SUPPORTED",     "TARVO_TRANI_ID_NOT_FOUND",   "TARVO_TRANI_ACTIVE_SESSION"};

std::string resultCodeName(uint32_t code) {
    if (code < sizeof kResultNames / sizeof kResultNames[0]) {
        return kResultNames[code];
    }
    return "Unknown result code";
}

std::string ldnOf(const fRO* fro) {
    return fro == nullptr ? std::string() : froMgr::instance().getLdn(fro->getFroId());
}

}  // namespace

TraniGenericBase::TraniGenericBase() : traceObject("MaoFroIfLU") {}

TraniGenericBase::~TraniGenericBase() = default;

void TraniGenericBase::userCallbackHandleCommit_BeforeDeleteFro(fRO* fro) {
    const std::string ldn = ldnOf(fro);
    TRACE(traceObject, 2, "TraniGenericBase::userCallbackHandleCommit_BeforeDeleteFro(%s)",
          ldn.c_str());
    auto* control = dynamic_cast<FroCtrlIf*>(fro);
    if (control != nullptr) {
        TRACE(traceObject, 8, "Calling notifyBeforeDelete on fRO \"%s\".", ldn.c_str());
        control->notifyBeforeDelete();
    }
}

void TraniGenericBase::userCallbackHandleCommit_DeletedFro(uint32_t, std::string) {}

void TraniGenericBase::userCallbackHandleCommit_CreatedFro(uint32_t transactionId, fRO* fro) {
    const std::string ldn = ldnOf(fro);
    TRACE(traceObject, 2, "TraniGenericBase::userCallbackHandleCommit_CreatedFro(ldn=\"%s\")",
          ldn.c_str());
    auto* control = dynamic_cast<FroCtrlIf*>(fro);
    if (control != nullptr) {
        TRACE(traceObject, 8, "Calling notifyAfterCreate() on fRO \"%s\" in transaction %u.",
              ldn.c_str(), transactionId);
        control->notifyAfterCreate();
    }
}

void TraniGenericBase::userCallbackHandleCommit_SetFro(uint32_t transactionId, fRO* fro) {
    const std::string ldn = ldnOf(fro);
    TRACE(traceObject, 2, "TraniGenericBase::userCallbackHandleCommit_SetFro(ldn=\"%s\")",
          ldn.c_str());
    auto* control = dynamic_cast<FroCtrlIf*>(fro);
    if (control != nullptr) {
        TRACE(traceObject, 8, "Calling notifyAfterSet() on fRO \"%s\" in transaction %u.",
              ldn.c_str(), transactionId);
        control->notifyAfterSet();
    }
}

void TraniGenericBase::userCallbackHandleCommit_BeforeCommit(uint32_t) {}
void TraniGenericBase::userCallbackHandleCommit_AfterCommit(uint32_t) {}
void TraniGenericBase::userCallbackHandleCommit_CommitFailed(uint32_t) {}
void TraniGenericBase::userCallbackHandleRollback_AfterRollback(uint32_t) {}
void TraniGenericBase::userCallbackHandleRollback_RollbackFailed(uint32_t) {}

bool TraniGenericBase::registerResource(uint32_t transactionId, std::string& errorText,
                                        const TraceObject* trace) {
    if (registeredTransactions.count(transactionId) != 0) {
        TRACE(trace, 8, "Transaction %u is already registered.", transactionId);
        return true;
    }
    TRACE(trace, 8, "Registering transaction %u with TVP TRANI", transactionId);
    uint32_t result = TarvoTransaction_registerResource_e(transactionId, 0, 0);
    TRACE(trace, 8, "Registration done of transaction %u", transactionId);
    if (result == TARVO_TRANI_OK) {
        // Only the answer: a commit or any request that comes meanwhile stays queued.
        static const SIGSELECT selectAnswer[] = {1, TARVO_TRANS_REGISTER_RSP};
        union SIGNAL* answer = receive(selectAnswer);
        if (answer == nullptr) {
            result = TARVO_TRANI_FAILURE;  // the process is being ended
        } else {
            TarvoTransRegisterRsp rsp{};
            if (sigsize(&answer) >= sizeof rsp) {
                std::memcpy(&rsp, answer, sizeof rsp);
                result = rsp.result;
            } else {
                TRACE(trace, 1, "TARVO_TRANS_REGISTER_RSP of %u bytes is too short",
                      static_cast<unsigned>(sigsize(&answer)));
                result = TARVO_TRANI_FAILURE;
            }
            TRACE(trace, 11, "TARVO_TRANS_REGISTER_RSP, txId=(0x%x), result= (0x%x)",
                  rsp.transactionId, result);
            TRACE_DATA(trace, 16, answer, sigsize(&answer), "SigNo: %u",
                       static_cast<unsigned>(TARVO_TRANS_REGISTER_RSP));
            free_buf(&answer);
        }
        if (result == TARVO_TRANI_OK) {
            TRACE(trace, 8, "Registration response: TARVO_TRANSACTION_OK");
            registeredTransactions.insert(transactionId);
            return true;
        }
    }
    TRACE(trace, 1, "Resource registration to TRANI failed. Failure code: %u", result);
    errorText = "Registration of transaction Id " + std::to_string(transactionId) +
                " to TRANI failed: " + resultCodeName(result);
    return false;
}

void TraniGenericBase::handleCommit(union SIGNAL* signal, MaoFroGenericBase& mao) {
    committing = true;
    const uint32_t transactionId = indicationTransactionId(signal);
    const auto txId = static_cast<int32_t>(transactionId);
    transMgr& transactions = transMgr::instance();
    froMgr& store = froMgr::instance();

    // A fRO to be deleted is told while it is still whole.
    commitFros[COMMIT_DELETED] = transactions.getFrosPendingDelete(txId);
    const std::vector<std::string> pendingDelete = commitFros[COMMIT_DELETED];
    for (const std::string& ldn : pendingDelete) {
        fRO* fro = store.getFro(ldn);
        if (fro != nullptr) {
            userCallbackHandleCommit_BeforeDeleteFro(fro);
        }
    }
    userCallbackHandleCommit_BeforeCommit(transactionId);

    TRACE(traceObject, 8, "Calling transMgr to commit transaction %u", transactionId);
    std::vector<std::string> created;
    std::vector<std::string> modified;
    std::vector<std::string> deleted;
    if (!transactions.commit(txId, created, modified, deleted)) {
        TRACE(traceObject, 1,
              "Commit of transaction %u failed, transMgr failed to update froMgr (might be "
              "nothing in transaction)",
              transactionId);
        userCallbackHandleCommit_CommitFailed(transactionId);
    } else {
        postCommit(transactionId, created, modified, deleted);
        userCallbackHandleCommit_AfterCommit(transactionId);
    }
    mao.handleTraniCommit(transactionId);
    committing = false;
    commitFros.clear();

    // The rows came to the database through the transaction server; this closes the
    // database's own bookkeeping of the transaction, after every fRO has been told.
    FroDatabase* database = FroDatabase::instance();
    database->open();
    database->handleCommitInd(signal);
    database->close();
}

void TraniGenericBase::postCommit(uint32_t transactionId, const std::vector<std::string>& created,
                                  const std::vector<std::string>& modified,
                                  const std::vector<std::string>& deleted) {
    TRACE(traceObject, 8, "Postprocessing of fROs changed in transaction %u starting",
          transactionId);
    commitFros[COMMIT_CREATED] = created;
    commitFros[COMMIT_MODIFIED] = modified;
    commitFros[COMMIT_DELETED] = deleted;
    froMgr& store = froMgr::instance();
    for (const std::string& ldn : created) {
        userCallbackHandleCommit_CreatedFro(transactionId, store.getFro(ldn));
    }
    for (const std::string& ldn : modified) {
        userCallbackHandleCommit_SetFro(transactionId, store.getFro(ldn));
    }
    for (const std::string& ldn : deleted) {
        userCallbackHandleCommit_DeletedFro(transactionId, ldn);
    }
    TRACE(traceObject, 8, "Postprocessing of fROs changed in transaction %u finished",
          transactionId);
}

void TraniGenericBase::handleRollback(union SIGNAL* signal, MaoFroGenericBase& mao) {
    const uint32_t transactionId = indicationTransactionId(signal);
    transMgr& transactions = transMgr::instance();
    // The manager's rollback gives no result: it failed when it held no dictionary of
    // the transaction to drop.
    const std::size_t before = transactions.getTransactionCount();
    transactions.rollback(static_cast<int32_t>(transactionId));
    const bool known = transactions.getTransactionCount() < before;
    if (!known) {
        TRACE(traceObject, 8,
              "transMgr failed to rollback transaction %u (might be nothing in transaction)",
              transactionId);
        userCallbackHandleRollback_RollbackFailed(transactionId);
    } else {
        userCallbackHandleRollback_AfterRollback(transactionId);
    }
    mao.handleTraniRollback(transactionId);

    FroDatabase* database = FroDatabase::instance();
    database->open();
    database->handleRollbackInd(signal);
    database->close();
}

bool TraniGenericBase::handleServerDown() {
    TRACE(traceObject, 8, "Transaction server down, roll back all transactions");
    transMgr::instance().clear();
    return true;
}

bool TraniGenericBase::isCommitting() { return committing; }

bool TraniGenericBase::isInCommit(uint32_t kind, const std::string& ldn) {
    const auto list = commitFros.find(kind);
    if (list == commitFros.end()) {
        return false;
    }
    for (const std::string& entry : list->second) {
        if (entry == ldn) {
            return true;
        }
    }
    return false;
}

bool TraniGenericBase::isRegistered(uint32_t transactionId) {
    return registeredTransactions.count(transactionId) != 0;
}
