// Timer: the process-wide timer API on the kernel's time-outs.
//
// Every timer is one kernel time-out that returns a TIMER_IND carrying the timer's
// identity. The signal reaches the main process's queue and comes back here through
// the signal distributor, so callbacks run in the main loop and never overlap.
#ifndef TIMER_H
#define TIMER_H

#include "SignalSubscriber.h"
#include "TimerApi.h"
#include "dynTrace.h"
#include "ose.h"

#include <cstdint>
#include <deque>
#include <list>
#include <map>

/// The signal a timer's kernel time-out returns: 8 bytes, number and timer identity.
constexpr SIGSELECT TIMER_IND = 0x1630C00;
constexpr OSBUFSIZE kTimerIndSize = 8;

class Timer : public TimerApi, public SignalSubscriber {
  public:
    Timer();
    ~Timer() override;
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    void startinitialize() override;
    uint32_t start(TimerObserver* observer, TimerType type, uint32_t timeOut) override;
    void cancel(uint32_t timerId) override;
    std::size_t numberOfActiveTimers() const override { return m_timers.size(); }

    void handleSignal(union SIGNAL** signal) override;

  private:
    struct TimerData {
        TimerObserver* observer;
        TimerType type;
        uint32_t timeOut;
        OSTMOREF reference;
        // The TIMER_IND the kernel holds for this timer. Only that very buffer may
        // expire the timer: a late TIMER_IND of a cancelled timer whose identity was
        // reused at once, or one sent by another process, is a different buffer.
        const union SIGNAL* inFlight;
    };

    uint32_t takeId();
    /// Starts the kernel time-out for the timer and records it in data.
    void arm(uint32_t timerId, TimerData& data);

    std::list<SIGSELECT> m_signals{TIMER_IND};
    std::map<uint32_t, TimerData> m_timers;
    std::deque<uint32_t> m_freeIds;
    uint32_t m_nextId = 1;
    bool m_initialized = false;
    TraceHandle m_trace{"TimerLU"};
};

#endif  // TIMER_H
