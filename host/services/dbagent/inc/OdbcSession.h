// OdbcSession: one ODBC connection to the node's database for host code (the
// transaction server, the database's supervisor, tests).
//
// It connects as the call table's SQLConnect does (the system table view included)
// and maps every statement from the platform's dialect. Not thread-safe: one user.
#ifndef HOSTDB_ODBC_SESSION_H
#define HOSTDB_ODBC_SESSION_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace hostdb {

/// One diagnostic record of the interface.
struct SqlDiagnostic {
    std::string state;  // five characters, "08S01" for a lost link
    int32_t nativeError = 0;
    std::string message;
};

/// Whether the records tell of a lost connection (a communication link failure).
bool tellsConnectionLost(const std::vector<SqlDiagnostic>& diagnostics);

/// The records as one line, "STATE (native) message; ...".
std::string diagnosticsText(const std::vector<SqlDiagnostic>& diagnostics);

/// Rows of a query; a NULL column reads as nullopt.
using SqlRows = std::vector<std::vector<std::optional<std::string>>>;

class OdbcSession {
  public:
    explicit OdbcSession(std::string connectString);
    ~OdbcSession();
    OdbcSession(const OdbcSession&) = delete;
    OdbcSession& operator=(const OdbcSession&) = delete;

    /// Connects and makes the system table view if it is missing; false with lastError().
    bool connect();
    /// Drops the connection and its handles; harmless when not connected.
    void disconnect();
    bool isConnected() const { return m_connection != nullptr; }

    /// Executes one statement of the platform's dialect, discarding any result rows.
    bool execute(const std::string& statement);
    /// Executes a query and reads every row as text.
    bool query(const std::string& statement, SqlRows& rows);

    /// Autocommit on or off; with it off, statements wait for commit() or rollback().
    bool setAutoCommit(bool on);
    bool commit();
    bool rollback();

    /// The diagnostics of the last failed operation.
    const std::vector<SqlDiagnostic>& lastError() const { return m_lastError; }
    /// Whether the last failure was a lost connection.
    bool connectionLost() const { return tellsConnectionLost(m_lastError); }
    /// The DBMS name the driver reports ("SQLite", "PostgreSQL"); empty when not connected.
    const std::string& dbmsName() const { return m_dbmsName; }

  private:
    bool failWith(int16_t handleType, void* handle);
    bool endTransaction(bool commitIt);
    bool runStatement(const std::string& statement);

    std::string m_connectString;
    void* m_environment = nullptr;
    void* m_connection = nullptr;
    void* m_statement = nullptr;
    std::string m_dbmsName;
    std::vector<SqlDiagnostic> m_lastError;
};

}  // namespace hostdb

#endif  // HOSTDB_ODBC_SESSION_H
