// The transaction server's tests on either database: the server started on the
// configuration's database, a session of the test's own on it, and the table t that the
// tests change, with the row "100=before" at the start.
#ifndef HOSTTX_TEST_TRANSACTION_SERVER_FIXTURE_H
#define HOSTTX_TEST_TRANSACTION_SERVER_FIXTURE_H

#include "KernelErrors.h"
#include "OdbcSession.h"
#include "transactionServer.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace txtest {

class TransactionServerFixture : public ::testing::Test {
  protected:
    /// For SetUp, once config names the database.
    void startServerAndTable() {
        ASSERT_NE(server = hosttx::startTransactionServer(config), 0u);
        db = std::make_unique<hostdb::OdbcSession>(hostdb::resolveConnectString(config.database));
        ASSERT_TRUE(db->connect()) << hostdb::diagnosticsText(db->lastError());
        // Tables are made directly, outside transactions, as the load module does.
        ASSERT_TRUE(
            db->execute("create table t (persistent, id integer, v varchar(0), primary "
                        "key(id))"));
        ASSERT_TRUE(db->execute("insert into t (id, v) values (100, 'before')"));
    }

    void TearDown() override {
        ose_shutdown();
        EXPECT_EQ(hostdbtest::KernelErrors::take(), std::vector<std::string>{});
    }

    /// The table t as "id=v" lines in id order.
    std::vector<std::string> rows() {
        hostdb::SqlRows found;
        EXPECT_TRUE(db->query("select id, v from t order by id", found))
            << hostdb::diagnosticsText(db->lastError());
        std::vector<std::string> lines;
        for (const auto& row : found)
            lines.push_back(row.at(0).value_or("NULL") + "=" + row.at(1).value_or("NULL"));
        return lines;
    }

    hostdbtest::KernelErrors kernelErrors;
    hosttx::TransactionServerConfig config;
    PROCESS server = 0;
    std::unique_ptr<hostdb::OdbcSession> db;
};

}  // namespace txtest

#endif  // HOSTTX_TEST_TRANSACTION_SERVER_FIXTURE_H
