#include "NameServerState.h"

#include "DynTraceHandler.h"
#include "NameServerSignals.h"
#include "dynTrace.h"
#include "oseHost.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace hostns {

namespace {

// Names are looked for in at most this many bytes; longer ones are malformed.
constexpr std::size_t kMaxName = 1024;

union SIGNAL* make(std::size_t size, SIGSELECT sigNo) {
    union SIGNAL* signal = alloc(static_cast<OSBUFSIZE>(size), sigNo);
    std::memset(reinterpret_cast<unsigned char*>(signal) + sizeof sigNo, 0, size - sizeof sigNo);
    return signal;
}

std::string processName(PROCESS pid) {
    char name[64] = {};
    if (!ose_process_name(pid, name, sizeof name))
        return std::string();
    return name;
}

}  // namespace

NameServerState::NameServerState()
    : m_trace(DynTraceHandler::registerTraceObject(kNameServerProcess)) {}

NameServerState::~NameServerState() {
    DynTraceHandler::deregisterTraceObject(m_trace);
}

void NameServerState::handle(union SIGNAL* signal) {
    union SIGNAL* buffer = signal;
    SignalView view(signal, sigsize(&buffer));
    PROCESS from = sender(&buffer);
    uint32_t sigNo = 0;
    view.word(0, sigNo);
    switch (sigNo) {
        case NS_ADD_SERVICE:
            addService(from, view);
            break;
        case NS_REMOVE_SERVICE:
            removeService(from, view);
            break;
        case NS_SUBSCRIBE_SERVICE:
            subscribeService(from, view);
            break;
        case NS_CANCEL_SERVICE_SUBSCRIPTION:
            cancelSubscription(from, view);
            break;
        case NS_FIND_SERVER:
            findServer(from, view);
            break;
        case NS_NAME_SUBSCRIBE:
            subscribeName(from, view);
            break;
        case NS_SIGNAL_SUBSCRIBE:
            subscribeSignal(from, view);
            break;
        case NS_STATUS_REQ:
            status(from);
            break;
        case OS_ATTACH_SIG:
            // Only the kernel's word counts: a process we never watched is no news.
            if (m_watched.count(from) != 0)
                processEnded(from);
            else
                TRACE(m_trace, 1, "Attach signal from unwatched process 0x%x dropped", from);
            break;
        default:
            TRACE(m_trace, 1, "Unknown signal 0x%x (%u bytes) from 0x%x dropped", sigNo,
                  view.size(), from);
            break;
    }
}

void NameServerState::addService(PROCESS from, const SignalView& view) {
    std::string name;
    if (!view.text(4, kMaxName, name)) {
        TRACE(m_trace, 1, "Malformed NS_ADD_SERVICE (%u bytes) from 0x%x dropped: no name",
              view.size(), from);
        return;
    }
    if (name.empty()) {
        TRACE(m_trace, 1, "NS_ADD_SERVICE of an empty name from 0x%x refused", from);
        sendStatusReply(NS_ADD_SERVICE_REPLY, from, NS_FAILURE, name);
        return;
    }
    watch(from);
    std::vector<PROCESS>& providers = m_services[name];
    PROCESS before = providers.empty() ? 0 : providers.back();
    providers.erase(std::remove(providers.begin(), providers.end(), from), providers.end());
    providers.push_back(from);
    TRACE(m_trace, 8, "Service %s published by 0x%x (%s)", name.c_str(), from,
          processName(from).c_str());
    sendStatusReply(NS_ADD_SERVICE_REPLY, from, NS_SUCCESS, name);
    if (before != from)
        providerChanged(name, before, from);
}

void NameServerState::removeService(PROCESS from, const SignalView& view) {
    std::string name;
    if (!view.text(4, kMaxName, name)) {
        TRACE(m_trace, 1, "Malformed NS_REMOVE_SERVICE (%u bytes) from 0x%x dropped: no name",
              view.size(), from);
        return;
    }
    PROCESS before = provider(name);
    if (!withdraw(name, from)) {
        TRACE(m_trace, 4, "Service %s is not published by 0x%x: NS_FAILURE", name.c_str(), from);
        sendStatusReply(NS_REMOVE_SERVICE_REPLY, from, NS_FAILURE, name);
        return;
    }
    TRACE(m_trace, 8, "Service %s unpublished by 0x%x", name.c_str(), from);
    sendStatusReply(NS_REMOVE_SERVICE_REPLY, from, NS_SUCCESS, name);
    PROCESS after = provider(name);
    if (before != after)
        providerChanged(name, before, after);
}

