// The start-up step that fetches the SQL call table from the database agent, against
// an agent process of the test.
#include "TraceCapture.h"
#include "oseHost.h"
#include "tarvo_dbagent.h"
#include "tarvo_poly_handler.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

// Errors that processes report, by the detail the kernel gives them ("error 0x...").
std::vector<std::string> g_errors;

void recordError(const char* call, uint32_t, const char* detail) {
    g_errors.push_back(std::string(call) + ": " + detail);
}

// How many entries the test agent answers with, and what it saw of the request.
std::size_t g_replyEntries = kTarvoDbAgentTableSize;
OSBUFSIZE g_requestSize = 0;
std::uintptr_t g_requestData = 0;
std::uintptr_t g_requestRoutine = 0;

std::uintptr_t entryValue(std::size_t index) {
    return 0x1000 + index * 0x10;
}

// Answers one request with entryValue(i) for each of g_replyEntries entries.
OS_PROCESS(testAgent) {
    static const SIGSELECT selectRequest[] = {1, TARVO_DBAGENT_REQ};
    union SIGNAL* request = receive(selectRequest);
    g_requestSize = sigsize(&request);
    std::memcpy(&g_requestRoutine,
                reinterpret_cast<unsigned char*>(request) + kTarvoDbAgentAddressOffset,
                sizeof g_requestRoutine);
    std::memcpy(
        &g_requestData,
        reinterpret_cast<unsigned char*>(request) + kTarvoDbAgentAddressOffset + sizeof(void*),
        sizeof g_requestData);
    const PROCESS client = sender(&request);
    free_buf(&request);

    const OSBUFSIZE size =
        static_cast<OSBUFSIZE>(kTarvoDbAgentAddressOffset + g_replyEntries * sizeof(void*));
    union SIGNAL* reply = alloc(size, TARVO_DBAGENT_REPLY);
    for (std::size_t i = 0; i < g_replyEntries; ++i) {
        const std::uintptr_t value = entryValue(i);
        std::memcpy(
            reinterpret_cast<unsigned char*>(reply) + kTarvoDbAgentAddressOffset + i * sizeof value,
            &value, sizeof value);
    }
    send(&reply, client);
    static const SIGSELECT any[] = {0};
    union SIGNAL* never = receive(any);  // stays until the kernel is shut down
    free_buf(&never);
}

class TarvoDbAgentTest : public ::testing::Test {
  protected:
    TarvoDbAgentTest() {
        g_errors.clear();
        g_replyEntries = kTarvoDbAgentTableSize;
        std::memset(tarvoDbAgentTable, 0, sizeof tarvoDbAgentTable);
        m_previous = ose_set_error_handler(recordError);
        ose_adopt_thread("startup");
    }
    ~TarvoDbAgentTest() override {
        ose_leave_thread();
        ose_shutdown();
        ose_set_error_handler(m_previous);
    }
    void startAgent() {
        start(create_process(OS_PRI_PROC, kTarvoDbAgentName, testAgent, 8192, 10, 0, 0, nullptr, 0,
                             0));
    }
    OseErrorHandler m_previous;
};

TEST_F(TarvoDbAgentTest, theAgentsReplyFillsTheTableInOrder) {
    startAgent();
    ASSERT_TRUE(TarvoDbAgent_bind(2000));
    EXPECT_EQ(g_requestSize, kTarvoDbAgentRequestSize);
    EXPECT_EQ(g_requestData, reinterpret_cast<std::uintptr_t>(&tarvoDbAgentTable));
    const TarvoPolyHandlerFn routine = &tarvo_poly_handler;
    EXPECT_EQ(g_requestRoutine, reinterpret_cast<std::uintptr_t>(routine));
    for (std::size_t i = 0; i < kTarvoDbAgentTableSize; ++i) {
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(tarvoDbAgentTable[i]), entryValue(i)) << i;
    }
    EXPECT_TRUE(g_errors.empty());
}

TEST_F(TarvoDbAgentTest, anAgentThatComesLateIsWaitedFor) {
    std::thread late([this] {
        ose_adopt_thread("starter");
        delay(100);
        startAgent();
        ose_leave_thread();
    });
    EXPECT_TRUE(TarvoDbAgent_bind(5000));
    late.join();
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(tarvoDbAgentTable[106]), entryValue(106));
}

TEST_F(TarvoDbAgentTest, aShortReplyFillsOnlyTheEntriesItHolds) {
    TraceCapture capture;
    g_replyEntries = 10;
    startAgent();
    ASSERT_TRUE(TarvoDbAgent_bind(2000));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(tarvoDbAgentTable[9]), entryValue(9));
    EXPECT_EQ(tarvoDbAgentTable[10], nullptr);
    EXPECT_TRUE(capture.contains("holds 10 of 107 entries"));
}

TEST_F(TarvoDbAgentTest, withoutAnAgentTheWaitEndsWithTheDefinedErrorAndAnEmptyTable) {
    TraceCapture capture;
    EXPECT_FALSE(TarvoDbAgent_bind(50));
    EXPECT_TRUE(capture.contains("No response hunting for Osa_dbAgent_proc after 50 msec."));
    ASSERT_EQ(g_errors.size(), 1u);
    char expected[32];
    std::snprintf(expected, sizeof expected, "error 0x%x ", kTarvoDbAgentNoResponseError);
    EXPECT_NE(g_errors[0].find(expected), std::string::npos) << g_errors[0];
    for (TarvoDbEntry entry : tarvoDbAgentTable) {
        EXPECT_EQ(entry, nullptr);
    }
}

}  // namespace
