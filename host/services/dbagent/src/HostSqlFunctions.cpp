#include "HostSqlFunctions.h"

#include "AgentConfiguration.h"
#include "ClientRoutine.h"
#include "ConnectionSetup.h"
#include "HandleRegistry.h"
#include "HostDbTrace.h"
#include "SqlDialect.h"
#include "oseHost.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <string>

namespace hostdb {

namespace {

constexpr SQLINTEGER kEventAttribute = 20000;

const char* const kVendor = "[ULSA host][database agent] ";

// Text given by pointer and length, SQL_NTS meaning NUL-terminated; false for a
// negative length other than SQL_NTS.
bool textOf(const SQLCHAR* text, SQLINTEGER length, std::string& out) {
    if (text == nullptr) {
        out.clear();
        return true;
    }
    if (length == SQL_NTS) {
        out = reinterpret_cast<const char*>(text);
        return true;
    }
    if (length < 0)
        return false;
    out.assign(reinterpret_cast<const char*>(text), static_cast<std::size_t>(length));
    return true;
}

SQLRETURN failOwn(const void* handle, const char* state, const std::string& message) {
    HandleRegistry::instance().setDiagnostics(handle, {SqlDiagnostic{state, 0, kVendor + message}});
    TRACE(agentTrace(), 1, "%s %s", state, message.c_str());
    return SQL_ERROR;
}

// Executes or prepares the mapped text; an unusable text goes to the manager as it is,
// which answers it with the standard diagnostics.
template <class Call>
SQLRETURN withMappedText(SQLHSTMT statement, SQLCHAR* text, SQLINTEGER textLength, Call call) {
    std::string original;
    if (text == nullptr || !textOf(text, textLength, original))
        return call(statement, text, textLength);
    std::string mapped = mapPlatformSql(original);
    TRACE(agentTrace(), 8, "SQL: %s", mapped.c_str());
    if (mapped.size() > static_cast<std::size_t>(INT32_MAX))
        return call(statement, text, textLength);
    return call(statement, reinterpret_cast<SQLCHAR*>(mapped.data()),
                static_cast<SQLINTEGER>(mapped.size()));
}

// The state of a failed communication link, which tells the load module that the
// connection is lost.
constexpr SQLCHAR kLinkFailure[6] = {'0', '8', 'S', '0', '1', '\0'};

// Whether a record of the handle stands for a lost connection: by its state, or, for a
// statement, because the driver reports its connection dead. The connection of a
// statement is asked, never the handle being read: a call on it would clear its records.
bool lostLink(SQLSMALLINT handleType, SQLHANDLE handle, SQLCHAR* state) {
    const std::string text(reinterpret_cast<const char*>(state), 5);
    if (text == kLinkFailureState)
        return false;
    if (serverEndedSession(text))
        return true;
    return handleType == SQL_HANDLE_STMT &&
           connectionDead(HandleRegistry::instance().parentOf(handle));
}

}  // namespace

SQLRETURN hostSqlAllocHandle(SQLSMALLINT handleType, SQLHANDLE inputHandle,
                             SQLHANDLE* outputHandle) {
    HandleRegistry::instance().clearDiagnostics(inputHandle);
    const SQLRETURN rc = SQLAllocHandle(handleType, inputHandle, outputHandle);
    if (!succeeded(rc) || outputHandle == nullptr)
        return rc;
    if (handleType == SQL_HANDLE_ENV)
        SQLSetEnvAttr(*outputHandle, SQL_ATTR_ODBC_VERSION,
                      reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
    if (handleType == SQL_HANDLE_STMT)
        HandleRegistry::instance().setParent(*outputHandle, inputHandle);
    return rc;
}

SQLRETURN hostSqlAllocEnv(SQLHENV* environment) {
    return hostSqlAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, environment);
}

SQLRETURN hostSqlFreeHandle(SQLSMALLINT handleType, SQLHANDLE handle) {
    const SQLRETURN rc = SQLFreeHandle(handleType, handle);
    if (succeeded(rc))
        HandleRegistry::instance().forget(handle);
    return rc;
}

SQLRETURN hostSqlFreeEnv(SQLHENV environment) {
    return hostSqlFreeHandle(SQL_HANDLE_ENV, environment);
}

SQLRETURN hostSqlFreeConnect(SQLHDBC connection) {
    return hostSqlFreeHandle(SQL_HANDLE_DBC, connection);
}

SQLRETURN hostSqlSetEnvAttr(SQLHENV environment, SQLINTEGER attribute, SQLPOINTER value,
                            SQLINTEGER length) {
    HandleRegistry::instance().clearDiagnostics(environment);
    if (attribute != kEventAttribute)
        return SQLSetEnvAttr(environment, attribute, value, length);
    if (environment == SQL_NULL_HANDLE)
        return SQL_INVALID_HANDLE;
    const auto setting = reinterpret_cast<std::uintptr_t>(value);
    if (setting > 1)
        return failOwn(environment, "HY024",
                       "invalid value " + std::to_string(setting) + " for attribute 20000");
    HandleRegistry::instance().setEventsEnabled(environment, setting == 1);
    TRACE(agentTrace(), 4, "database events %s; the host sends none", setting == 1 ? "on" : "off");
    return SQL_SUCCESS;
}

SQLRETURN hostSqlGetEnvAttr(SQLHENV environment, SQLINTEGER attribute, SQLPOINTER value,
                            SQLINTEGER bufferLength, SQLINTEGER* length) {
    HandleRegistry::instance().clearDiagnostics(environment);
    if (attribute != kEventAttribute)
        return SQLGetEnvAttr(environment, attribute, value, bufferLength, length);
    if (environment == SQL_NULL_HANDLE)
        return SQL_INVALID_HANDLE;
    if (value != nullptr) {
        const SQLUINTEGER setting = HandleRegistry::instance().eventsEnabled(environment) ? 1 : 0;
        std::memcpy(value, &setting, sizeof setting);
    }
    if (length != nullptr)
        *length = sizeof(SQLUINTEGER);
    return SQL_SUCCESS;
}

SQLRETURN hostSqlConnect(SQLHDBC connection, SQLCHAR* serverName, SQLSMALLINT serverNameLength,
                         SQLCHAR* /*userName*/, SQLSMALLINT /*userNameLength*/,
                         SQLCHAR* /*authentication*/, SQLSMALLINT /*authenticationLength*/) {
    if (connection == SQL_NULL_HANDLE)
        return SQL_INVALID_HANDLE;
    HandleRegistry::instance().clearDiagnostics(connection);
    std::string name;
    if (!textOf(serverName, serverNameLength, name))
        return failOwn(connection, "HY090", "invalid length of the server name");
    std::string connectString;
    std::string reason;
    if (!AgentConfiguration::instance().connectStringFor(name, connectString, reason))
        return failOwn(connection, "08001", reason);
    TRACE(agentTrace(), 4, "connect %s: %s", name.c_str(), withoutPassword(connectString).c_str());
    const SQLRETURN rc = connectByString(connection, connectString);
    if (!succeeded(rc)) {
        TRACE(agentTrace(), 1, "connect %s failed: %s", name.c_str(),
              diagnosticsText(readDiagnostics(SQL_HANDLE_DBC, connection)).c_str());
        return rc;
    }
    std::vector<SqlDiagnostic> failure;
    if (!ensureTablesView(connection, failure)) {
        SQLDisconnect(connection);
        TRACE(agentTrace(), 1, "connect %s: no system table view: %s", name.c_str(),
              diagnosticsText(failure).c_str());
        HandleRegistry::instance().setDiagnostics(connection, failure);
        return SQL_ERROR;
    }
    notifyClientLogLine(3, ("connected to " + name).c_str());
    return rc;
}

SQLRETURN hostSqlDisconnect(SQLHDBC connection) {
    HandleRegistry& registry = HandleRegistry::instance();
    registry.clearDiagnostics(connection);
    // A disconnect ends the connection's statements. The SQLite driver refuses to
    // disconnect while one is allocated, and the load module does not free its own.
    for (void* statement : registry.statementsOf(connection)) {
        SQLFreeHandle(SQL_HANDLE_STMT, statement);
        registry.forget(statement);
    }
    return SQLDisconnect(connection);
}

SQLRETURN hostSqlExecDirect(SQLHSTMT statement, SQLCHAR* text, SQLINTEGER textLength) {
    return withMappedText(statement, text, textLength, [](SQLHSTMT s, SQLCHAR* t, SQLINTEGER n) {
        return SQLExecDirect(s, t, n);
    });
}

SQLRETURN hostSqlPrepare(SQLHSTMT statement, SQLCHAR* text, SQLINTEGER textLength) {
    return withMappedText(statement, text, textLength,
                          [](SQLHSTMT s, SQLCHAR* t, SQLINTEGER n) { return SQLPrepare(s, t, n); });
}

SQLRETURN hostSqlGetDiagRec(SQLSMALLINT handleType, SQLHANDLE handle, SQLSMALLINT record,
                            SQLCHAR* state, SQLINTEGER* nativeError, SQLCHAR* message,
                            SQLSMALLINT bufferLength, SQLSMALLINT* textLength) {
    std::vector<SqlDiagnostic> own;
    if (handle == SQL_NULL_HANDLE || !HandleRegistry::instance().diagnostics(handle, own)) {
        const SQLRETURN rc = SQLGetDiagRec(handleType, handle, record, state, nativeError, message,
                                           bufferLength, textLength);
        if (succeeded(rc) && state != nullptr && lostLink(handleType, handle, state))
            std::memcpy(state, kLinkFailure, sizeof kLinkFailure);
        return rc;
    }
    if (record < 1 || bufferLength < 0)
        return SQL_ERROR;
    if (static_cast<std::size_t>(record) > own.size())
        return SQL_NO_DATA;
    const SqlDiagnostic& entry = own[static_cast<std::size_t>(record) - 1];
    if (state != nullptr) {
        std::memset(state, 0, 6);
        std::memcpy(state, entry.state.data(), std::min<std::size_t>(entry.state.size(), 5));
    }
    if (nativeError != nullptr)
        *nativeError = entry.nativeError;
    if (textLength != nullptr)
        *textLength =
            static_cast<SQLSMALLINT>(std::min<std::size_t>(entry.message.size(), SHRT_MAX));
    if (message == nullptr || bufferLength == 0)
        return SQL_SUCCESS;
    const std::size_t room = static_cast<std::size_t>(bufferLength) - 1;
    const std::size_t copied = std::min(room, entry.message.size());
    std::memcpy(message, entry.message.data(), copied);
    message[copied] = '\0';
    return copied < entry.message.size() ? SQL_SUCCESS_WITH_INFO : SQL_SUCCESS;
}

SQLRETURN hostSqlEventReceive(SQLHENV environment, union SIGNAL* signal) {
    // The caller gave the buffer up; only a kernel process can free it.
    if (signal != nullptr && ose_current_process_or_zero() != 0)
        free_buf(&signal);
    if (environment == SQL_NULL_HANDLE)
        return SQL_INVALID_HANDLE;
    HandleRegistry::instance().clearDiagnostics(environment);
    TRACE(agentTrace(), 4, "a database event signal came, but the host sends none: no event");
    return SQL_NO_DATA;
}

SQLRETURN hostSqlEventGet(SQLHENV environment, SQLINTEGER* /*functionId*/,
                          SQLRETURN* /*functionResult*/, SQLHANDLE* /*handle*/) {
    if (environment == SQL_NULL_HANDLE)
        return SQL_INVALID_HANDLE;
    HandleRegistry::instance().clearDiagnostics(environment);
    return SQL_NO_DATA;
}

}  // namespace hostdb
