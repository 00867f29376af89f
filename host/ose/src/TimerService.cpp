#include "TimerService.h"

namespace ose {

TimerService::TimerService(const KernelClock& clock, Deliver deliver, Release release)
    : m_clock(clock), m_deliver(std::move(deliver)), m_release(std::move(release)) {}

TimerService::~TimerService() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
    }
    m_wake.notify_all();
    if (m_thread.joinable()) {
        m_thread.join();
    }
    for (auto& entry : m_due) {
        m_release(entry.second.signal);
    }
}

void TimerService::request(OSTMOREF ref, PROCESS owner, OSTIME ms, BufferHeader* signal) {
    const Clock::time_point when = m_clock.now() + std::chrono::milliseconds(ms);
    if (ms == 0 && m_clock.manual()) {
        m_deliver(signal, owner);  // due now, and the clock may stand still for ever
        return;
    }
    bool wake = false;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_thread.joinable()) {
            m_thread = std::thread([this] { run(); });
        }
        m_due.emplace(Key{when, ref}, Entry{owner, signal});
        m_whenByRef.emplace(ref, when);
        wake = when < m_sleepsUntil;
        if (wake) {
            m_sleepsUntil = Clock::time_point::min();  // one wake-up is enough
        }
    }
    if (wake) {
        m_wake.notify_one();
    }
}

TimerService::Cancel TimerService::cancel(OSTMOREF ref, PROCESS caller, BufferHeader*& signal) {
    std::lock_guard<std::mutex> lock(m_mutex);
    auto when = m_whenByRef.find(ref);
    if (when == m_whenByRef.end()) {
        return Cancel::Gone;
    }
    auto it = m_due.find(Key{when->second, ref});
    if (it->second.owner != caller) {
        return Cancel::NotOwner;
    }
    signal = it->second.signal;
    m_due.erase(it);
    m_whenByRef.erase(when);
    return Cancel::Returned;
}

void TimerService::cancelAllOf(PROCESS owner) {
    std::vector<BufferHeader*> dropped;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (auto it = m_due.begin(); it != m_due.end();) {
            if (it->second.owner == owner) {
                dropped.push_back(it->second.signal);
                m_whenByRef.erase(it->first.second);
                it = m_due.erase(it);
            } else {
                ++it;
            }
        }
    }
    for (BufferHeader* h : dropped) {
        m_release(h);
    }
}

std::size_t TimerService::size() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_due.size();
}

bool TimerService::earliest(Clock::time_point& due) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_due.empty()) {
        return false;
    }
    due = m_due.begin()->first.first;
    return true;
}

void TimerService::takeDue(Clock::time_point now,
                           std::vector<std::pair<BufferHeader*, PROCESS>>& fired) {
    while (!m_due.empty() && m_due.begin()->first.first <= now) {
        auto it = m_due.begin();
        fired.emplace_back(it->second.signal, it->second.owner);
        m_whenByRef.erase(it->first.second);
        m_due.erase(it);
    }
}

void TimerService::fireDue(Clock::time_point now) {
    std::vector<std::pair<BufferHeader*, PROCESS>> fired;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        takeDue(now, fired);
    }
    for (auto& f : fired) {
        m_deliver(f.first, f.second);
    }
}

void TimerService::clockChanged() {
    // Under the lock, so that the thread sees the new mode before it waits again. What
    // it took out to deliver was due before the switch; it is delivered before this
    // returns, so that nothing comes late into the time of the new mode.
    std::unique_lock<std::mutex> lock(m_mutex);
    m_wake.notify_all();
    m_delivered.wait(lock, [this] { return !m_delivering; });
}

void TimerService::run() {
    std::vector<std::pair<BufferHeader*, PROCESS>> fired;
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_stop) {
        if (m_due.empty() || m_clock.manual()) {
            m_sleepsUntil = Clock::time_point::max();
            m_wake.wait(lock);
            m_sleepsUntil = Clock::time_point::min();
            continue;
        }
        const Clock::time_point now = m_clock.now();
        const Clock::time_point earliest = m_due.begin()->first.first;  // a copy: the entry may go
        if (earliest > now) {
            m_sleepsUntil = earliest;
            m_wake.wait_until(lock, m_clock.toSteady(earliest));
            m_sleepsUntil = Clock::time_point::min();
            continue;
        }
        takeDue(now, fired);
        m_delivering = true;
        lock.unlock();
        for (auto& f : fired) {
            m_deliver(f.first, f.second);
        }
        fired.clear();
        lock.lock();
        m_delivering = false;
        m_delivered.notify_all();
    }
}

}  // namespace ose
