// The call table against PostgreSQL through its ODBC driver: a throwaway server that
// this test program starts on a free loopback port.
#include "KernelErrors.h"
#include "OdbcSession.h"
#include "PgCluster.h"
#include "SqlCalls.h"
#include "TimeLimit.h"
#include "databaseAgent.h"
#include "tarvo_dbagent.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>

using namespace hostdbtest;

namespace {

constexpr auto kLimit = std::chrono::seconds(40);

class CallTableOnPostgres : public ::testing::Test {
  protected:
    void SetUp() override {
        // A database of its own per test, so that every test starts empty.
        config.connectString = freshTestDatabase("t_");
        if (config.connectString.empty())
            return;
        ASSERT_NE(hostdb::startDatabaseAgent(config), 0u);
    }

    void TearDown() override {
        ose_shutdown();
        EXPECT_EQ(KernelErrors::take(), std::vector<std::string>{});
    }

    KernelErrors kernelErrors;
    hostdb::DatabaseConfig config;
};

TEST_F(CallTableOnPostgres, load_module_sequence_works_on_postgresql) {
    runAsKernelProcess(kLimit, "ulsaMain", [&] {
        ASSERT_TRUE(TarvoDbAgent_bind(5000));
        const SqlCalls sql = SqlCalls::from(tarvoDbAgentTable);
        SqlConnection handles;
        ASSERT_EQ(openConnection(sql, "ose/rtrdb", handles), SQL_SUCCESS)
            << ::testing::PrintToString(sql.diagnostics(SQL_HANDLE_DBC, handles.connection));
        runLoadModuleStatements(sql, handles.statement);
        closeConnection(sql, handles);
        // A second connection finds the view made by the first.
        ASSERT_EQ(openConnection(sql, "ose/rtrdb", handles), SQL_SUCCESS);
        EXPECT_TRUE(tableListed(sql, handles.statement, "fro_versions"));
        closeConnection(sql, handles);
    });
    hostdb::OdbcSession session(config.connectString);
    ASSERT_TRUE(session.connect());
    EXPECT_EQ(session.dbmsName(), "PostgreSQL");
    hostdb::SqlRows rows;
    ASSERT_TRUE(
        session.query("select data_type from information_schema.columns where "
                      "table_name = 'fro_versions' and column_name = 'frotypename'",
                      rows));
    EXPECT_EQ(rows.at(0).at(0), "text");
}

TEST_F(CallTableOnPostgres, backend_killed_during_a_read_shows_as_08S01_and_reconnect_works) {
    runAsKernelProcess(kLimit, "ulsaMain", [&] {
        ASSERT_TRUE(TarvoDbAgent_bind(5000));
        const SqlCalls sql = SqlCalls::from(tarvoDbAgentTable);
        SqlConnection handles;
        ASSERT_EQ(openConnection(sql, "ose/rtrdb", handles), SQL_SUCCESS);
        ASSERT_EQ(sql.exec(handles.statement, "select pg_backend_pid()"), SQL_SUCCESS);
        ASSERT_EQ(sql.fetch(handles.statement), SQL_SUCCESS);
        const int32_t backend = sql.integer(handles.statement, 1);
        EXPECT_EQ(sql.closeCursor(handles.statement), SQL_SUCCESS);

        // A second connection ends the backend while it is inside the query.
        std::atomic<bool> killed{false};
        std::thread killer([&] {
            hostdb::OdbcSession admin(config.connectString);
            ASSERT_TRUE(admin.connect());
            const std::string busy =
                "select 1 from pg_stat_activity where pid = " + std::to_string(backend) +
                " and state = 'active' and query like '%pg_sleep%'";
            hostdb::SqlRows rows;
            for (int tries = 0; tries < 500 && rows.empty(); ++tries) {
                ASSERT_TRUE(admin.query(busy, rows));
                if (rows.empty())
                    std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
            ASSERT_FALSE(rows.empty()) << "the backend never ran the query";
            ASSERT_TRUE(
                admin.query("select pg_terminate_backend(" + std::to_string(backend) + ")", rows));
            killed = true;
        });
        const TarvoSqlReturn rc = sql.exec(handles.statement, "select pg_sleep(20)");
        killer.join();
        EXPECT_TRUE(killed);
        EXPECT_EQ(rc, SQL_ERROR);
        EXPECT_EQ(sql.state(SQL_HANDLE_STMT, handles.statement), "08S01")
            << ::testing::PrintToString(sql.diagnostics(SQL_HANDLE_STMT, handles.statement));
        // The connection stays lost for the next statement too.
        EXPECT_EQ(sql.exec(handles.statement, "select 1"), SQL_ERROR);
        EXPECT_EQ(sql.state(SQL_HANDLE_STMT, handles.statement), "08S01");

        // What the load module's reconnect does: drop everything, connect anew.
        closeConnection(sql, handles);
        ASSERT_EQ(openConnection(sql, "ose/rtrdb", handles), SQL_SUCCESS);
        ASSERT_EQ(sql.exec(handles.statement, "select pg_backend_pid()"), SQL_SUCCESS);
        ASSERT_EQ(sql.fetch(handles.statement), SQL_SUCCESS);
        EXPECT_NE(sql.integer(handles.statement, 1), backend);
        EXPECT_EQ(sql.closeCursor(handles.statement), SQL_SUCCESS);
        closeConnection(sql, handles);
    });
}

}  // namespace
