#include "ConnectionSetup.h"

#include <cstring>

namespace hostdb {

namespace {

constexpr const char* kSqliteView =
    "CREATE VIEW IF NOT EXISTS tables AS "
    "SELECT lower(name) AS name FROM sqlite_master WHERE type = 'table'";
constexpr const char* kPostgresViewExists =
    "SELECT 1 FROM pg_catalog.pg_class c JOIN pg_catalog.pg_namespace n "
    "ON n.oid = c.relnamespace WHERE c.relname = 'tables' AND n.nspname = current_schema()";
constexpr const char* kPostgresView =
    "CREATE VIEW tables AS SELECT lower(tablename) AS name FROM pg_catalog.pg_tables "
    "WHERE schemaname = current_schema()";

// One statement on its own handle: executed, and with wantRow, fetched once.
// rowFound tells whether a row came.
bool runOnce(SQLHDBC connection, const char* text, bool wantRow, bool& rowFound,
             std::vector<SqlDiagnostic>& failure) {
    SQLHSTMT statement = SQL_NULL_HSTMT;
    if (!succeeded(SQLAllocHandle(SQL_HANDLE_STMT, connection, &statement))) {
        failure = readDiagnostics(SQL_HANDLE_DBC, connection);
        return false;
    }
    bool ok = succeeded(
        SQLExecDirect(statement, reinterpret_cast<SQLCHAR*>(const_cast<char*>(text)), SQL_NTS));
    rowFound = false;
    if (ok && wantRow) {
        const SQLRETURN rc = SQLFetch(statement);
        rowFound = succeeded(rc);
        ok = rowFound || rc == SQL_NO_DATA;
    }
    if (!ok)
        failure = readDiagnostics(SQL_HANDLE_STMT, statement);
    SQLFreeHandle(SQL_HANDLE_STMT, statement);
    return ok;
}

}  // namespace

std::vector<SqlDiagnostic> readDiagnostics(SQLSMALLINT handleType, SQLHANDLE handle) {
    std::vector<SqlDiagnostic> records;
    if (handle == nullptr)
        return records;
    for (SQLSMALLINT record = 1; record < 32; ++record) {
        SQLCHAR state[6] = {};
        SQLINTEGER native = 0;
        SQLCHAR message[1024] = {};
        SQLSMALLINT length = 0;
        const SQLRETURN rc = SQLGetDiagRec(handleType, handle, record, state, &native, message,
                                           sizeof message, &length);
        if (!succeeded(rc))
            break;
        records.push_back(SqlDiagnostic{reinterpret_cast<const char*>(state), native,
                                        reinterpret_cast<const char*>(message)});
    }
    return records;
}

SQLRETURN connectByString(SQLHDBC connection, const std::string& connectString) {
    std::string text(connectString);
    return SQLDriverConnect(connection, nullptr, reinterpret_cast<SQLCHAR*>(text.data()),
                            static_cast<SQLSMALLINT>(text.size()), nullptr, 0, nullptr,
                            SQL_DRIVER_NOPROMPT);
}

std::string dbmsNameOf(SQLHDBC connection) {
    char name[128] = {};
    SQLSMALLINT length = 0;
    if (!succeeded(SQLGetInfo(connection, SQL_DBMS_NAME, name, sizeof name, &length)))
        return std::string();
    return name;
}

bool ensureTablesView(SQLHDBC connection, std::vector<SqlDiagnostic>& failure) {
    const std::string dbms = dbmsNameOf(connection);
    bool row = false;
    if (dbms == "SQLite")
        return runOnce(connection, kSqliteView, false, row, failure);
    if (dbms == "PostgreSQL") {
        if (!runOnce(connection, kPostgresViewExists, true, row, failure))
            return false;
        if (row)
            return true;
        if (runOnce(connection, kPostgresView, false, row, failure))
            return true;
        // Another connection may have made it in the meantime.
        std::vector<SqlDiagnostic> again;
        if (runOnce(connection, kPostgresViewExists, true, row, again) && row) {
            failure.clear();
            return true;
        }
        return false;
    }
    // Another engine: usable when someone has made the view by hand.
    if (runOnce(connection, "SELECT name FROM tables WHERE 1 = 0", false, row, failure))
        return true;
    failure = {SqlDiagnostic{"HY000", 0,
                             "[ULSA host][database agent] no view for the system table "
                             "\"tables\" on the DBMS \"" +
                                 dbms + "\""}};
    return false;
}

bool serverEndedSession(const std::string& state) {
    return state == "57P01" || state == "57P02" || state == "57P05";
}

bool connectionDead(SQLHDBC connection) {
    SQLUINTEGER dead = SQL_CD_FALSE;
    return connection != nullptr &&
           succeeded(SQLGetConnectAttr(connection, SQL_ATTR_CONNECTION_DEAD, &dead, 0, nullptr)) &&
           dead == SQL_CD_TRUE;
}

bool tellsConnectionLost(const std::vector<SqlDiagnostic>& diagnostics) {
    for (const SqlDiagnostic& record : diagnostics) {
        if (record.state == kLinkFailureState)
            return true;
    }
    return false;
}

std::string diagnosticsText(const std::vector<SqlDiagnostic>& diagnostics) {
    std::string text;
    for (const SqlDiagnostic& record : diagnostics) {
        if (!text.empty())
            text += "; ";
        text += record.state + " (" + std::to_string(record.nativeError) + ") " + record.message;
    }
    return text;
}

}  // namespace hostdb
