// MapTdiHost: MapTimer's timers named by LDN and enumeration value, so that a test
// driver can make a declared timer expire at once.
#ifndef MAP_TDI_HOST_H
#define MAP_TDI_HOST_H

#include "MapTimer.h"
#include "dynTrace.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

class MapTdiHost {
  public:
    /// Works on the process-wide MapTimer.
    MapTdiHost();
    /// Works on the MapTimer given, which must outlive this object.
    explicit MapTdiHost(MapTimer& mapTimer);
    MapTdiHost(const MapTdiHost&) = delete;
    MapTdiHost& operator=(const MapTdiHost&) = delete;

    /// Declares that timers of this enumeration value and LDN may be expired early.
    void addTdiTimer(uint32_t enumId, const std::string& ldn);
    /// Expires the one declared timer of the pair at once; false when there is none.
    bool expireNow(const std::string& ldn, uint32_t enumId);
    /// Moves a declared timer to an identity no kernel time-out can reach; returns
    /// that identity, or 0 when the timer is unknown or not declared.
    uint32_t retire(uint32_t timerId);

  private:
    bool isTdiTimer(uint32_t enumId, const std::string& ldn) const;

    std::vector<std::pair<uint32_t, std::string>> m_tdiTimers;
    TraceHandle m_trace{"TimerLU"};
    MapTimer& m_mapTimer;
};

#endif  // MAP_TDI_HOST_H
