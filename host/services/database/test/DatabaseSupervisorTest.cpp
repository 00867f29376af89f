// "Vq_rtrdb_supervisor" with the host's name server, followed as the load module's
// database client follows it.
#include "KernelErrors.h"
#include "OdbcSession.h"
#include "PgCluster.h"
#include "SqlCalls.h"
#include "TempFolder.h"
#include "TimeLimit.h"
#include "databaseAgent.h"
#include "databaseSupervisor.h"
#include "nameServerHost.h"
#include "tarvo_dbagent.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <functional>

using namespace hostdbtest;

namespace {

constexpr auto kLimit = std::chrono::seconds(40);
constexpr OSTIME kArrival = 10000;
constexpr OSTIME kAbsence = 300;

constexpr SIGSELECT kNameSubscribe = 0x7B78;
constexpr SIGSELECT kNameSubscribeCfm = 0x7B7A;
constexpr SIGSELECT kNameAdded = 0x7B7B;
constexpr SIGSELECT kNameRemoved = 0x7B7C;

/// Subscribes to "Vq_database" as the database client does, and waits for the confirm.
void subscribeDatabaseName() {
    PROCESS nameServer = 0;
    union SIGNAL* none = nullptr;
    ASSERT_TRUE(hunt("ose_ns", 0, &nameServer, &none));
    const std::string name = hostdb::kDatabaseServiceName;
    union SIGNAL* subscribe = alloc(static_cast<OSBUFSIZE>(name.size() + 12), kNameSubscribe);
    std::memset(reinterpret_cast<unsigned char*>(subscribe) + 4, 0, name.size() + 8);
    std::memcpy(reinterpret_cast<unsigned char*>(subscribe) + 8, name.c_str(), name.size() + 1);
    send(&subscribe, nameServer);
    static const SIGSELECT confirm[] = {1, kNameSubscribeCfm};
    union SIGNAL* confirmed = receive_w_tmo(kArrival, confirm);
    ASSERT_NE(confirmed, nullptr);
    free_buf(&confirmed);
}

/// The server name the database client makes of an "added" or "removed" event: "ose/"
/// and the publisher's name with "rtrdb" for "Vq_rtrdb_supervisor"; empty when none came.
std::string nextServerName(SIGSELECT event, OSTIME timeout = kArrival) {
    const SIGSELECT select[] = {1, event};
    union SIGNAL* signal = receive_w_tmo(timeout, select);
    if (signal == nullptr)
        return std::string();
    uint32_t length = 0;
    std::memcpy(&length, reinterpret_cast<unsigned char*>(signal) + 8, 4);
    std::string publisher(reinterpret_cast<char*>(signal) + 16 + length);
    free_buf(&signal);
    const std::string supervisor = "Vq_rtrdb_supervisor";
    const std::size_t at = publisher.find(supervisor);
    if (at != std::string::npos)
        publisher.replace(at, supervisor.size(), "rtrdb");
    return "ose/" + publisher;
}

class DatabaseSupervisorTest : public ::testing::Test {
  protected:
    void SetUp() override {
        config.database.stateDir = folder.path() + "/state";
        config.retryIntervalMs = 50;
        config.checkIntervalMs = 100;
    }

    void TearDown() override {
        ose_shutdown();
        EXPECT_EQ(KernelErrors::take(), std::vector<std::string>{});
    }

    KernelErrors kernelErrors;
    TempFolder folder;
    hostdb::DatabaseSupervisorConfig config;
};

TEST_F(DatabaseSupervisorTest, publication_leads_the_database_client_to_a_working_connection) {
    runAsKernelProcess(kLimit, "VqDb_name_proc", [&] {
        ASSERT_NE(hostns::startNameServer(), 0u);
        ASSERT_NE(hostdb::startDatabaseAgent(config.database), 0u);
        subscribeDatabaseName();
        EXPECT_EQ(nextServerName(kNameAdded, kAbsence), "") << "published before it started";
        const PROCESS supervisor = hostdb::startDatabase(config);
        ASSERT_NE(supervisor, 0u);
        const std::string serverName = nextServerName(kNameAdded);
        ASSERT_EQ(serverName, "ose/rtrdb");

        ASSERT_TRUE(TarvoDbAgent_bind(5000));
        const SqlCalls sql = SqlCalls::from(tarvoDbAgentTable);
        SqlConnection handles;
        ASSERT_EQ(openConnection(sql, serverName.c_str(), handles), SQL_SUCCESS);
        EXPECT_FALSE(tableListed(sql, handles.statement, "fro_versions"));
        closeConnection(sql, handles);

        // When the database's process goes, so does the publication.
        kill_proc(supervisor);
        EXPECT_EQ(nextServerName(kNameRemoved), "ose/rtrdb");
    });
}

TEST_F(DatabaseSupervisorTest, an_unreachable_database_is_published_only_once_it_answers) {
    // The file's folder does not exist yet: the SQLite driver cannot open it.
    const std::string folderOfFile = folder.path() + "/later";
    config.database.connectString = "DRIVER=SQLite3;Database=" + folderOfFile + "/db.sqlite;";
    runAsKernelProcess(kLimit, "VqDb_name_proc", [&] {
        ASSERT_NE(hostns::startNameServer(), 0u);
        subscribeDatabaseName();
        ASSERT_NE(hostdb::startDatabase(config), 0u);
        EXPECT_EQ(nextServerName(kNameAdded, kAbsence), "");
        std::filesystem::create_directories(folderOfFile);
        EXPECT_EQ(nextServerName(kNameAdded), "ose/rtrdb");
    });
}

TEST_F(DatabaseSupervisorTest, a_database_that_stops_answering_is_withdrawn_and_published_again) {
    std::string whyNot;
    PgCluster* cluster = PgCluster::shared(whyNot);
    if (cluster == nullptr)
        GTEST_SKIP() << "no PostgreSQL for this test: " << whyNot;
    hostdb::OdbcSession admin(cluster->connectString());
    ASSERT_TRUE(admin.connect());
    ASSERT_TRUE(admin.execute("drop database if exists supervised"));
    ASSERT_TRUE(admin.execute("create database supervised"));
    config.database.connectString =
        "DRIVER=PostgreSQL Unicode;SERVER=127.0.0.1;PORT=" + std::to_string(cluster->port()) +
        ";DATABASE=supervised;UID=postgres;PWD=;";
    runAsKernelProcess(kLimit, "VqDb_name_proc", [&] {
        ASSERT_NE(hostns::startNameServer(), 0u);
        subscribeDatabaseName();
        ASSERT_NE(hostdb::startDatabase(config), 0u);
        ASSERT_EQ(nextServerName(kNameAdded), "ose/rtrdb");
        // Refuse new connections and cut the supervisor's.
        ASSERT_TRUE(admin.execute("alter database supervised allow_connections false"));
        hostdb::SqlRows rows;
        ASSERT_TRUE(
            admin.query("select pg_terminate_backend(pid) from pg_stat_activity where "
                        "datname = 'supervised'",
                        rows));
        EXPECT_EQ(nextServerName(kNameRemoved), "ose/rtrdb");
        EXPECT_EQ(nextServerName(kNameAdded, kAbsence), "");
        ASSERT_TRUE(admin.execute("alter database supervised allow_connections true"));
        EXPECT_EQ(nextServerName(kNameAdded), "ose/rtrdb");
    });
}

}  // namespace
