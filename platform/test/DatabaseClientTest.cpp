// The database client against the host's name server, database agent and database
// supervisor: name tracking, connect through the call table, table lookup, a changed
// database, a lost connection.
#include "PlatformNode.h"
#include "TraceCapture.h"
#include "PgCluster.h"
#include "OdbcSession.h"
#include "tarvo_database.h"

#include <chrono>
#include <cstring>

using namespace platformtest;
using hostdbtest::runAsKernelProcess;

namespace {

bool exec(TarvoDbHandles& handles, const std::string& sql) {
    std::string text = sql;
    const TarvoSqlReturn rc = tarvodb::SQLExecDirect(
        handles.statement, reinterpret_cast<TarvoSqlChar*>(text.data()), SQL_NTS);
    return rc == SQL_SUCCESS || rc == SQL_SUCCESS_WITH_INFO;
}

long elapsedMs(std::chrono::steady_clock::time_point since) {
    return static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                 std::chrono::steady_clock::now() - since)
                                 .count());
}

// A stand-in publisher of "Vq_database" under another process name.
OS_PROCESS(otherPublisher) {
    hostns::publishService("Vq_database");
    static const SIGSELECT none[] = {1, 0x7FFFFFFF};
    receive(none);
}

class DatabaseClient : public PlatformNode {};

TEST_F(DatabaseClient, connects_through_the_call_table_and_looks_tables_up) {
    startDatabaseSide();
    runAsKernelProcess(kLimit, "ulsaMain", [&] {
        ASSERT_TRUE(TarvoDbAgent_bind(5000));
        startNameTracking();

        char* name = nullptr;
        ASSERT_TRUE(TarvoDb_getName(&name));
        EXPECT_STREQ(name, "ose/rtrdb");

        TarvoDbHandles handles;
        ASSERT_TRUE(TarvoDb_init(&handles));
        EXPECT_EQ(handles.connected, 1u);
        EXPECT_NE(handles.statement, nullptr);
        ASSERT_TRUE(exec(handles, "create table fro_versions (frotype integer, name varchar(0))"));
        ASSERT_TRUE(exec(handles, "insert into fro_versions values (1, 'it''s')"));

        bool exists = false;
        ASSERT_TRUE(TarvoDb_tableExists(&handles, "fro_versions", &exists));
        EXPECT_TRUE(exists);
        exists = true;
        ASSERT_TRUE(TarvoDb_tableExists(&handles, "frodata_missing", &exists));
        EXPECT_FALSE(exists);
        // A quote in the name stays inside the literal: no syntax error, no table.
        exists = true;
        ASSERT_TRUE(TarvoDb_tableExists(&handles, "x' or '1'='1", &exists));
        EXPECT_FALSE(exists);
        // The lookups leave the statement usable for the next query.
        ASSERT_TRUE(exec(handles, "select name from fro_versions"));
        ASSERT_EQ(tarvodb::SQLFetch(handles.statement), SQL_SUCCESS);
        char value[16] = {};
        TarvoSqlLen length = 0;
        ASSERT_EQ(
            tarvodb::SQLGetData(handles.statement, 1, SQL_C_CHAR, value, sizeof value, &length),
            SQL_SUCCESS);
        EXPECT_STREQ(value, "it's");
        EXPECT_EQ(tarvodb::SQLCloseCursor(handles.statement), SQL_SUCCESS);

        // A failing statement: the diagnostics come as text in a buffer of its own, and
        // they do not read as a lost connection.
        EXPECT_FALSE(exec(handles, "select body from nowhere_table"));
        char* text = nullptr;
        bool lost = true;
        TarvoDb_getError(SQL_HANDLE_STMT, handles.statement, &text, &lost);
        ASSERT_NE(text, nullptr);
        EXPECT_NE(std::strstr(text, "<1> "), nullptr) << text;
        EXPECT_NE(std::strstr(text, "nowhere_table"), nullptr) << text;
        EXPECT_FALSE(lost);
        free_buf(reinterpret_cast<union SIGNAL**>(&text));
        TarvoDb_getError(SQL_HANDLE_STMT, nullptr, &text, &lost);
        EXPECT_STREQ(text, "");
        free_buf(reinterpret_cast<union SIGNAL**>(&text));

        EXPECT_TRUE(TarvoDb_disconnect(&handles));
        EXPECT_EQ(handles.connection, nullptr);
        EXPECT_EQ(handles.environment, nullptr);
        EXPECT_EQ(handles.connected, 0u);
        // Disconnecting twice does nothing more.
        EXPECT_TRUE(TarvoDb_disconnect(&handles));
        EXPECT_TRUE(TarvoDb_reconnect(&handles));
        EXPECT_EQ(handles.connected, 1u);
        exists = false;
        ASSERT_TRUE(TarvoDb_tableExists(&handles, "fro_versions", &exists));
        EXPECT_TRUE(exists);
        EXPECT_TRUE(TarvoDb_disconnect(&handles));
    });
    EXPECT_EQ(hostdbtest::KernelErrors::take(), std::vector<std::string>{});
}

