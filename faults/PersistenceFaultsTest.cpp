// Persistence under faults: the real ulsa-node on SQLite or on a throwaway PostgreSQL
// server, driven by ulsa-fault-client (host/mgmt's ManagementClient as a program) and
// ulsactl, while its database session, its transaction server or the node itself is
// killed. What a confirmed commit stored stays, nothing of a transaction is stored by
// halves, and the node goes on; it never comes up with a part of its objects.
#include "OdbcSession.h"
#include "PgCluster.h"
#include "ProgramRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <set>
#include <sstream>

namespace {

using programrun::pollUntil;
using programrun::Program;
using programrun::Ran;
using programrun::TempFolder;
using Numbers = std::set<unsigned>;

constexpr const char* kAnalyzerLdn = "ManagedElement=1,UlSpectrumAnalyzer=";

// ulsa-node on a state folder and a database that outlive it, so that it can be killed
// and started again on the same state.
class NodeOnState {
  public:
    NodeOnState(const std::string& state, std::string db, std::string trace = "")
        : m_state(state), m_db(std::move(db)), m_trace(std::move(trace)) {}

    /// Starts the node; whether it listens for links within the limit.
    bool start() {
        std::filesystem::remove(m_state + "/link");
        std::vector<std::string> argv = {ULSA_NODE_PATH, "--state", m_state};
        if (!m_db.empty())
            argv.insert(argv.end(), {"--db", m_db});
        ++m_starts;
        m_program = Program(argv, m_state + "/node-" + std::to_string(m_starts),
                            {{"ULSA_TRACE", m_trace}, {"ULSA_TRACE_FILE", traceFile()}});
        return pollUntil(
                   [this] {
                       return std::filesystem::exists(m_state + "/link") || !m_program.running();
                   },
                   std::chrono::seconds(60)) &&
               m_program.running();
    }
    Program& program() { return m_program; }
    std::string traceFile() const {
        return m_state + "/trace-" + std::to_string(m_starts) + ".log";
    }
    const std::string& state() const { return m_state; }

    /// ulsa-fault-client with these arguments at this node, to its end.
    Ran client(std::vector<std::string> args,
               std::chrono::seconds limit = std::chrono::seconds(120)) const {
        args.insert(args.begin(), FAULT_CLIENT_PATH);
        args.insert(args.end(), {"--state", m_state});
        return programrun::run(args, m_state, limit);
    }
    /// ulsa-fault-client beside the test.
    Program clientBeside(std::vector<std::string> args, const std::string& logs) const {
        args.insert(args.begin(), FAULT_CLIENT_PATH);
        args.insert(args.end(), {"--state", m_state});
        return Program(args, m_state + "/" + logs);
    }
    /// The analyzers first .. first+count-1 that the node has, by their numbers.
    Numbers present(unsigned first, unsigned count) const {
        const Ran ran =
            client({"present", "--first", std::to_string(first), "--count", std::to_string(count)});
        EXPECT_EQ(ran.code, 0) << ran.err;
        return numbersIn(ran.out, "");
    }

    /// The numbers behind `word` + " " on lines of a text; all numbers when word is empty.
    static Numbers numbersIn(const std::string& text, const std::string& word) {
        Numbers numbers;
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            if (!word.empty() && line.rfind(word + " ", 0) != 0)
                continue;
            numbers.insert(static_cast<unsigned>(
                std::stoul(word.empty() ? line : line.substr(word.size() + 1))));
        }
        return numbers;
    }

  private:
    std::string m_state;
    std::string m_db;
    std::string m_trace;
    int m_starts = 0;
    Program m_program;
};

// The analyzer numbers of the rows in the node's database, once it takes connections
// (a server recovers for a moment after one of its processes was killed).
Numbers storedAnalyzers(const std::string& connect) {
    hostdb::OdbcSession session(connect);
    hostdb::SqlRows tables;
    hostdb::SqlRows rows;
    Numbers numbers;
    EXPECT_TRUE(pollUntil([&] { return session.connect(); }))
        << hostdb::diagnosticsText(session.lastError());
    EXPECT_TRUE(session.query("select name from tables where name like '%frodata%'", tables));
    for (const auto& table : tables) {
        hostdb::SqlRows some;
        EXPECT_TRUE(table[0] && session.query("select ldn from " + *table[0], some));
        rows.insert(rows.end(), some.begin(), some.end());
    }
    for (const auto& row : rows) {
        if (row[0] && row[0]->rfind(kAnalyzerLdn, 0) == 0)
            numbers.insert(
                static_cast<unsigned>(std::stoul(row[0]->substr(std::strlen(kAnalyzerLdn)))));
    }
    return numbers;
}

