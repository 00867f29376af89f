// TraniSignalDispatcher: brings the transaction server's indications to a
// TraniGenericBase.
//
// It subscribes to TARVO_TRANS_COMMIT_IND, TARVO_TRANS_SERVER_DOWN_IND and
// TARVO_TRANS_ROLLBACK_IND at the process's signal distributor. A commit or rollback
// ends the transaction's registration before it is handled; a server that goes down
// ends all registrations, and the dispatcher attaches to the server anew, so that the
// next request registers on the fresh server. Neither pointer is owned.
#ifndef TRANI_SIGNAL_DISPATCHER_H
#define TRANI_SIGNAL_DISPATCHER_H

#include "SignalSubscriber.h"
#include "dynTrace.h"
#include "ose.h"

#include <vector>

class MaoFroGenericBase;
class TraniGenericBase;

class TraniSignalDispatcher : public SignalSubscriber {
  public:
    TraniSignalDispatcher(TraniGenericBase* traniHandler, MaoFroGenericBase* maoFroHandler);
    /// Unsubscribes the wanted signals.
    ~TraniSignalDispatcher() override;
    TraniSignalDispatcher(const TraniSignalDispatcher&) = delete;
    TraniSignalDispatcher& operator=(const TraniSignalDispatcher&) = delete;

    /// Attaches to the transaction server, forgets every registration and subscribes.
    void init();
    void handleSignal(union SIGNAL** signal) override;
    /// Subscribes to the wanted signals; a refusal is traced and passed over.
    void registerSignals();
    /// Unsubscribes them; a refusal is traced and passed over.
    void unregisterSignals();
    /// TARVO_TRANS_COMMIT_IND, TARVO_TRANS_SERVER_DOWN_IND, TARVO_TRANS_ROLLBACK_IND.
    std::vector<SIGSELECT> wantedSignals() const;

  private:
    TraniGenericBase* traniHandler;
    MaoFroGenericBase* maoFroHandler;
    TraceHandle traceObject;
    TraceHandle signalTraceObject;
};

#endif  // TRANI_SIGNAL_DISPATCHER_H
