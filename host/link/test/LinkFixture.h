// What the link tests share: a listening end point in a temporary folder, the test's
// thread as the kernel process "tester", kernel errors recorded, and the log kept.
#ifndef HOSTLINK_LINK_FIXTURE_H
#define HOSTLINK_LINK_FIXTURE_H

#include "LinkEndpoint.h"
#include "LinkTestSignals.h"
#include "PeerProcess.h"
#include "TimeLimit.h"
#include "oseHost.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace linktest {

// Long enough for anything to cross a link on a loaded machine.
constexpr OSTIME kArrival = 10000;
// The test's heartbeat: a silent peer is lost after kSilence.
constexpr std::chrono::milliseconds kPing{100};
constexpr std::chrono::milliseconds kSilence{1500};

inline std::mutex& errorMutex() {
    static std::mutex m;
    return m;
}
inline std::vector<std::string>& errors() {
    static std::vector<std::string> e;
    return e;
}
inline void recordError(const char* call, uint32_t, const char* detail) {
    std::lock_guard<std::mutex> lock(errorMutex());
    errors().push_back(std::string(call) + ": " + detail);
}

class LinkTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ose_set_error_handler(&recordError);
        m_folder = makeTempFolder();
        ASSERT_FALSE(m_folder.empty());
        socketPath = m_folder + "/link";
        endpoint = std::make_unique<hostlink::LinkEndpoint>([this](const std::string& line) {
            std::lock_guard<std::mutex> lock(m_logMutex);
            m_log.push_back(line);
        });
    }

    void TearDown() override {
        endpoint->close();  // before the kernel goes
        ose_shutdown();
        removeFolder(m_folder);
        std::lock_guard<std::mutex> lock(errorMutex());
        EXPECT_TRUE(errors().empty()) << errors().front();
        errors().clear();
    }

    hostlink::ListenConfig unixListener() const {
        hostlink::ListenConfig c;
        c.unixPath = socketPath;
        c.heartbeat = {kPing, kSilence};
        return c;
    }

    /// Waits until a log line contains text.
    bool logged(const std::string& text,
                std::chrono::milliseconds limit = std::chrono::seconds(10)) {
        const auto until = std::chrono::steady_clock::now() + limit;
        do {
            {
                std::lock_guard<std::mutex> lock(m_logMutex);
                for (const std::string& line : m_log) {
                    if (line.find(text) != std::string::npos) {
                        return true;
                    }
                }
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        } while (std::chrono::steady_clock::now() < until);
        return false;
    }

    static std::string nameOf(PROCESS pid) {
        char name[128] = "";
        ose_process_name(pid, name, sizeof name);
        return name;
    }

    std::string socketPath;
    std::unique_ptr<hostlink::LinkEndpoint> endpoint;

  private:
    std::string m_folder;
    std::mutex m_logMutex;
    std::vector<std::string> m_log;
};

}  // namespace linktest

#endif  // HOSTLINK_LINK_FIXTURE_H
