// TimerService: the kernel's time-outs, on one thread of their own.
//
// Time-outs are ordered by due time in a map, so starting and cancelling one is
// O(log n) however many are active. The thread sleeps on a condition variable until
// the earliest is due. A new time-out wakes it only if it falls due before the time
// the thread sleeps until: a supervision that is cancelled and started anew for every
// reply (the usual request and answer) costs no wake-up of the thread, which finds the
// later time-out when it wakes at the old time. Signals are delivered after the lock
// is released, so a delivery never holds up a request or a cancel.
//
// Due times are in the kernel clock's time. While the clock is manual the thread
// fires nothing: the thread that moves the clock fires what falls due (fireDue), so
// that the signals are in their owners' queues when the clock has moved.
#ifndef OSE_TIMER_SERVICE_H
#define OSE_TIMER_SERVICE_H

#include "BufferHeader.h"
#include "KernelClock.h"

#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

namespace ose {

class TimerService {
  public:
    /// Hands a due signal to its owner, with the owner as sender.
    using Deliver = std::function<void(BufferHeader*, PROCESS owner)>;
    /// Gives a signal back to the pool.
    using Release = std::function<void(BufferHeader*)>;
    enum class Cancel { Returned, Gone, NotOwner };

    TimerService(const KernelClock& clock, Deliver deliver, Release release);
    /// Stops the thread and frees the signals of time-outs that did not fire.
    ~TimerService();
    TimerService(const TimerService&) = delete;
    TimerService& operator=(const TimerService&) = delete;

    /// Delivers signal to owner after ms; ref is the caller's nonzero, unique reference.
    void request(OSTMOREF ref, PROCESS owner, OSTIME ms, BufferHeader* signal);
    /// Takes a time-out back before it fires; its signal is given back in signal.
    Cancel cancel(OSTMOREF ref, PROCESS caller, BufferHeader*& signal);
    /// Cancels every time-out of an owner that ended and frees their signals.
    void cancelAllOf(PROCESS owner);
    /// Active time-outs.
    std::size_t size() const;
    /// The earliest due time, if a time-out is active.
    bool earliest(Clock::time_point& due) const;
    /// Delivers, in order of due time, every time-out due at now or before.
    void fireDue(Clock::time_point now);
    /// The clock switched mode: the thread sets its wait again. Returns once what the
    /// thread had taken out to deliver is delivered.
    void clockChanged();

  private:
    using Key = std::pair<Clock::time_point, OSTMOREF>;
    struct Entry {
        PROCESS owner;
        BufferHeader* signal;
    };

    void run();
    /// Moves the time-outs due at now or before into fired, in order. Under m_mutex.
    void takeDue(Clock::time_point now, std::vector<std::pair<BufferHeader*, PROCESS>>& fired);

    const KernelClock& m_clock;
    const Deliver m_deliver;
    const Release m_release;
    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_delivered;  // with m_mutex: the thread delivered what it took
    // Guarded by m_mutex.
    std::map<Key, Entry> m_due;
    std::unordered_map<OSTMOREF, Clock::time_point> m_whenByRef;
    bool m_stop = false;
    bool m_delivering = false;  // the thread delivers signals it took out, out of the lock
    // The time the sleeping thread wakes by itself: max() for a wait without end, min()
    // while it is not asleep (it looks at m_due before it sleeps again).
    Clock::time_point m_sleepsUntil = Clock::time_point::min();
    std::thread m_thread;  // started by the first request, under m_mutex
};

}  // namespace ose

#endif  // OSE_TIMER_SERVICE_H
