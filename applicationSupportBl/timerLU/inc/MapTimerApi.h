// MapTimerApi: timers keyed by observer and enumeration value, at most one per pair.
#ifndef MAP_TIMER_API_H
#define MAP_TIMER_API_H

#include <cstddef>
#include <cstdint>
#include <string>

class MapTimerObserver;

class MapTimerApi {
  public:
    virtual ~MapTimerApi() = default;
    /// Same as cancelAllTmo.
    virtual void cancelAll(MapTimerObserver* observer) = 0;
    /// Starts a timer that runs once; false if the pair has one running already.
    virtual bool requestTmo(MapTimerObserver* observer, uint32_t timeOut, uint32_t enumId,
                            const std::string& ldn) = 0;
    /// Starts a timer that fires every timeOut ms until cancelled; false as above.
    virtual bool requestRepeatedTmo(MapTimerObserver* observer, uint32_t timeOut, uint32_t enumId,
                                    const std::string& ldn) = 0;
    /// Stops the pair's timer; false when it has none.
    virtual bool cancelTmo(MapTimerObserver* observer, uint32_t enumId) = 0;
    /// Stops every timer of the observer.
    virtual void cancelAllTmo(MapTimerObserver* observer) = 0;
    /// Number of timers held now.
    virtual std::size_t numberOfTimers() const = 0;
};

#endif  // MAP_TIMER_API_H
