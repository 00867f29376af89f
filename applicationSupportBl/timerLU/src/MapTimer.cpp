#include "MapTimer.h"

#include "MapTimerObserver.h"
#include "TimerApi.h"

#include <cinttypes>
#include <vector>

namespace {

// The one instance; the main process alone makes and ends it, so no lock.
MapTimer* instance = nullptr;

// Observer addresses are traced at the host's width.
uintptr_t address(const void* pointer) {
    return reinterpret_cast<uintptr_t>(pointer);
}

}  // namespace

MapTimer* MapTimer::getInstance() {
    if (instance == nullptr)
        instance = new MapTimer();
    return instance;
}

void MapTimer::destroyInstance() {
    delete instance;
    instance = nullptr;
}

MapTimer::MapTimer() {
    getTimerApi()->startinitialize();
}

MapTimer::~MapTimer() {
    // Never makes a timer API just to cancel on it: a destroyed one took its
    // kernel time-outs with it.
    if (TimerApi* api = findTimerApi()) {
        for (const auto& [timerId, entry] : m_entries) {
            (void)entry;
            api->cancel(timerId);
        }
    }
}

bool MapTimer::isActive(MapTimerObserver* observer, uint32_t enumId) const {
    bool active = m_byObserver.count(Key{observer, enumId}) != 0;
    TRACE(m_trace, 8, " tmoActive:[%d],  observer:0x%" PRIxPTR ", enumId:%u", active ? 1 : 0,
          address(observer), enumId);
    return active;
}

bool MapTimer::requestTmo(MapTimerObserver* observer, uint32_t timeOut, uint32_t enumId,
                          const std::string& ldn) {
    return requestNewTmo(observer, timeOut, enumId, ldn, false);
}

bool MapTimer::requestRepeatedTmo(MapTimerObserver* observer, uint32_t timeOut, uint32_t enumId,
                                  const std::string& ldn) {
    return requestNewTmo(observer, timeOut, enumId, ldn, true);
}

bool MapTimer::requestNewTmo(MapTimerObserver* observer, uint32_t timeOut, uint32_t enumId,
                             const std::string& ldn, bool repeated) {
    if (isActive(observer, enumId)) {
        TRACE(m_trace, 8,
              "--------- Failed to create timer,  enumId:%u is already taken for user:0x%" PRIxPTR,
              enumId, address(observer));
        return false;
    }
    if (observer == nullptr) {
        TRACE(m_trace, 1, "MapTimer::requestNewTmo(observer=null, enumId:%u) refused", enumId);
        return false;
    }
    TRACE(m_trace, 8, " requestNewTmo observerAdress:0x%" PRIxPTR ", enumId:%u", address(observer),
          enumId);
    TimerApi* api = getTimerApi();
    // Always ONCE: a repeated timer is started again at its expiry, under a new identity.
    uint32_t timerId = api->start(this, TimerApi::ONCE, timeOut);
    if (timerId == 0)
        return false;
    if (m_entries.count(timerId) != 0) {
        TRACE(m_trace, 1,
              "--------- MapTimer::requestNewTmo. Failed to create timer, timerId is already "
              "taken. timer ID = %u",
              timerId);
        api->cancel(timerId);
        return false;
    }
    m_entries.emplace(timerId, MapTimerEntry{observer, repeated, timeOut, enumId, ldn, timerId});
    m_byObserver.emplace(Key{observer, enumId}, timerId);
    return true;
}

void MapTimer::erase(std::map<uint32_t, MapTimerEntry>::iterator entry) {
    m_byObserver.erase(Key{entry->second.observer, entry->second.enumId});
    m_entries.erase(entry);
}

void MapTimer::timerExpired(uint32_t timerId) {
    auto found = m_entries.find(timerId);
    if (found == m_entries.end())
        return;
    MapTimerEntry entry = found->second;
    erase(found);
    if (entry.repeated)
        requestNewTmo(entry.observer, entry.timeOut, entry.enumId, entry.ldn, true);
    TRACE(m_trace, 8, " TMO expired. observerAdress:0x%" PRIxPTR ", enumId:%u, ldnId:%s",
          address(entry.observer), entry.enumId, entry.ldn.c_str());
    entry.observer->timeout(entry.enumId);
}

bool MapTimer::cancelTmo(MapTimerObserver* observer, uint32_t enumId) {
    auto key = m_byObserver.find(Key{observer, enumId});
    if (key == m_byObserver.end())
        return false;
    auto entry = m_entries.find(key->second);
    uint32_t timerId = key->second;
    TRACE(m_trace, 8,
          "MapTimer cancelled observerAdress:0x%" PRIxPTR ", enumId:%u, ldnId:%s, timerId=%u",
          address(observer), enumId, entry->second.ldn.c_str(), timerId);
    getTimerApi()->cancel(timerId);
    erase(entry);
    return true;
}

void MapTimer::cancelAllTmo(MapTimerObserver* observer) {
    std::vector<uint32_t> enumIds;
    for (auto key = m_byObserver.lower_bound(Key{observer, 0});
         key != m_byObserver.end() && key->first.first == observer; ++key)
        enumIds.push_back(key->first.second);
    for (uint32_t enumId : enumIds)
        cancelTmo(observer, enumId);
}
