#include "SignalDistributor.h"

#include <cinttypes>
#include <cstring>

using plab::messaging::v1::Message;

namespace {

// Same control block: the same function object, alive or not.
template <typename T>
bool sameObject(const std::weak_ptr<T>& a, const std::weak_ptr<T>& b) {
    return !a.owner_before(b) && !b.owner_before(a);
}

}  // namespace

SignalDistributor::SignalDistributor()
    : m_changed(false), m_monitor(nullptr), m_trace("sigSubscrLU"), m_dispatchDepth(0) {}

SignalDistributor::~SignalDistributor() = default;

// --- raw subscribers -------------------------------------------------------------

bool SignalDistributor::subscribe(SIGSELECT sigNo, SignalSubscriber* subscriber) {
    Subscription entry;
    entry.subscriber = subscriber;
    return add(sigNo, std::move(entry));
}

bool SignalDistributor::subscribe(SIGSELECT sigNo, PROCESS sender, SignalSubscriber* subscriber) {
    Subscription entry;
    entry.subscriber = subscriber;
    entry.hasSender = true;
    entry.sender = sender;
    return add(sigNo, std::move(entry));
}

bool SignalDistributor::subscribe(SIGSELECT sigNo, PROCESS sender, uint32_t offset, uint32_t value,
                                  SignalSubscriber* subscriber) {
    Subscription entry;
    entry.subscriber = subscriber;
    entry.hasSender = true;
    entry.sender = sender;
    entry.filter = {{offset, value}};
    return add(sigNo, std::move(entry));
}

bool SignalDistributor::subscribe(SIGSELECT sigNo, uint32_t offset, uint32_t value,
                                  SignalSubscriber* subscriber) {
    Subscription entry;
    entry.subscriber = subscriber;
    entry.filter = {{offset, value}};
    return add(sigNo, std::move(entry));
}

bool SignalDistributor::unsubscribe(SIGSELECT sigNo, SignalSubscriber* subscriber) {
    if (subscriber == nullptr) {
        return false;
    }
    return remove(sigNo, subscriber, nullptr);
}

// --- version-1 handlers ------------------------------------------------------------

bool SignalDistributor::subscribe(SIGSELECT sigNo, const std::weak_ptr<SignalHandler>& handler) {
    return subscribe(sigNo, m_noFilter, handler);
}

bool SignalDistributor::subscribe(SIGSELECT sigNo, PROCESS sender,
                                  const std::weak_ptr<SignalHandler>& handler) {
    return subscribe(sigNo, sender, m_noFilter, handler);
}

bool SignalDistributor::subscribe(SIGSELECT sigNo, PROCESS sender, uint32_t offset, uint32_t value,
                                  const std::weak_ptr<SignalHandler>& handler) {
    return subscribe(sigNo, sender, SignalFilter{{offset, value}}, handler);
}

bool SignalDistributor::subscribe(SIGSELECT sigNo, PROCESS sender, const SignalFilter& filter,
                                  const std::weak_ptr<SignalHandler>& handler) {
    const std::shared_ptr<SignalHandler> locked = handler.lock();
    if (!locked) {
        return false;
    }
    Subscription entry;
    entry.handler = locked;
    entry.hasSender = true;
    entry.sender = sender;
    entry.filter = filter;
    return add(sigNo, std::move(entry));
}

bool SignalDistributor::subscribe(SIGSELECT sigNo, uint32_t offset, uint32_t value,
                                  const std::weak_ptr<SignalHandler>& handler) {
    return subscribe(sigNo, SignalFilter{{offset, value}}, handler);
}

bool SignalDistributor::subscribe(SIGSELECT sigNo, const SignalFilter& filter,
                                  const std::weak_ptr<SignalHandler>& handler) {
    const std::shared_ptr<SignalHandler> locked = handler.lock();
    if (!locked) {
        return false;
    }
    Subscription entry;
    entry.handler = locked;
    entry.filter = filter;
    return add(sigNo, std::move(entry));
}

bool SignalDistributor::unsubscribe(SIGSELECT sigNo, const std::weak_ptr<SignalHandler>& handler) {
    const std::shared_ptr<SignalHandler> locked = handler.lock();
    if (!locked) {
        return false;
    }
    return remove(sigNo, nullptr, locked.get());
}

// --- version-2 handlers ------------------------------------------------------------

bool SignalDistributor::subscribe(SIGSELECT sigNo, const std::weak_ptr<HandlerV2>& handler) {
    return subscribe(sigNo, m_noFilter, handler);
}

