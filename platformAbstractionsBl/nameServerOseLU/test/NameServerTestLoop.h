// The name-server client's tests: a main loop process that runs Application's
// receive loop with the client registered, callbacks that record what they are
// told, and the trace.
#ifndef NAME_SERVER_TEST_LOOP_H
#define NAME_SERVER_TEST_LOOP_H

#include "MainLoopTest.h"
#include "TraceLines.h"
#include "applicationServices.h"
#include "plab/nameserver/v1/NameServerOse.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

namespace nstest {

using plab::nameserver::v1::NameServer;
using plab::nameserver::v1::ServiceCallback;

using testsupport::JobProcess;
using testsupport::kStopJobs;

inline void endNameServer() {
    applsupp::application::destroyNameServer();
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
class NameServerLoopTest : public testsupport::MainLoopTest {
  protected:
    void startLoop(const char* testerName) {
        applsupp::application::registerNameServer<plab::nameserver::v1::NameServerOse>();
        traceSetMask("NameServerOseLU", 0xFFFFFFFFu);
        MainLoopTest::startLoop<endNameServer>(testerName);
    }
    void TearDown() override {
        stopLoop();
        applsupp::application::setNameServerFactory({});
    }

    testsupport::TraceLines m_trace;
    Events m_events;
};

}  // namespace nstest

#endif  // NAME_SERVER_TEST_LOOP_H
