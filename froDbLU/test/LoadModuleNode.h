// LoadModuleNode: the node around FroDatabase in the tests: the platform's services of
// the host (name server, database agent, database supervisor, transaction server) on
// one database, and the load module's side as the node starts it: the process that
// follows the database's name, and a main process bound to the agent's call table.
#ifndef LOAD_MODULE_NODE_H
#define LOAD_MODULE_NODE_H

#include "FroDatabase.h"
#include "KernelErrors.h"
#include "OdbcSession.h"
#include "SignalDistributorAPI.h"
#include "TimeLimit.h"
#include "TraceCapture.h"
#include "hostServices.h"
#include "ose.h"
#include "oseHost.h"
#include "proxyProcesses.h"
#include "tarvo_dbagent.h"
#include "tarvo_transaction.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <string>

namespace frodbtest {

constexpr auto kBodyLimit = std::chrono::seconds(60);

class LoadModuleNode {
  public:
    /// Starts the services on the database of the configuration.
    explicit LoadModuleNode(const hostdb::DatabaseConfig& config) : m_config(config) {
        traceConfigure("FroDbLU=0-16");
        EXPECT_NE(hostns::startNameServer(), 0u);
        EXPECT_NE(hostdb::startDatabaseAgent(m_config), 0u);
        EXPECT_NE(hostdb::startDatabase({m_config, 0, 100}), 0u);
        EXPECT_NE(hosttx::startTransactionServer({m_config, 4096, 64u << 20}), 0u);
        startNameProcess();
    }

    ~LoadModuleNode() {
        ose_shutdown();
        traceConfigure("");
    }

    LoadModuleNode(const LoadModuleNode&) = delete;
    LoadModuleNode& operator=(const LoadModuleNode&) = delete;

    /// The load module's side of a restart: its name process ends and starts anew.
    void restartNameProcess() {
        kill_proc(m_nameProcess);
        startNameProcess();
    }

    /// Runs the body as the load module's main process, bound to the call table, under
    /// a time limit; the FroDatabase and the distributor made there end with it.
    void runMain(const std::function<void()>& body) {
        hostdbtest::runAsKernelProcess(kBodyLimit, "ulSpectrumAnalyzer_main_thread", [&] {
            ASSERT_TRUE(TarvoDbAgent_bind(5000));
            body();
            FroDatabase::deleteInstance();
            destroySignalDistributorAPI();
        });
    }

    /// The rows of a query on a session of the test's own.
    hostdb::SqlRows query(const std::string& sql) const {
        hostdb::OdbcSession own(hostdb::resolveConnectString(m_config));
        hostdb::SqlRows rows;
        EXPECT_TRUE(own.connect()) << hostdb::diagnosticsText(own.lastError());
        EXPECT_TRUE(own.query(sql, rows))
            << sql << ": " << hostdb::diagnosticsText(own.lastError());
        return rows;
    }

    /// Whether the table is listed in the system table.
    bool tableListed(const std::string& name) const {
        return !query("select name from tables where name = '" + name + "'").empty();
    }

  private:
    void startNameProcess() {
        m_nameProcess = create_process(OS_PRI_PROC, "VqDb_name_proc", VqDb_name_proc, 768, 14, 0, 0,
                                       nullptr, 0, 0);
        start(m_nameProcess);
    }

    hostdb::DatabaseConfig m_config;
    PROCESS m_nameProcess = 0;
};

/// A transaction as the load module's transaction handling runs it: created, the main
/// process registered as its resource, and at its end the indication handed to the
/// database between open and close.
class Transaction {
  public:
    Transaction() {
        EXPECT_EQ(TarvoTransaction_create_e(1, &m_id, 1), TARVO_TRANI_OK);
        EXPECT_EQ(TarvoTransaction_registerResource_e(m_id, 0, 1), TARVO_TRANI_OK);
    }
    uint32_t id() const { return m_id; }

    /// Commits (or rolls back) and hands the indication that comes back to the database;
    /// false when the server answered otherwise than expected.
    bool end(FroDatabase& database, bool commit) {
        const uint32_t answer =
            commit ? TarvoTransaction_commit_e(m_id, 1) : TarvoTransaction_rollBack_e(m_id, 1);
        const SIGSELECT wanted[] = {2, TARVO_TRANS_COMMIT_IND, TARVO_TRANS_ROLLBACK_IND};
        union SIGNAL* indication = receive_w_tmo(5000, wanted);
        if (indication == nullptr) {
            return false;
        }
        SIGSELECT number = 0;
        std::memcpy(&number, indication, sizeof(number));
        database.open();
        if (number == TARVO_TRANS_COMMIT_IND) {
            database.handleCommitInd(indication);
        } else {
            database.handleRollbackInd(indication);
        }
        database.close();
        free_buf(&indication);
        return answer == TARVO_TRANI_OK &&
               number == (commit ? TARVO_TRANS_COMMIT_IND : TARVO_TRANS_ROLLBACK_IND);
    }

  private:
    uint32_t m_id = 0;
};

}  // namespace frodbtest

#endif  // LOAD_MODULE_NODE_H
