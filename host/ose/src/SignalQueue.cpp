#include "SignalQueue.h"

namespace ose {

// The descriptor a receive watches while it waits: asked for at its first wait, given
// back when the receive returns or unwinds, both with no lock held.
class SignalQueue::Watching {
  public:
    explicit Watching(const OseWaitWatch* watch) : m_watch(watch) {}
    ~Watching() { stop(); }
    Watching(const Watching&) = delete;
    Watching& operator=(const Watching&) = delete;

    /// Asks for the descriptor at the first wait; -1 if there is none.
    int begin() {
        if (!m_asked && m_watch != nullptr) {
            m_asked = true;
            m_fd = m_watch->begin(m_watch->context, &m_serial);
        }
        return m_fd;
    }
    bool asked() const { return m_asked; }
    unsigned long long serial() const { return m_serial; }
    int fd() const { return m_fd; }
    /// The descriptor is readable: the watch reads it, and may be done with it.
    void ready() {
        if (m_fd >= 0 && m_watch->ready(m_watch->context, m_fd) == 0) {
            stop();
            Doorbell::forgetMine();  // its file is done with: not kept for the next wait
        }
    }

    void stop() {
        if (m_fd >= 0) {
            m_watch->end(m_watch->context, m_fd);
            m_fd = -1;
        }
    }

  private:
    const OseWaitWatch* const m_watch;
    bool m_asked = false;
    int m_fd = -1;
    unsigned long long m_serial = 0;
};

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
    const bool wakeOwner = m_waitingFor != nullptr && m_waitingFor->matches(*h);
    Doorbell* bell = nullptr;
    if (wakeOwner) {
        m_waitingFor = nullptr;
        bell = bellToRing();
    }
    lock.unlock();
    // Woken after the unlock, so the receiver does not block again on the mutex.
    if (wakeOwner) {
        wake(bell, false);
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
                                const KernelClock& clock, const OseWaitWatch* watch) {
    if (BufferHeader* h = takeAfter(nullptr, selection)) {
        return h;
    }
    Watching watching(watch);  // before the lock: it ends unlocked
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
        bool readable = false;
        if (wait == Wait::Forever) {
            readable = block(lock, nullptr, &watching);
        } else if (!clock.manual()) {
            const Doorbell::SteadyTime until = clock.toSteady(deadline);
            readable = block(lock, &until, &watching);
            timedOut = !readable && std::chrono::steady_clock::now() >= until;
        } else if (watching.fd() >= 0) {
            // The clock went manual during the wait: the socket is left to others.
            lock.unlock();
            watching.stop();
            lock.lock();
        } else {
            timedOut = waitManual(lock, deadline, clock);
        }
        m_blocked.store(OS_STATE_READY, std::memory_order_relaxed);
        m_waitingFor = nullptr;
        m_timedReceive = false;
        if (readable) {
            // What it reads may be for this process too: it lands in the shared list.
            lock.unlock();
            watching.ready();
            lock.lock();
        }
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
    block(lock, nullptr);
    m_manualWait = false;
    return clock.now() >= deadline;
}

bool SignalQueue::sleepUntil(Clock::time_point deadline, const KernelClock& clock) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_blocked.store(OS_STATE_DELAY, std::memory_order_relaxed);
    while (!m_interrupted) {
        m_sleeping = true;
        bool due;
        if (clock.manual()) {
            due = waitManual(lock, deadline, clock);
        } else {
            const Doorbell::SteadyTime until = clock.toSteady(deadline);
            block(lock, &until);
            due = std::chrono::steady_clock::now() >= until;
        }
        m_sleeping = false;
        if (due) {
            break;
        }
    }
    m_blocked.store(OS_STATE_READY, std::memory_order_relaxed);
    return !m_interrupted;
}

void SignalQueue::clockChanged() {
    Doorbell* bell = nullptr;
    {
        // Under the lock, so that a wait about to block sees the new mode. A timed wait
        // is woken to wait again under it, and is no longer idle until it does.
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_timedReceive && !m_sleeping) {
            return;
        }
        m_waitingFor = nullptr;
        m_sleeping = false;
        bell = bellToRing();
    }
    wake(bell, true);
}

bool SignalQueue::manualDeadline(Clock::time_point& deadline) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_manualWait) {
        deadline = m_deadline;
    }
    return m_manualWait;
}

void SignalQueue::wakeIfDue(Clock::time_point now) {
    Doorbell* bell = nullptr;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_manualWait || m_deadline > now) {
            return;
        }
        m_manualWait = false;
        m_waitingFor = nullptr;
        m_sleeping = false;
        bell = bellToRing();
    }
    wake(bell, true);
}

bool SignalQueue::idle() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return !m_interrupted && (m_waitingFor != nullptr || m_sleeping);
}

void SignalQueue::interrupt() {
    Doorbell* bell = nullptr;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_interrupted = true;
        bell = bellToRing();
    }
    wake(bell, true);
}

bool SignalQueue::block(std::unique_lock<std::mutex>& lock, const Doorbell::SteadyTime* until,
                        Watching* watching) {
    if (watching != nullptr && !watching->asked()) {
        // Asked without the lock, and before the owner says how it is to be woken.
        lock.unlock();
        watching->begin();
        lock.lock();
        if (m_interrupted || m_waitingFor == nullptr || m_inHead != nullptr) {
            return false;  // woken or sent to meanwhile: the caller looks again
        }
    }
    const int fd = watching != nullptr ? watching->fd() : -1;
    Doorbell* bell = fd >= 0 ? Doorbell::mine() : nullptr;
    if (fd >= 0 && bell == nullptr) {
        // No pipe for a bell (out of descriptors): the descriptor would lie unread while
        // the owner sleeps on the condition variable, so it goes back to the watch first.
        lock.unlock();
        watching->stop();
        lock.lock();
        return false;  // the caller looks again, and then sleeps watching nothing
    }
    if (bell == nullptr) {
        if (until == nullptr) {
            m_cv.wait(lock);
        } else {
            m_cv.wait_until(lock, *until);
        }
        return false;
    }
    m_bell = bell;
    lock.unlock();
    const bool readable = bell->waitWith(fd, watching->serial(), until);
    lock.lock();
    m_bell = nullptr;
    return readable;
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