bool SignalDistributor::subscribe(SIGSELECT sigNo, PROCESS sender,
                                  const std::weak_ptr<HandlerV2>& handler) {
    return subscribe(sigNo, sender, m_noFilter, handler);
}

bool SignalDistributor::subscribe(SIGSELECT sigNo, PROCESS sender, uint32_t offset, uint32_t value,
                                  const std::weak_ptr<HandlerV2>& handler) {
    return subscribe(sigNo, sender, SignalFilter{{offset, value}}, handler);
}

bool SignalDistributor::subscribe(SIGSELECT sigNo, PROCESS sender, const SignalFilter& filter,
                                  const std::weak_ptr<HandlerV2>& handler) {
    const std::shared_ptr<HandlerV2> locked = handler.lock();
    if (!locked) {
        return false;
    }
    Subscription entry;
    entry.handlerV2 = locked;
    entry.hasSender = true;
    entry.sender = sender;
    entry.filter = filter;
    return add(sigNo, std::move(entry));
}

bool SignalDistributor::subscribe(SIGSELECT sigNo, uint32_t offset, uint32_t value,
                                  const std::weak_ptr<HandlerV2>& handler) {
    return subscribe(sigNo, SignalFilter{{offset, value}}, handler);
}

bool SignalDistributor::subscribe(SIGSELECT sigNo, const SignalFilter& filter,
                                  const std::weak_ptr<HandlerV2>& handler) {
    const std::shared_ptr<HandlerV2> locked = handler.lock();
    if (!locked) {
        return false;
    }
    Subscription entry;
    entry.handlerV2 = locked;
    entry.filter = filter;
    return add(sigNo, std::move(entry));
}

bool SignalDistributor::unsubscribe(SIGSELECT sigNo, const std::weak_ptr<HandlerV2>& handler) {
    const std::shared_ptr<HandlerV2> locked = handler.lock();
    if (!locked) {
        return false;
    }
    return remove(sigNo, nullptr, locked.get());
}

// --- the table ---------------------------------------------------------------------

bool SignalDistributor::sameOwner(const Subscription& a, const Subscription& b) {
    return a.subscriber == b.subscriber && sameObject(a.handler, b.handler) &&
           sameObject(a.handlerV2, b.handlerV2);
}

bool SignalDistributor::add(SIGSELECT sigNo, Subscription subscription) {
    if (subscription.subscriber == nullptr && subscription.handler.expired() &&
        subscription.handlerV2.expired()) {
        TRACE(m_trace, 1, "subscribe(sigNo=0x%x) refused: no subscriber", sigNo);
        return false;
    }
    for (const auto& [offset, value] : subscription.filter) {
        if (offset % 4 != 0) {
            TRACE(m_trace, 1,
                  "subscribe(sigNo=0x%x) refused: filter offset %u is not a multiple of 4", sigNo,
                  offset);
            return false;
        }
    }
    const auto range = m_subscriptions.equal_range(sigNo);
    for (auto it = range.first; it != range.second; ++it) {
        if (sameOwner(it->second, subscription)) {
            return false;
        }
    }
    m_changed = true;
    m_subscriptions.emplace_hint(range.second, sigNo, std::move(subscription));
    return true;
}

bool SignalDistributor::remove(SIGSELECT sigNo, SignalSubscriber* subscriber,
                               const void* handlerObject) {
    const auto range = m_subscriptions.equal_range(sigNo);
    for (auto it = range.first; it != range.second; ++it) {
        const Subscription& entry = it->second;
        bool same = false;
        if (subscriber != nullptr) {
            same = entry.subscriber == subscriber;
        } else {
            // The entry's handler is compared by its function object; one that has
            // expired cannot be the one given, which is alive.
            const auto v1 = entry.handler.lock();
            const auto v2 = entry.handlerV2.lock();
            same = (v1 && v1.get() == handlerObject) || (v2 && v2.get() == handlerObject);
        }
        if (same) {
            m_subscriptions.erase(it);
            m_changed = true;
            return true;
        }
    }
    return false;
}

int SignalDistributor::subtract(int first, int second) {
    // Wraps like the target's 32-bit arithmetic instead of overflowing.
    return static_cast<int>(static_cast<unsigned>(second) - static_cast<unsigned>(first));
}

// --- dispatch ----------------------------------------------------------------------

