// The name-server client's tests: a main loop process that runs Application's
// receive loop with the client registered, callbacks that record what they are
// told, and the trace.
#ifndef NAME_SERVER_TEST_LOOP_H
#define NAME_SERVER_TEST_LOOP_H

#include "Application.h"
#include "JobProcess.h"
#include "TraceLines.h"
#include "SignalDistributorAPI.h"
#include "SignalSubscriber.h"
#include "applicationServices.h"
#include "plab/nameserver/v1/NameServerOse.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace nstest {

using plab::nameserver::v1::NameServer;
using plab::nameserver::v1::ServiceCallback;

// Thrown out of the loop to end it: the loop has no end of its own.
struct StopLoop {};

class LoopJobs : public SignalSubscriber {
  public:
    void handleSignal(union SIGNAL** signal) override {
        if (**reinterpret_cast<SIGSELECT**>(signal) == kStopJobs)
            throw StopLoop{};
        runJob(signal);
    }
};

class TestApplication : public Application {
  public:
    TestApplication() : Application(0) {}
    ~TestApplication() override {
        applsupp::application::destroyNameServer();
        destroySignalDistributorAPI();
    }
    bool applicationSpecificInit() override {
        return getSignalDistributorAPI()->subscribe(kRunJob, &m_jobs) &&
               getSignalDistributorAPI()->subscribe(kStopJobs, &m_jobs);
    }

  private:
    LoopJobs m_jobs;
};

inline OS_PROCESS(testMainLoop) {
    try {
        TestApplication application;
        application.start();
    } catch (const StopLoop&) {
    }
}

/// The name-server client of the loop; call it on the loop only.
inline NameServer* client() {
    return plab::nameserver::v1::getNameServer();
}

// What the callbacks were told, in order: "A+svc@<pid>" for a publication to the
// subscriber named A, "A-svc@<pid>" for an unpublication.
class Events {
  public:
    void add(const std::string& event) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_events.push_back(event);
        m_changed.notify_all();
    }
    std::vector<std::string> all() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_events;
    }
    /// Waits until there are count events; false after timeoutMs.
    bool waitFor(std::size_t count, int timeoutMs = 5000) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                  [&] { return m_events.size() >= count; });
    }

  private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::string> m_events;
};

inline std::string event(const char* who, char kind, const std::string& service, PROCESS pid) {
    return who + std::string(1, kind) + service + "@" + std::to_string(pid);
}

// One subscriber: its two callbacks, alive as long as this object keeps them.
struct Subscriber {
    Subscriber(Events& events, const char* who)
        : publish(
              std::make_shared<ServiceCallback>([&events, who](const std::string& s, PROCESS pid) {
                  events.add(event(who, '+', s, pid));
              })),
          unpublish(
              std::make_shared<ServiceCallback>([&events, who](const std::string& s, PROCESS pid) {
                  events.add(event(who, '-', s, pid));
              })) {}
    void subscribe(const std::string& service) {
        client()->subscribeToService(service, publish, unpublish);
    }
    void unsubscribe(const std::string& service) {
        client()->unsubscribeToService(service, publish, unpublish);
    }
    std::shared_ptr<ServiceCallback> publish;
    std::shared_ptr<ServiceCallback> unpublish;
};

// The test thread is a kernel process named testerName; the loop is "testMain".
class NameServerLoopTest : public ::testing::Test {
  protected:
    void startLoop(const char* testerName) {
        applsupp::application::registerNameServer<plab::nameserver::v1::NameServerOse>();
        traceSetMask("NameServerOseLU", 0xFFFFFFFFu);
        m_tester = ose_adopt_thread(testerName);
        m_loop =
            create_process(OS_PRI_PROC, "testMain", testMainLoop, 45000, 28, 0, 0, nullptr, 0, 0);
        start(m_loop);
    }
    void TearDown() override {
        union SIGNAL* stop = alloc(4, kStopJobs);
        send(&stop, m_loop);
        EXPECT_TRUE(ose_wait_ended(m_loop, 5000));
        ose_leave_thread();
        ose_shutdown();
        applsupp::application::setNameServerFactory({});
    }
    void onLoop(std::function<void()> work) { runOn(m_loop, std::move(work)); }

    TraceLines m_trace;
    Events m_events;
    PROCESS m_tester = 0;
    PROCESS m_loop = 0;
};

}  // namespace nstest

#endif  // NAME_SERVER_TEST_LOOP_H
