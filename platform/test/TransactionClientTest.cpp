// The transaction client against the host's transaction server on SQLite, and against a
// server of the test's own where the real one cannot show a case (split of the text,
// silence, death during the attach).
#include "PlatformNode.h"
#include "OdbcSession.h"
#include "TraceCapture.h"
#include "osa_findserver.h"
#include "tarvo_transaction.h"

#include <atomic>
#include <cstring>
#include <mutex>
#include <vector>

using namespace platformtest;
using hostdbtest::runAsKernelProcess;

namespace {

uint32_t wordAt(union SIGNAL* signal, std::size_t offset) {
    uint32_t word;
    std::memcpy(&word, reinterpret_cast<char*>(signal) + offset, sizeof word);
    return word;
}

// What the test's own server received, and how it behaves.
struct Received {
    SIGSELECT number;
    OSBUFSIZE size;
    std::string text;  // the SQL text of 0x2721/0x2722
};
std::mutex receivedLock;
std::vector<Received> received;
// 0: never answers; n > 0: answers a commit after n ms; -1: ends at the attach request.
std::atomic<int> fakeMode{0};

OS_PROCESS(fakeServer) {
    static const SIGSELECT anySignal[] = {0};
    for (;;) {
        union SIGNAL* signal = receive(anySignal);
        if (signal == nullptr) {
            return;
        }
        Received entry{wordAt(signal, 0), sigsize(&signal), {}};
        if (entry.number == TARVO_TRANS_SQL_LAST || entry.number == TARVO_TRANS_SQL_PART) {
            entry.text = reinterpret_cast<char*>(signal) + kTarvoTransSqlTextOffset;
        }
        {
            std::lock_guard<std::mutex> guard(receivedLock);
            received.push_back(entry);
        }
        const PROCESS from = sender(&signal);
        free_buf(&signal);
        if (entry.number == TARVO_TRANS_ATTACH_REQ && fakeMode == -1) {
            return;
        }
        if (entry.number == TARVO_TRANS_COMMIT_REQ && fakeMode > 0) {
            delay(static_cast<OSTIME>(fakeMode.load()));
            union SIGNAL* answer = alloc(12, TARVO_TRANS_COMMIT_RSP);
            const uint32_t result = 0;
            std::memcpy(reinterpret_cast<char*>(answer) + 8, &result, 4);
            send(&answer, from);
        }
    }
}

PROCESS startFake() {
    const PROCESS pid =
        create_process(OS_PRI_PROC, "TarvoTransaction", fakeServer, 2000, 20, 0, 0, nullptr, 0, 0);
    start(pid);
    return pid;
}

std::vector<Received> takeReceived() {
    std::lock_guard<std::mutex> guard(receivedLock);
    std::vector<Received> taken;
    taken.swap(received);
    return taken;
}

union SIGNAL* awaitSignal(SIGSELECT number, OSTIME ms = 5000) {
    const SIGSELECT select[] = {1, number};
    return receive_w_tmo(ms, select);
}

class TransactionClient : public PlatformNode {
  protected:
    void SetUp() override {
        PlatformNode::SetUp();
        takeReceived();
        fakeMode = 0;
        ASSERT_NE(hostns::startNameServer(), 0u);
    }
    PROCESS startRealServer() {
        return hosttx::startTransactionServer({database, 4096, 64u << 20});
    }
};

TEST_F(TransactionClient, commit_stores_long_quoted_text_and_rollback_stores_nothing) {
    ASSERT_NE(startRealServer(), 0u);
    std::string value(40000, 'v');
    for (std::size_t i = 0; i < value.size(); i += 997) {
        value[i] = '\'';  // doubled below: a quote inside the literal
    }
    std::string quoted;
    for (char c : value) {
        quoted += c;
        if (c == '\'') {
            quoted += '\'';
        }
    }
    runAsKernelProcess(kLimit, "ulsaMain", [&] {
        EXPECT_EQ(TarvoTransaction_serviceAttach_e(), 0u);
        uint32_t id = 0;
        ASSERT_EQ(TarvoTransaction_create_e(1, &id, 1), 0u);
        EXPECT_NE(id, 0u);
        ASSERT_EQ(TarvoTransaction_registerResource_e(id, 77, 1), 0u);
        EXPECT_EQ(TarvoTransaction_prepare_e(id), 0u);
        TarvoTransaction_databaseUpdateSQL(id, "create table notes (id integer, body text)");
        TarvoTransaction_databaseUpdateSQL(
            id, ("insert into notes values (1, '" + quoted + "')").c_str());
        ASSERT_EQ(TarvoTransaction_commit_e(id, 1), 0u);
        union SIGNAL* ind = awaitSignal(TARVO_TRANS_COMMIT_IND);
        ASSERT_NE(ind, nullptr);
        EXPECT_EQ(wordAt(ind, kTarvoTransIndIdOffset), id);
        free_buf(&ind);

        // Rolled back: the text is dropped and the resource told.
        uint32_t second = 0;
        ASSERT_EQ(TarvoTransaction_create_e(1, &second, 1), 0u);
        EXPECT_NE(second, id);
        ASSERT_EQ(TarvoTransaction_registerResource_e(second, 0, 1), 0u);
        TarvoTransaction_databaseUpdateSQL(second, "insert into notes values (2, 'no')");
        ASSERT_EQ(TarvoTransaction_rollBack_e(second, 1), 0u);
        ind = awaitSignal(TARVO_TRANS_ROLLBACK_IND);
        ASSERT_NE(ind, nullptr);
        EXPECT_EQ(wordAt(ind, kTarvoTransIndIdOffset), second);
        free_buf(&ind);
        // The server's own codes come back as they are.
        EXPECT_EQ(TarvoTransaction_commit_e(second, 1), TARVO_TRANI_ID_NOT_FOUND);

        // Asynchronous: the answers arrive as signals; a registration in the name of
        // another process is refused when synchronous.
        EXPECT_EQ(TarvoTransaction_registerResourceWithProc_e(id, 0, 12345, 1), 1u);
        EXPECT_EQ(TarvoTransaction_create_e(1, &second, 0), 0u);
        EXPECT_EQ(second, 0u);
        union SIGNAL* created = awaitSignal(TARVO_TRANS_CREATE_RSP);
        ASSERT_NE(created, nullptr);
        second = wordAt(created, 4);
        EXPECT_EQ(wordAt(created, 8), 0u);
        free_buf(&created);
        EXPECT_EQ(TarvoTransaction_registerResource_e(second, 5, 0), 0u);
        union SIGNAL* registered = awaitSignal(TARVO_TRANS_REGISTER_RSP);
        ASSERT_NE(registered, nullptr);
        EXPECT_EQ(wordAt(registered, kTarvoTransIdOffset), second);
        EXPECT_EQ(wordAt(registered, kTarvoTransRegisterResultOffset), 0u);
        free_buf(&registered);
        TarvoTransaction_databaseUpdateSQL(second, "insert into notes values (3, 'async')");
        EXPECT_EQ(TarvoTransaction_commit_e(second, 0), 0u);
        union SIGNAL* committed = awaitSignal(TARVO_TRANS_COMMIT_RSP);
        ASSERT_NE(committed, nullptr);
        EXPECT_EQ(wordAt(committed, kTarvoTransResultOffset), 0u);
        free_buf(&committed);
        ind = awaitSignal(TARVO_TRANS_COMMIT_IND);
        ASSERT_NE(ind, nullptr);
        free_buf(&ind);
    });
    hostdb::OdbcSession session(hostdb::resolveConnectString(database));
    ASSERT_TRUE(session.connect());
    hostdb::SqlRows rows;
    ASSERT_TRUE(session.query("select id, body from notes order by id", rows));
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0][0], "1");
    EXPECT_EQ(rows[0][1], value);
    EXPECT_EQ(rows[1][1], "async");
}

