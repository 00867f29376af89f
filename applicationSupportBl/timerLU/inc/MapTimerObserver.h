// MapTimerObserver: what MapTimer calls when a timer of the observer has expired.
#ifndef MAP_TIMER_OBSERVER_H
#define MAP_TIMER_OBSERVER_H

#include <cstdint>

class MapTimerObserver {
  public:
    virtual ~MapTimerObserver() = default;
    /// The observer's timer of that enumeration value has expired.
    virtual void timeout(uint32_t enumId) = 0;
};

#endif  // MAP_TIMER_OBSERVER_H
