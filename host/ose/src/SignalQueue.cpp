#include "SignalQueue.h"

namespace ose {

bool SignalQueue::push(BufferHeader* h) {
    h->next = nullptr;
    std::unique_lock<std::mutex> lock(m_mutex);
    if (m_closed) {
        return false;
    }
    if (m_inLast != nullptr) {
        m_inLast->next = h;
    } else {
        m_inHead = h;
    }
    m_inLast = h;
    ++m_inCount;
    const bool wake = m_waitingFor != nullptr && m_waitingFor->matches(*h);
    if (wake) {
        m_waitingFor = nullptr;
    }
    lock.unlock();
    // Woken after the unlock, so the receiver does not block again on the mutex.
    if (wake) {
        m_cv.notify_one();
    }
    return true;
}

BufferHeader* SignalQueue::takeAfter(BufferHeader* prev, const Selection& selection) {
    BufferHeader* h = prev != nullptr ? prev->next : m_privHead;
    while (h != nullptr && !selection.matches(*h)) {
        prev = h;
        h = h->next;
    }
    if (h == nullptr) {
        return nullptr;
    }
    if (prev != nullptr) {
        prev->next = h->next;
    } else {
        m_privHead = h->next;
    }
    if (m_privLast == h) {
        m_privLast = prev;
    }
    h->next = nullptr;
    m_privCount.store(m_privCount.load(std::memory_order_relaxed) - 1, std::memory_order_relaxed);
    return h;
}

BufferHeader* SignalQueue::take(const Selection& selection, Wait wait, Clock::time_point deadline,
                                const KernelClock& clock) {
    if (BufferHeader* h = takeAfter(nullptr, selection)) {
        return h;
    }
    std::unique_lock<std::mutex> lock(m_mutex);
    bool timedOut = false;
    for (;;) {
        if (m_interrupted) {
            return nullptr;
        }
        if (m_inHead != nullptr) {
            // Move the whole shared list behind the private one, then search the new part.
            BufferHeader* searched = m_privLast;
            if (m_privLast != nullptr) {
                m_privLast->next = m_inHead;
            } else {
                m_privHead = m_inHead;
            }
            m_privLast = m_inLast;
            m_privCount.store(m_privCount.load(std::memory_order_relaxed) + m_inCount,
                              std::memory_order_relaxed);
            m_inHead = m_inLast = nullptr;
            m_inCount = 0;
            lock.unlock();
            if (BufferHeader* h = takeAfter(searched, selection)) {
                return h;
            }
            lock.lock();
            continue;
        }
        if (wait == Wait::Poll || timedOut) {
            return nullptr;
        }
        m_waitingFor = &selection;
        m_timedReceive = wait == Wait::Until;
        m_blocked.store(OS_STATE_RECEIVE, std::memory_order_relaxed);
        if (wait == Wait::Forever) {
            m_cv.wait(lock);
        } else if (!clock.manual()) {
            timedOut = m_cv.wait_until(lock, clock.toSteady(deadline)) == std::cv_status::timeout;
        } else {
            timedOut = waitManual(lock, deadline, clock);
        }
        m_blocked.store(OS_STATE_READY, std::memory_order_relaxed);
        m_waitingFor = nullptr;
        m_timedReceive = false;
    }
}

bool SignalQueue::waitManual(std::unique_lock<std::mutex>& lock, Clock::time_point deadline,
                             const KernelClock& clock) {
    // The clock is read under the lock: whoever moves it does so before it looks for
    // waits to wake, so a deadline that has come is either seen here or woken there.
    if (clock.now() >= deadline) {
        return true;
    }
    m_manualWait = true;
    m_deadline = deadline;
    m_cv.wait(lock);
    m_manualWait = false;
    return clock.now() >= deadline;
}

bool SignalQueue::sleepUntil(Clock::time_point deadline, const KernelClock& clock) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_blocked.store(OS_STATE_DELAY, std::memory_order_relaxed);
    while (!m_interrupted) {
        m_sleeping = true;
        const bool due = clock.manual() ? waitManual(lock, deadline, clock)
                                        : m_cv.wait_until(lock, clock.toSteady(deadline)) ==
                                              std::cv_status::timeout;
        m_sleeping = false;
        if (due) {
            break;
        }
    }
    m_blocked.store(OS_STATE_READY, std::memory_order_relaxed);
    return !m_interrupted;
}

void SignalQueue::clockChanged() {
    {
        // Under the lock, so that a wait about to block sees the new mode. A timed wait
        // is woken to wait again under it, and is no longer idle until it does.
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_timedReceive && !m_sleeping) {
            return;
        }
        m_waitingFor = nullptr;
        m_sleeping = false;
    }
    m_cv.notify_all();
}

bool SignalQueue::manualDeadline(Clock::time_point& deadline) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_manualWait) {
        deadline = m_deadline;
    }
    return m_manualWait;
}

void SignalQueue::wakeIfDue(Clock::time_point now) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_manualWait || m_deadline > now) {
            return;
        }
        m_manualWait = false;
        m_waitingFor = nullptr;
        m_sleeping = false;
    }
    m_cv.notify_all();
}

bool SignalQueue::idle() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return !m_interrupted && (m_waitingFor != nullptr || m_sleeping);
}

void SignalQueue::interrupt() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_interrupted = true;
    }
    m_cv.notify_all();
}

BufferHeader* SignalQueue::close() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_closed = true;
    BufferHeader* head = m_inHead;
    m_inHead = m_inLast = nullptr;
    m_inCount = 0;
    return head;
}

BufferHeader* SignalQueue::drainPrivate() {
    BufferHeader* head = m_privHead;
    m_privHead = m_privLast = nullptr;
    m_privCount.store(0, std::memory_order_relaxed);
    return head;
}

uint32_t SignalQueue::count() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_inCount + m_privCount.load(std::memory_order_relaxed);
}

}  // namespace ose
