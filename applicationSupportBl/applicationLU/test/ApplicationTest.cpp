// Application: the start-up sequence, the teardown, and the receive loop in a kernel
// process of its own.
#include "Application.h"
#include "SignalDistributorAPI.h"
#include "TraceCapture.h"
#include "applicationServices.h"
#include "applsupp/msgprocessor/v1/CompositeMessageProcessorAPI.h"
#include "oseHost.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using namespace applsupp::application;
using plab::messaging::v1::Message;

std::vector<std::string> g_events;

struct Timer {
    Timer() { g_events.push_back("timer made"); }
    ~Timer() { g_events.push_back("timer deleted"); }
    void startinitialize() { g_events.push_back("timer started"); }
};

struct NameServer {
    NameServer() { g_events.push_back("name server made"); }
    ~NameServer() { g_events.push_back("name server deleted"); }
};

class RecordingApplication : public Application {
  public:
    RecordingApplication() : Application(0) {}
    bool applicationSpecificInit() override {
        g_events.push_back("specific init");
        return m_specificResult;
    }
    bool m_specificResult = true;
};

class ApplicationTest : public ::testing::Test {
  protected:
    ApplicationTest() {
        g_events.clear();
        m_self = ose_adopt_thread("applicationTest");
    }
    ~ApplicationTest() override {
        destroySignalDistributorAPI();
        applsupp::msgprocessor::v1::destroyCompositeMessageProcessor();
        setTimerApiFactory({});
        setNameServerFactory({});
        ose_leave_thread();
        ose_shutdown();
    }
    PROCESS m_self;
};

TEST_F(ApplicationTest, initBringsUpTheServicesAndTheDestructorEndsThemInOrder) {
    registerTimerApi<Timer>();
    registerNameServer<NameServer>();
    {
        RecordingApplication application;
        EXPECT_TRUE(application.init());
        application.m_specificResult = false;
        EXPECT_FALSE(application.init());  // services are made once, started again
        getSignalDistributorAPI();
        applsupp::msgprocessor::v1::getCompositeMessageProcessor();
        g_events.push_back("destroying");
    }
    EXPECT_EQ(g_events,
              (std::vector<std::string>{"timer made", "timer started", "name server made",
                                        "specific init", "timer started", "specific init",
                                        "destroying", "name server deleted", "timer deleted"}));
    EXPECT_EQ(get_envp(0, "CompositeMessageProcessorPtrName"), 0u);
    EXPECT_NE(get_envp(0, "SigSubcsrAPIPtrName"), 0u);  // the distributor stays
}

TEST_F(ApplicationTest, missingServicesAreNotedAndInitGoesOn) {
    TraceCapture capture;
    RecordingApplication application;
    EXPECT_TRUE(application.init());
    EXPECT_EQ(g_events, (std::vector<std::string>{"specific init"}));
    EXPECT_TRUE(capture.contains("The timer API (TimerAPILU) is not present in this build"));
    EXPECT_TRUE(capture.contains(
        "The name-server client (NameServerKeyName) is not present in this build"));
}

// --- the loop -------------------------------------------------------------------------

constexpr SIGSELECT kSubscribed = 0x5001;
constexpr SIGSELECT kProcessedOnly = 0x5002;
constexpr SIGSELECT kUnknown = 0x5003;
constexpr SIGSELECT kReport = 0x6000;

enum ReportKind : uint32_t { kInitDone = 1, kSubscriber, kProcessor, kUnknownMessage, kHook };

PROCESS g_tester = 0;

void report(ReportKind kind, uint32_t value) {
    union SIGNAL* signal = alloc(12, kReport);
    const uint32_t fields[2] = {kind, value};
    std::memcpy(reinterpret_cast<unsigned char*>(signal) + 4, fields, sizeof fields);
    send(&signal, g_tester);
}

SIGSELECT numberOf(union SIGNAL* signal) {
    SIGSELECT number;
    std::memcpy(&number, signal, sizeof number);
    return number;
}

class Forwarder : public SignalSubscriber {
  public:
    void handleSignal(union SIGNAL** signal) override { report(kSubscriber, numberOf(*signal)); }
};

