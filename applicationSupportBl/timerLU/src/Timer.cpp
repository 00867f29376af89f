#include "Timer.h"

#include "SignalDistributorAPI.h"
#include "TimerObserver.h"

#include <cstring>

namespace {

uint32_t readWord(const union SIGNAL* signal, std::size_t offset) {
    uint32_t value;
    std::memcpy(&value, reinterpret_cast<const unsigned char*>(signal) + offset, sizeof value);
    return value;
}

}  // namespace

Timer::Timer() = default;

Timer::~Timer() {
    // The kernel would otherwise deliver TIMER_INDs for an object that is gone.
    for (auto& [timerId, data] : m_timers) {
        (void)timerId;
        union SIGNAL* back = cancel_tmo_sig(&data.reference);
        if (back != nullptr)
            free_buf(&back);
    }
    if (m_initialized) {
        SignalDistributorAPI* distributor = getSignalDistributorAPI();
        for (SIGSELECT sigNo : m_signals)
            distributor->unsubscribe(sigNo, this);
    }
}

void Timer::startinitialize() {
    if (m_initialized)
        return;
    SignalDistributorAPI* distributor = getSignalDistributorAPI();
    for (SIGSELECT sigNo : m_signals)
        distributor->subscribe(sigNo, this);
    m_initialized = true;
}

uint32_t Timer::takeId() {
    if (m_freeIds.empty())
        return m_nextId++;
    uint32_t timerId = m_freeIds.front();
    m_freeIds.pop_front();
    return timerId;
}

void Timer::arm(uint32_t timerId, TimerData& data) {
    union SIGNAL* signal = alloc(kTimerIndSize, TIMER_IND);
    std::memcpy(reinterpret_cast<unsigned char*>(signal) + 4, &timerId, sizeof timerId);
    data.inFlight = signal;
    data.reference = request_tmo_sig(data.timeOut, &signal);
}

uint32_t Timer::start(TimerObserver* observer, TimerType type, uint32_t timeOut) {
    if (!m_initialized) {
        TRACE(m_trace, 1, "The Timer API has not been initialized");
        return 0;
    }
    if (observer == nullptr) {
        TRACE(m_trace, 1, "Timer::start(observer=null) refused: nobody to call back");
        return 0;
    }
    uint32_t timerId = takeId();
    TimerData& data = m_timers[timerId];
    data = TimerData{observer, type, timeOut, 0, nullptr};
    arm(timerId, data);
    TRACE(m_trace, 8, "Timer started (timer ID = %u)", timerId);
    return timerId;
}

void Timer::cancel(uint32_t timerId) {
    if (!m_initialized) {
        TRACE(m_trace, 1, "The Timer API has not been initialized");
        return;
    }
    auto timer = m_timers.find(timerId);
    if (timer == m_timers.end())
        return;
    union SIGNAL* back = cancel_tmo_sig(&timer->second.reference);
    if (back != nullptr)
        free_buf(&back);
    else
        TRACE(m_trace, 4, "Tried to cancel an already expired timer. No real fault but unusual.");
    m_timers.erase(timer);
    m_freeIds.push_back(timerId);
    TRACE(m_trace, 8, "Timer cancelled (timer ID = %u)", timerId);
}

void Timer::handleSignal(union SIGNAL** signal) {
    if (signal == nullptr || *signal == nullptr)
        return;
    SIGSELECT sigNo = readWord(*signal, 0);
    if (sigNo != TIMER_IND) {
        TRACE(m_trace, 1, "Unknown signal number: 0x%x", sigNo);
        return;
    }
    OSBUFSIZE size = sigsize(signal);
    if (size < kTimerIndSize) {
        TRACE(m_trace, 1, "TIMER_IND of %u bytes is too short for a timer identity, dropped", size);
        return;
    }
    uint32_t timerId = readWord(*signal, 4);
    TRACE(m_trace, 11, "TIMER_IND, sigNo=0x%x, timerId=0x%x", sigNo, timerId);
    TRACE_DATA(m_trace, 16, *signal, size, "SigNo: 0x%x", sigNo);

    auto timer = m_timers.find(timerId);
    if (timer == m_timers.end() || timer->second.inFlight != *signal)
        return;
    TimerObserver* observer = timer->second.observer;
    if (timer->second.type == RECURRING) {
        TRACE(m_trace, 8, "Timer of type RECURRING timed out (timer ID = %u)", timerId);
        arm(timerId, timer->second);
    } else {
        TRACE(m_trace, 8, "Timer of type ONCE timed out (timer ID = %u)", timerId);
        m_timers.erase(timer);
        m_freeIds.push_back(timerId);
    }
    // Last: the observer may cancel, start or even destroy the API from here.
    observer->timerExpired(timerId);
}
