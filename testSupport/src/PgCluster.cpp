#include "PgCluster.h"

#include "LoopbackPort.h"
#include "OdbcSession.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <memory>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace hostdbtest {

namespace {

std::unique_ptr<PgCluster>& sharedCluster() {
    static std::unique_ptr<PgCluster> cluster;
    return cluster;
}

// Stops the cluster after the last test; registered at load time of this file.
class PgClusterEnvironment : public ::testing::Environment {
  public:
    void TearDown() override { PgCluster::stopShared(); }
};

::testing::Environment* const registeredEnvironment =
    ::testing::AddGlobalTestEnvironment(new PgClusterEnvironment);

// The newest installed server's binaries, or empty.
std::string findBinaries() {
    std::string best;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/usr/lib/postgresql", error)) {
        const std::string bin = (entry.path() / "bin").string();
        if (access((bin + "/initdb").c_str(), X_OK) == 0 &&
            access((bin + "/postgres").c_str(), X_OK) == 0 && bin > best)
            best = bin;
    }
    return best;
}

// Runs argv as the user (when root) with output into log; the child dies with us.
pid_t spawnAs(const struct passwd* user, const std::vector<std::string>& argv,
              const std::string& log) {
    // Everything the child needs is made before the fork: other threads may hold the
    // allocator's lock at that moment.
    std::vector<char*> args;
    for (const std::string& arg : argv)
        args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child != 0)
        return child;
    const int out = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    if (out >= 0) {
        dup2(out, STDOUT_FILENO);
        dup2(out, STDERR_FILENO);
        close(out);
    }
    if (user != nullptr && (setgid(user->pw_gid) != 0 || setuid(user->pw_uid) != 0))
        _exit(126);
    // After the change of user, which clears it.
    prctl(PR_SET_PDEATHSIG, SIGQUIT);
    if (getppid() != parent)
        _exit(125);
    execv(args[0], args.data());
    _exit(127);
}

