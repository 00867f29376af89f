// TimerObserver: what Timer calls when one of its time-outs has expired.
#ifndef TIMER_OBSERVER_H
#define TIMER_OBSERVER_H

#include <cstdint>

class TimerObserver {
  public:
    virtual ~TimerObserver() = default;
    /// The timer of that identity has expired; a ONCE timer is already gone.
    virtual void timerExpired(uint32_t timerId) = 0;
};

#endif  // TIMER_OBSERVER_H
