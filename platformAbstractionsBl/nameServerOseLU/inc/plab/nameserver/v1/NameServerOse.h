// plab::nameserver::v1::NameServerOse: the process-wide client of the name server
// "ose_ns".
//
// One record per observed service, however many subscribers it has: the first
// subscriber of a name makes the subscription at the name server, the last one to
// leave cancels it. Replies and provider changes arrive as signals through the
// signal distributor, so every callback runs in the main loop. No lock: all of it
// belongs to the main process.
//
// The instance is held in the environment of pid 0 under "NameServerKeyName":
// getNameServer() makes it on first use (and so locates the name server, waiting
// at most 1000 ms), destroyNameServer() deletes it.
#ifndef PLAB_NAMESERVER_V1_NAME_SERVER_OSE_H
#define PLAB_NAMESERVER_V1_NAME_SERVER_OSE_H

#include "SignalSubscriber.h"
#include "TraceBackend.h"
#include "dynTrace.h"
#include "ose.h"
#include "plab/messaging/v1/MessagingHandler.h"
#include "plab/nameserver/v1/NameServer.h"

#include <cstdint>
#include <list>
#include <memory>
#include <string>

namespace plab::nameserver::v1 {

// Signals of the name server that this client speaks; every one begins with its
// number. Offsets in bytes, words of 32 bits, names NUL-terminated.
constexpr SIGSELECT NS_ADD_SERVICE = 31600;                        // 4: name
constexpr SIGSELECT NS_ADD_SERVICE_REPLY = 31601;                  // 4: status, 8: tag
constexpr SIGSELECT NS_REMOVE_SERVICE = 31602;                     // 4: name, in whole words
constexpr SIGSELECT NS_REMOVE_SERVICE_REPLY = 31603;               // 4: status, 8: tag
constexpr SIGSELECT NS_SUBSCRIBE_SERVICE = 31609;                  // 4: 0, 8: name
constexpr SIGSELECT NS_SUBSCRIBE_SERVICE_REPLY = 31610;            // 4: sid, 12: tag
constexpr SIGSELECT NS_SUBSCRIBE_SERVICE_ADDED_PID = 31613;        // 4: sid, 8: provider
constexpr SIGSELECT NS_SUBSCRIBE_SERVICE_REMOVED_PID = 31614;      // 4: sid
constexpr SIGSELECT NS_CANCEL_SERVICE_SUBSCRIPTION = 31615;        // 4: sid
constexpr SIGSELECT NS_CANCEL_SERVICE_SUBSCRIPTION_REPLY = 31616;  // 4: sid
/// Status of a reply that refused the request.
constexpr uint32_t NS_FAILURE = 1;
/// The hunt signal that locates the name server.
constexpr SIGSELECT NS_LOCATE_HUNT = 13;
/// The longest wait for the name server at construction.
constexpr int32_t kLocateTimeoutMs = 1000;

class NameServerOse : public NameServer {
  public:
    /// Locates the name server and subscribes the replies at the signal distributor.
    NameServerOse();
    ~NameServerOse() override;
    NameServerOse(const NameServerOse&) = delete;
    NameServerOse& operator=(const NameServerOse&) = delete;

    bool publish(const std::string& serviceName) override;
    bool unpublish(const std::string& serviceName) override;
    void subscribeToService(const std::string& serviceName,
                            const std::shared_ptr<ServiceCallback>& callbackPublish,
                            const std::shared_ptr<ServiceCallback>& callbackUnpublish) override;
    void unsubscribeToService(const std::string& serviceName,
                              const std::shared_ptr<ServiceCallback>& callbackPublish,
                              const std::shared_ptr<ServiceCallback>& callbackUnpublish) override;

  private:
    struct CallbackPair {
        std::weak_ptr<ServiceCallback> callbackPublish;
        std::weak_ptr<ServiceCallback> callbackUnpublish;
        /// Same owners of both references; an expired reference still compares.
        bool operator==(const CallbackPair& other) const;
    };

    struct ObservedService {
        std::string name;
        uint32_t sid = 0;
        bool subscribed = false;
        bool requestOutstanding = false;
        std::list<CallbackPair> subscribers;
        PROCESS activeProvider = 0;
    };

    enum NotificationType { NEW_SUBSCRIBER = 0, PROVIDER_ADDED = 1, PROVIDER_REMOVED = 2 };

    class ReplyHandler;
    using Handler = void (NameServerOse::*)(union SIGNAL** signal);

    void init();
    bool sendServiceRequest(SIGSELECT sigNo, const char* operation, const std::string& name);
    bool sendSubscribe(const std::string& name);
    bool sendCancel(uint32_t sid);

    ObservedService& getObservedService(const std::string& name);
    bool isObservedService(const std::string& name) const;
    void addObserver(ObservedService& service, const CallbackPair& pair);
    void removeObserver(ObservedService& service, const CallbackPair& pair);
    void stopObservedService(const std::string& name);
    std::list<ObservedService>::iterator findRecordBySid(uint32_t sid);
    ObservedService* findBySid(uint32_t sid);
    ObservedService* findByName(const std::string& name);
    void notify(ObservedService& service, PROCESS oldProvider, PROCESS newProvider, int type);
    void call(const std::weak_ptr<ServiceCallback>& callback, const std::string& name, PROCESS pid);

    void handleAddServiceReply(union SIGNAL** signal);
    void handleRemoveServiceReply(union SIGNAL** signal);
    void handleSubscribeServiceReply(union SIGNAL** signal);
    void handleSubscribeServiceAddedPid(union SIGNAL** signal);
    void handleSubscribeServiceRemovedPid(union SIGNAL** signal);
    void handleCancelSubscriptionReply(union SIGNAL** signal);
    /// False, with a trace, when the signal is shorter than the fields to be read.
    bool hasSize(union SIGNAL** signal, OSBUFSIZE needed, const char* name);

    PROCESS m_nameServerPid = 0;
    std::list<ObservedService> m_observedServices;
    std::shared_ptr<SignalSubscriber> m_addServiceReplyHandler;
    std::shared_ptr<SignalSubscriber> m_removeServiceReplyHandler;
    std::shared_ptr<SignalSubscriber> m_subscribeServiceReplyHandler;
    std::shared_ptr<SignalSubscriber> m_subscribeServiceAddedPidHandler;
    std::shared_ptr<SignalSubscriber> m_subscribeServiceRemovedPidHandler;
    std::shared_ptr<SignalSubscriber> m_cancelSubscriptionReplyHandler;
    // Both are objects of the platform layer's registry, TraceBackend.
    TraceBackendHandle m_signalTrace{"TvpIf"};
    TraceBackendHandle m_trace{"NameServerOseLU"};
    std::shared_ptr<messaging::v1::MessagingHandler> m_messaging;
};

/// The process-wide name-server client, made on first use.
NameServer* getNameServer();
/// Deletes the process-wide client, if there is one.
void destroyNameServer();

}  // namespace plab::nameserver::v1

#endif  // PLAB_NAMESERVER_V1_NAME_SERVER_OSE_H
