// MainLoopTest: a unit's main loop as its tests run it. A kernel process "testMain" runs
// Application's receive loop and the jobs (JobProcess.h) that the test sends it; the test
// thread is a kernel process of its own. Each test runs its own kernel.
//
//   startLoop<endMyUnit>("tester");   // endMyUnit ends what the loop made of the unit
//   onLoop([] { ... });               // runs on the loop, waits for it
//   stopLoop();                       // in TearDown
//
// The including test links the application and the signal distributor.
#ifndef TEST_SUPPORT_MAIN_LOOP_TEST_H
#define TEST_SUPPORT_MAIN_LOOP_TEST_H

#include "Application.h"
#include "JobProcess.h"
#include "SignalDistributorAPI.h"
#include "SignalSubscriber.h"

#include <gtest/gtest.h>

#include <functional>

namespace testsupport {

// Thrown out of the loop to end it: the loop has no end of its own, and killing the
// process could catch it in the middle of a message.
struct StopLoop {};

class LoopJobs : public SignalSubscriber {
  public:
    void handleSignal(union SIGNAL** signal) override {
        if (**reinterpret_cast<SIGSELECT**>(signal) == kStopJobs)
            throw StopLoop{};
        runJob(signal);
    }
};

template <void (*endUnit)()>
class LoopApplication : public Application {
  public:
    LoopApplication() : Application(0) {}
    // Runs when the loop ends: the unit first, the distributor last, since the unit
    // unsubscribes from it.
    ~LoopApplication() override {
        endUnit();
        destroySignalDistributorAPI();
    }
    bool applicationSpecificInit() override {
        return getSignalDistributorAPI()->subscribe(kRunJob, &m_jobs) &&
               getSignalDistributorAPI()->subscribe(kStopJobs, &m_jobs);
    }

  private:
    LoopJobs m_jobs;
};

template <void (*endUnit)()>
OS_PROCESS(testMainLoop) {
    try {
        LoopApplication<endUnit> application;
        application.start();
    } catch (const StopLoop&) {
    }
}

class MainLoopTest : public ::testing::Test {
  protected:
    /// Makes the test thread the process testerName and starts the loop.
    template <void (*endUnit)()>
    void startLoop(const char* testerName) {
        m_tester = ose_adopt_thread(testerName);
        m_loop = create_process(OS_PRI_PROC, "testMain", testMainLoop<endUnit>, 45000, 28, 0, 0,
                                nullptr, 0, 0);
        start(m_loop);
    }
    /// Ends the loop, then the kernel.
    void stopLoop() {
        union SIGNAL* stop = alloc(4, kStopJobs);
        send(&stop, m_loop);
        EXPECT_TRUE(ose_wait_ended(m_loop, 5000));
        ose_leave_thread();
        ose_shutdown();
    }
    /// Runs work on the loop process and waits for it; fails the test after timeoutMs.
    void onLoop(std::function<void()> work, OSTIME timeoutMs = 5000) {
        runOn(m_loop, std::move(work), timeoutMs);
    }

    PROCESS m_tester = 0;
    PROCESS m_loop = 0;
};

}  // namespace testsupport

#endif  // TEST_SUPPORT_MAIN_LOOP_TEST_H
