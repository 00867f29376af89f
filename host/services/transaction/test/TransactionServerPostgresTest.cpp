// The transaction server against PostgreSQL: a throwaway server that this test
// program starts on a free loopback port.
#include "PgCluster.h"
#include "TimeLimit.h"
#include "TransactionClient.h"
#include "TransactionServerFixture.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>

using namespace txtest;
using namespace hosttx;
using hostdbtest::runAsKernelProcess;

namespace {

constexpr auto kLimit = std::chrono::seconds(40);

class TransactionServerOnPostgres : public TransactionServerFixture {
  protected:
    void SetUp() override {
        config.database.connectString = hostdbtest::freshTestDatabase("tx_");
        if (config.database.connectString.empty())
            return;
        startServerAndTable();
    }
};

TEST_F(TransactionServerOnPostgres, commits_whole_or_not_at_all_and_survives_a_lost_connection) {
    runAsKernelProcess(kLimit, "ulsaMain", [&] {
        const PROCESS me = current_process();
        uint32_t id = create(server);
        registerResource(server, id, 1, me);
        EXPECT_EQ(answerWord(TARVO_TRANS_REGISTER_RSP, 12), TARVO_TRANI_OK);
        sendSql(server, id, "insert into t (id, v) values (1, 'one')");
        sendSql(server, id, "update t set v = v || '+' where id = 1");
        EXPECT_EQ(commit(server, id), TARVO_TRANI_OK);
        EXPECT_EQ(nextIndication(), (Indication{TARVO_TRANS_COMMIT_IND, server, 1, id}));
        EXPECT_EQ(rows(), (std::vector<std::string>{"1=one+", "100=before"}));

        // A failure in the middle: PostgreSQL aborts the transaction, nothing stays.
        id = create(server);
        registerResource(server, id, 2, me);
        EXPECT_EQ(answerWord(TARVO_TRANS_REGISTER_RSP, 12), TARVO_TRANI_OK);
        sendSql(server, id, "insert into t (id, v) values (2, 'two')");
        sendSql(server, id, "insert into t (id, v) values (1, 'duplicate')");
        sendSql(server, id, "insert into t (id, v) values (3, 'three')");
        EXPECT_EQ(commit(server, id), TARVO_TRANI_FAILURE);
        EXPECT_EQ(nextIndication(), (Indication{TARVO_TRANS_ROLLBACK_IND, server, 2, id}));
        EXPECT_EQ(rows(), (std::vector<std::string>{"1=one+", "100=before"}));

        // The server's own connection is cut between two transactions: the next
        // commit connects anew and stores its text once.
        hostdb::SqlRows ended;
        ASSERT_TRUE(
            db->query("select pg_terminate_backend(pid) from pg_stat_activity where "
                      "datname = current_database() and pid <> pg_backend_pid()",
                      ended));
        EXPECT_EQ(ended.size(), 1u) << "the server's connection";
        id = create(server);
        sendSql(server, id, "insert into t (id, v) values (4, 'after the cut')");
        EXPECT_EQ(commit(server, id), TARVO_TRANI_OK);
        EXPECT_EQ(rows(), (std::vector<std::string>{"1=one+", "4=after the cut", "100=before"}));
    });
}

}  // namespace
