#include "OdbcSession.h"

#include "ConnectionSetup.h"
#include "SqlDialect.h"

#include <utility>

namespace hostdb {

OdbcSession::OdbcSession(std::string connectString) : m_connectString(std::move(connectString)) {}

OdbcSession::~OdbcSession() {
    disconnect();
}

bool OdbcSession::failWith(int16_t handleType, void* handle) {
    m_lastError = readDiagnostics(handleType, handle);
    if (m_lastError.empty())
        m_lastError.push_back(SqlDiagnostic{"HY000", 0, "failed without a diagnostic"});
    // A lost connection reads as 08S01 here, as it does through the call table.
    bool lost = false;
    for (const SqlDiagnostic& record : m_lastError)
        lost = lost || serverEndedSession(record.state);
    lost = lost || (m_connection != nullptr && connectionDead(m_connection));
    if (lost && !tellsConnectionLost(m_lastError))
        m_lastError.front().state = kLinkFailureState;
    return false;
}

bool OdbcSession::connect() {
    if (isConnected())
        return true;
    m_lastError.clear();
    SQLHENV environment = SQL_NULL_HENV;
    if (!succeeded(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &environment))) {
        m_lastError.push_back(SqlDiagnostic{"HY001", 0, "cannot allocate an ODBC environment"});
        return false;
    }
    m_environment = environment;
    SQLSetEnvAttr(environment, SQL_ATTR_ODBC_VERSION, reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3),
                  0);
    SQLHDBC connection = SQL_NULL_HDBC;
    if (!succeeded(SQLAllocHandle(SQL_HANDLE_DBC, environment, &connection))) {
        failWith(SQL_HANDLE_ENV, environment);
        disconnect();
        return false;
    }
    if (!succeeded(connectByString(connection, m_connectString))) {
        failWith(SQL_HANDLE_DBC, connection);
        SQLFreeHandle(SQL_HANDLE_DBC, connection);
        disconnect();
        return false;
    }
    m_connection = connection;
    std::vector<SqlDiagnostic> failure;
    if (!ensureTablesView(connection, failure)) {
        m_lastError = failure;
        disconnect();
        return false;
    }
    SQLHSTMT statement = SQL_NULL_HSTMT;
    if (!succeeded(SQLAllocHandle(SQL_HANDLE_STMT, connection, &statement))) {
        failWith(SQL_HANDLE_DBC, connection);
        disconnect();
        return false;
    }
    m_statement = statement;
    m_dbmsName = dbmsNameOf(connection);
    return true;
}

void OdbcSession::disconnect() {
    if (m_statement != nullptr)
        SQLFreeHandle(SQL_HANDLE_STMT, m_statement);
    if (m_connection != nullptr) {
        SQLDisconnect(m_connection);
        SQLFreeHandle(SQL_HANDLE_DBC, m_connection);
    }
    if (m_environment != nullptr)
        SQLFreeHandle(SQL_HANDLE_ENV, m_environment);
    m_statement = nullptr;
    m_connection = nullptr;
    m_environment = nullptr;
    m_dbmsName.clear();
}

bool OdbcSession::runStatement(const std::string& statement) {
    m_lastError.clear();
    if (!isConnected()) {
        m_lastError.push_back(SqlDiagnostic{"08003", 0, "not connected"});
        return false;
    }
    SQLFreeStmt(m_statement, SQL_CLOSE);
    std::string mapped = mapPlatformSql(statement);
    const SQLRETURN rc = SQLExecDirect(m_statement, reinterpret_cast<SQLCHAR*>(mapped.data()),
                                       static_cast<SQLINTEGER>(mapped.size()));
    // A statement that changes no row answers SQL_NO_DATA: that is no failure.
    if (!succeeded(rc) && rc != SQL_NO_DATA)
        return failWith(SQL_HANDLE_STMT, m_statement);
    return true;
}

bool OdbcSession::execute(const std::string& statement) {
    const bool ok = runStatement(statement);
    if (isConnected())
        SQLFreeStmt(m_statement, SQL_CLOSE);
    return ok;
}

bool OdbcSession::query(const std::string& statement, SqlRows& rows) {
    rows.clear();
    if (!runStatement(statement))
        return false;
    SQLSMALLINT columns = 0;
    if (!succeeded(SQLNumResultCols(m_statement, &columns)))
        return failWith(SQL_HANDLE_STMT, m_statement);
    for (;;) {
        SQLRETURN rc = SQLFetch(m_statement);
        if (rc == SQL_NO_DATA)
            break;
        if (!succeeded(rc)) {
            failWith(SQL_HANDLE_STMT, m_statement);
            SQLFreeStmt(m_statement, SQL_CLOSE);
            return false;
        }
        std::vector<std::optional<std::string>> row;
        for (SQLUSMALLINT column = 1; column <= static_cast<SQLUSMALLINT>(columns); ++column) {
            std::string value;
            bool isNull = false;
            // Long texts come in pieces: each call gives what fits and the rest waits.
            for (;;) {
                char piece[4096];
                SQLLEN indicator = 0;
                rc = SQLGetData(m_statement, column, SQL_C_CHAR, piece, sizeof piece, &indicator);
                if (rc == SQL_NO_DATA)
                    break;
                if (!succeeded(rc)) {
                    failWith(SQL_HANDLE_STMT, m_statement);
                    SQLFreeStmt(m_statement, SQL_CLOSE);
                    return false;
                }
                if (indicator == SQL_NULL_DATA) {
                    isNull = true;
                    break;
                }
                const bool truncated =
                    indicator == SQL_NO_TOTAL || indicator >= static_cast<SQLLEN>(sizeof piece);
                value.append(piece, truncated ? sizeof piece - 1 : static_cast<size_t>(indicator));
                if (rc == SQL_SUCCESS)
                    break;
            }
            row.push_back(isNull ? std::nullopt : std::optional<std::string>(value));
        }
        rows.push_back(std::move(row));
    }
    SQLFreeStmt(m_statement, SQL_CLOSE);
    return true;
}

bool OdbcSession::setAutoCommit(bool on) {
    m_lastError.clear();
    if (!isConnected()) {
        m_lastError.push_back(SqlDiagnostic{"08003", 0, "not connected"});
        return false;
    }
    const SQLULEN value = on ? SQL_AUTOCOMMIT_ON : SQL_AUTOCOMMIT_OFF;
    if (!succeeded(SQLSetConnectAttr(m_connection, SQL_ATTR_AUTOCOMMIT,
                                     reinterpret_cast<SQLPOINTER>(value), 0)))
        return failWith(SQL_HANDLE_DBC, m_connection);
    return true;
}

bool OdbcSession::endTransaction(bool commitIt) {
    m_lastError.clear();
    if (!isConnected()) {
        m_lastError.push_back(SqlDiagnostic{"08003", 0, "not connected"});
        return false;
    }
    if (!succeeded(SQLEndTran(SQL_HANDLE_DBC, m_connection,
                              static_cast<SQLSMALLINT>(commitIt ? SQL_COMMIT : SQL_ROLLBACK))))
        return failWith(SQL_HANDLE_DBC, m_connection);
    return true;
}

bool OdbcSession::commit() {
    return endTransaction(true);
}

bool OdbcSession::rollback() {
    return endTransaction(false);
}

}  // namespace hostdb
