// MapTimer: the process-wide timers keyed by observer and enumeration value.
//
// Each timer is a ONCE timer of the timer API with this object as its observer; a
// repeated timer is started again by hand at each expiry. The instance is held by a
// static pointer: getInstance() makes it on first use, destroyInstance() deletes it.
#ifndef MAP_TIMER_H
#define MAP_TIMER_H

#include "MapTimerApi.h"
#include "TimerObserver.h"
#include "dynTrace.h"

#include <cstdint>
#include <map>
#include <string>
#include <utility>

class MapTimerObserver;

struct MapTimerEntry {
    MapTimerObserver* observer = nullptr;
    bool repeated = false;
    uint32_t timeOut = 0;
    uint32_t enumId = 0;
    std::string ldn;
    uint32_t timerId = 0;
};

class MapTimer : public MapTimerApi, public TimerObserver {
  public:
    /// The process-wide instance, made on first use.
    static MapTimer* getInstance();
    /// Deletes the process-wide instance, if there is one.
    static void destroyInstance();

    MapTimer();
    ~MapTimer() override;
    MapTimer(const MapTimer&) = delete;
    MapTimer& operator=(const MapTimer&) = delete;

    void cancelAll(MapTimerObserver* observer) override { cancelAllTmo(observer); }
    bool requestTmo(MapTimerObserver* observer, uint32_t timeOut, uint32_t enumId,
                    const std::string& ldn) override;
    bool requestRepeatedTmo(MapTimerObserver* observer, uint32_t timeOut, uint32_t enumId,
                            const std::string& ldn) override;
    bool cancelTmo(MapTimerObserver* observer, uint32_t enumId) override;
    void cancelAllTmo(MapTimerObserver* observer) override;
    std::size_t numberOfTimers() const override { return m_entries.size(); }

    /// True while the observer has a timer of that enumeration value.
    bool isActive(MapTimerObserver* observer, uint32_t enumId) const;

    void timerExpired(uint32_t timerId) override;

  private:
    friend class MapTdiHost;
    using Key = std::pair<const MapTimerObserver*, uint32_t>;

    bool requestNewTmo(MapTimerObserver* observer, uint32_t timeOut, uint32_t enumId,
                       const std::string& ldn, bool repeated);
    void erase(std::map<uint32_t, MapTimerEntry>::iterator entry);

    std::map<uint32_t, MapTimerEntry> m_entries;
    // Timer identity by (observer, enumId): the pair is unique, and looking it up
    // must not walk every timer of the process.
    std::map<Key, uint32_t> m_byObserver;
    TraceHandle m_trace{"TimerLU"};
};

#endif  // MAP_TIMER_H