bool SignalDistributor::matches(const Subscription& subscription, const Message& message) {
    if (subscription.hasSender && message.sender() != subscription.sender) {
        return false;
    }
    if (subscription.filter.empty()) {
        return true;
    }
    const auto* base = reinterpret_cast<const unsigned char*>(message.raw());
    const OSBUFSIZE size = message.size();
    for (const auto& [offset, value] : subscription.filter) {
        // A word outside the signal cannot match: a short signal is not read past its end.
        if (base == nullptr || offset > size || size - offset < sizeof(uint32_t)) {
            return false;
        }
        const unsigned char* word = base + offset;
        if (reinterpret_cast<std::uintptr_t>(word) % 4 != 0) {
            return false;
        }
        uint32_t content;
        std::memcpy(&content, word, sizeof content);
        if (content != value) {
            return false;
        }
    }
    return true;
}

void SignalDistributor::deliver(const Subscription& subscription,
                                const std::shared_ptr<Message>& message) {
    const std::shared_ptr<SignalHandler> handler = subscription.handler.lock();
    if (handler) {
        (*handler)(message);
        return;
    }
    const std::shared_ptr<HandlerV2> handlerV2 = subscription.handlerV2.lock();
    if (handlerV2) {
        if (auto view = std::dynamic_pointer_cast<plab::messaging::v2::Message>(message)) {
            (*handlerV2)(view);
        }
        return;
    }
    if (subscription.subscriber != nullptr) {
        union SIGNAL* signal = message->raw();
        subscription.subscriber->handleSignal(&signal);
        if (signal == nullptr) {
            // The subscriber owns the buffer now; the message must not free it.
            message->release();
        }
    }
}

bool SignalDistributor::handleMessage(const std::shared_ptr<Message>& message) {
    if (!message || message->isEmpty()) {
        TRACE(m_trace, 1, "handleMessage: no signal in the message");
        return false;
    }
    const bool outerChanged = m_changed;
    m_changed = false;
    ++m_dispatchDepth;
    const SIGSELECT sigNo = message->sigNo();
    bool delivered = false;
    const bool monitored = m_monitor != nullptr;
    if (monitored) {
        m_monitor->signalProcessingStarted(sigNo);
    }
    const auto range = m_subscriptions.equal_range(sigNo);
    for (auto it = range.first; it != range.second; ++it) {
        const Subscription& entry = it->second;
        if (!matches(entry, *message)) {
            continue;
        }
        // The entry may be erased by its own handler: deliver() does not touch it after
        // the call, and the walk ends on any change.
        deliver(entry, message);
        delivered = true;
        if (message->isEmpty() || m_changed) {
            break;
        }
    }
    if (monitored && m_monitor != nullptr) {
        m_monitor->signalProcessingFinished(sigNo);
    }
    --m_dispatchDepth;
    m_changed = m_dispatchDepth > 0 && (outerChanged || m_changed);
    return delivered;
}

bool SignalDistributor::handleMessage(
    const std::shared_ptr<plab::messaging::v2::Message>& message) {
    const auto view = std::dynamic_pointer_cast<Message>(message);
    if (!view) {
        TRACE(m_trace, 1, "handleMessage: the message has no version-1 view");
        return false;
    }
    return handleMessage(view);
}

// --- monitoring ----------------------------------------------------------------------

bool SignalDistributor::subscribeToSignalProcessingMonitoring(SignalProcessingMonitor& monitor) {
    if (m_monitor != nullptr) {
        TRACE(
            m_trace, 4,
            "Warning: usage failure: subscribeToSignalProcessingMonitoring(SignalProcessingMonitor "
            "&0x%" PRIxPTR " ) signalProcessing already enabled by &0x%" PRIxPTR "!",
            reinterpret_cast<std::uintptr_t>(&monitor),
            reinterpret_cast<std::uintptr_t>(m_monitor));
        return false;
    }
    m_monitor = &monitor;
    return true;
}

bool SignalDistributor::unsubscribeToSignalProcessingMonitoring(SignalProcessingMonitor& monitor) {
    if (m_monitor != &monitor) {
        TRACE(m_trace, 4,
              "Warning: usage failure: "
              "unsubscribeToSignalProcessingMonitoring(SignalProcessingMonitor "
              "&0x%" PRIxPTR " ) has not subscribed to signalMonitoring!",
              reinterpret_cast<std::uintptr_t>(&monitor));
        return false;
    }
    m_monitor = nullptr;
    return true;
}