std::string database(hostdbtest::PgCluster& pg, const std::string& name) {
    std::string problem;
    const std::string connect = pg.databaseConnectString(name, problem);
    EXPECT_FALSE(connect.empty()) << problem;
    return connect;
}

// Ends the sessions of the programs under test: by pg_terminate_backend, or, every
// `hardEvery`-th time, by SIGKILL of one session's server process, after which the
// server ends all sessions and recovers.
void killSessions(hostdbtest::PgCluster& pg, int round, int hardEvery) {
    std::string problem;
    std::vector<int> pids;
    if (hardEvery > 0 && round % hardEvery == hardEvery - 1 && pg.clientBackends(pids, problem) &&
        !pids.empty()) {
        ::kill(pids.front(), SIGKILL);
        return;
    }
    EXPECT_TRUE(pg.terminateClients(problem) || problem.find("08") != std::string::npos) << problem;
}

std::size_t lineCount(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

unsigned occurrences(const std::string& text, const std::string& word) {
    unsigned found = 0;
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1))
        ++found;
    return found;
}

Numbers transactionsOf(const Numbers& numbers, unsigned creates) {
    Numbers transactions;
    for (unsigned n : numbers)
        transactions.insert((n - 1) / creates);
    return transactions;
}

Numbers analyzersOf(const Numbers& transactions, unsigned creates) {
    Numbers numbers;
    for (unsigned t : transactions)
        for (unsigned k = 1; k <= creates; ++k)
            numbers.insert(t * creates + k);
    return numbers;
}

// A stream of transactions of several creates each, committed while the database
// sessions are killed again and again: every confirmed commit is stored, no transaction
// by halves, the node's objects are the stored ones (live and after a restart), and new
// transactions work.
TEST(PersistenceFaults, database_sessions_killed_during_commits_keep_every_confirmed_commit_whole) {
    std::string whyNot;
    hostdbtest::PgCluster* pg = hostdbtest::PgCluster::shared(whyNot);
    if (pg == nullptr)
        GTEST_SKIP() << whyNot;
    const std::string connect = database(*pg, "faults_commit");
    TempFolder state;
    NodeOnState node(state.path(), connect);
    ASSERT_TRUE(node.start()) << node.program().err();

    constexpr unsigned kTransactions = 24;
    constexpr unsigned kCreates = 4;
    Program stream =
        node.clientBeside({"stream", "--first", "1", "--transactions",
                           std::to_string(kTransactions), "--creates", std::to_string(kCreates)},
                          "stream");
    // A kill after each answered transaction, at a different point of the next one.
    int round = 0;
    for (std::size_t answered = 0; stream.running(); ++round) {
        ASSERT_TRUE(
            pollUntil([&] { return !stream.running() || lineCount(stream.out()) > answered; },
                      std::chrono::seconds(90)))
            << stream.out();
        answered = lineCount(stream.out());
        std::this_thread::sleep_for(std::chrono::milliseconds(round % 5 * 7));
        killSessions(*pg, round, 4);
    }
    const std::string out = stream.out();
    const Numbers committed = NodeOnState::numbersIn(out, "committed");
    EXPECT_GE(committed.size(), kTransactions / 2) << out;
    EXPECT_GE(round, 6);

    const Numbers stored = storedAnalyzers(connect);
    EXPECT_EQ(analyzersOf(transactionsOf(stored, kCreates), kCreates), stored)
        << "a transaction stored by halves";
    for (unsigned t : committed)
        EXPECT_EQ(stored.count(t * kCreates + 1), 1u)
            << "confirmed transaction " << t << " is not stored\n"
            << out;
    EXPECT_EQ(node.present(1, kTransactions * kCreates), stored) << out;

    // New transactions work, and a restarted node has what is stored.
    const Ran more = node.client({"stream", "--first", "1001", "--creates", "2"});
    EXPECT_EQ(more.out, "committed 0\n") << more.err;
    node.program().stop();
    ASSERT_TRUE(node.start()) << node.program().err();
    Numbers expected = stored;
    expected.insert({1001, 1002});
    EXPECT_EQ(storedAnalyzers(connect), expected);
    Numbers restored = node.present(1, kTransactions * kCreates);
    const Numbers added = node.present(1001, 2);
    restored.insert(added.begin(), added.end());
    EXPECT_EQ(restored, expected);
}

