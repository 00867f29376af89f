// MaoFroSignalDispatcher: brings the MAO-FRO request signals to a MaoFroGenericBase.
// init subscribes the signals at the signal distributor and publishes the service at the
// name server, which is how the management layer finds the process.
#ifndef MAO_FRO_SIGNAL_DISPATCHER_H
#define MAO_FRO_SIGNAL_DISPATCHER_H

#include "SignalSubscriber.h"
#include "dynTrace.h"
#include "ose.h"

#include <string>
#include <vector>

class MaoFroGenericBase;

class MaoFroSignalDispatcher : public SignalSubscriber {
  public:
    /// The handler is not owned and must outlive the dispatcher.
    explicit MaoFroSignalDispatcher(MaoFroGenericBase& handler);
    /// Unsubscribes the signals.
    ~MaoFroSignalDispatcher() override;
    MaoFroSignalDispatcher(const MaoFroSignalDispatcher&) = delete;
    MaoFroSignalDispatcher& operator=(const MaoFroSignalDispatcher&) = delete;

    /// Subscribes the signals, then publishes froServiceName.
    void init(const std::string& froServiceName);
    /// Calls the handler's operation for the signal; the buffer stays the caller's.
    void handleSignal(union SIGNAL** sig) override;

  private:
    void registerSignals();
    void unregisterSignals();
    void registerService();
    /// The request numbers, in the order of subscription.
    static std::vector<SIGSELECT> wantedSignals();

    MaoFroGenericBase* handler;
    std::string froServiceName;
    TraceHandle traceObject;
    TraceHandle signalTraceObject;
};

#endif  // MAO_FRO_SIGNAL_DISPATCHER_H
