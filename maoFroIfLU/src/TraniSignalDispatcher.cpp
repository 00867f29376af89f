// TraniSignalDispatcher: the transaction server's indications to TraniGenericBase.
#include "TraniSignalDispatcher.h"

#include "MaoFroGenericBase.h"

#include "SignalDistributorAPI.h"
#include "TraniGenericBase.h"
#include "tarvo_transaction.h"

#include <cstring>

namespace {

SIGSELECT signalNumber(union SIGNAL* signal) {
    SIGSELECT number = 0;
    std::memcpy(&number, signal, sizeof number);
    return number;
}

}  // namespace

TraniSignalDispatcher::TraniSignalDispatcher(TraniGenericBase* tranis, MaoFroGenericBase* mao)
    : traniHandler(tranis),
      maoFroHandler(mao),
      traceObject("MaoFroIfLU"),
      signalTraceObject("TvpIf") {}

TraniSignalDispatcher::~TraniSignalDispatcher() { unregisterSignals(); }

void TraniSignalDispatcher::init() {
    TRACE(traceObject, 2, "TraniSignalDispatcher::init()");
    const uint32_t attached = TarvoTransaction_serviceAttach_e();
    if (attached != TARVO_TRANI_OK) {
        TRACE(traceObject, 1, "TarvoTransaction_serviceAttach_e() returned %u", attached);
    }
    TraniGenericBase::registeredTransactions.clear();
    registerSignals();
}

std::vector<SIGSELECT> TraniSignalDispatcher::wantedSignals() const {
    return {TARVO_TRANS_COMMIT_IND, TARVO_TRANS_SERVER_DOWN_IND, TARVO_TRANS_ROLLBACK_IND};
}

void TraniSignalDispatcher::registerSignals() {
    SignalDistributorAPI* distributor = getSignalDistributorAPI();
    for (SIGSELECT number : wantedSignals()) {
        if (distributor == nullptr || !distributor->subscribe(number, this)) {
            TRACE(traceObject, 1, "Failed to subscribe to signal: 0x%08x",
                  static_cast<unsigned>(number));
        }
    }
}

void TraniSignalDispatcher::unregisterSignals() {
    SignalDistributorAPI* distributor = getSignalDistributorAPI();
    for (SIGSELECT number : wantedSignals()) {
        if (distributor == nullptr || !distributor->unsubscribe(number, this)) {
            TRACE(traceObject, 1, "Failed to unsubscribe to signal: 0x%08x",
                  static_cast<unsigned>(number));
        }
    }
}

void TraniSignalDispatcher::handleSignal(union SIGNAL** signal) {
    if (signal == nullptr || *signal == nullptr) {
        return;
    }
    const SIGSELECT number = signalNumber(*signal);
    switch (number) {
        case TARVO_TRANS_COMMIT_IND:
        case TARVO_TRANS_ROLLBACK_IND: {
            const bool commit = number == TARVO_TRANS_COMMIT_IND;
            const char* name = commit ? "TARVO_TRANS_COMMIT_IND" : "TARVO_TRANS_ROLLBACK_IND";
            TRACE(traceObject, 11, "%s", name);
            TRACE(signalTraceObject, 16, "Signalname: %s", name);
            if (sigsize(signal) < sizeof(TarvoTransInd)) {
                TRACE(traceObject, 1, "%s of %u bytes has no transaction id, dropped", name,
                      static_cast<unsigned>(sigsize(signal)));
                return;
            }
            TarvoTransInd indication;
            std::memcpy(&indication, *signal, sizeof indication);
            TraniGenericBase::registeredTransactions.erase(indication.transactionId);
            if (traniHandler == nullptr || maoFroHandler == nullptr) {
                return;
            }
            if (commit) {
                traniHandler->handleCommit(*signal, *maoFroHandler);
            } else {
                traniHandler->handleRollback(*signal, *maoFroHandler);
            }
            return;
        }
        case TARVO_TRANS_SERVER_DOWN_IND: {
            TRACE(traceObject, 11, "TARVO_TRANS_SERVER_DOWN_IND");
            TRACE(signalTraceObject, 16, "Signalname: TARVO_TRANS_SERVER_DOWN_IND");
            if (traniHandler != nullptr) {
                traniHandler->handleServerDown();
            }
            // Actions bound to the lost transactions are forgotten without a word, so
            // that a new server that hands out the same ids never ends an old action.
            if (maoFroHandler != nullptr) {
                maoFroHandler->handleTraniServerDown();
            }
            TraniGenericBase::registeredTransactions.clear();
            const uint32_t attached = TarvoTransaction_serviceAttach_e();
            if (attached != TARVO_TRANI_OK) {
                TRACE(traceObject, 1, "TarvoTransaction_serviceAttach_e() returned %u", attached);
            }
            return;
        }
        default:
            TRACE(signalTraceObject, 16, "Received uknown signal with signal number: %u(0x%x).",
                  static_cast<unsigned>(number), static_cast<unsigned>(number));
            TRACE(traceObject, 1, "TraniSignalDispatcher: BAD SIGNAL RECEIVED, signo: 0x%08x",
                  static_cast<unsigned>(number));
            return;
    }
}