void NameServerState::subscribeService(PROCESS from, const SignalView& view) {
    std::string name;
    if (view.size() < 8 || !view.text(8, kMaxName, name)) {
        TRACE(m_trace, 1,
              "Malformed NS_SUBSCRIBE_SERVICE (%u bytes) from 0x%x dropped: no name at 8",
              view.size(), from);
        return;
    }
    watch(from);
    uint32_t sid = newSid();
    m_subscriptions[sid] = Subscription{Kind::Pid, name, from, 0, 0};
    TRACE(m_trace, 8, "Subscription %u of 0x%x to %s", sid, from, name.c_str());
    union SIGNAL* reply = make(12 + paddedLength(name), NS_SUBSCRIBE_SERVICE_REPLY);
    putWord(reply, 4, sid);
    putWord(reply, 8, NS_SUCCESS);
    putText(reply, 12, name);
    send(&reply, from);
    if (PROCESS active = provider(name)) {
        union SIGNAL* added = make(12, NS_SUBSCRIBE_SERVICE_ADDED_PID);
        putWord(added, 4, sid);
        putWord(added, 8, active);
        send(&added, from);
    }
}

void NameServerState::cancelSubscription(PROCESS from, const SignalView& view) {
    uint32_t sid = 0;
    if (!view.word(4, sid)) {
        TRACE(m_trace, 1,
              "Malformed NS_CANCEL_SERVICE_SUBSCRIPTION (%u bytes) from 0x%x dropped: no sid",
              view.size(), from);
        return;
    }
    auto found = m_subscriptions.find(sid);
    if (found != m_subscriptions.end() && found->second.subscriber == from &&
        found->second.kind == Kind::Pid) {
        TRACE(m_trace, 8, "Subscription %u of 0x%x to %s cancelled", sid, from,
              found->second.name.c_str());
        m_subscriptions.erase(found);
    } else {
        // Answered all the same: the subscriber waits for the reply to forget the
        // subscription, whatever we knew of it.
        TRACE(m_trace, 8, "Cancel of unknown subscription %u from 0x%x", sid, from);
    }
    union SIGNAL* reply = make(8, NS_CANCEL_SERVICE_SUBSCRIPTION_REPLY);
    putWord(reply, 4, sid);
    send(&reply, from);
}

void NameServerState::findServer(PROCESS from, const SignalView& view) {
    std::string name;
    if (view.size() < 8 || !view.text(8, kMaxName, name)) {
        TRACE(m_trace, 1, "Malformed find-server request (%u bytes) from 0x%x dropped: no name",
              view.size(), from);
        return;
    }
    PROCESS server = provider(name);
    if (server == 0 && !name.empty()) {
        // A server that only runs under its name, without publishing it, is found too.
        union SIGNAL* none = nullptr;
        PROCESS pid = 0;
        if (hunt(name.c_str(), 0, &pid, &none))
            server = pid;
    }
    TRACE(m_trace, 8, "Find server %s for 0x%x: 0x%x", name.c_str(), from, server);
    union SIGNAL* reply = make(8 + paddedLength(name), NS_FIND_SERVER_REPLY);
    putWord(reply, 4, server);
    putText(reply, 8, name);
    send(&reply, from);
}

void NameServerState::subscribeName(PROCESS from, const SignalView& view) {
    std::string name;
    if (view.size() < 8 || !view.text(8, kMaxName, name)) {
        TRACE(m_trace, 1, "Malformed name subscription (%u bytes) from 0x%x dropped: no name at 8",
              view.size(), from);
        return;
    }
    watch(from);
    uint32_t sid = newSid();
    m_subscriptions[sid] = Subscription{Kind::Name, name, from, 0, 0};
    TRACE(m_trace, 8, "Name subscription %u of 0x%x to %s", sid, from, name.c_str());
    union SIGNAL* confirm = make(12 + paddedLength(name), NS_NAME_SUBSCRIBE_CFM);
    putWord(confirm, 4, sid);
    putWord(confirm, 8, NS_SUCCESS);
    putText(confirm, 12, name);
    send(&confirm, from);
    if (PROCESS active = provider(name))
        sendNameEvent(NS_NAME_ADDED, sid, name, active, from);
}

