// SignalQueue: the signals waiting for one process, and the place it blocks.
//
// Senders append to a shared list under the lock. The receiving thread moves the
// whole shared list at once into a private list of its own and searches that without
// the lock, so a receive costs one lock however many signals it passes over. The
// private list holds the older signals, so searching it first and then what was
// moved keeps the queue's order. A sender wakes the receiver only if the receiver
// is blocked and the new signal is one it waits for: at most one wake per signal.
//
// A timed wait follows the kernel's clock. In real time it blocks until its
// deadline's steady time. In manual time it blocks without one and records its
// deadline, so that the thread moving the clock finds it and wakes it when it falls
// due (wakeIfDue). A blocked owner that nothing has woken yet is idle: the state a
// test waits for before it moves the clock or looks at what a process did.
#ifndef OSE_SIGNAL_QUEUE_H
#define OSE_SIGNAL_QUEUE_H

#include "BufferHeader.h"
#include "Doorbell.h"
#include "KernelClock.h"
#include "oseHost.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace ose {

/// Which signals a receive takes: sel[0] numbers behind it (0: any), and maybe one sender.
struct Selection {
    const SIGSELECT* sel;
    bool byFrom;
    PROCESS from;

    bool matches(const BufferHeader& h) const {
        if (byFrom && h.sender != from) {
            return false;
        }
        const SIGSELECT n = sel[0];
        if (n == 0) {
            return true;
        }
        const SIGSELECT no = h.sigNo();
        for (SIGSELECT i = 1; i <= n; ++i) {
            if (sel[i] == no) {
                return true;
            }
        }
        return false;
    }
};

class SignalQueue {
  public:
    enum class Wait { Poll, Until, Forever };

    SignalQueue() = default;
    SignalQueue(const SignalQueue&) = delete;
    SignalQueue& operator=(const SignalQueue&) = delete;

    /// Any thread: appends a signal; false when the queue is closed (the caller keeps it).
    bool push(BufferHeader* h);
    /// Owner thread: the first selected signal, waiting as told until the deadline in the
    /// clock's time; null on time-out or interrupt. While it waits in real time it also
    /// watches what watch (if any) gives it to watch.
    BufferHeader* take(const Selection& selection, Wait wait, Clock::time_point deadline,
                       const KernelClock& clock, const OseWaitWatch* watch = nullptr);
    /// Owner thread: sleeps until the deadline in the clock's time; false if interrupted.
    bool sleepUntil(Clock::time_point deadline, const KernelClock& clock);
    /// Any thread: wakes the owner out of take() or sleepUntil(), now and for good.
    void interrupt();
    /// Any thread: the clock switched mode; a timed wait starts again under the new one.
    void clockChanged();
    /// Any thread: the deadline of a wait blocked under the manual clock, if there is one.
    bool manualDeadline(Clock::time_point& deadline) const;
    /// Any thread: ends a wait blocked under the manual clock whose deadline is now or before.
    void wakeIfDue(Clock::time_point now);
    /// Any thread: the owner is blocked in take() or sleepUntil() and nothing has woken it.
    bool idle() const;
    /// Any thread: refuses further signals and returns those pushed but not yet moved.
    BufferHeader* close();
    /// Owner thread: returns the moved signals it did not take.
    BufferHeader* drainPrivate();
    /// Signals in the queue, both lists.
    uint32_t count() const;
    /// OS_STATE_RECEIVE, OS_STATE_DELAY or OS_STATE_READY.
    uint32_t blockedState() const { return m_blocked.load(std::memory_order_relaxed); }

  private:
    BufferHeader* takeAfter(BufferHeader* prev, const Selection& selection);
    /// Blocks under the manual clock until woken; true if the deadline has come.
    bool waitManual(std::unique_lock<std::mutex>& lock, Clock::time_point deadline,
                    const KernelClock& clock);
    class Watching;
    /// Owner: sleeps until woken or until the steady time (null: no limit), unlocking
    /// meanwhile. May return early: the caller looks again. With watching, it sleeps on
    /// its doorbell and the watched descriptor, and says whether that is readable.
    bool block(std::unique_lock<std::mutex>& lock, const Doorbell::SteadyTime* until,
               Watching* watching = nullptr);
    /// Under the lock: the bell to ring for the blocked owner, once; null if the owner
    /// sleeps on the condition variable (or is not blocked).
    Doorbell* bellToRing() {
        Doorbell* bell = m_bell;
        m_bell = nullptr;
        return bell;
    }
    /// After the unlock: wakes the owner from whichever it sleeps on.
    void wake(Doorbell* bell, bool all) {
        if (bell != nullptr) {
            bell->ring();
        } else if (all) {
            m_cv.notify_all();
        } else {
            m_cv.notify_one();
        }
    }

    mutable std::mutex m_mutex;
    std::condition_variable m_cv;
    // Guarded by m_mutex.
    Doorbell* m_bell = nullptr;  // while the owner watches in its sleep and nothing rang
    BufferHeader* m_inHead = nullptr;
    BufferHeader* m_inLast = nullptr;
    uint32_t m_inCount = 0;
    bool m_closed = false;
    bool m_interrupted = false;
    const Selection* m_waitingFor = nullptr;  // set while the owner is blocked in take()
    bool m_timedReceive = false;              // ... there, and with a deadline
    bool m_sleeping = false;                  // set while the owner is blocked in sleepUntil()
    bool m_manualWait = false;                // a wait under the manual clock, until m_deadline
    Clock::time_point m_deadline;

    // Only the owner thread touches the private list; its count is read by get_pcb.
    BufferHeader* m_privHead = nullptr;
    BufferHeader* m_privLast = nullptr;
    std::atomic<uint32_t> m_privCount{0};
    std::atomic<uint32_t> m_blocked{OS_STATE_READY};
};

}  // namespace ose

#endif  // OSE_SIGNAL_QUEUE_H