TEST_F(TransactionClient, server_down_reaches_the_attached_client_and_the_next_server_is_found) {
    TraceCapture capture;
    runAsKernelProcess(kLimit, "ulsaMain", [&] {
        // No server: every call fails with 1.
        uint32_t id = 99;
        EXPECT_EQ(TarvoTransaction_create_e(1, &id, 1), 1u);
        EXPECT_EQ(id, 0u);
        EXPECT_EQ(TarvoTransaction_commit_e(5, 1), 1u);
        EXPECT_EQ(TarvoTransaction_registerResource_e(5, 0, 0), 1u);
        EXPECT_TRUE(capture.contains("Transaction Server not found"));

        const PROCESS first = startRealServer();
        ASSERT_NE(first, 0u);
        EXPECT_EQ(TarvoTransaction_serviceAttach_e(), 0u);
        ASSERT_EQ(TarvoTransaction_create_e(1, &id, 1), 0u);
        kill_proc(first);
        union SIGNAL* down = awaitSignal(TARVO_TRANS_SERVER_DOWN_IND);
        ASSERT_NE(down, nullptr);
        EXPECT_EQ(sender(&down), first);
        free_buf(&down);

        const PROCESS second = startRealServer();
        ASSERT_NE(second, first);
        OsaServerBlock* block = nullptr;
        PROCESS pid = 0;
        ASSERT_TRUE(eventually([&] {
            return Osa_findServer("TarvoTransaction", &block, &pid) == OSA_OK && pid == second;
        }));
        EXPECT_EQ(TarvoTransaction_serviceAttach_e(), 0u);
        // The old transaction went with the old server.
        EXPECT_EQ(TarvoTransaction_commit_e(id, 1), TARVO_TRANI_ID_NOT_FOUND);
    });
}