void NameServerState::subscribeSignal(PROCESS from, const SignalView& view) {
    uint32_t fieldLength = 0;
    uint32_t upSignal = 0;
    std::string name;
    if (!view.word(8, fieldLength) || fieldLength > kMaxName || !view.text(16, fieldLength, name) ||
        !view.word(16 + fieldLength, upSignal)) {
        TRACE(m_trace, 1,
              "Malformed signal subscription (%u bytes, name field %u) from 0x%x dropped",
              view.size(), fieldLength, from);
        return;
    }
    watch(from);
    // A subscriber asks again for each use of the service (the RFAI proxy, per upload):
    // its new subscription replaces the one it holds for that name.
    for (auto held = m_subscriptions.begin(); held != m_subscriptions.end(); ++held) {
        if (held->second.kind == Kind::Signal && held->second.subscriber == from &&
            held->second.name == name) {
            TRACE(m_trace, 8, "Signal subscription %u of 0x%x to %s replaced", held->first, from,
                  name.c_str());
            m_subscriptions.erase(held);
            break;
        }
    }
    uint32_t sid = newSid();
    Subscription& subscription = m_subscriptions[sid];
    subscription = Subscription{Kind::Signal, name, from, upSignal, 0};
    TRACE(m_trace, 8, "Signal subscription %u of 0x%x to %s with 0x%x", sid, from, name.c_str(),
          upSignal);
    std::vector<uint32_t> finished;
    tellSignalSubscriber(sid, subscription, 0, provider(name), finished);
}

void NameServerState::processEnded(PROCESS pid) {
    m_watched.erase(pid);
    TRACE(m_trace, 8, "Process 0x%x (%s) has ended", pid, processName(pid).c_str());
    for (auto subscription = m_subscriptions.begin(); subscription != m_subscriptions.end();) {
        if (subscription->second.subscriber == pid)
            subscription = m_subscriptions.erase(subscription);
        else
            ++subscription;
    }
    std::vector<std::string> names;
    for (const auto& [name, providers] : m_services) {
        if (std::find(providers.begin(), providers.end(), pid) != providers.end())
            names.push_back(name);
    }
    for (const std::string& name : names) {
        PROCESS before = provider(name);
        withdraw(name, pid);
        PROCESS after = provider(name);
        TRACE(m_trace, 8, "Service %s withdrawn: its provider 0x%x has ended", name.c_str(), pid);
        if (before != after)
            providerChanged(name, before, after);
    }
}

void NameServerState::status(PROCESS from) {
    static const char* const kKinds[] = {"pid", "name", "signal"};
    std::string text;
    char line[128];
    auto append = [&](const std::string& part) {
        if (16 + text.size() + part.size() + 1 <= OS_MAX_SIGSIZE)
            text += part;
    };
    for (const auto& [name, providers] : m_services) {
        std::snprintf(line, sizeof line, " 0x%x\n", providers.back());
        append("service " + name + line);
    }
    for (const auto& [sid, subscription] : m_subscriptions) {
        std::snprintf(line, sizeof line, "subscription %u %s ", sid,
                      kKinds[static_cast<int>(subscription.kind)]);
        std::string entry = line + subscription.name;
        std::snprintf(line, sizeof line, " 0x%x\n", subscription.subscriber);
        append(entry + line);
    }
    union SIGNAL* answer = make(16 + text.size() + 1, NS_STATUS_CFM);
    putWord(answer, 4, static_cast<uint32_t>(m_services.size()));
    putWord(answer, 8, static_cast<uint32_t>(m_subscriptions.size()));
    putWord(answer, 12, static_cast<uint32_t>(m_watched.size()));
    putText(answer, 16, text);
    send(&answer, from);
}

