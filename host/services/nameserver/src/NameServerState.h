// NameServerState: what "ose_ns" knows, and its answer to each signal.
//
// Runs on the name server's own process alone: no lock. Every process that
// publishes or subscribes is supervised by attach, so that its end takes back its
// publications and drops its subscriptions.
#ifndef HOSTNS_NAME_SERVER_STATE_H
#define HOSTNS_NAME_SERVER_STATE_H

#include "SignalView.h"
#include "traceAndError.h"
#include "ose.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace hostns {

using hostsvc::SignalView;
using hostsvc::paddedLength;
using hostsvc::putText;
using hostsvc::putWord;

class NameServerState {
  public:
    NameServerState();
    ~NameServerState();
    NameServerState(const NameServerState&) = delete;
    NameServerState& operator=(const NameServerState&) = delete;

    /// Answers one received signal; the buffer stays the caller's.
    void handle(union SIGNAL* signal);

  private:
    enum class Kind {
        Pid,     // NS_SUBSCRIBE_SERVICE: told the provider's pid at every change
        Name,    // NS_NAME_SUBSCRIBE: told the provider's process name
        Signal,  // NS_SIGNAL_SUBSCRIBE: sent its signal once, then told of the unpublication
    };
    struct Subscription {
        Kind kind;
        std::string name;
        PROCESS subscriber;
        SIGSELECT upSignal;  // Kind::Signal only
        PROCESS told;        // Kind::Signal: the provider it was sent for, 0 before
    };

    void addService(PROCESS from, const SignalView& view);
    void removeService(PROCESS from, const SignalView& view);
    void subscribeService(PROCESS from, const SignalView& view);
    void cancelSubscription(PROCESS from, const SignalView& view);
    void findServer(PROCESS from, const SignalView& view);
    void subscribeName(PROCESS from, const SignalView& view);
    void subscribeSignal(PROCESS from, const SignalView& view);
    void processEnded(PROCESS pid);
    void status(PROCESS from);

    /// The active provider of a name, 0 for none.
    PROCESS provider(const std::string& name) const;
    /// Takes a provider out of a name's list; false when it was not in it.
    bool withdraw(const std::string& name, PROCESS pid);
    /// Tells every subscriber of the name that its provider went from before to after.
    void providerChanged(const std::string& name, PROCESS before, PROCESS after);
    void tellSignalSubscriber(uint32_t sid, Subscription& subscription, PROCESS before,
                              PROCESS after, std::vector<uint32_t>& finished);
    void sendNameEvent(SIGSELECT sigNo, uint32_t sid, const std::string& name, PROCESS publisher,
                       PROCESS to);
    void sendStatusReply(SIGSELECT sigNo, PROCESS to, uint32_t status, const std::string& name);
    uint32_t newSid();
    void watch(PROCESS pid);

    // Providers of each name, in order of publication; the last one is active.
    std::map<std::string, std::vector<PROCESS>> m_services;
    // By subscription identity, which also orders them by age.
    std::map<uint32_t, Subscription> m_subscriptions;
    // Processes supervised by attach, with the reference.
    std::map<PROCESS, OSATTREF> m_watched;
    uint32_t m_nextSid = 1;
    TraceObject* m_trace;
};

}  // namespace hostns

#endif  // HOSTNS_NAME_SERVER_STATE_H
