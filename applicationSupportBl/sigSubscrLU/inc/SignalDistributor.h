// SignalDistributor: the one dispatcher of the main process's signals.
#ifndef SIGNAL_DISTRIBUTOR_H
#define SIGNAL_DISTRIBUTOR_H

#include "SignalDistributorAPI.h"
#include "applsupp/signaldistributor/v2/SignalDistributorAPI.h"
#include "dynTrace.h"

#include <map>

// Subscriptions are kept per signal number in order of subscription. A subscriber
// that changes the table while it handles a signal ends the walk for that signal,
// since the entries may have moved: the subscribers behind it do not see it. No
// lock: all of it runs in the main process.
class SignalDistributor : public SignalDistributorAPI,
                          public applsupp::signaldistributor::v2::SignalDistributorAPI {
  public:
    using HandlerV2 = applsupp::signaldistributor::v2::SignalHandler;

    SignalDistributor();
    ~SignalDistributor() override;
    SignalDistributor(const SignalDistributor&) = delete;
    SignalDistributor& operator=(const SignalDistributor&) = delete;

    bool subscribe(SIGSELECT sigNo, SignalSubscriber* subscriber) override;
    bool subscribe(SIGSELECT sigNo, PROCESS sender, SignalSubscriber* subscriber) override;
    bool subscribe(SIGSELECT sigNo, PROCESS sender, uint32_t offset, uint32_t value,
                   SignalSubscriber* subscriber) override;
    bool subscribe(SIGSELECT sigNo, uint32_t offset, uint32_t value,
                   SignalSubscriber* subscriber) override;
    bool unsubscribe(SIGSELECT sigNo, SignalSubscriber* subscriber) override;

    bool subscribe(SIGSELECT sigNo, const std::weak_ptr<SignalHandler>& handler) override;
    bool subscribe(SIGSELECT sigNo, PROCESS sender,
                   const std::weak_ptr<SignalHandler>& handler) override;
    bool subscribe(SIGSELECT sigNo, PROCESS sender, uint32_t offset, uint32_t value,
                   const std::weak_ptr<SignalHandler>& handler) override;
    bool subscribe(SIGSELECT sigNo, PROCESS sender, const SignalFilter& filter,
                   const std::weak_ptr<SignalHandler>& handler) override;
    bool subscribe(SIGSELECT sigNo, uint32_t offset, uint32_t value,
                   const std::weak_ptr<SignalHandler>& handler) override;
    bool subscribe(SIGSELECT sigNo, const SignalFilter& filter,
                   const std::weak_ptr<SignalHandler>& handler) override;
    bool unsubscribe(SIGSELECT sigNo, const std::weak_ptr<SignalHandler>& handler) override;

    int subtract(int first, int second) override;

    bool handleMessage(const std::shared_ptr<plab::messaging::v1::Message>& message) override;

    bool subscribeToSignalProcessingMonitoring(SignalProcessingMonitor& monitor) override;
    bool unsubscribeToSignalProcessingMonitoring(SignalProcessingMonitor& monitor) override;

    bool subscribe(SIGSELECT sigNo, const std::weak_ptr<HandlerV2>& handler) override;
    bool subscribe(SIGSELECT sigNo, PROCESS sender,
                   const std::weak_ptr<HandlerV2>& handler) override;
    bool subscribe(SIGSELECT sigNo, PROCESS sender, uint32_t offset, uint32_t value,
                   const std::weak_ptr<HandlerV2>& handler) override;
    bool subscribe(SIGSELECT sigNo, PROCESS sender, const SignalFilter& filter,
                   const std::weak_ptr<HandlerV2>& handler) override;
    bool subscribe(SIGSELECT sigNo, uint32_t offset, uint32_t value,
                   const std::weak_ptr<HandlerV2>& handler) override;
    bool subscribe(SIGSELECT sigNo, const SignalFilter& filter,
                   const std::weak_ptr<HandlerV2>& handler) override;
    bool unsubscribe(SIGSELECT sigNo, const std::weak_ptr<HandlerV2>& handler) override;

    bool handleMessage(const std::shared_ptr<plab::messaging::v2::Message>& message) override;

  private:
    // Exactly one of subscriber, handler and handlerV2 is set.
    struct Subscription {
        SignalSubscriber* subscriber = nullptr;
        std::weak_ptr<SignalHandler> handler;
        std::weak_ptr<HandlerV2> handlerV2;
        bool hasSender = false;
        PROCESS sender = 0;
        SignalFilter filter;
    };

    bool add(SIGSELECT sigNo, Subscription subscription);
    bool remove(SIGSELECT sigNo, SignalSubscriber* subscriber, const void* handlerObject);
    static bool sameOwner(const Subscription& a, const Subscription& b);
    static bool matches(const Subscription& subscription,
                        const plab::messaging::v1::Message& message);
    static void deliver(const Subscription& subscription,
                        const std::shared_ptr<plab::messaging::v1::Message>& message);

    std::multimap<SIGSELECT, Subscription> m_subscriptions;
    bool m_changed;
    SignalProcessingMonitor* m_monitor;
    const SignalFilter m_noFilter;
    TraceHandle m_trace;
    // Depth of nested dispatches (a handler that dispatches a message itself): a nested
    // dispatch hands its changes on to the walk around it instead of clearing them,
    // so that the outer walk never goes on over moved entries.
    unsigned m_dispatchDepth;
};

#endif  // SIGNAL_DISTRIBUTOR_H
