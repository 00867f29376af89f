#include "plab/nameserver/v1/NameServerOse.h"

#include "SignalDistributorAPI.h"
#include "plab/messaging/MessagingHandlerFactory.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

namespace plab::nameserver::v1 {

namespace {

uint32_t readWord(const union SIGNAL* signal, std::size_t offset) {
    uint32_t value;
    std::memcpy(&value, reinterpret_cast<const unsigned char*>(signal) + offset, sizeof value);
    return value;
}

void writeWord(union SIGNAL* signal, std::size_t offset, uint32_t value) {
    std::memcpy(reinterpret_cast<unsigned char*>(signal) + offset, &value, sizeof value);
}

unsigned char* bytes(union SIGNAL* signal) {
    return reinterpret_cast<unsigned char*>(signal);
}

/// The length of the tag at offset: up to its NUL, never past the end of the signal.
int tagLength(const union SIGNAL* signal, OSBUFSIZE size, std::size_t offset) {
    if (size <= offset)
        return 0;
    const char* tag = reinterpret_cast<const char*>(signal) + offset;
    const void* end = std::memchr(tag, '\0', size - offset);
    return static_cast<int>(end != nullptr ? static_cast<const char*>(end) - tag : size - offset);
}

}  // namespace

// Hands one signal number's signals to a member operation.
class NameServerOse::ReplyHandler : public SignalSubscriber {
  public:
    ReplyHandler(NameServerOse& owner, Handler handler) : m_owner(owner), m_handler(handler) {}
    void handleSignal(union SIGNAL** signal) override { (m_owner.*m_handler)(signal); }

