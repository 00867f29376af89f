// The timer tests' main loop: a kernel process that runs Application's receive loop
// with the timer API registered, plus the means to run a piece of test code on it
// and to watch the trace.
#ifndef TIMER_TEST_LOOP_H
#define TIMER_TEST_LOOP_H

#include "MainLoopTest.h"
#include "MapTimer.h"
#include "MapTimerObserver.h"
#include "Timer.h"
#include "TimerObserver.h"
#include "TraceLines.h"
#include "applicationServices.h"
#include "traceHost.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

namespace timertest {

// Ends what the loop made, the timer API before the distributor it unsubscribes from.
inline void endTimers() {
    MapTimer::destroyInstance();
    applsupp::application::destroyTimerApi();
}

// Every trace line, kept while the object lives; count() matches the whole text after
// a line's "file:line: ".
class TraceCapture : public testsupport::TraceLines {
  public:
    std::size_t count(unsigned level, const std::string& text) const {
        return TraceLines::count(level, ": " + text);
    }
};

// An observer of both kinds that records what it is told; the loop writes, the
// test thread reads.
class Recorder : public MapTimerObserver, public TimerObserver {
  public:
    void timeout(uint32_t enumId) override { record(enumId); }
    void timerExpired(uint32_t timerId) override { record(timerId); }
    std::vector<uint32_t> events() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_events;
    }
    /// Waits until at least count events have come; false after timeoutMs.
    bool waitFor(std::size_t count, int timeoutMs = 5000) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                  [&] { return m_events.size() >= count; });
    }

  private:
    void record(uint32_t value) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_events.push_back(value);
        m_changed.notify_all();
    }
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<uint32_t> m_events;
};

// The test thread is a process "tester", the loop is "testMain".
class TimerLoopTest : public testsupport::MainLoopTest {
  protected:
    void SetUp() override {
        applsupp::application::registerTimerApi<Timer>();
        traceSetMask("TimerLU", 0xFFFFFFFFu);
        startLoop<endTimers>("tester");
    }
    void TearDown() override {
        stopLoop();
        applsupp::application::setTimerApiFactory({});
    }

    TraceCapture m_trace;
};

}  // namespace timertest

#endif  // TIMER_TEST_LOOP_H
