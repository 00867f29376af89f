// ULSpectrumAnalyzerApplication and the main process: the manager's factory, the
// teardown, and the order in which the main process serves signals.
#include "DynTraceHandler.h"
#include "SignalDistributorAPI.h"
#include "TraceCapture.h"
#include "ULSpectrumAnalyzerApplication.h"
#include "ULSpectrumAnalyzerMain.h"
#include "kernelTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <functional>
#include <future>

namespace {

using namespace testSupport;

class TestManager : public ULSpectrumAnalyzerManager {
  public:
    ~TestManager() override { *m_deleted = true; }
    bool init() override {
        ++m_initCalls;
        return m_result;
    }
    bool m_result = true;
    int m_initCalls = 0;
    std::shared_ptr<bool> m_deleted = std::make_shared<bool>(false);
};

class ULSpectrumAnalyzerApplicationTest : public ::testing::Test {
  protected:
    ULSpectrumAnalyzerApplicationTest() {
        clearErrors();
        m_previous = ose_set_error_handler(recordError);
        tester() = ose_adopt_thread("ulsaTest");
    }
    ~ULSpectrumAnalyzerApplicationTest() override {
        destroySignalDistributorAPI();
        DynTraceHandler::setTraceObjectPrefix("");
        ose_leave_thread();
        ose_shutdown();
        ose_set_error_handler(m_previous);
    }
    OseErrorHandler m_previous;
};

TEST_F(ULSpectrumAnalyzerApplicationTest,
       theManagerComesFromTheFactoryAndIsNotDeletedWithTheApplication) {
    TestManager manager;
    std::shared_ptr<bool> deleted = manager.m_deleted;
    {
        ULSpectrumAnalyzerApplication application(0);
        ULSpectrumAnalyzerApplication::ManagerFactory factory = [&] { return &manager; };
        application.swapManagerFactory(factory);
        ASSERT_TRUE(factory);
        // The one swapped out is the default factory, the getter of the analyzer's
        // manager (not called here: it would start the whole framework).
        using Getter = ULSpectrumAnalyzerManager* (*)();
        const Getter* getter = factory.target<Getter>();
        EXPECT_TRUE(getter != nullptr && *getter == &defaultManagerFactory);
        EXPECT_TRUE(application.applicationSpecificInit());
        manager.m_result = false;
        EXPECT_FALSE(application.applicationSpecificInit());
        EXPECT_EQ(manager.m_initCalls, 2);

        ULSpectrumAnalyzerApplication::ManagerFactory empty;
        application.swapManagerFactory(empty);
        EXPECT_THROW(application.applicationSpecificInit(), std::bad_function_call);
    }
    EXPECT_FALSE(*deleted);
}

TEST_F(ULSpectrumAnalyzerApplicationTest, theSecondCreatorTracesAndMakesAnApplicationOnTheHeap) {
    TraceCapture capture;
    std::unique_ptr<ULSpectrumAnalyzerApplication> application(
        createULSpectrumAnalyzerApplication(0));
    ASSERT_TRUE(application);
    EXPECT_TRUE(capture.contains("=== ULSpectrumAnalyzerApplication created ==="));
}

// --- the main process ---------------------------------------------------------------

constexpr SIGSELECT kEarly = 0x7001;  // sent by the manager to its own process during init
constexpr SIGSELECT kFromTest = 0x7002;
constexpr SIGSELECT kLate = 0x7003;
constexpr SIGSELECT kUnknown = 0x7004;

enum Kind : uint32_t { kInitRunning = 1, kHandled, kHandledAfterInit };

std::atomic<bool> g_initReturned{false};
std::promise<void>* g_testHasSent = nullptr;

class Forwarder : public SignalSubscriber {
  public:
    void handleSignal(union SIGNAL** signal) override {
        SIGSELECT number;
        std::memcpy(&number, *signal, sizeof number);
        report(g_initReturned ? kHandledAfterInit : kHandled, number);
    }
};

// Sends its own process a signal, lets the test send one, sends another, and only
// then returns: all three must be served after init, in the order they arrived.
class QueueingManager : public ULSpectrumAnalyzerManager {
  public:
    bool init() override {
        SignalDistributorAPI* distributor = getSignalDistributorAPI();
        for (SIGSELECT number : {kEarly, kFromTest, kLate}) {
            distributor->subscribe(number, &m_forwarder);
        }
        sendTo(current_process(), kEarly);
        report(kInitRunning, 0);
        g_testHasSent->get_future().wait();
        sendTo(current_process(), kLate);
        g_initReturned = true;
        return true;
    }

  private:
    Forwarder m_forwarder;
};

QueueingManager* g_manager = nullptr;

OS_PROCESS(mainWithQueueingManager) {
    runULSpectrumAnalyzerMain([] { return static_cast<ULSpectrumAnalyzerManager*>(g_manager); });
}

TEST_F(ULSpectrumAnalyzerApplicationTest, signalsOfTheStartAreServedAfterInitInArrivalOrder) {
    TraceCapture capture;
    QueueingManager manager;
    g_manager = &manager;
    std::promise<void> testHasSent;
    g_testHasSent = &testHasSent;
    g_initReturned = false;

    const PROCESS mainProcess =
        create_process(OS_PRI_PROC, "ulSpectrumAnalyzer_main_thread", mainWithQueueingManager,
                       45000, 28, 0, 0, nullptr, 0, 0);
    start(mainProcess);
    ASSERT_EQ(collectReports(1), (std::vector<std::pair<uint32_t, uint32_t>>{{kInitRunning, 0}}));
    sendTo(mainProcess, kFromTest);
    testHasSent.set_value();

    EXPECT_EQ(collectReports(3),
              (std::vector<std::pair<uint32_t, uint32_t>>{{kHandledAfterInit, kEarly},
                                                          {kHandledAfterInit, kFromTest},
                                                          {kHandledAfterInit, kLate}}));

    // An unknown signal is traced and dropped, and the loop goes on.
    sendTo(mainProcess, kUnknown);
    sendTo(mainProcess, kFromTest);
    EXPECT_EQ(collectReports(1),
              (std::vector<std::pair<uint32_t, uint32_t>>{{kHandledAfterInit, kFromTest}}));
    char unknown[96];
    std::snprintf(unknown, sizeof unknown, "Unknown message(0x%x) received from address 0x%x",
                  kUnknown, tester());
    // Objects made after the start trace under the prefix "ulsa".
    const std::vector<std::string> texts = capture.texts("ulsaApplicationLU");
    EXPECT_NE(std::find(texts.begin(), texts.end(), unknown), texts.end());
    EXPECT_TRUE(capture.contains("ULSpectrumAnalyzer Main Process started"));
    EXPECT_TRUE(noErrors());

    ASSERT_TRUE(waitUntilReceiving(mainProcess));
    kill_proc(mainProcess);
    ASSERT_TRUE(ose_wait_ended(mainProcess, 5000));
    // The teardown ended the composite processor, not the distributor nor the manager.
    EXPECT_EQ(get_envp(0, "CompositeMessageProcessorPtrName"), 0u);
    EXPECT_NE(get_envp(0, "SigSubcsrAPIPtrName"), 0u);
}

}  // namespace
