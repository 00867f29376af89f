// The timer tests' main loop: a kernel process that runs Application's receive loop
// with the timer API registered, plus the means to run a piece of test code on it
// and to watch the trace.
#ifndef TIMER_TEST_LOOP_H
#define TIMER_TEST_LOOP_H

#include "Application.h"
#include "MapTimer.h"
#include "MapTimerObserver.h"
#include "SignalDistributorAPI.h"
#include "SignalSubscriber.h"
#include "Timer.h"
#include "TimerObserver.h"
#include "applicationServices.h"
#include "oseHost.h"
#include "traceHost.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace timertest {

constexpr SIGSELECT kRunJob = 0x7E5701;
constexpr SIGSELECT kJobDone = 0x7E5702;
constexpr SIGSELECT kStopLoop = 0x7E5703;

// Thrown out of the loop to end it: the loop has no end of its own, and killing
// the process could catch it in the middle of a message.
struct StopLoop {};

struct Job {
    std::function<void()> work;
};

// Runs the job whose address a kRunJob signal carries, then answers kJobDone.
class JobRunner : public SignalSubscriber {
  public:
    void handleSignal(union SIGNAL** signal) override {
        if (**reinterpret_cast<SIGSELECT**>(signal) == kStopLoop)
            throw StopLoop{};
        Job* job = nullptr;
        std::memcpy(&job, reinterpret_cast<unsigned char*>(*signal) + 8, sizeof job);
        job->work();
        union SIGNAL* done = alloc(4, kJobDone);
        send(&done, sender(signal));
    }
};

class TestApplication : public Application {
  public:
    TestApplication() : Application(0) {}
    // Runs when the test kills the loop: ends everything the loop made, the
    // distributor last, since the timer API unsubscribes from it.
    ~TestApplication() override {
        MapTimer::destroyInstance();
        applsupp::application::destroyTimerApi();
        destroySignalDistributorAPI();
    }
    bool applicationSpecificInit() override {
        return getSignalDistributorAPI()->subscribe(kRunJob, &m_runner) &&
               getSignalDistributorAPI()->subscribe(kStopLoop, &m_runner);
    }

  private:
    JobRunner m_runner;
};

inline OS_PROCESS(testMainLoop) {
    try {
        TestApplication application;
        application.start();
    } catch (const StopLoop&) {
    }
}

// Every trace line, kept while the object lives.
class TraceCapture {
  public:
    TraceCapture() {
        traceSetSink([this](const std::string& line) {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_lines.push_back(line);
        });
    }
    ~TraceCapture() { traceSetSink({}); }
    /// How many lines of that level end in the text.
    std::size_t count(unsigned level, const std::string& text) const {
        const std::string levelTag = " L" + std::to_string(level) + " ";
        const std::string tail = ": " + text;
        std::lock_guard<std::mutex> lock(m_mutex);
        std::size_t found = 0;
        for (const std::string& line : m_lines) {
            if (line.find(levelTag) != std::string::npos && line.size() >= tail.size() &&
                line.compare(line.size() - tail.size(), tail.size(), tail) == 0)
                ++found;
        }
        return found;
    }

  private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_lines;
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

// Each test runs its own kernel: the test thread is a process "tester", the loop
// is "testMain".
class TimerLoopTest : public ::testing::Test {
  protected:
    void SetUp() override {
        applsupp::application::registerTimerApi<Timer>();
        traceSetMask("TimerLU", 0xFFFFFFFFu);
        m_tester = ose_adopt_thread("tester");
        m_loop =
            create_process(OS_PRI_PROC, "testMain", testMainLoop, 45000, 28, 0, 0, nullptr, 0, 0);
        start(m_loop);
    }
    void TearDown() override {
        union SIGNAL* stop = alloc(4, kStopLoop);
        send(&stop, m_loop);
        EXPECT_TRUE(ose_wait_ended(m_loop, 5000));
        ose_leave_thread();
        ose_shutdown();
        applsupp::application::setTimerApiFactory({});
    }

    /// Runs work on the loop process and waits for it; fails the test after timeoutMs.
    void onLoop(std::function<void()> work, OSTIME timeoutMs = 5000) {
        // On a time-out the loop may still run the job later: it is left to leak.
        auto* job = new Job{std::move(work)};
        union SIGNAL* run = alloc(16, kRunJob);
        std::memcpy(reinterpret_cast<unsigned char*>(run) + 8, &job, sizeof job);
        send(&run, m_loop);
        static const SIGSELECT done[] = {1, kJobDone};
        union SIGNAL* answer = receive_w_tmo(timeoutMs, done);
        ASSERT_NE(answer, nullptr) << "the loop did not run the job in time";
        free_buf(&answer);
        delete job;
    }

    PROCESS m_tester = 0;
    PROCESS m_loop = 0;
    TraceCapture m_trace;
};

}  // namespace timertest

#endif  // TIMER_TEST_LOOP_H
