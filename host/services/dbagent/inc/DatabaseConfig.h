// DatabaseConfig: where the node's SQL database is, shared by the database agent,
// the database's supervisor and the transaction server.
//
// By default the database is an SQLite file in the node's state folder, reached
// through the SQLite ODBC driver. Any ODBC data source can stand in its place: a
// full connection string in the configuration or in ULSA_DB_CONNECT, for example
//   DRIVER=PostgreSQL Unicode;SERVER=127.0.0.1;PORT=5432;DATABASE=postgres;UID=postgres;PWD=;
#ifndef HOSTDB_DATABASE_CONFIG_H
#define HOSTDB_DATABASE_CONFIG_H

#include <cstdint>
#include <string>

namespace hostdb {

/// The server name the load module connects with: "ose/" and the publisher's name
/// "Vq_rtrdb_supervisor" with "rtrdb" in place of "Vq_rtrdb_supervisor".
constexpr const char* kDefaultServerName = "ose/rtrdb";
/// The SQLite file in the state folder.
constexpr const char* kDatabaseFileName = "rtrdb.sqlite";
/// The environment variable that names another data source by its connection string.
constexpr const char* kConnectStringVariable = "ULSA_DB_CONNECT";
/// The environment variable that names the state folder when the configuration does not.
constexpr const char* kStateDirVariable = "ULSA_STATE_DIR";

struct DatabaseConfig {
    /// The node's state folder; empty: ULSA_STATE_DIR, else the working folder.
    std::string stateDir;
    /// A full ODBC connection string; empty: ULSA_DB_CONNECT, else the SQLite file.
    std::string connectString;
    /// A folder holding an odbcinst.ini to use instead of the system's; empty: the system's.
    std::string odbcSysIni;
    /// The server name that SQLConnect accepts.
    std::string serverName = kDefaultServerName;
    /// How long SQLite waits for a lock held by another connection.
    uint32_t sqliteBusyTimeoutMs = 10000;
};

/// The connection string the configuration stands for: its own, ULSA_DB_CONNECT, or
/// the SQLite file in the state folder (WAL journal, normal sync).
std::string resolveConnectString(const DatabaseConfig& config);

/// The state folder the configuration stands for, as an absolute path.
std::string resolveStateDir(const DatabaseConfig& config);

/// Whether the configuration stands for the default SQLite file.
bool usesDefaultSqlite(const DatabaseConfig& config);

/// Makes the folders and the ODBC driver list that the configuration needs: the state
/// folder of the default SQLite file, and ODBCSYSINI when odbcSysIni is set (which
/// must happen before the first ODBC call of the Linux process). False with a reason.
bool prepareDatabaseConfig(const DatabaseConfig& config, std::string& reason);

}  // namespace hostdb

#endif  // HOSTDB_DATABASE_CONFIG_H
