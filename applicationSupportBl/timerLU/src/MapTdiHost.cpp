#include "MapTdiHost.h"

#include "MapTimerObserver.h"

#include <algorithm>
#include <cinttypes>

MapTdiHost::MapTdiHost() : MapTdiHost(*MapTimer::getInstance()) {}

MapTdiHost::MapTdiHost(MapTimer& mapTimer) : m_mapTimer(mapTimer) {}

void MapTdiHost::addTdiTimer(uint32_t enumId, const std::string& ldn) {
    if (!isTdiTimer(enumId, ldn))
        m_tdiTimers.emplace_back(enumId, ldn);
}

bool MapTdiHost::isTdiTimer(uint32_t enumId, const std::string& ldn) const {
    return std::find(m_tdiTimers.begin(), m_tdiTimers.end(), std::make_pair(enumId, ldn)) !=
           m_tdiTimers.end();
}

bool MapTdiHost::expireNow(const std::string& ldn, uint32_t enumId) {
    if (!isTdiTimer(enumId, ldn))
        return false;
    std::vector<MapTimerEntry> matching;
    for (const auto& [timerId, entry] : m_mapTimer.m_entries) {
        (void)timerId;
        if (entry.enumId == enumId && entry.ldn == ldn)
            matching.push_back(entry);
    }
    if (matching.size() > 1) {
        TRACE(m_trace, 1, "Too many active TMO's with same ldn:[%s] & enumId:[%u]", ldn.c_str(),
              enumId);
        return true;
    }
    if (matching.empty())
        return false;
    MapTimerObserver* observer = matching.front().observer;
    m_mapTimer.cancelTmo(observer, enumId);
    TRACE(m_trace, 8, "Simulate a expiredTmo(): ldn:[%s], enumId:[%u]", ldn.c_str(), enumId);
    observer->timeout(enumId);
    return true;
}

uint32_t MapTdiHost::retire(uint32_t timerId) {
    auto& entries = m_mapTimer.m_entries;
    auto found = entries.find(timerId);
    if (found == entries.end() || !isTdiTimer(found->second.enumId, found->second.ldn))
        return 0;
    uint32_t newId = 0xFFFFFFFFu;
    while (entries.count(newId) != 0)
        --newId;
    MapTimerEntry entry = found->second;
    entry.timerId = newId;
    entries.erase(found);
    entries.emplace(newId, entry);
    m_mapTimer.m_byObserver[MapTimer::Key{entry.observer, entry.enumId}] = newId;
    TRACE(
        m_trace, 8,
        "Resetting key-value(timerId) to nothing usable:  ldn:[%s], enumId:[%u], NEW-timerId:0x%X",
        entry.ldn.c_str(), entry.enumId, newId);
    return newId;
}
