// What every connection to the node's database does, whether made by the call table's
// SQLConnect or by an OdbcSession: connect by connection string, then make sure the
// platform's system table `tables` exists as a view.
#ifndef HOSTDB_CONNECTION_SETUP_H
#define HOSTDB_CONNECTION_SETUP_H

#include "OdbcSession.h"

#include <sql.h>
#include <sqlext.h>

#include <string>
#include <vector>

namespace hostdb {

/// The diagnostic records the driver manager holds for a handle.
std::vector<SqlDiagnostic> readDiagnostics(SQLSMALLINT handleType, SQLHANDLE handle);

/// Connects without prompting; the driver's diagnostics stay on the connection.
SQLRETURN connectByString(SQLHDBC connection, const std::string& connectString);

/// The DBMS name the driver reports.
std::string dbmsNameOf(SQLHDBC connection);

/// Makes the view `tables` (one column, name: the user's tables in lower case) when it
/// is missing. False with the diagnostics of the failed step, or a record of state
/// "HY000" for an engine it has no view for.
bool ensureTablesView(SQLHDBC connection, std::vector<SqlDiagnostic>& failure);

/// The state of a failed communication link: the connection is lost.
constexpr const char* kLinkFailureState = "08S01";

/// Whether the state is one with which a server says it has ended the session
/// (PostgreSQL's administrator command, crash and idle-session ends). The PostgreSQL
/// driver passes them on as they are on the call that meets the end, and says 08S01
/// only on the calls after it.
bool serverEndedSession(const std::string& state);

/// Whether the driver reports the connection dead. A call on the connection clears its
/// diagnostic records: read them first.
bool connectionDead(SQLHDBC connection);

/// Whether the return code is a success.
inline bool succeeded(SQLRETURN rc) {
    return rc == SQL_SUCCESS || rc == SQL_SUCCESS_WITH_INFO;
}

}  // namespace hostdb

#endif  // HOSTDB_CONNECTION_SETUP_H