  private:
    NameServerOse& m_owner;
    Handler m_handler;
};

bool NameServerOse::CallbackPair::operator==(const CallbackPair& other) const {
    auto same = [](const std::weak_ptr<ServiceCallback>& a,
                   const std::weak_ptr<ServiceCallback>& b) {
        return !a.owner_before(b) && !b.owner_before(a);
    };
    return same(callbackPublish, other.callbackPublish) &&
           same(callbackUnpublish, other.callbackUnpublish);
}

NameServerOse::NameServerOse()
    : m_addServiceReplyHandler(
          std::make_shared<ReplyHandler>(*this, &NameServerOse::handleAddServiceReply)),
      m_removeServiceReplyHandler(
          std::make_shared<ReplyHandler>(*this, &NameServerOse::handleRemoveServiceReply)),
      m_subscribeServiceReplyHandler(
          std::make_shared<ReplyHandler>(*this, &NameServerOse::handleSubscribeServiceReply)),
      m_subscribeServiceAddedPidHandler(
          std::make_shared<ReplyHandler>(*this, &NameServerOse::handleSubscribeServiceAddedPid)),
      m_subscribeServiceRemovedPidHandler(
          std::make_shared<ReplyHandler>(*this, &NameServerOse::handleSubscribeServiceRemovedPid)),
      m_cancelSubscriptionReplyHandler(
          std::make_shared<ReplyHandler>(*this, &NameServerOse::handleCancelSubscriptionReply)),
      m_messaging(messaging::createMessagingHandler()) {
    init();
}

NameServerOse::~NameServerOse() {
    SignalDistributorAPI* distributor = getSignalDistributorAPI();
    distributor->unsubscribe(NS_ADD_SERVICE_REPLY, m_addServiceReplyHandler.get());
    distributor->unsubscribe(NS_REMOVE_SERVICE_REPLY, m_removeServiceReplyHandler.get());
    distributor->unsubscribe(NS_SUBSCRIBE_SERVICE_REPLY, m_subscribeServiceReplyHandler.get());
    distributor->unsubscribe(NS_SUBSCRIBE_SERVICE_ADDED_PID,
                             m_subscribeServiceAddedPidHandler.get());
    distributor->unsubscribe(NS_SUBSCRIBE_SERVICE_REMOVED_PID,
                             m_subscribeServiceRemovedPidHandler.get());
    distributor->unsubscribe(NS_CANCEL_SERVICE_SUBSCRIPTION_REPLY,
                             m_cancelSubscriptionReplyHandler.get());
}

void NameServerOse::init() {
    TRACE(m_trace, 2, "NameServerOse::init()");
    std::shared_ptr<messaging::v1::Message> huntSignal = m_messaging->alloc(4, NS_LOCATE_HUNT);
    m_messaging->hunt("ose_ns", huntSignal);
    std::shared_ptr<messaging::v1::Message> found =
        m_messaging->receive({NS_LOCATE_HUNT}, kLocateTimeoutMs);
    if (found && !found->isEmpty()) {
        if (m_nameServerPid == 0)
            m_nameServerPid = found->sender();
        TRACE(m_trace, 4, "Locate name server successful");
    } else {
        TRACE(m_trace, 1, "Locate name server failed");
    }
    SignalDistributorAPI* distributor = getSignalDistributorAPI();
    distributor->subscribe(NS_ADD_SERVICE_REPLY, m_addServiceReplyHandler.get());
    distributor->subscribe(NS_REMOVE_SERVICE_REPLY, m_removeServiceReplyHandler.get());
    distributor->subscribe(NS_SUBSCRIBE_SERVICE_REPLY, m_subscribeServiceReplyHandler.get());
    distributor->subscribe(NS_SUBSCRIBE_SERVICE_ADDED_PID, m_subscribeServiceAddedPidHandler.get());
    distributor->subscribe(NS_SUBSCRIBE_SERVICE_REMOVED_PID,
                           m_subscribeServiceRemovedPidHandler.get());
    distributor->subscribe(NS_CANCEL_SERVICE_SUBSCRIPTION_REPLY,
                           m_cancelSubscriptionReplyHandler.get());
    TRACE(m_trace, 3, "NameServerOse::init() returned");
}

bool NameServerOse::sendServiceRequest(SIGSELECT sigNo, const char* operation,
                                       const std::string& name) {
    TRACE(m_trace, 2, "NameServerOse::%s(serviceName=%s)", operation, name.c_str());
    if (m_nameServerPid == 0) {
        TRACE(m_trace, 1, "No connection to name server.");
        TRACE(m_trace, 8, "NameServerOse::%s(serviceName=%s) returned false", operation,
              name.c_str());
        return false;
    }
    const std::size_t length = std::strlen(name.c_str());
    // NS_ADD_SERVICE carries the name and its NUL with four bytes to spare;
    // NS_REMOVE_SERVICE carries it in whole words.
    const std::size_t field = (length + 4) & ~std::size_t{3};
    const std::size_t size = sigNo == NS_ADD_SERVICE ? length + 9 : field + 8;
    std::shared_ptr<messaging::v1::Message> request =
        m_messaging->alloc(static_cast<OSBUFSIZE>(size), sigNo);
    if (!request || request->isEmpty()) {
        TRACE(m_trace, 1, "NameServerOse::%s(serviceName=%s) returned false", operation,
              name.c_str());
        return false;
    }
    std::memset(bytes(request->raw()) + 4, 0, size - 4);
    std::memcpy(bytes(request->raw()) + 4, name.c_str(), length);
    TRACE(m_signalTrace, 10, "Sending %s(%s) to 0x%x",
          sigNo == NS_ADD_SERVICE ? "NS_ADD_SERVICE" : "NS_REMOVE_SERVICE", name.c_str(),
          m_nameServerPid);
    m_messaging->send(request, m_nameServerPid);
    TRACE(m_trace, 3, "NameServerOse::%s(serviceName=%s) returned true", operation, name.c_str());
    return true;
}

bool NameServerOse::publish(const std::string& serviceName) {
    return sendServiceRequest(NS_ADD_SERVICE, "publish", serviceName);
}

bool NameServerOse::unpublish(const std::string& serviceName) {
    return sendServiceRequest(NS_REMOVE_SERVICE, "unpublish", serviceName);
}

bool NameServerOse::sendSubscribe(const std::string& name) {
    if (m_nameServerPid == 0) {
        TRACE(m_trace, 1, "No connection to name server. Not possible to send subscription");
        return false;
    }
    const std::size_t length = std::strlen(name.c_str());
    const std::size_t size = length + 13;
    std::shared_ptr<messaging::v1::Message> request =
        m_messaging->alloc(static_cast<OSBUFSIZE>(size), NS_SUBSCRIBE_SERVICE);
    if (!request || request->isEmpty())
        return false;
    std::memset(bytes(request->raw()) + 4, 0, size - 4);
    std::memcpy(bytes(request->raw()) + 8, name.c_str(), length);
    TRACE(m_signalTrace, 10, "Sending NS_SUBSCRIBE_SERVICE(%s) to 0x%x", name.c_str(),
          m_nameServerPid);
    m_messaging->send(request, m_nameServerPid);
    return true;
}

bool NameServerOse::sendCancel(uint32_t sid) {
    if (m_nameServerPid == 0) {
        TRACE(m_trace, 1, "No connection to name server. Not possible to cancel subscription");
        return false;
    }
    std::shared_ptr<messaging::v1::Message> request =
        m_messaging->alloc(8, NS_CANCEL_SERVICE_SUBSCRIPTION);
    if (!request || request->isEmpty())
        return false;
    writeWord(request->raw(), 4, sid);
    TRACE(m_signalTrace, 10, "Sending NS_CANCEL_SERVICE_SUBSCRIPTION(sid=%u) to 0x%x", sid,
          m_nameServerPid);
    m_messaging->send(request, m_nameServerPid);
    return true;
}

void NameServerOse::subscribeToService(const std::string& serviceName,
                                       const std::shared_ptr<ServiceCallback>& callbackPublish,
                                       const std::shared_ptr<ServiceCallback>& callbackUnpublish) {
    TRACE(m_trace, 2, "NameServerOse::subscribeToService(serviceName=%s)", serviceName.c_str());
    addObserver(getObservedService(serviceName), CallbackPair{callbackPublish, callbackUnpublish});
    TRACE(m_trace, 3, "NameServerOse::subscribeToService(serviceName=%s) returned",
          serviceName.c_str());
}

void NameServerOse::unsubscribeToService(
    const std::string& serviceName, const std::shared_ptr<ServiceCallback>& callbackPublish,
    const std::shared_ptr<ServiceCallback>& callbackUnpublish) {
    TRACE(m_trace, 2, "NameServerOse::unsubscribeToService(serviceName=%s)", serviceName.c_str());
    if (!isObservedService(serviceName)) {
        TRACE(m_trace, 0, "service (service=%s) is not observed by name server, ignoring request",
              serviceName.c_str());
        return;
    }
    ObservedService& service = *findByName(serviceName);
    removeObserver(service, CallbackPair{callbackPublish, callbackUnpublish});
    if (service.subscribers.empty())
        stopObservedService(serviceName);
    TRACE(m_trace, 3, "NameServerOse::unsubscribeToService(serviceName=%s) returned",
          serviceName.c_str());
}

NameServerOse::ObservedService* NameServerOse::findByName(const std::string& name) {
    auto found = std::find_if(m_observedServices.begin(), m_observedServices.end(),
                              [&](const ObservedService& s) { return s.name == name; });
    return found == m_observedServices.end() ? nullptr : &*found;
}

std::list<NameServerOse::ObservedService>::iterator NameServerOse::findRecordBySid(uint32_t sid) {
    // Only a confirmed subscription has its sid: a record still waiting for its
    // reply holds 0, which must not match anything.
    return std::find_if(m_observedServices.begin(), m_observedServices.end(),
                        [&](const ObservedService& s) { return s.subscribed && s.sid == sid; });
}

NameServerOse::ObservedService* NameServerOse::findBySid(uint32_t sid) {
    auto found = findRecordBySid(sid);
    return found == m_observedServices.end() ? nullptr : &*found;
}

bool NameServerOse::isObservedService(const std::string& name) const {
    TRACE(m_trace, 2, "NameServerOse::isObservedService(serviceName=%s)", name.c_str());
    return std::any_of(m_observedServices.begin(), m_observedServices.end(),
                       [&](const ObservedService& s) { return s.name == name; });
}

NameServerOse::ObservedService& NameServerOse::getObservedService(const std::string& name) {
    TRACE(m_trace, 2, "NameServerOse::getObservedService(serviceName=%s)", name.c_str());
    if (ObservedService* existing = findByName(name))
        return *existing;
    ObservedService service;
    service.name = name;
    service.requestOutstanding = sendSubscribe(name);
    m_observedServices.push_back(std::move(service));
    return m_observedServices.back();
}

void NameServerOse::addObserver(ObservedService& service, const CallbackPair& pair) {
    TRACE(m_trace, 2, "NameServerOse::addObserver(serviceName=%s)", service.name.c_str());
    if (std::find(service.subscribers.begin(), service.subscribers.end(), pair) !=
        service.subscribers.end()) {
        TRACE(m_trace, 0,
              "callbackPublish=%p and callbackUnpublish=%p are already subscribing to service "
              "%s, ignoring request",
              static_cast<void*>(pair.callbackPublish.lock().get()),
              static_cast<void*>(pair.callbackUnpublish.lock().get()), service.name.c_str());
        return;
    }
    service.subscribers.push_back(pair);
    if (service.activeProvider != 0)
        call(pair.callbackPublish, service.name, service.activeProvider);
}

void NameServerOse::removeObserver(ObservedService& service, const CallbackPair& pair) {
    TRACE(m_trace, 2, "NameServerOse::removeObserver(serviceName=%s)", service.name.c_str());
    const std::size_t before = service.subscribers.size();
    service.subscribers.remove(pair);
    if (service.subscribers.size() == before) {
        TRACE(m_trace, 0,
              "callbackPublish=%p and callbackUnpublish=%p are not subscribing to service %s, "
              "ignoring request",
              static_cast<void*>(pair.callbackPublish.lock().get()),
              static_cast<void*>(pair.callbackUnpublish.lock().get()), service.name.c_str());
    }
}

void NameServerOse::stopObservedService(const std::string& name) {
    TRACE(m_trace, 2, "NameServerOse::stopObservedService(serviceName=%s)", name.c_str());
    ObservedService* service = findByName(name);
    if (service == nullptr)
        return;
    if (!service->subscribers.empty()) {
        TRACE(m_trace, 1,
              "There are still subscribers to the service, will not cancel the subscription");
    } else if (service->subscribed && !service->requestOutstanding) {
        service->requestOutstanding = sendCancel(service->sid);
    } else {
        TRACE(m_trace, 0,
              "Race condition, trying to cancel subscription before response from nameserver");
    }
}

void NameServerOse::call(const std::weak_ptr<ServiceCallback>& callback, const std::string& name,
                         PROCESS pid) {
    std::shared_ptr<ServiceCallback> alive = callback.lock();
    if (alive && *alive)
        (*alive)(name, pid);
}

void NameServerOse::notify(ObservedService& service, PROCESS oldProvider, PROCESS newProvider,
                           int type) {
    // A callback may unsubscribe itself or others: walk a copy, and call only those
    // still subscribed when their turn comes.
    const std::string name = service.name;
    const std::vector<CallbackPair> subscribers(service.subscribers.begin(),
                                                service.subscribers.end());
    for (const CallbackPair& pair : subscribers) {
        if (std::find(service.subscribers.begin(), service.subscribers.end(), pair) ==
            service.subscribers.end())
            continue;
        switch (type) {
            case NEW_SUBSCRIBER:
                if (newProvider != 0)
                    call(pair.callbackPublish, name, newProvider);
                break;
            case PROVIDER_ADDED:
                if (oldProvider != 0)
                    call(pair.callbackUnpublish, name, oldProvider);
                if (newProvider != 0)
                    call(pair.callbackPublish, name, newProvider);
                else
                    TRACE(m_trace, 0, "Expected activeProvider to be not OSE_ILLEGAL_PROCESS");
                break;
            case PROVIDER_REMOVED:
                if (oldProvider != 0)
                    call(pair.callbackUnpublish, name, oldProvider);
                break;
            default:
                TRACE(m_trace, 1, "Unknown NotificationType");
                break;
        }
    }
}

bool NameServerOse::hasSize(union SIGNAL** signal, OSBUFSIZE needed, const char* name) {
    const OSBUFSIZE size = sigsize(signal);
    if (size >= needed)
        return true;
    TRACE(m_trace, 1, "%s of %u bytes is too short for its fields (%u bytes), dropped", name, size,
          needed);
    return false;
}

void NameServerOse::handleAddServiceReply(union SIGNAL** signal) {
    TRACE(m_trace, 2, "NameServerOse::handleAddServiceReply()");
    if (signal == nullptr || *signal == nullptr) {
        TRACE(m_trace, 0, "Got an empty message");
        return;
    }
    if (hasSize(signal, 8, "NS_ADD_SERVICE_REPLY")) {
        const OSBUFSIZE size = sigsize(signal);
        TRACE(m_signalTrace, 11, "Received NS_ADD_SERVICE_REPLY from 0x%x", sender(signal));
        if (readWord(*signal, 4) == NS_FAILURE) {
            TRACE(m_trace, 0, "NS_ADD_SERVICE_REPLY received with status NS_FAILURE. tag = %.*s",
                  tagLength(*signal, size, 8), reinterpret_cast<const char*>(bytes(*signal) + 8));
        }
    }
    TRACE(m_trace, 3, "NameServerOse::handleAddServiceReply() returned");
}

void NameServerOse::handleRemoveServiceReply(union SIGNAL** signal) {
    TRACE(m_trace, 2, "NameServerOse::handleRemoveServiceReply()");
    if (signal == nullptr || *signal == nullptr) {
        TRACE(m_trace, 0, "got an empty message");
        return;
    }
    if (hasSize(signal, 8, "NS_REMOVE_SERVICE_REPLY")) {
        const OSBUFSIZE size = sigsize(signal);
        TRACE(m_signalTrace, 11, "Received NS_REMOVE_SERVICE_REPLY from 0x%x", sender(signal));
        if (readWord(*signal, 4) == NS_FAILURE) {
            TRACE(m_trace, 0, "NS_REMOVE_SERVICE_REPLY received with status NS_FAILURE. tag = %.*s",
                  tagLength(*signal, size, 8), reinterpret_cast<const char*>(bytes(*signal) + 8));
        }
    }
    TRACE(m_trace, 3, "NameServerOse::handleRemoveServiceReply() returned");
}

void NameServerOse::handleSubscribeServiceReply(union SIGNAL** signal) {
    TRACE(m_trace, 2, "NameServerOse::handleSubscribeServiceReply()");
    if (signal == nullptr || *signal == nullptr) {
        TRACE(m_trace, 0, "Got an empty message");
        return;
    }
    if (hasSize(signal, 13, "NS_SUBSCRIBE_SERVICE_REPLY")) {
        const OSBUFSIZE size = sigsize(signal);
        const int length = tagLength(*signal, size, 12);
        if (12 + static_cast<OSBUFSIZE>(length) >= size) {
            TRACE(m_trace, 1, "NS_SUBSCRIBE_SERVICE_REPLY without a terminated tag, dropped");
        } else {
            const std::string name(reinterpret_cast<const char*>(bytes(*signal) + 12),
                                   static_cast<std::size_t>(length));
            const uint32_t sid = readWord(*signal, 4);
            TRACE(m_signalTrace, 11, "Received NS_SUBSCRIBE_SERVICE_REPLY(sid=%u) tag = %s", sid,
                  name.c_str());
            ObservedService* service = findByName(name);
            if (service == nullptr) {
                ObservedService created;
                created.name = name;
                m_observedServices.push_back(std::move(created));
                service = &m_observedServices.back();
            }
            service->sid = sid;
            service->subscribed = true;
            service->requestOutstanding = false;
            if (service->subscribers.empty())
                stopObservedService(name);
        }
    }
    TRACE(m_trace, 3, "NameServerOse::handleSubscribeServiceReply() returned");
}

void NameServerOse::handleSubscribeServiceAddedPid(union SIGNAL** signal) {
    TRACE(m_trace, 2, "NameServerOse::handleSubscribeServiceAddedPid()");
    if (signal == nullptr || *signal == nullptr) {
        TRACE(m_trace, 0, "got an empty message");
        return;
    }
    if (hasSize(signal, 12, "NS_SUBSCRIBE_SERVICE_ADDED_PID")) {
        const uint32_t sid = readWord(*signal, 4);
        const PROCESS provider = readWord(*signal, 8);
        TRACE(m_signalTrace, 11, "Received NS_SUBSCRIBE_SERVICE_ADDED_PID(sid=%u, pid=0x%x)", sid,
              provider);
        if (ObservedService* service = findBySid(sid)) {
            const PROCESS oldProvider = service->activeProvider;
            service->activeProvider = provider;
            notify(*service, oldProvider, provider, PROVIDER_ADDED);
        } else {
            TRACE(m_trace, 0,
                  "NS_SUBSCRIBE_SERVICE_ADDED_PID received for non-observed SID=%u, ignoring", sid);
        }
    }
    TRACE(m_trace, 3, "NameServerOse::handleSubscribeServiceAddedPid() returned");
}

void NameServerOse::handleSubscribeServiceRemovedPid(union SIGNAL** signal) {
    TRACE(m_trace, 2, "NameServerOse::handleSubscribeServiceRemovedPid()");
    if (signal == nullptr || *signal == nullptr) {
        TRACE(m_trace, 0, "Got an empty message");
        return;
    }
    if (hasSize(signal, 8, "NS_SUBSCRIBE_SERVICE_REMOVED_PID")) {
        const uint32_t sid = readWord(*signal, 4);
        TRACE(m_signalTrace, 11, "Received NS_SUBSCRIBE_SERVICE_REMOVED_PID(sid=%u)", sid);
        if (ObservedService* service = findBySid(sid)) {
            const PROCESS oldProvider = service->activeProvider;
            service->activeProvider = 0;
            notify(*service, oldProvider, 0, PROVIDER_REMOVED);
        } else {
            TRACE(m_trace, 0,
                  "NS_SUBSCRIBE_SERVICE_REMOVED_PID received for non-observed SID=%u, ignoring",
                  sid);
        }
    }
    TRACE(m_trace, 3, "NameServerOse::handleSubscribeServiceRemovedPid() returned");
}

void NameServerOse::handleCancelSubscriptionReply(union SIGNAL** signal) {
    TRACE(m_trace, 2, "NameServerOse::handleCancelSubscriptionReply()");
    if (signal == nullptr || *signal == nullptr) {
        TRACE(m_trace, 0, "Got an empty message");
        return;
    }
    if (hasSize(signal, 8, "NS_CANCEL_SERVICE_SUBSCRIPTION_REPLY")) {
        const uint32_t sid = readWord(*signal, 4);
        TRACE(m_signalTrace, 11, "Received NS_CANCEL_SERVICE_SUBSCRIPTION_REPLY(sid=%u)", sid);
        auto found = findRecordBySid(sid);
        if (found == m_observedServices.end()) {
            TRACE(m_trace, 0,
                  "NS_CANCEL_SERVICE_SUBSCRIPTION_REPLY received for non-observed SID = %u", sid);
        } else {
            found->requestOutstanding = false;
            if (!found->subscribers.empty())
                found->requestOutstanding = sendSubscribe(found->name);
            else
                m_observedServices.erase(found);
        }
    }
    TRACE(m_trace, 3, "NameServerOse::handleCancelSubscriptionReply() returned");
}

}  // namespace plab::nameserver::v1