// A node restarted on a database of many stored analyzers while its database sessions
// are killed again and again in its restore: it comes up with every one of them, or it
// ends with an error and the next start brings back every one; never with a part.
TEST(PersistenceFaults, database_sessions_killed_during_the_restore_bring_back_every_object) {
    std::string whyNot;
    hostdbtest::PgCluster* pg = hostdbtest::PgCluster::shared(whyNot);
    if (pg == nullptr)
        GTEST_SKIP() << whyNot;
    const std::string connect = database(*pg, "faults_restore");
    TempFolder state;
    constexpr unsigned kStored = 1500;
    {
        NodeOnState filler(state.path(), connect);
        ASSERT_TRUE(filler.start()) << filler.program().err();
        const Ran filled =
            filler.client({"stream", "--first", "1", "--transactions", "10", "--creates", "150"});
        ASSERT_EQ(lineCount(filled.out), 10u) << filled.err;
        ASSERT_EQ(occurrences(filled.out, "committed"), 10u) << filled.out;
    }
    Numbers all;
    for (unsigned n = 1; n <= kStored; ++n)
        all.insert(n);

    NodeOnState node(state.path(), connect, "Ft_RESTART=8");
    const std::string restored = "All stored fROs restored";
    ASSERT_TRUE(node.start()) << node.program().err();
    int round = 0;
    for (; round < 12 && node.program().running() &&
           programrun::slurp(node.traceFile()).find(restored) == std::string::npos;
         ++round) {
        killSessions(*pg, round, 3);
        // The next kill once the restore has gone on a little.
        const std::size_t seen = programrun::slurp(node.traceFile()).size();
        pollUntil(
            [&] {
                return programrun::slurp(node.traceFile()).size() > seen + 200 ||
                       !node.program().running();
            },
            std::chrono::seconds(5));
    }
    // Each round kills only while the restore has not ended; how many rounds it takes
    // depends on how fast the restore is.
    EXPECT_GE(round, 1) << "the restore ended before it could be disturbed";
    if (!node.program().running()) {
        // It failed loudly: the next start restores all.
        EXPECT_NE(node.program().err().find("restore"), std::string::npos) << node.program().err();
        ASSERT_TRUE(node.start()) << node.program().err();
    }
    ASSERT_TRUE(pollUntil(
        [&] { return programrun::slurp(node.traceFile()).find(restored) != std::string::npos; },
        std::chrono::seconds(60)))
        << node.program().err();
    EXPECT_EQ(node.present(1, kStored), all);
}

std::string sqliteOf(const std::string& state) {
    return "DRIVER=SQLite3;Database=" + state + "/rtrdb.sqlite;Timeout=10000;";
}

// The transaction server restarted (ulsa-node's SIGUSR1) while a client has a
// transaction open at it, with creates done and the node registered in it, three times:
// the open transaction is gone from the server, the node and the database, what was
// committed before is stored and in the node, and new transactions work at the new
// server. The restart lands between requests, not between the node's registration
// request and its answer: the node waits for that answer without a time limit, so a
// server that ends in between leaves the node's main process waiting for good.
TEST(PersistenceFaults, transaction_server_restarted_under_requests_ends_them_and_serves_new_ones) {
    TempFolder state;
    NodeOnState node(state.path(), "");
    ASSERT_TRUE(node.start()) << node.program().err();
    constexpr unsigned kCreates = 3;
    constexpr unsigned kRestarts = 3;
    constexpr unsigned kTransactions = 3;  // two committed, the third held open
    Numbers committed;
    for (unsigned r = 0; r < kRestarts; ++r) {
        const unsigned first = r * kTransactions * kCreates + 1;
        Program stream = node.clientBeside(
            {"stream", "--first", std::to_string(first), "--transactions",
             std::to_string(kTransactions), "--creates", std::to_string(kCreates), "--hold"},
            "stream-" + std::to_string(r));
        ASSERT_TRUE(pollUntil([&] {
            return stream.out().find("held") != std::string::npos || !stream.running();
        })) << stream.err();
        ASSERT_EQ(stream.out(), "committed 0\ncommitted 1\nheld 2\n") << stream.err();
        ::kill(node.program().pid(), SIGUSR1);
        ASSERT_TRUE(pollUntil([&] {
            return occurrences(node.program().err(), "transaction server restarted") == r + 1;
        })) << node.program().err();
        for (unsigned n = first; n < first + 2 * kCreates; ++n)
            committed.insert(n);
    }

    const Numbers stored = storedAnalyzers(sqliteOf(state.path()));
    EXPECT_EQ(stored, committed) << "an open transaction stored, or a committed one lost";
    EXPECT_EQ(node.present(1, kRestarts * kTransactions * kCreates), stored);
    const Ran more = node.client({"stream", "--first", "5001", "--creates", "2"});
    EXPECT_EQ(more.out, "committed 0\n") << more.err;
    EXPECT_EQ(node.present(5001, 2), (Numbers{5001, 5002}));
}

