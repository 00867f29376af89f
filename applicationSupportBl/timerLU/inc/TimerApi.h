// TimerApi: kernel time-outs turned into callbacks on the main process.
//
// The process-wide instance is a Timer held in the environment of the load module's
// block (pid 0) under the key "TimerAPILU": getTimerApi() makes it on first use,
// destroyTimerApi() deletes it. Neither takes a lock: both belong to the main process.
#ifndef TIMER_API_H
#define TIMER_API_H

#include <cstddef>
#include <cstdint>

class TimerObserver;

class TimerApi {
  public:
    enum TimerType : uint32_t { ONCE = 0, RECURRING = 1 };

    virtual ~TimerApi() = default;
    /// Subscribes the timer's signal at the signal distributor; once is enough.
    virtual void startinitialize() = 0;
    /// Starts a time-out of timeOut ms; returns its identity, 0 when not initialised.
    virtual uint32_t start(TimerObserver* observer, TimerType type, uint32_t timeOut) = 0;
    /// Stops the timer; unknown identities and timers that have just expired are harmless.
    virtual void cancel(uint32_t timerId) = 0;
    /// Number of timers running now.
    virtual std::size_t numberOfActiveTimers() const = 0;
};

/// The process-wide timer API, made on first use.
TimerApi* getTimerApi();
/// Deletes the process-wide timer API, if there is one; the next getTimerApi() makes a new one.
void destroyTimerApi();
/// The process-wide timer API if it exists, else null; never makes one.
TimerApi* findTimerApi();

#endif  // TIMER_API_H