TEST_F(DatabaseClient, follows_a_changed_and_a_removed_database) {
    TraceCapture capture;
    startDatabaseSide();
    runAsKernelProcess(kLimit, "ulsaMain", [&] {
        ASSERT_TRUE(TarvoDbAgent_bind(5000));
        startNameTracking();
        char* name = nullptr;
        ASSERT_TRUE(TarvoDb_getName(&name));
        EXPECT_STREQ(name, "ose/rtrdb");
        EXPECT_TRUE(capture.contains("Now subscribing on Vq_database"));
        // Known and unchanged: no settling pause.
        auto begin = std::chrono::steady_clock::now();
        ASSERT_TRUE(TarvoDb_getName(&name));
        EXPECT_LT(elapsedMs(begin), 400);

        // Another process publishes the name: it becomes the database, after a pause.
        const PROCESS other = create_process(OS_PRI_PROC, "Vq_rtrdb_supervisor2", otherPublisher,
                                             2000, 20, 0, 0, nullptr, 0, 0);
        start(other);
        ASSERT_TRUE(
            eventually([&] { return capture.contains("Database name set to ose/rtrdb2"); }));
        begin = std::chrono::steady_clock::now();
        ASSERT_TRUE(TarvoDb_getName(&name));
        EXPECT_GE(elapsedMs(begin), 500);
        EXPECT_STREQ(name, "ose/rtrdb2");
        begin = std::chrono::steady_clock::now();
        ASSERT_TRUE(TarvoDb_getName(&name));
        EXPECT_LT(elapsedMs(begin), 400);

        // It goes: the supervisor's publication is active again.
        capture.clear();
        kill_proc(other);
        ASSERT_TRUE(eventually(
            [&] { return capture.contains("Database service added by Vq_rtrdb_supervisor"); }));
        ASSERT_TRUE(TarvoDb_getName(&name));
        EXPECT_STREQ(name, "ose/rtrdb");

        // The supervisor goes too: the name is withdrawn and the wait gives up.
        PROCESS supervisor = 0;
        ASSERT_TRUE(hunt(hostdb::kDatabaseSupervisorProcess, 0, &supervisor, nullptr));
        kill_proc(supervisor);
        ASSERT_TRUE(
            eventually([&] { return capture.contains("Database name removed: ose/rtrdb"); }));
        tarvodbname::setWait({3, 20, 500});
        begin = std::chrono::steady_clock::now();
        EXPECT_FALSE(TarvoDb_getName(&name));
        EXPECT_EQ(name, nullptr);
        EXPECT_GE(elapsedMs(begin), 60);
        EXPECT_TRUE(capture.contains("Database service not published in Name Server"));
        TarvoDbHandles handles;
        EXPECT_FALSE(TarvoDb_init(&handles));
        EXPECT_EQ(handles.environment, nullptr);
        EXPECT_TRUE(capture.contains("Could not retrieve database name within 30 minutes."));
    });
}

