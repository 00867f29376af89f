// The database event loop through a call table whose event and connect entries are
// the test's, the client routine tarvo_poly_handler, and the host agent calling it.
#include "PlatformNode.h"
#include "TraceCapture.h"
#include "tarvo_database.h"
#include "tarvo_dbagent.h"
#include "tarvo_poly_handler.h"

#include <atomic>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

using namespace platformtest;
using hostdbtest::runAsKernelProcess;

namespace {

// What the fake entries answer and what they saw.
TarvoSqlReturn g_receiveResult = SQL_SUCCESS;
std::vector<std::pair<TarvoSqlInteger, TarvoSqlHandle>> g_events;
std::size_t g_nextEvent = 0;
int g_receives = 0;
int g_gets = 0;
TarvoSqlHandle g_receiveEnvironment = nullptr;
std::atomic<int> g_connects{0};
TarvoSqlConnectFn g_realConnect = nullptr;

TarvoSqlReturn fakeEventReceive(TarvoSqlHandle environment, union SIGNAL* signal) {
    ++g_receives;
    g_receiveEnvironment = environment;
    if (signal != nullptr) {
        free_buf(&signal);  // the interface takes the buffer over
    }
    return g_receiveResult;
}

TarvoSqlReturn fakeEventGet(TarvoSqlHandle, TarvoSqlInteger* functionId,
                            TarvoSqlReturn* functionResult, TarvoSqlHandle* handle) {
    ++g_gets;
    if (g_nextEvent >= g_events.size()) {
        return SQL_NO_DATA;
    }
    *functionId = g_events[g_nextEvent].first;
    *functionResult = SQL_SUCCESS;
    *handle = g_events[g_nextEvent].second;
    ++g_nextEvent;
    return SQL_SUCCESS;
}

// Counts the connects and makes them through the agent's entry.
TarvoSqlReturn countingConnect(TarvoSqlHandle connection, TarvoSqlChar* serverName,
                               TarvoSqlSmallInt serverNameLength, TarvoSqlChar* userName,
                               TarvoSqlSmallInt userNameLength, TarvoSqlChar* authentication,
                               TarvoSqlSmallInt authenticationLength) {
    ++g_connects;
    return g_realConnect(connection, serverName, serverNameLength, userName, userNameLength,
                         authentication, authenticationLength);
}

TarvoDbEntry& tableEntry(TarvoSqlCall which) {
    return tarvoDbAgentTable[static_cast<std::size_t>(which)];
}

// Puts the fake entries into the call table while it lives and restores the agent's.
class FakeEntries {
  public:
    FakeEntries()
        : m_receive(tableEntry(TarvoSqlCall::SQLEventReceive)),
          m_get(tableEntry(TarvoSqlCall::SQLEventGet)),
          m_connect(tableEntry(TarvoSqlCall::SQLConnect)) {
        g_realConnect = reinterpret_cast<TarvoSqlConnectFn>(m_connect);
        reset(SQL_SUCCESS, {});
        tableEntry(TarvoSqlCall::SQLEventReceive) = reinterpret_cast<TarvoDbEntry>(fakeEventReceive);
        tableEntry(TarvoSqlCall::SQLEventGet) = reinterpret_cast<TarvoDbEntry>(fakeEventGet);
        tableEntry(TarvoSqlCall::SQLConnect) = reinterpret_cast<TarvoDbEntry>(countingConnect);
    }
    ~FakeEntries() {
        tableEntry(TarvoSqlCall::SQLEventReceive) = m_receive;
        tableEntry(TarvoSqlCall::SQLEventGet) = m_get;
        tableEntry(TarvoSqlCall::SQLConnect) = m_connect;
    }
    FakeEntries(const FakeEntries&) = delete;
    FakeEntries& operator=(const FakeEntries&) = delete;

    static void reset(TarvoSqlReturn receiveResult,
                      std::vector<std::pair<TarvoSqlInteger, TarvoSqlHandle>> events) {
        g_receiveResult = receiveResult;
        g_events = std::move(events);
        g_nextEvent = 0;
        g_receives = 0;
        g_gets = 0;
        g_receiveEnvironment = nullptr;
        g_connects = 0;
    }