// The node killed (SIGKILL) with a transaction open and a sampling run writing its
// file, then started again on the same state folder: exactly the committed analyzers
// come back, the open transaction and the run are gone, and after the next run the
// node's sample folder holds no file.
TEST(PersistenceFaults,
     node_killed_in_a_transaction_and_a_run_comes_back_with_its_committed_objects) {
    TempFolder state;
    programrun::FtpServer ftp;
    NodeOnState node(state.path(), "");
    ASSERT_TRUE(node.start()) << node.program().err();
    // Slow blocks keep the transfer of a sample file going while the node is killed.
    Program radio({ULSA_RADIO_PATH, "--state", state.path(), "--measurement-ms", "100",
                   "--block-size", "1024", "--block-delay-ms", "100"},
                  state.path() + "/radio");
    ASSERT_EQ(node.client({"stream", "--first", "1", "--transactions", "2", "--creates", "2"}).out,
              "committed 0\ncommitted 1\n");
    Program held =
        node.clientBeside({"stream", "--first", "101", "--creates", "3", "--hold"}, "held");
    ASSERT_TRUE(pollUntil([&] { return held.out() == "held 0\n" || !held.running(); }))
        << held.err();
    ASSERT_EQ(held.out(), "held 0\n");

    const std::string samples = state.path() + "/d/ulsasample";
    const auto sampleFiles = [&] {
        std::size_t files = 0;
        std::error_code ignored;
        for (const auto& entry : std::filesystem::directory_iterator(samples, ignored))
            files += entry.is_regular_file() ? 1 : 0;
        return files;
    };
    const std::vector<std::string> start = {ULSACTL_PATH,         "start", "--state",
                                            state.path(),         "--ftp", ftp.url("samples"),
                                            "--sampling-timeout", "60"};
    ASSERT_TRUE(pollUntil([&] { return programrun::run(start, state.path()).code == 0; }))
        << "the radio unit did not link in";
    ASSERT_TRUE(pollUntil([&] { return sampleFiles() > 0; })) << node.program().err();
    node.program().kill();
    ASSERT_EQ(sampleFiles(), 1u) << "the run was not killed in its transfer";
    held.kill();

    ASSERT_TRUE(node.start()) << node.program().err();
    EXPECT_EQ(node.present(1, 4), (Numbers{1, 2, 3, 4}));
    EXPECT_EQ(node.present(101, 3), Numbers{});
    EXPECT_EQ(storedAnalyzers(sqliteOf(state.path())), (Numbers{1, 2, 3, 4}));
    const Ran status = programrun::run(
        {ULSACTL_PATH, "get", "--state", state.path(), "ulSpectrumSamplingStatus"}, state.path());
    EXPECT_EQ(status.out, "ulSpectrumSamplingStatus=0\n") << status.err;

    std::vector<std::string> again = start;
    again.push_back("--wait");
    Ran run;
    ASSERT_TRUE(pollUntil([&] {
        run = programrun::run(again, state.path(), std::chrono::seconds(90));
        return run.code == 0;
    })) << run.out
        << run.err;
    EXPECT_EQ(ftp.files("samples").size(), 1u);
    EXPECT_EQ(sampleFiles(), 0u) << "a stale sample file stays in " << samples;
}

}  // namespace
