// The call table against the default database, an SQLite file in the state folder,
// driven from kernel processes as the load module drives it.
#include "KernelErrors.h"
#include "OdbcSession.h"
#include "SqlCalls.h"
#include "TempFolder.h"
#include "TimeLimit.h"
#include "databaseAgent.h"
#include "tarvo_dbagent.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>

using namespace hostdbtest;

namespace {

constexpr auto kLimit = std::chrono::seconds(40);

class CallTableOnSqlite : public ::testing::Test {
  protected:
    void SetUp() override {
        config.stateDir = folder.path() + "/node/state";
        ASSERT_NE(hostdb::startDatabaseAgent(config), 0u);
    }

    void TearDown() override {
        ose_shutdown();
        EXPECT_EQ(KernelErrors::take(), std::vector<std::string>{});
    }

    KernelErrors kernelErrors;
    TempFolder folder;
    hostdb::DatabaseConfig config;
};

TEST_F(CallTableOnSqlite, load_module_sequence_stores_rows_in_the_state_folder) {
    runAsKernelProcess(kLimit, "ulsaMain", [&] {
        ASSERT_TRUE(TarvoDbAgent_bind(5000));
        for (std::size_t i = 0; i < kTarvoDbAgentTableSize; ++i) {
            const bool reserved = i >= static_cast<std::size_t>(TarvoSqlCall::FirstReserved);
            EXPECT_EQ(tarvoDbAgentTable[i] == nullptr, reserved) << "entry " << i;
        }
        const SqlCalls sql = SqlCalls::from(tarvoDbAgentTable);
        SqlConnection handles;
        ASSERT_EQ(openConnection(sql, "ose/rtrdb", handles), SQL_SUCCESS)
            << ::testing::PrintToString(sql.diagnostics(SQL_HANDLE_DBC, handles.connection));
        runLoadModuleStatements(sql, handles.statement);
        closeConnection(sql, handles);
    });

    // The rows outlive the connection, in the file the configuration names, in WAL mode.
    hostdb::OdbcSession session(hostdb::resolveConnectString(config));
    ASSERT_TRUE(session.connect()) << hostdb::diagnosticsText(session.lastError());
    EXPECT_EQ(session.dbmsName(), "SQLite");
    hostdb::SqlRows rows;
    ASSERT_TRUE(session.query("select count(*) from frodata_UlSpectrumAnalyzer_INITIAL", rows));
    EXPECT_EQ(rows.at(0).at(0), "3");
    ASSERT_TRUE(session.query("pragma journal_mode", rows));
    EXPECT_EQ(rows.at(0).at(0), "wal");
    EXPECT_TRUE(std::filesystem::exists(config.stateDir + "/rtrdb.sqlite"));
}

TEST_F(CallTableOnSqlite, failures_of_its_own_read_as_diagnostics_until_the_next_call) {
    runAsKernelProcess(kLimit, "ulsaMain", [&] {
        ASSERT_TRUE(TarvoDbAgent_bind(5000));
        const SqlCalls sql = SqlCalls::from(tarvoDbAgentTable);
        SqlConnection handles;
        EXPECT_EQ(openConnection(sql, "ose/otherdb", handles), SQL_ERROR);
        const std::vector<std::string> records =
            sql.diagnostics(SQL_HANDLE_DBC, handles.connection);
        ASSERT_EQ(records.size(), 1u);
        EXPECT_EQ(records[0].substr(0, 5), "08001");
        EXPECT_NE(records[0].find("unknown database server name \"ose/otherdb\""),
                  std::string::npos)
            << records[0];

        // A message cut to the caller's buffer says so and tells the whole length.
        TarvoSqlChar state[6] = {};
        TarvoSqlChar shortBuffer[10] = {};
        TarvoSqlSmallInt length = 0;
        TarvoSqlInteger native = -1;
        EXPECT_EQ(sql.getDiagRec(SQL_HANDLE_DBC, handles.connection, 1, state, &native, shortBuffer,
                                 sizeof shortBuffer, &length),
                  SQL_SUCCESS_WITH_INFO);
        EXPECT_EQ(std::strlen(reinterpret_cast<char*>(shortBuffer)), 9u);
        EXPECT_GT(length, 9);
        EXPECT_EQ(native, 0);
        EXPECT_EQ(sql.getDiagRec(SQL_HANDLE_DBC, handles.connection, 2, state, &native, shortBuffer,
                                 sizeof shortBuffer, &length),
                  SQL_NO_DATA);

        // The right name connects, and the old record is gone.
        auto* name = reinterpret_cast<TarvoSqlChar*>(const_cast<char*>("ose/rtrdb"));
        ASSERT_EQ(
            sql.connect(handles.connection, name, SQL_NTS, nullptr, SQL_NTS, nullptr, SQL_NTS),
            SQL_SUCCESS);
        EXPECT_NE(sql.state(SQL_HANDLE_DBC, handles.connection), "08001");
        // A name given with its length, not NUL-terminated, is read to that length.
        SqlConnection second;
        EXPECT_EQ(sql.allocHandle(SQL_HANDLE_ENV, nullptr, &second.environment), SQL_SUCCESS);
        EXPECT_EQ(sql.allocHandle(SQL_HANDLE_DBC, second.environment, &second.connection),
                  SQL_SUCCESS);
        auto* longer = reinterpret_cast<TarvoSqlChar*>(const_cast<char*>("ose/rtrdb-and-more"));
        EXPECT_EQ(sql.connect(second.connection, longer, 9, nullptr, 0, nullptr, 0), SQL_SUCCESS);
        closeConnection(sql, second);

        // The event switch takes 0 or 1; anything else is refused with HY024.
        EXPECT_EQ(sql.setEnvAttr(handles.environment, TARVO_SQL_ATTR_ASYNC_EVENTS,
                                 reinterpret_cast<TarvoSqlPointer>(7), 0),
                  SQL_ERROR);
        EXPECT_EQ(sql.state(SQL_HANDLE_ENV, handles.environment), "HY024");
        EXPECT_EQ(sql.setEnvAttr(handles.environment, TARVO_SQL_ATTR_ASYNC_EVENTS,
                                 reinterpret_cast<TarvoSqlPointer>(0), 0),
                  SQL_SUCCESS);

        // The host sends no database events: a signal handed over holds none and is
        // taken over, and no event is ever pending.
        union SIGNAL* event = alloc(16, TARVO_DB_EVENT_SIG);
        EXPECT_EQ(sql.eventReceive(handles.environment, event), SQL_NO_DATA);
        TarvoSqlInteger functionId = -1;
        TarvoSqlReturn result = -5;
        TarvoSqlHandle handle = nullptr;
        EXPECT_EQ(sql.eventGet(handles.environment, &functionId, &result, &handle), SQL_NO_DATA);
        EXPECT_EQ(sql.eventGet(nullptr, &functionId, &result, &handle), SQL_INVALID_HANDLE);
        closeConnection(sql, handles);
    });
}

TEST_F(CallTableOnSqlite, agent_answers_well_formed_requests_and_drops_the_rest) {
    runAsKernelProcess(kLimit, "client", [&] {
        PROCESS agent = 0;
        union SIGNAL* none = nullptr;
        ASSERT_TRUE(hunt(hostdb::kDatabaseAgentProcess, 0, &agent, &none));
        static const SIGSELECT replySelect[] = {1, TARVO_DBAGENT_REPLY};

        union SIGNAL* shortRequest = alloc(4, TARVO_DBAGENT_REQ);
        send(&shortRequest, agent);
        union SIGNAL* stranger = alloc(8, 0x12345);
        send(&stranger, agent);
        EXPECT_EQ(receive_w_tmo(200, replySelect), nullptr);

        union SIGNAL* request = alloc(kTarvoDbAgentRequestSize, TARVO_DBAGENT_REQ);
        std::memset(reinterpret_cast<unsigned char*>(request) + 4, 0, kTarvoDbAgentRequestSize - 4);
        send(&request, agent);
        union SIGNAL* reply = receive_w_tmo(5000, replySelect);
        ASSERT_NE(reply, nullptr);
        EXPECT_EQ(sender(&reply), agent);
        ASSERT_EQ(sigsize(&reply), kTarvoDbAgentReplySize);
        uintptr_t expected[kTarvoDbAgentTableSize];
        hostdb::fillSqlCallTable(expected, kTarvoDbAgentTableSize);
        EXPECT_EQ(
            std::memcmp(reinterpret_cast<unsigned char*>(reply) + 4, expected, sizeof expected), 0);
        free_buf(&reply);
    });
}

TEST_F(CallTableOnSqlite, writers_in_two_processes_wait_for_each_other) {
    runAsKernelProcess(kLimit, "setup", [&] {
        ASSERT_TRUE(TarvoDbAgent_bind(5000));
        const SqlCalls sql = SqlCalls::from(tarvoDbAgentTable);
        SqlConnection handles;
        ASSERT_EQ(openConnection(sql, "ose/rtrdb", handles), SQL_SUCCESS);
        ASSERT_EQ(sql.exec(handles.statement,
                           "create table rows_t (persistent, writer integer, n "
                           "integer, primary key(writer, n))"),
                  SQL_SUCCESS);
        closeConnection(sql, handles);
    });
    constexpr int kRows = 150;
    auto writer = [](int id) {
        runAsKernelProcess(kLimit, "writer" + std::to_string(id), [id] {
            const SqlCalls sql = SqlCalls::from(tarvoDbAgentTable);
            SqlConnection handles;
            ASSERT_EQ(openConnection(sql, "ose/rtrdb", handles), SQL_SUCCESS);
            for (int n = 0; n < kRows; ++n) {
                const std::string text = "insert into rows_t (writer, n) values (" +
                                         std::to_string(id) + ", " + std::to_string(n) + ")";
                ASSERT_EQ(sql.exec(handles.statement, text), SQL_SUCCESS)
                    << ::testing::PrintToString(
                           sql.diagnostics(SQL_HANDLE_STMT, handles.statement));
            }
            closeConnection(sql, handles);
        });
    };
    std::thread first(writer, 1);
    std::thread second(writer, 2);
    first.join();
    second.join();
    hostdb::OdbcSession session(hostdb::resolveConnectString(config));
    ASSERT_TRUE(session.connect());
    hostdb::SqlRows rows;
    ASSERT_TRUE(session.query("select count(*) from rows_t", rows));
    EXPECT_EQ(rows.at(0).at(0), std::to_string(2 * kRows));
}

}  // namespace