  private:
    TarvoDbEntry m_receive;
    TarvoDbEntry m_get;
    TarvoDbEntry m_connect;
};

union SIGNAL* eventSignal() {
    return alloc(sizeof(SIGSELECT), TARVO_DB_EVENT_SIG);
}

TarvoSqlHandle fakeHandle(std::uintptr_t value) {
    return reinterpret_cast<TarvoSqlHandle>(value);
}

// The lines written with that text, as "<object> L<level>".
std::vector<std::string> placesOf(const TraceCapture& capture, const std::string& text) {
    std::vector<std::string> places;
    for (const TraceLine& line : capture.parsed()) {
        if (line.text == text) {
            places.push_back(line.object + " L" + std::to_string(line.level));
        }
    }
    return places;
}

class DatabaseEvents : public PlatformNode {
  protected:
    void SetUp() override {
        PlatformNode::SetUp();
        // The common object of this program, as the load module's main process attaches it.
        TraceCall attach{};
        attach.ref = &traceDefaultRef;
        ASSERT_EQ(traceAndErrorInit(TRACE_OP_ATTACH, &attach), 0);
        traceSetMask(kTraceDefaultObjectName, kTraceDefaultObjectMask);
    }
};

using Places = std::vector<std::string>;

TEST_F(DatabaseEvents, a_lost_connection_event_reconnects_and_an_unknown_one_does_not) {
    TraceCapture capture;
    startDatabaseSide();
    runAsKernelProcess(kLimit, "ulsaMain", [&] {
        ASSERT_TRUE(TarvoDbAgent_bind(5000));
        startNameTracking();
        TarvoDbHandles handles{};
        ASSERT_TRUE(TarvoDb_init(&handles));
        const TarvoDbEntry agentsConnect = tableEntry(TarvoSqlCall::SQLConnect);
        {
            FakeEntries fake;
            // Function id 9 alone: the connection is lost, the client connects again.
            FakeEntries::reset(SQL_SUCCESS, {{TARVO_SQL_EVENT_CONNECTION_LOST, fakeHandle(0xbeef)}});
            const TarvoSqlHandle environment = handles.environment;
            capture.clear();
            EXPECT_TRUE(TarvoDb_handleSignal(&handles, eventSignal()));
            EXPECT_EQ(g_receives, 1);
            EXPECT_EQ(g_receiveEnvironment, environment);
            EXPECT_EQ(g_gets, 2);
            EXPECT_EQ(placesOf(capture, "DB disconnected, handle = 0xbeef"),
                      Places{"TARVO_DBI_IF L9"});
            EXPECT_EQ(g_connects.load(), 1);
            EXPECT_EQ(placesOf(capture, "Db reconnected"), Places{"TARVO_DBI_IF L9"});
            EXPECT_EQ(handles.connected, 1u);
            bool exists = true;
            EXPECT_TRUE(TarvoDb_tableExists(&handles, "no_such_table", &exists));
            EXPECT_FALSE(exists);

            // Function id 9 followed by 3: false, and no reconnect.
            FakeEntries::reset(SQL_SUCCESS, {{TARVO_SQL_EVENT_CONNECTION_LOST, fakeHandle(0x10)},
                                             {3, fakeHandle(0x20)}});
            const TarvoSqlHandle connection = handles.connection;
            capture.clear();
            EXPECT_FALSE(TarvoDb_handleSignal(&handles, eventSignal()));
            EXPECT_EQ(g_gets, 3);
            EXPECT_EQ(g_connects.load(), 0);
            EXPECT_EQ(placesOf(capture, "TARVO_DB_SIG with functionId 3"),
                      Places{"TARVO_DBI_IF L1"});
            EXPECT_TRUE(placesOf(capture, "Db reconnected").empty());
            EXPECT_EQ(handles.connection, connection);
            EXPECT_EQ(handles.connected, 1u);

            // The interface answers 100: no event, nothing read, true.
            FakeEntries::reset(SQL_NO_DATA, {{TARVO_SQL_EVENT_CONNECTION_LOST, fakeHandle(0x30)}});
            EXPECT_TRUE(TarvoDb_handleSignal(&handles, eventSignal()));
            EXPECT_EQ(g_receives, 1);
            EXPECT_EQ(g_gets, 0);
            EXPECT_EQ(g_connects.load(), 0);

            // Events that are all read before the first 100 and none lost: true, no reconnect.
            FakeEntries::reset(SQL_SUCCESS, {});
            EXPECT_TRUE(TarvoDb_handleSignal(&handles, eventSignal()));
            EXPECT_EQ(g_gets, 1);
            EXPECT_EQ(g_connects.load(), 0);
        }
        EXPECT_EQ(tableEntry(TarvoSqlCall::SQLConnect), agentsConnect);
        EXPECT_TRUE(TarvoDb_disconnect(&handles));
    });
    EXPECT_EQ(hostdbtest::KernelErrors::take(), std::vector<std::string>{});
}

TEST_F(DatabaseEvents, error_events_give_their_texts) {
    TraceCapture capture;
    const char* const texts[] = {"Internal inconsistency", "Out of heap memory",
                                 "Warm restart failure",   "Checksum error",
                                 "Load file not found",    "Load file error",
                                 "Disk error"};
    for (int code = 1; code <= 7; ++code) {
        tarvo_poly_handler(kTarvoPolyErrorEvent, code, nullptr, 0, 0, 0);
        const std::string expected =
            std::string("Database error: ") + texts[code - 1] + " (" + std::to_string(code) + ")";
        EXPECT_EQ(placesOf(capture, expected), Places{"TARVO_DBI_IF L1"}) << code;
    }
    tarvo_poly_handler(kTarvoPolyErrorEvent, 0, nullptr, 0, 0, 0);
    tarvo_poly_handler(kTarvoPolyErrorEvent, 8, "ignored", 0, 0, 0);
    tarvo_poly_handler(kTarvoPolyErrorEvent, -1, nullptr, 0, 0, 0);
    EXPECT_EQ(placesOf(capture, "Database error: Unknown error (0)"), Places{"TARVO_DBI_IF L1"});
    EXPECT_EQ(placesOf(capture, "Database error: Unknown error (8)"), Places{"TARVO_DBI_IF L1"});
    EXPECT_EQ(placesOf(capture, "Database error: Unknown error (-1)"), Places{"TARVO_DBI_IF L1"});
    EXPECT_EQ(capture.parsed().size(), 10u);
}

TEST_F(DatabaseEvents, log_lines_go_to_the_level_of_their_severity) {
    TraceCapture capture;
    tarvo_poly_handler(kTarvoPolyLogLine, 1, "one", 1, 2, 3);
    tarvo_poly_handler(kTarvoPolyLogLine, 2, "two", -4, 0, 70000);
    tarvo_poly_handler(kTarvoPolyLogLine, 3, "three", 0, 0, 0);
    tarvo_poly_handler(kTarvoPolyLogLine, 4, "four", 0, 0, 0);
    tarvo_poly_handler(kTarvoPolyLogLine, 5, "five", 0, 0, 0);
    tarvo_poly_handler(kTarvoPolyLogLine, 5, nullptr, 9, 9, 9);
    EXPECT_EQ(placesOf(capture, "one, m:1 s:2 c:3"), Places{"TARVO_DBI_IF L31"});
    EXPECT_EQ(placesOf(capture, "two, m:-4 s:0 c:70000"), Places{"TARVO_DBI_IF L31"});
    EXPECT_EQ(placesOf(capture, "three, m:0 s:0 c:0"), Places{"traceDefault L4"});
    EXPECT_EQ(placesOf(capture, "four, m:0 s:0 c:0"), Places{"traceDefault L1"});
    EXPECT_EQ(placesOf(capture, "five, m:0 s:0 c:0"), Places{"traceDefault L1"});
    EXPECT_EQ(placesOf(capture, ", m:9 s:9 c:9"), Places{"traceDefault L1"});

    // The finest lines follow the group's highest bit: off, they are not written.
    traceSetMask("TARVO_DBI_IF", 0x7FFFFFFFu);
    capture.clear();
    tarvo_poly_handler(kTarvoPolyLogLine, 1, "one", 1, 2, 3);
    tarvo_poly_handler(kTarvoPolyLogLine, 2, "two", 1, 2, 3);
    tarvo_poly_handler(kTarvoPolyReady, 0, nullptr, 0, 0, 0);
    EXPECT_TRUE(placesOf(capture, "one, m:1 s:2 c:3").empty());
    EXPECT_TRUE(placesOf(capture, "two, m:1 s:2 c:3").empty());
    EXPECT_EQ(placesOf(capture, "poly_server_ready"), Places{"TARVO_DBI_IF L4"});

    tarvo_poly_handler(77, 1, "x", 0, 0, 0);
    EXPECT_EQ(placesOf(capture, "tarvo_poly_handler: unknown kind 77"), Places{"TARVO_DBI_IF L1"});
}

TEST_F(DatabaseEvents, the_host_agent_calls_the_routine_when_ready_and_on_connect) {
    TraceCapture capture;
    startDatabaseSide();
    runAsKernelProcess(kLimit, "ulsaMain", [&] {
        // A request without a routine: the agent answers and calls nothing.
        PROCESS agent = 0;
        ASSERT_TRUE(hunt(kTarvoDbAgentName, 0, &agent, nullptr));
        union SIGNAL* request = alloc(kTarvoDbAgentRequestSize, TARVO_DBAGENT_REQ);
        std::memset(reinterpret_cast<unsigned char*>(request) + kTarvoDbAgentAddressOffset, 0,
                    kTarvoDbAgentRequestSize - kTarvoDbAgentAddressOffset);
        send(&request, agent);
        static const SIGSELECT selectReply[] = {1, TARVO_DBAGENT_REPLY};
        union SIGNAL* reply = receive_w_tmo(5000, selectReply);
        ASSERT_NE(reply, nullptr);
        free_buf(&reply);
        // The agent calls after it has sent; give it time to (wrongly) do so.
        delay(200);
        EXPECT_FALSE(capture.contains("poly_server_ready"));

        // The load module's own step names tarvo_poly_handler.
        ASSERT_TRUE(TarvoDbAgent_bind(5000));
        ASSERT_TRUE(eventually(
            [&] { return placesOf(capture, "poly_server_ready") == Places{"TARVO_DBI_IF L4"}; }));
        startNameTracking();
        TarvoDbHandles handles{};
        ASSERT_TRUE(TarvoDb_init(&handles));
        EXPECT_EQ(placesOf(capture, "connected to ose/rtrdb, m:0 s:0 c:0"),
                  Places{"traceDefault L4"});
        EXPECT_TRUE(TarvoDb_disconnect(&handles));
    });
    EXPECT_EQ(hostdbtest::KernelErrors::take(), std::vector<std::string>{});
}

}  // namespace