TEST_F(TransactionClient, text_is_split_in_parts_of_16000_characters) {
    startFake();
    runAsKernelProcess(kLimit, "ulsaMain", [&] {
        const std::string exact(16000, 'a');
        std::string longer(16001, 'b');
        longer.back() = 'z';
        std::string two(32000 + 5, 'c');
        TarvoTransaction_databaseUpdateSQL(7, exact.c_str());
        TarvoTransaction_databaseUpdateSQL(8, longer.c_str());
        TarvoTransaction_databaseUpdateSQL(9, two.c_str());
        TarvoTransaction_databaseUpdateSQL(10, "");
        TarvoTransaction_databaseUpdateSQL(11, nullptr);
        ASSERT_TRUE(eventually([] {
            std::lock_guard<std::mutex> guard(receivedLock);
            return received.size() >= 7;
        }));
        delay(50);
        const std::vector<Received> got = takeReceived();
        ASSERT_EQ(got.size(), 7u);
        EXPECT_EQ(got[0].number, TARVO_TRANS_SQL_LAST);
        EXPECT_EQ(got[0].size, 16012u);
        EXPECT_EQ(got[0].text, exact);
        EXPECT_EQ(got[1].number, TARVO_TRANS_SQL_PART);
        EXPECT_EQ(got[1].size, 16012u);
        EXPECT_EQ(got[1].text, longer.substr(0, 16000));
        EXPECT_EQ(got[2].number, TARVO_TRANS_SQL_LAST);
        EXPECT_EQ(got[2].size, 13u);
        EXPECT_EQ(got[2].text, "z");
        EXPECT_EQ(got[3].number, TARVO_TRANS_SQL_PART);
        EXPECT_EQ(got[4].number, TARVO_TRANS_SQL_PART);
        EXPECT_EQ(got[5].number, TARVO_TRANS_SQL_LAST);
        EXPECT_EQ(got[3].text + got[4].text + got[5].text, two);
        EXPECT_EQ(got[6].number, TARVO_TRANS_SQL_LAST);
        EXPECT_EQ(got[6].text, "");
    });
}

TEST_F(TransactionClient, synchronous_wait_goes_on_with_the_same_server_and_ends_with_a_new_one) {
    tarvotx::setAnswerWait(100);
    fakeMode = 350;  // answers after three and a half waits
    const PROCESS fake = startFake();
    runAsKernelProcess(kLimit, "ulsaMain", [&] {
        EXPECT_EQ(TarvoTransaction_commit_e(3, 1), 0u);

        // Silent, then replaced by another server: the wait ends with 1.
        fakeMode = 0;
        std::thread replace([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            kill_proc(fake);
        });
        EXPECT_EQ(TarvoTransaction_rollBack_e(3, 1), 0u + 1u);
        replace.join();
        std::vector<Received> got = takeReceived();
        ASSERT_EQ(got.size(), 2u);
        EXPECT_EQ(got[0].number, TARVO_TRANS_COMMIT_REQ);
        EXPECT_EQ(got[1].number, TARVO_TRANS_ROLLBACK_REQ);

        // A server that ends at the attach request: 0x271B, a pause, a new attempt, and
        // the real server confirms.
        fakeMode = -1;
        startFake();
        std::thread later([&] {
            ASSERT_TRUE(eventually([] {
                std::lock_guard<std::mutex> guard(receivedLock);
                return !received.empty();
            }));
            PROCESS gone = 0;
            ASSERT_TRUE(eventually([&] { return !hunt("TarvoTransaction", 0, &gone, nullptr); }));
            startRealServer();
        });
        EXPECT_EQ(TarvoTransaction_serviceAttach_e(), 0u);
        later.join();
        got = takeReceived();
        ASSERT_GE(got.size(), 1u);
        EXPECT_EQ(got[0].number, TARVO_TRANS_ATTACH_REQ);
        uint32_t id = 0;
        EXPECT_EQ(TarvoTransaction_create_e(1, &id, 1), 0u);
    });
}

}  // namespace