TEST_F(DatabaseClient, name_tracking_reports_bad_signals_and_goes_on) {
    TraceCapture capture;
    ASSERT_NE(hostns::startNameServer(), 0u);
    runAsKernelProcess(kLimit, "ulsaMain", [&] {
        const PROCESS tracker = startNameTracking();
        ASSERT_TRUE(eventually([&] { return capture.contains("Now subscribing on Vq_database"); }));
        // Too short; a length past the end; a publisher's name without its NUL; unknown.
        union SIGNAL* signal = alloc(8, 0x7B7B);
        send(&signal, tracker);
        signal = alloc(24, 0x7B7B);
        const uint32_t hugeLength = 1000;
        std::memcpy(reinterpret_cast<char*>(signal) + 8, &hugeLength, 4);
        send(&signal, tracker);
        signal = alloc(24, 0x7B7C);
        const uint32_t length = 4;
        std::memcpy(reinterpret_cast<char*>(signal) + 8, &length, 4);
        std::memset(reinterpret_cast<char*>(signal) + 16, 'x', 8);
        send(&signal, tracker);
        signal = alloc(4, 0x4711);
        send(&signal, tracker);
        // A well-formed "added" of a long process name is cut to the buffer.
        const char publisher[] = "a_process_with_a_long_name";
        signal = alloc(16 + 4 + sizeof publisher, 0x7B7B);
        std::memcpy(reinterpret_cast<char*>(signal) + 8, &length, 4);
        std::memcpy(reinterpret_cast<char*>(signal) + 16, "abc", 4);
        std::memcpy(reinterpret_cast<char*>(signal) + 20, publisher, sizeof publisher);
        send(&signal, tracker);

        char* name = nullptr;
        tarvodbname::setWait({200, 10, 500});
        ASSERT_TRUE(TarvoDb_getName(&name));
        EXPECT_STREQ(name, "ose/a_process_wi");
        EXPECT_EQ(std::strlen(name), kTarvoDbNameSize - 1);
    });
    for (const char* expected : {"bad signal 0x7b7b of 8 bytes", "bad signal 0x7b7b of 24 bytes",
                                 "bad signal 0x7b7c of 24 bytes", "bad signal 0x4711 of 4 bytes"}) {
        EXPECT_TRUE(capture.contains(expected)) << expected;
    }
    const std::vector<std::string> errors = hostdbtest::KernelErrors::take();
    EXPECT_EQ(errors.size(), 4u);
    for (const std::string& error : errors) {
        EXPECT_EQ(error.rfind("error2@ose.h", 0), 0u) << error;
    }
}

TEST_F(DatabaseClient, a_lost_connection_reads_as_disconnected_and_reconnect_restores_it) {
    std::string whyNot;
    hostdbtest::PgCluster* cluster = hostdbtest::PgCluster::shared(whyNot);
    if (cluster == nullptr) {
        GTEST_SKIP() << "no PostgreSQL for this test: " << whyNot;
    }
    database.connectString = cluster->connectString();
    startDatabaseSide();
    runAsKernelProcess(kLimit, "ulsaMain", [&] {
        ASSERT_TRUE(TarvoDbAgent_bind(5000));
        startNameTracking();
        TarvoDbHandles handles;
        ASSERT_TRUE(TarvoDb_init(&handles));
        ASSERT_TRUE(exec(handles, "select pg_backend_pid()"));
        ASSERT_EQ(tarvodb::SQLFetch(handles.statement), SQL_SUCCESS);
        int32_t backend = 0;
        TarvoSqlLen length = 0;
        ASSERT_EQ(tarvodb::SQLGetData(handles.statement, 1, SQL_C_LONG, &backend, sizeof backend,
                                      &length),
                  SQL_SUCCESS);
        tarvodb::SQLCloseCursor(handles.statement);

        hostdb::OdbcSession admin(cluster->connectString());
        ASSERT_TRUE(admin.connect());
        hostdb::SqlRows rows;
        ASSERT_TRUE(
            admin.query("select pg_terminate_backend(" + std::to_string(backend) + ")", rows));

        EXPECT_FALSE(exec(handles, "select 1"));
        char* text = nullptr;
        bool lost = false;
        TarvoDb_getError(SQL_HANDLE_STMT, handles.statement, &text, &lost);
        EXPECT_TRUE(lost) << text;
        EXPECT_NE(std::strstr(text, "08S01"), nullptr) << text;
        free_buf(reinterpret_cast<union SIGNAL**>(&text));

        EXPECT_TRUE(TarvoDb_reconnect(&handles));
        EXPECT_TRUE(exec(handles, "select 1"));
        tarvodb::SQLCloseCursor(handles.statement);
        TarvoDb_disconnect(&handles);
    });
}

}  // namespace
