// IndHandler: the subscriptions of management clients to indications per fRO type,
// and the fault, fault-ceased and parameter-changed indications sent to them.
//
// One instance per process, made by the first interface getter (IndHandlerApi.h) and
// deleted when no interface version is in use any more. A client subscribes a fRO type
// with MAOFRO_NOTIFY_SUBSCRIBE_REQ2; there is no confirm. The handler attaches to every
// subscribing process once, and when that process ends, the attach signal removes all
// of its subscriptions. Subscriptions are not persistent: clients subscribe again
// after a restart. Indications carry their XML as it stands, never zipped.
//
// No lock: everything runs on the application's one process.
#ifndef IND_HANDLER_H
#define IND_HANDLER_H

#include "Attribute.h"
#include "IndHandlerObserverIf.h"
#include "IndHandlerTypes.h"
#include "SignalSubscriber.h"
#include "dynTrace.h"
#include "ose.h"

#include <cstdint>
#include <list>
#include <set>
#include <string>
#include <utility>
#include <vector>

class TiXmlDocument;

class IndHandler : public SignalSubscriber {
  public:
    /// The interface versions that may hold the instance.
    static constexpr uint32_t kInterfaceVersion0 = 0;
    static constexpr uint32_t kInterfaceVersion1 = 1;

    /// The process-wide instance, made on first use; marks the version as in use.
    static IndHandler* getInstance(uint32_t interfaceVersion);
    /// Marks the version as no longer in use and forgets its observers; the instance
    /// is deleted when no version is in use.
    static void releaseInstance(uint32_t interfaceVersion);

    ~IndHandler() override;
    IndHandler(const IndHandler&) = delete;
    IndHandler& operator=(const IndHandler&) = delete;

    /// Subscribes the wanted signals at the signal distributor.
    void init();
    /// Adds an observer of new subscribers under an interface version; not owned.
    void registerClient(IndHandlerObserverIf* observer, uint32_t interfaceVersion);
    /// Removes an observer of an interface version.
    void deregisterClient(IndHandlerObserverIf* observer, uint32_t interfaceVersion);
    /// The subscriptions of that process, in (froType, pid) order.
    void getSubscriptions(uint32_t pid, IndSubscriptions& out) const;
    /// Whether pid subscribes to froType.
    bool isSubscriber(uint32_t froType, uint32_t pid) const;

    /// A subscribe request or the attach signal of a subscriber; never keeps the buffer.
    void handleSignal(union SIGNAL** sig) override;
    /// handleSignal for applications with a loop of their own; true.
    bool maoFroEvent(union SIGNAL** sig);

    /// A fault indication to pid, or to every subscriber of froType when pid is 0.
    void sendFaultInd(uint32_t froId, uint32_t froType, const std::string& ldn, int32_t faultId,
                      const std::string& faultIdLogical, const std::string& faultDescription,
                      const AdditionalData& additionalData, const std::string& severity,
                      int32_t eventId, uint32_t pid);
    /// sendFaultInd with the severity 1 "LOW", 2 "HIGH", anything else none.
    void sendFaultInd2(uint32_t froId, uint32_t froType, const std::string& ldn, int32_t faultId,
                       const std::string& faultIdLogical, const std::string& faultDescription,
                       const AdditionalData& additionalData, int32_t severity, int32_t eventId,
                       uint32_t pid);
    /// A fault-ceased indication to every subscriber of froType.
    void sendFaultCeasedInd(uint32_t froId, uint32_t froType, const std::string& ldn,
                            int32_t faultId, const std::string& faultIdLogical);
    /// A parameter indication of (name, type, value) attributes, in order.
    void sendParamChdInd(uint32_t froId, uint32_t froType, const std::string& ldn,
                         const Attributes& attributes, uint32_t pid);
    /// A parameter indication of typed attributes, in the map's order.
    void sendParamChdInd(uint32_t froId, uint32_t froType, const std::string& ldn,
                         const GenericAttributeMap& attributes, uint32_t pid);

  private:
    IndHandler();

    void dispatch(union SIGNAL** sig);
    void subscribeReq(union SIGNAL** sig, OSBUFSIZE size);
    void attachInd(union SIGNAL** sig);
    /// pid alone when it is not 0, else the subscribers of froType in pid order.
    std::vector<uint32_t> receivers(uint32_t froType, uint32_t pid) const;
    /// The document printed and sent as a parameter indication to each receiver.
    void sendParamChd(uint32_t froId, uint32_t froType, const TiXmlDocument& doc, uint32_t pid);

    std::set<std::pair<uint32_t, uint32_t>> subscriptions;  // (froType, pid)
    std::list<uint32_t> wantedSignals;
    std::string version;
    std::set<IndHandlerObserverIf*> clients1;
    std::set<IndHandlerObserverIf*> clients0;
    TraceHandle signalTraceObject;
    TraceHandle traceObject;
    bool subscribed;  // init() has subscribed wantedSignals
};

#endif  // IND_HANDLER_H
