// PgCluster: a throwaway PostgreSQL server for the tests of one test program.
//
// Made at first use in a folder of its own on a free loopback port, with trust
// authentication, and stopped and removed when the program ends. The server runs as
// the user "postgres" when the program runs as root (initdb refuses root), and it
// ends with the program even if the program is killed.
#ifndef HOSTDB_TEST_PG_CLUSTER_H
#define HOSTDB_TEST_PG_CLUSTER_H

#include <string>
#include <sys/types.h>
#include <vector>

namespace hostdbtest {

class PgCluster {
  public:
    /// The program's cluster, started now if it is not running; null with the reason
    /// when it cannot be (no PostgreSQL binaries, a failed start).
    static PgCluster* shared(std::string& whyNot);
    /// Stops the program's cluster, if one runs.
    static void stopShared();

    /// The ODBC connection string of the database "postgres" as user "postgres".
    std::string connectString() const;
    int port() const { return m_port; }

    /// The ODBC connection string of another database of the cluster, made when missing.
    /// Empty with the reason when it cannot be made.
    std::string databaseConnectString(const std::string& database, std::string& problem) const;

    /// The server processes of the client sessions, other than the one this call
    /// makes: those of the programs under test. False with the reason when they cannot
    /// be read.
    bool clientBackends(std::vector<int>& pids, std::string& problem) const;
    /// Ends those sessions with pg_terminate_backend, as an operator would; false with
    /// the reason when that fails.
    bool terminateClients(std::string& problem) const;

    PgCluster(const PgCluster&) = delete;
    PgCluster& operator=(const PgCluster&) = delete;
    ~PgCluster();

  private:
    PgCluster() = default;
    bool start(std::string& whyNot);
    void stop();

    std::string m_bin;
    std::string m_folder;
    int m_port = 0;
    pid_t m_server = -1;
};

/// For a test's SetUp: the ODBC connection string of a new, empty database of the
/// program's cluster, named prefix and a number from the running test's name (names are
/// cut at 63 characters). Skips the test when there is no PostgreSQL and fails it when the
/// database cannot be made; empty then.
std::string freshTestDatabase(const std::string& prefix);

}  // namespace hostdbtest

#endif  // HOSTDB_TEST_PG_CLUSTER_H