class Processor final : public applsupp::msgprocessor::v1::MessageProcessor {
  public:
    bool process(union SIGNAL* signal) override {
        report(kProcessor, numberOf(signal));
        return true;
    }
};

class LoopApplication : public Application {
  public:
    LoopApplication() : Application(0) {}
    bool applicationSpecificInit() override {
        getSignalDistributorAPI()->subscribe(kSubscribed, &m_forwarder);
        applsupp::msgprocessor::v1::getCompositeMessageProcessor()->registerProcessor(
            kProcessedOnly, &m_processor);
        report(kInitDone, 0);
        return true;
    }
    void handleUnknownMessage(const std::shared_ptr<Message>& message) override {
        Application::handleUnknownMessage(message);
        report(kUnknownMessage, message->sigNo());
    }
    void afterMessageHandled() override { report(kHook, 0); }

  private:
    Forwarder m_forwarder;
    Processor m_processor;
};

OS_PROCESS(loopApplicationMain) {
    LoopApplication application;
    application.start();
}

std::vector<std::pair<uint32_t, uint32_t>> collectReports(std::size_t count) {
    std::vector<std::pair<uint32_t, uint32_t>> reports;
    static const SIGSELECT selectReport[] = {1, kReport};
    while (reports.size() < count) {
        union SIGNAL* signal = receive_w_tmo(5000, selectReport);
        if (signal == nullptr) {
            break;
        }
        uint32_t fields[2];
        std::memcpy(fields, reinterpret_cast<unsigned char*>(signal) + 4, sizeof fields);
        reports.emplace_back(fields[0], fields[1]);
        free_buf(&signal);
    }
    return reports;
}

// Waits until the process blocks in a receive: a kill then unwinds it from there.
bool waitUntilReceiving(PROCESS pid) {
    for (int i = 0; i < 500; ++i) {
        struct OS_pcb* pcb = get_pcb(pid);
        if (pcb == nullptr) {
            return false;
        }
        const bool receiving = pcb->status == OS_STATE_RECEIVE;
        free_buf(reinterpret_cast<union SIGNAL**>(&pcb));
        if (receiving) {
            return true;
        }
        delay(2);
    }
    return false;
}

void sendTo(PROCESS to, SIGSELECT number) {
    union SIGNAL* signal = alloc(8, number);
    send(&signal, to);
}

TEST_F(ApplicationTest, theLoopDispatchesEverySignalAndOnlyTheDistributorDecidesWhatIsKnown) {
    TraceCapture capture;
    traceSetMask("ApplicationLU", (1u << 1) | (1u << 16));
    g_tester = m_self;
    const PROCESS application = create_process(OS_PRI_PROC, "loopApplication", loopApplicationMain,
                                               45000, 28, 0, 0, nullptr, 0, 0);
    start(application);
    ASSERT_EQ(collectReports(1), (std::vector<std::pair<uint32_t, uint32_t>>{{kInitDone, 0}}));

    sendTo(application, kSubscribed);
    sendTo(application, kProcessedOnly);
    sendTo(application, kUnknown);
    const std::vector<std::pair<uint32_t, uint32_t>> expected{{kSubscriber, kSubscribed},
                                                              {kHook, 0},
                                                              {kProcessor, kProcessedOnly},
                                                              {kUnknownMessage, kProcessedOnly},
                                                              {kHook, 0},
                                                              {kUnknownMessage, kUnknown},
                                                              {kHook, 0}};
    EXPECT_EQ(collectReports(expected.size()), expected);

    char text[96];
    std::snprintf(text, sizeof text, "Unknown message(0x%x) received from address 0x%x", kUnknown,
                  m_self);
    EXPECT_TRUE(capture.contains(text));
    EXPECT_TRUE(capture.contains("MessageNo: " + std::to_string(kUnknown)));

    // The loop has no end of its own; killing the process unwinds it, and the
    // application's destructor ends the composite processor but not the distributor.
    ASSERT_TRUE(waitUntilReceiving(application));
    kill_proc(application);
    ASSERT_TRUE(ose_wait_ended(application, 5000));
    EXPECT_EQ(get_envp(0, "CompositeMessageProcessorPtrName"), 0u);
    EXPECT_NE(get_envp(0, "SigSubcsrAPIPtrName"), 0u);
}

}  // namespace