int waitFor(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

PgCluster* PgCluster::shared(std::string& whyNot) {
    (void)registeredEnvironment;
    std::unique_ptr<PgCluster>& cluster = sharedCluster();
    if (!cluster) {
        std::unique_ptr<PgCluster> made(new PgCluster);
        if (!made->start(whyNot))
            return nullptr;
        cluster = std::move(made);
    }
    return cluster.get();
}

void PgCluster::stopShared() {
    sharedCluster().reset();
}

std::string PgCluster::connectString() const {
    return "DRIVER=PostgreSQL Unicode;SERVER=127.0.0.1;PORT=" + std::to_string(m_port) +
           ";DATABASE=postgres;UID=postgres;PWD=;";
}

namespace {

const char* const kOtherClients =
    " from pg_stat_activity where pid <> pg_backend_pid() and backend_type = 'client backend'";

}  // namespace

std::string PgCluster::databaseConnectString(const std::string& database,
                                             std::string& problem) const {
    hostdb::OdbcSession session(connectString());
    hostdb::SqlRows rows;
    if (!session.connect() ||
        !session.query("select 1 from pg_database where datname = '" + database + "'", rows) ||
        (rows.empty() && !session.execute("create database " + database))) {
        problem = hostdb::diagnosticsText(session.lastError());
        return "";
    }
    std::string text = connectString();
    text.replace(text.find("DATABASE=postgres"), 17, "DATABASE=" + database);
    return text;
}

namespace {

void makeTestDatabase(const std::string& prefix, std::string& connectString) {
    std::string whyNot;
    PgCluster* cluster = PgCluster::shared(whyNot);
    if (cluster == nullptr)
        GTEST_SKIP() << "no PostgreSQL for this test: " << whyNot;
    hostdb::OdbcSession admin(cluster->connectString());
    ASSERT_TRUE(admin.connect()) << hostdb::diagnosticsText(admin.lastError());
    const std::string name =
        prefix + std::to_string(std::hash<std::string>{}(
                     ::testing::UnitTest::GetInstance()->current_test_info()->name()));
    ASSERT_TRUE(admin.execute("drop database if exists " + name));
    ASSERT_TRUE(admin.execute("create database " + name))
        << hostdb::diagnosticsText(admin.lastError());
    connectString = "DRIVER=PostgreSQL Unicode;SERVER=127.0.0.1;PORT=" +
                    std::to_string(cluster->port()) + ";DATABASE=" + name + ";UID=postgres;PWD=;";
}

}  // namespace

std::string freshTestDatabase(const std::string& prefix) {
    std::string connectString;
    makeTestDatabase(prefix, connectString);
    return connectString;
}

bool PgCluster::clientBackends(std::vector<int>& pids, std::string& problem) const {
    pids.clear();
    hostdb::OdbcSession session(connectString());
    hostdb::SqlRows rows;
    if (!session.connect() || !session.query(std::string("select pid") + kOtherClients, rows)) {
        problem = hostdb::diagnosticsText(session.lastError());
        return false;
    }
    for (const auto& row : rows) {
        if (!row.empty() && row[0])
            pids.push_back(std::atoi(row[0]->c_str()));
    }
    return true;
}

bool PgCluster::terminateClients(std::string& problem) const {
    hostdb::OdbcSession session(connectString());
    hostdb::SqlRows rows;
    if (!session.connect() ||
        !session.query(std::string("select pg_terminate_backend(pid)") + kOtherClients, rows)) {
        problem = hostdb::diagnosticsText(session.lastError());
        return false;
    }
    return true;
}

PgCluster::~PgCluster() {
    stop();
}

bool PgCluster::start(std::string& whyNot) {
    m_bin = findBinaries();
    if (m_bin.empty()) {
        whyNot = "PostgreSQL server binaries not installed (no /usr/lib/postgresql/*/bin/initdb)";
        return false;
    }
    const struct passwd* user = nullptr;
    if (geteuid() == 0) {
        user = getpwnam("postgres");
        if (user == nullptr) {
            whyNot = "running as root and there is no user \"postgres\" to run the server";
            return false;
        }
    }
    char pattern[] = "/tmp/ulsa-pg-XXXXXX";
    if (mkdtemp(pattern) == nullptr) {
        whyNot = std::string("mkdtemp: ") + std::strerror(errno);
        return false;
    }
    m_folder = pattern;
    if (user != nullptr && chown(m_folder.c_str(), user->pw_uid, user->pw_gid) != 0) {
        whyNot = std::string("chown: ") + std::strerror(errno);
        return false;
    }
    const std::string log = m_folder + "/server.log";
    const pid_t initdb = spawnAs(user,
                                 {m_bin + "/initdb", "-D", m_folder + "/data", "-A", "trust", "-U",
                                  "postgres", "-E", "UTF8", "--no-sync"},
                                 log);
    if (initdb < 0 || waitFor(initdb) != 0) {
        whyNot = "initdb failed, see " + log;
        return false;
    }
    m_port = testsupport::freeLoopbackPort();
    // No fsync: the machine does not crash under a test. But commits stay synchronous:
    // a test may kill a server process, and the server's recovery then drops what an
    // asynchronous commit had confirmed and not yet written.
    m_server = spawnAs(user,
                       {m_bin + "/postgres", "-D", m_folder + "/data", "-p", std::to_string(m_port),
                        "-k", m_folder, "-c", "listen_addresses=127.0.0.1", "-c", "fsync=off", "-c",
                        "full_page_writes=off"},
                       log);
    if (m_server < 0) {
        whyNot = "cannot start postgres";
        return false;
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    for (;;) {
        hostdb::OdbcSession probe(connectString());
        if (probe.connect())
            return true;
        int status = 0;
        if (waitpid(m_server, &status, WNOHANG) == m_server) {
            m_server = -1;
            whyNot = "postgres ended at start, see " + log;
            return false;
        }
        if (std::chrono::steady_clock::now() > deadline) {
            whyNot = "postgres did not accept connections within 30 s: " +
                     hostdb::diagnosticsText(probe.lastError());
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
}

void PgCluster::stop() {
    if (m_server > 0) {
        kill(m_server, SIGINT);  // fast shutdown: clients are cut off
        waitFor(m_server);
        m_server = -1;
    }
    if (!m_folder.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
        m_folder.clear();
    }
}

}  // namespace hostdbtest
