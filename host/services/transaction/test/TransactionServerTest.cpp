// The transaction server against the default database, an SQLite file.
#include "TempFolder.h"
#include "TimeLimit.h"
#include "TraceCapture.h"
#include "TransactionClient.h"
#include "TransactionServerFixture.h"

#include <gtest/gtest.h>

#include <memory>

using namespace txtest;
using namespace hosttx;
using hostdbtest::runAsKernelProcess;

namespace {

constexpr auto kLimit = std::chrono::seconds(40);

class TransactionServerOnSqlite : public TransactionServerFixture {
  protected:
    void SetUp() override {
        config.database.stateDir = folder.path() + "/state";
        configure(config);
        startServerAndTable();
    }
    // The session ends before its database file goes with the folder.
    ~TransactionServerOnSqlite() override { db.reset(); }

    virtual void configure(TransactionServerConfig&) {}

    hostdbtest::TempFolder folder;
};

TEST_F(TransactionServerOnSqlite, commit_applies_the_text_in_order_and_then_tells_every_resource) {
    runAsKernelProcess(kLimit, "ulsaMain", [&] {
        const PROCESS me = current_process();
        const PROCESS other = startForwarder("otherResource");
        const uint32_t id = create(server);
        ASSERT_NE(id, 0u);
        registerResource(server, id, 11, me);
        registerResource(server, id, 22, other);
        registerResource(server, id, 33, me);  // twice: still one resource
        for (int i = 0; i < 3; ++i) {
            union SIGNAL* answer = await(TARVO_TRANS_REGISTER_RSP);
            ASSERT_NE(answer, nullptr);
            EXPECT_EQ(wordAt(answer, 4), id);
            EXPECT_EQ(wordAt(answer, 12), TARVO_TRANI_OK);
            free_buf(&answer);
        }
        // The update only works after the insert before it: the order is kept.
        sendSql(server, id, "insert into t (id, v) values (1, 'first')");
        sendSql(server, id, "update t set v = v || ' then updated' where id = 1");
        sendSql(server, id, "insert into t (id, v) values (2, 'It''s <x a=\"1\">&amp;</x>')");
        EXPECT_EQ(prepare(server, id), TARVO_TRANI_OK);
        EXPECT_EQ(rows(), (std::vector<std::string>{"100=before"})) << "nothing before the commit";

        EXPECT_EQ(commit(server, id), TARVO_TRANI_OK);
        EXPECT_EQ(rows(), (std::vector<std::string>{"1=first then updated",
                                                    "2=It's <x a=\"1\">&amp;</x>", "100=before"}));
        // Each resource gets its own, with its own parameter; the forwarded one comes
        // from the forwarder.
        std::vector<Indication> told{nextIndication(), nextIndication()};
        if (told[0].from != server)
            std::swap(told[0], told[1]);
        EXPECT_EQ(told[0], (Indication{TARVO_TRANS_COMMIT_IND, server, 11, id}));
        EXPECT_EQ(told[1], (Indication{TARVO_TRANS_COMMIT_IND, other, 22, id}));
        EXPECT_EQ(nextIndication(kAbsence).number, 0u) << "one indication per resource";

        // The transaction has ended: it cannot be committed, rolled back or registered in.
        EXPECT_EQ(commit(server, id), TARVO_TRANI_ID_NOT_FOUND);
        EXPECT_EQ(rollback(server, id), TARVO_TRANI_ID_NOT_FOUND);
        EXPECT_EQ(prepare(server, id), TARVO_TRANI_ID_NOT_FOUND);
        registerResource(server, id, 11, me);
        EXPECT_EQ(answerWord(TARVO_TRANS_REGISTER_RSP, 12), TARVO_TRANI_ID_NOT_FOUND);

        // A transaction without text commits and tells its resources all the same.
        const uint32_t empty = create(server);
        EXPECT_NE(empty, id);
        registerResource(server, empty, 5, me);
        EXPECT_EQ(answerWord(TARVO_TRANS_REGISTER_RSP, 12), TARVO_TRANI_OK);
        EXPECT_EQ(commit(server, empty), TARVO_TRANI_OK);
        EXPECT_EQ(nextIndication(), (Indication{TARVO_TRANS_COMMIT_IND, server, 5, empty}));
    });
}

TEST_F(TransactionServerOnSqlite, a_failing_statement_leaves_the_database_as_it_was) {
    runAsKernelProcess(kLimit, "ulsaMain", [&] {
        const PROCESS me = current_process();
        const std::vector<std::string> before = rows();
        const char* failing[] = {"insert into no_such_table (id) values (1)",
                                 "insert into t (id, v) values (100, 'duplicate key')",
                                 "this is no SQL at all"};
        for (const char* bad : failing) {
            const uint32_t id = create(server);
            registerResource(server, id, 7, me);
            EXPECT_EQ(answerWord(TARVO_TRANS_REGISTER_RSP, 12), TARVO_TRANI_OK);
            sendSql(server, id, "insert into t (id, v) values (5, 'five')");
            sendSql(server, id, "update t set v = 'changed' where id = 100");
            sendSql(server, id, bad);
            sendSql(server, id, "insert into t (id, v) values (6, 'six')");
            EXPECT_EQ(commit(server, id), TARVO_TRANI_FAILURE) << bad;
            EXPECT_EQ(rows(), before) << bad;
            EXPECT_EQ(nextIndication(), (Indication{TARVO_TRANS_ROLLBACK_IND, server, 7, id}))
                << bad;
        }
        // The server's connection is usable again, in autocommit as before.
        const uint32_t id = create(server);
        sendSql(server, id, "insert into t (id, v) values (5, 'five')");
        EXPECT_EQ(commit(server, id), TARVO_TRANI_OK);
        EXPECT_EQ(rows(), (std::vector<std::string>{"5=five", "100=before"}));
    });
}

TEST_F(TransactionServerOnSqlite, text_longer_than_a_signal_is_joined_from_its_parts_in_order) {
    runAsKernelProcess(kLimit, "ulsaMain", [&] {
        const PROCESS other = startForwarder("otherWriter");
        // Values whose statements are 40,000 characters, exactly 16000 and 16001.
        std::string pattern;
        for (int i = 0; pattern.size() < 40000; ++i)
            pattern += std::to_string(i) + ",";
        pattern.resize(40000);
        const std::string prefix = "insert into t (id, v) values (1, '";
        const std::string statement = prefix + pattern + "')";
        const std::string exact =
            "insert into t (id, v) values (2, '" + std::string(16000 - 36, 'e') + "')";
        ASSERT_EQ(exact.size(), 16000u);
        const std::string oneMore =
            "insert into t (id, v) values (3, '" + std::string(16001 - 36, 'm') + "')";
        const uint32_t id = create(server);
        sendSql(server, id, statement);
        sendSql(server, id, exact);
        sendSql(server, id, oneMore);
        // Parts of another sender's statement in between stay apart from these.
        const std::string fromOther =
            "insert into t (id, v) values (4, '" + std::string(20000, 'o') + "')";
        union SIGNAL* firstPart = alloc(kSqlPartSize, TARVO_TRANS_SQL_PART);
        std::memcpy(reinterpret_cast<unsigned char*>(firstPart) + 4, &id, 4);
        std::memcpy(reinterpret_cast<unsigned char*>(firstPart) + 8, fromOther.data(),
                    kSqlPartLength);
        std::memset(reinterpret_cast<unsigned char*>(firstPart) + 8 + kSqlPartLength, 0, 4);
        send_w_s(&firstPart, other, server);
        sendSql(server, id, "update t set v = v || '!' where id = 2");
        const std::string rest = fromOther.substr(kSqlPartLength);
        union SIGNAL* lastPart =
            alloc(static_cast<OSBUFSIZE>(12 + rest.size()), TARVO_TRANS_SQL_LAST);
        std::memcpy(reinterpret_cast<unsigned char*>(lastPart) + 4, &id, 4);
        std::memcpy(reinterpret_cast<unsigned char*>(lastPart) + 8, rest.c_str(), rest.size() + 1);
        send_w_s(&lastPart, other, server);

        EXPECT_EQ(commit(server, id), TARVO_TRANI_OK);
        hostdb::SqlRows found;
        ASSERT_TRUE(db->query("select id, v from t where id < 100 order by id", found));
        ASSERT_EQ(found.size(), 4u);
        EXPECT_EQ(found[0][1], pattern);
        EXPECT_EQ(found[1][1], std::string(16000 - 36, 'e') + "!");
        EXPECT_EQ(found[2][1], std::string(16001 - 36, 'm'));
        EXPECT_EQ(found[3][1], std::string(20000, 'o'));
    });
}

TEST_F(TransactionServerOnSqlite, rollback_drops_the_text_and_tells_the_resources) {
    runAsKernelProcess(kLimit, "ulsaMain", [&] {
        const PROCESS me = current_process();
        const uint32_t id = create(server);
        registerResource(server, id, 9, me);
        EXPECT_EQ(answerWord(TARVO_TRANS_REGISTER_RSP, 12), TARVO_TRANI_OK);
        sendSql(server, id, "insert into t (id, v) values (1, 'never')");
        EXPECT_EQ(rollback(server, id), TARVO_TRANI_OK);
        EXPECT_EQ(nextIndication(), (Indication{TARVO_TRANS_ROLLBACK_IND, server, 9, id}));
        EXPECT_EQ(commit(server, id), TARVO_TRANI_ID_NOT_FOUND);
        EXPECT_EQ(rows(), (std::vector<std::string>{"100=before"}));
        // Text for a transaction that has ended is dropped, not kept for a later one.
        sendSql(server, id, "insert into t (id, v) values (2, 'late')");
        const uint32_t next = create(server);
        EXPECT_EQ(commit(server, next), TARVO_TRANI_OK);
        EXPECT_EQ(rows(), (std::vector<std::string>{"100=before"}));
    });
}

TEST_F(TransactionServerOnSqlite, malformed_signals_are_traced_and_dropped_and_the_server_goes_on) {
    TraceCapture capture;
    runAsKernelProcess(kLimit, "ulsaMain", [&] {
        const PROCESS me = current_process();
        union SIGNAL* shortCreate = alloc(4, TARVO_TRANS_CREATE_REQ);
        send(&shortCreate, server);
        union SIGNAL* shortRegister = words(TARVO_TRANS_REGISTER_REQ, {1});
        send(&shortRegister, server);
        union SIGNAL* shortCommit = alloc(6, TARVO_TRANS_COMMIT_REQ);
        send(&shortCommit, server);
        union SIGNAL* stranger = words(0x2720, {1, 2, 3});
        send(&stranger, server);
        // A registration in the name of a process that does not exist gets no answer.
        const uint32_t id = create(server);
        union SIGNAL* ghost = words(TARVO_TRANS_REGISTER_REQ, {id, 1});
        send_w_s(&ghost, 0x7FFFFF, server);
        EXPECT_FALSE(comes(TARVO_TRANS_CREATE_RSP));
        EXPECT_FALSE(comes(TARVO_TRANS_REGISTER_RSP));
        EXPECT_FALSE(comes(TARVO_TRANS_COMMIT_RSP));

        // A part of SQL text without its end damages the transaction: the commit fails
        // and stores nothing of it.
        registerResource(server, id, 3, me);
        EXPECT_EQ(answerWord(TARVO_TRANS_REGISTER_RSP, 12), TARVO_TRANI_OK);
        sendSql(server, id, "insert into t (id, v) values (1, 'whole')");
        union SIGNAL* torn = alloc(40, TARVO_TRANS_SQL_LAST);
        std::memcpy(reinterpret_cast<unsigned char*>(torn) + 4, &id, 4);
        std::memset(reinterpret_cast<unsigned char*>(torn) + 8, 'x', 32);
        send(&torn, server);
        EXPECT_EQ(prepare(server, id), TARVO_TRANI_FAILURE);
        EXPECT_EQ(commit(server, id), TARVO_TRANI_FAILURE);
        EXPECT_EQ(nextIndication(), (Indication{TARVO_TRANS_ROLLBACK_IND, server, 3, id}));
        // So does a statement whose last part never came.
        const uint32_t unfinished = create(server);
        sendSql(server, unfinished, "insert into t (id, v) values (2, 'x')");
        union SIGNAL* lonePart = alloc(kSqlPartSize, TARVO_TRANS_SQL_PART);
        std::memcpy(reinterpret_cast<unsigned char*>(lonePart) + 4, &unfinished, 4);
        std::memset(reinterpret_cast<unsigned char*>(lonePart) + 8, ' ', kSqlPartSize - 8);
        std::memset(reinterpret_cast<unsigned char*>(lonePart) + 8 + kSqlPartLength, 0, 4);
        send(&lonePart, server);
        EXPECT_EQ(commit(server, unfinished), TARVO_TRANI_FAILURE);
        EXPECT_EQ(rows(), (std::vector<std::string>{"100=before"}));

        // And the server still serves: an attach is confirmed.
        union SIGNAL* attachRequest = alloc(4, TARVO_TRANS_ATTACH_REQ);
        send(&attachRequest, server);
        union SIGNAL* confirm = await(TARVO_TRANS_ATTACH_CFM);
        ASSERT_NE(confirm, nullptr);
        EXPECT_EQ(sender(&confirm), server);
        free_buf(&confirm);
    });
    EXPECT_TRUE(capture.contains("malformed signal 0x2711 of 4 bytes"));
    EXPECT_TRUE(capture.contains("malformed signal 0x2713 of 8 bytes"));
    EXPECT_TRUE(capture.contains("malformed signal 0x2717 of 6 bytes"));
    EXPECT_TRUE(capture.contains("unexpected signal 0x2720"));
    EXPECT_TRUE(capture.contains("unknown process 0x7fffff"));
    EXPECT_TRUE(capture.contains("malformed signal 0x2721 of 40 bytes"));
    EXPECT_TRUE(capture.contains("lacks its last part"));
}

TEST_F(TransactionServerOnSqlite, an_attached_client_learns_that_the_server_went_down) {
    runAsKernelProcess(kLimit, "ulsaMain", [&] {
        union SIGNAL* down = alloc(4, TARVO_TRANS_SERVER_DOWN_IND);
        attach(&down, server);
        union SIGNAL* attachRequest = alloc(4, TARVO_TRANS_ATTACH_REQ);
        send(&attachRequest, server);
        union SIGNAL* confirm = await(TARVO_TRANS_ATTACH_CFM);
        free_buf(&confirm);
        const uint32_t id = create(server);
        sendSql(server, id, "insert into t (id, v) values (1, 'lost with the server')");
        kill_proc(server);
        union SIGNAL* told = await(TARVO_TRANS_SERVER_DOWN_IND);
        ASSERT_NE(told, nullptr);
        EXPECT_EQ(sender(&told), server);
        free_buf(&told);
        // A new server starts empty; the old text was never stored.
        const PROCESS again = startTransactionServer(config);
        ASSERT_NE(again, 0u);
        EXPECT_NE(again, server);
        EXPECT_EQ(commit(again, id), TARVO_TRANI_ID_NOT_FOUND);
        EXPECT_EQ(rows(), (std::vector<std::string>{"100=before"}));
    });
}

class TransactionServerWithLimits : public TransactionServerOnSqlite {
  protected:
    void configure(TransactionServerConfig& limited) override {
        limited.maxOpenTransactions = 2;
        limited.maxTextBytes = 100;
    }
};

TEST_F(TransactionServerWithLimits, limits_refuse_new_transactions_and_fail_oversized_text) {
    runAsKernelProcess(kLimit, "ulsaMain", [&] {
        const uint32_t first = create(server);
        const uint32_t second = create(server);
        uint32_t result = 0;
        EXPECT_EQ(create(server, &result), 0u);
        EXPECT_EQ(result, TARVO_TRANI_UNAVAILABLE);
        EXPECT_EQ(rollback(server, second), TARVO_TRANI_OK);
        EXPECT_NE(create(server), 0u) << "a place is free again";

        sendSql(server, first, "insert into t (id, v) values (1, '" + std::string(80, 'a') + "')");
        EXPECT_EQ(commit(server, first), TARVO_TRANI_FAILURE);
        EXPECT_EQ(rows(), (std::vector<std::string>{"100=before"}));
    });
}

}  // namespace