PROCESS NameServerState::provider(const std::string& name) const {
    auto found = m_services.find(name);
    return found == m_services.end() || found->second.empty() ? 0 : found->second.back();
}

bool NameServerState::withdraw(const std::string& name, PROCESS pid) {
    auto found = m_services.find(name);
    if (found == m_services.end())
        return false;
    std::vector<PROCESS>& providers = found->second;
    auto position = std::find(providers.begin(), providers.end(), pid);
    if (position == providers.end())
        return false;
    providers.erase(position);
    if (providers.empty())
        m_services.erase(found);
    return true;
}

void NameServerState::providerChanged(const std::string& name, PROCESS before, PROCESS after) {
    std::vector<uint32_t> finished;
    for (auto& [sid, subscription] : m_subscriptions) {
        if (subscription.name != name)
            continue;
        switch (subscription.kind) {
            case Kind::Pid:
                if (after != 0) {
                    union SIGNAL* added = make(12, NS_SUBSCRIBE_SERVICE_ADDED_PID);
                    putWord(added, 4, sid);
                    putWord(added, 8, after);
                    send(&added, subscription.subscriber);
                } else {
                    union SIGNAL* removed = make(8, NS_SUBSCRIBE_SERVICE_REMOVED_PID);
                    putWord(removed, 4, sid);
                    send(&removed, subscription.subscriber);
                }
                break;
            case Kind::Name:
                if (after != 0)
                    sendNameEvent(NS_NAME_ADDED, sid, name, after, subscription.subscriber);
                else
                    sendNameEvent(NS_NAME_REMOVED, sid, name, before, subscription.subscriber);
                break;
            case Kind::Signal:
                tellSignalSubscriber(sid, subscription, before, after, finished);
                break;
        }
    }
    for (uint32_t sid : finished)
        m_subscriptions.erase(sid);
}

void NameServerState::tellSignalSubscriber(uint32_t sid, Subscription& subscription, PROCESS before,
                                           PROCESS after, std::vector<uint32_t>& finished) {
    if (subscription.told == 0) {
        if (after == 0)
            return;
        // Sent in the provider's name: the subscriber takes the sender as its server.
        union SIGNAL* up = make(4 + paddedLength(subscription.name), subscription.upSignal);
        putText(up, 4, subscription.name);
        send_w_s(&up, after, subscription.subscriber);
        subscription.told = after;
        TRACE(m_trace, 8, "Signal subscription %u: 0x%x sent for provider 0x%x", sid,
              subscription.upSignal, after);
    } else if (subscription.told == before) {
        union SIGNAL* down = make(4 + paddedLength(subscription.name), NS_SIGNAL_UNPUBLISH_IND);
        putText(down, 4, subscription.name);
        send(&down, subscription.subscriber);
        finished.push_back(sid);
        TRACE(m_trace, 8, "Signal subscription %u ended: provider 0x%x is gone", sid, before);
    }
}

void NameServerState::sendNameEvent(SIGSELECT sigNo, uint32_t sid, const std::string& name,
                                    PROCESS publisher, PROCESS to) {
    std::string publisherName = processName(publisher);
    std::size_t fieldLength = paddedLength(name);
    union SIGNAL* event = make(16 + fieldLength + paddedLength(publisherName), sigNo);
    putWord(event, 4, sid);
    putWord(event, 8, static_cast<uint32_t>(fieldLength));
    putText(event, 16, name);
    putText(event, 16 + fieldLength, publisherName);
    send(&event, to);
}

void NameServerState::sendStatusReply(SIGSELECT sigNo, PROCESS to, uint32_t status,
                                      const std::string& name) {
    union SIGNAL* reply = make(8 + paddedLength(name), sigNo);
    putWord(reply, 4, status);
    putText(reply, 8, name);
    send(&reply, to);
}

uint32_t NameServerState::newSid() {
    while (m_nextSid == 0 || m_subscriptions.count(m_nextSid) != 0)
        ++m_nextSid;
    return m_nextSid++;
}

void NameServerState::watch(PROCESS pid) {
    if (m_watched.count(pid) != 0)
        return;
    union SIGNAL* none = nullptr;
    m_watched[pid] = attach(&none, pid);
}

}  // namespace hostns
