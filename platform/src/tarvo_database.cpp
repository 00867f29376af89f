// TarvoDb_: connect, disconnect, reconnect, events, diagnostics and table lookup
// through the call table.
#include "tarvo_database.h"

#include "dynTrace.h"
#include "traceGroups.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace {

constexpr std::size_t kErrorTextSize = 2000;
constexpr TarvoSqlSmallInt kDiagMessageSize = 256;
// Records beyond this are not read: a text of kErrorTextSize is full long before.
constexpr TarvoSqlSmallInt kMaxDiagRecords = 64;
constexpr SIGSELECT kErrorTextSig = 0x10B00;
constexpr OSTIME kReconnectPauseMs = 250;

bool succeeded(TarvoSqlReturn rc) {
    return rc == SQL_SUCCESS || rc == SQL_SUCCESS_WITH_INFO;
}

// The diagnostics of a handle as one text; sets disconnected on a lost connection.
std::string diagnostics(TarvoSqlSmallInt handleType, TarvoSqlHandle handle, bool& disconnected) {
    disconnected = false;
    std::string text;
    if (handle == nullptr) {
        return text;
    }
    for (TarvoSqlSmallInt record = 1; record <= kMaxDiagRecords; ++record) {
        TarvoSqlChar state[6] = {};
        TarvoSqlInteger native = 0;
        TarvoSqlChar message[kDiagMessageSize] = {};
        TarvoSqlSmallInt length = 0;
        const TarvoSqlReturn rc = tarvodb::SQLGetDiagRec(handleType, handle, record, state, &native,
                                                         message, kDiagMessageSize, &length);
        if (!succeeded(rc)) {
            break;
        }
        message[kDiagMessageSize - 1] = '\0';
        const char* stateText = reinterpret_cast<const char*>(state);
        char item[kDiagMessageSize + 64];
        std::snprintf(item, sizeof item, "%s<%d> %s: %s (%d)", record == 1 ? "" : "; ", record,
                      stateText, reinterpret_cast<const char*>(message), static_cast<int>(native));
        text += item;
        if (std::strncmp(stateText, TARVO_SQL_STATE_LINK_FAILURE, 5) == 0) {
            TRACE_GROUP(traceGroups::TARVO_DBI_IF, 9, "DB disconnected");
            disconnected = true;
        }
        if (text.size() >= kErrorTextSize - 1) {
            break;
        }
    }
    if (text.size() > kErrorTextSize - 1) {
        text.resize(kErrorTextSize - 1);
    }
    return text;
}

std::string diagnostics(TarvoSqlSmallInt handleType, TarvoSqlHandle handle) {
    bool ignored = false;
    return diagnostics(handleType, handle, ignored);
}

}  // namespace

void TarvoDb_getError(TarvoSqlSmallInt handleType, TarvoSqlHandle handle, char** text,
                      bool* disconnected) {
    bool lost = false;
    const std::string found = diagnostics(handleType, handle, lost);
    if (disconnected != nullptr) {
        *disconnected = lost;
    }
    if (text == nullptr) {
        return;
    }
    // The text takes the whole buffer, its first word included: the buffer is only a
    // piece of memory the caller frees with free_buf.
    const std::size_t size =
        found.size() + 1 < sizeof(SIGSELECT) ? sizeof(SIGSELECT) : found.size() + 1;
    union SIGNAL* buffer = alloc(static_cast<OSBUFSIZE>(size), kErrorTextSig);
    char* copy = reinterpret_cast<char*>(buffer);
    std::memcpy(copy, found.c_str(), found.size() + 1);
    *text = copy;
}

bool TarvoDb_init(TarvoDbHandles* handles) {
    if (handles == nullptr) {
        return false;
    }
    *handles = TarvoDbHandles{};
    bool ok = false;
    do {
        TRACE_GROUP(traceGroups::TARVO_DBI_IF, 5, "Allocate environment handle");
        if (!succeeded(tarvodb::SQLAllocHandle(SQL_HANDLE_ENV, nullptr, &handles->environment))) {
            TRACE_GROUP(traceGroups::TARVO_DBI_IF, 1, "Failed to allocate environment handle, %s",
                        diagnostics(SQL_HANDLE_ENV, handles->environment).c_str());
            break;
        }
        TRACE_GROUP(traceGroups::TARVO_DBI_IF, 5, "Enable async. events on environment handle");
        if (!succeeded(tarvodb::SQLSetEnvAttr(handles->environment, TARVO_SQL_ATTR_ASYNC_EVENTS,
                                              reinterpret_cast<TarvoSqlPointer>(1), 0))) {
            TRACE_GROUP(traceGroups::TARVO_DBI_IF, 1, "Failed to set env attr: %s",
                        diagnostics(SQL_HANDLE_ENV, handles->environment).c_str());
            break;
        }
        TRACE_GROUP(traceGroups::TARVO_DBI_IF, 5, "Allocate connection handle");
        if (!succeeded(tarvodb::SQLAllocHandle(SQL_HANDLE_DBC, handles->environment,
                                               &handles->connection))) {
            TRACE_GROUP(traceGroups::TARVO_DBI_IF, 1, "Failed to allocate connection handle, %s",
                        diagnostics(SQL_HANDLE_ENV, handles->environment).c_str());
            break;
        }
        char* name = nullptr;
        if (!TarvoDb_getName(&name)) {
            TRACE_GROUP(traceGroups::TARVO_DBI_IF, 1,
                        "Could not retrieve database name within 30 minutes.");
            break;
        }
        TRACE_GROUP(traceGroups::TARVO_DBI_IF, 9, "Retrieved database name %s", name);
        TRACE_GROUP(traceGroups::TARVO_DBI_IF, 5, "Connect to database");
        if (!succeeded(tarvodb::SQLConnect(handles->connection,
                                           reinterpret_cast<TarvoSqlChar*>(name), SQL_NTS, nullptr,
                                           SQL_NTS, nullptr, SQL_NTS))) {
            TRACE_GROUP(traceGroups::TARVO_DBI_IF, 9, "Failed to connect to database, %s",
                        diagnostics(SQL_HANDLE_DBC, handles->connection).c_str());
            break;
        }
        handles->connected = 1;
        TRACE_GROUP(traceGroups::TARVO_DBI_IF, 5, "Allocate statement handle");
        if (!succeeded(tarvodb::SQLAllocHandle(SQL_HANDLE_STMT, handles->connection,
                                               &handles->statement))) {
            TRACE_GROUP(traceGroups::TARVO_DBI_IF, 1, "Failed to allocate a statement handle, %s",
                        diagnostics(SQL_HANDLE_DBC, handles->connection).c_str());
            break;
        }
        ok = true;
    } while (false);
    if (!ok) {
        TarvoDb_disconnect(handles);
    }
    return ok;
}

bool TarvoDb_disconnect(TarvoDbHandles* handles) {
    if (handles == nullptr) {
        return false;
    }
    bool ok = true;
    if (handles->connected != 0) {
        TRACE_GROUP(traceGroups::TARVO_DBI_IF, 5, "Disconnect from database");
        if (!succeeded(tarvodb::SQLDisconnect(handles->connection))) {
            TRACE_GROUP(traceGroups::TARVO_DBI_IF, 9, "Failed to disconnect from database, %s",
                        diagnostics(SQL_HANDLE_DBC, handles->connection).c_str());
            ok = false;
        }
    }
    // The disconnect ends the statement with the connection; it is not freed on its own.
    handles->statement = nullptr;
    handles->connected = 0;
    if (handles->connection != nullptr) {
        TRACE_GROUP(traceGroups::TARVO_DBI_IF, 5, "Free connection handle");
        if (!succeeded(tarvodb::SQLFreeHandle(SQL_HANDLE_DBC, handles->connection))) {
            TRACE_GROUP(traceGroups::TARVO_DBI_IF, 1, "%s",
                        diagnostics(SQL_HANDLE_DBC, handles->connection).c_str());
            ok = false;
        }
        handles->connection = nullptr;
    }
    if (handles->environment != nullptr) {
        TRACE_GROUP(traceGroups::TARVO_DBI_IF, 5, "Free environment handle");
        if (!succeeded(tarvodb::SQLFreeHandle(SQL_HANDLE_ENV, handles->environment))) {
            TRACE_GROUP(traceGroups::TARVO_DBI_IF, 1, "%s",
                        diagnostics(SQL_HANDLE_ENV, handles->environment).c_str());
            ok = false;
        }
        handles->environment = nullptr;
    }
    return ok;
}

bool TarvoDb_reconnect(TarvoDbHandles* handles) {
    if (handles == nullptr) {
        return false;
    }
    TarvoDb_disconnect(handles);
    while (!TarvoDb_init(handles)) {
        TarvoDb_disconnect(handles);
        delay(kReconnectPauseMs);
    }
    TRACE_GROUP(traceGroups::TARVO_DBI_IF, 9, "Db reconnected");
    return true;
}

bool TarvoDb_handleSignal(TarvoDbHandles* handles, union SIGNAL* signal) {
    if (handles == nullptr) {
        if (signal != nullptr) {
            free_buf(&signal);
        }
        return false;
    }
    if (tarvodb::SQLEventReceive(handles->environment, signal) == SQL_NO_DATA) {
        return true;
    }
    bool lost = false;
    bool ok = true;
    for (;;) {
        TarvoSqlInteger functionId = 0;
        TarvoSqlReturn functionResult = 0;
        TarvoSqlHandle handle = nullptr;
        const TarvoSqlReturn rc =
            tarvodb::SQLEventGet(handles->environment, &functionId, &functionResult, &handle);
        if (rc == SQL_NO_DATA || !succeeded(rc)) {
            break;
        }
        if (functionId == TARVO_SQL_EVENT_CONNECTION_LOST) {
            TRACE_GROUP(traceGroups::TARVO_DBI_IF, 9, "DB disconnected, handle = 0x%x",
                        static_cast<unsigned>(reinterpret_cast<uintptr_t>(handle)));
            lost = true;
        } else {
            TRACE_GROUP(traceGroups::TARVO_DBI_IF, 1, "TARVO_DB_SIG with functionId %d",
                        static_cast<int>(functionId));
            ok = false;
        }
    }
    if (!ok) {
        return false;
    }
    if (lost) {
        TarvoDb_reconnect(handles);
    }
    return true;
}

bool TarvoDb_tableExists(TarvoDbHandles* handles, const char* name, bool* exists) {
    if (handles == nullptr || name == nullptr || exists == nullptr) {
        return false;
    }
    *exists = false;
    // A quote in the name is doubled, so that it stays inside the literal.
    std::string query = "select name from tables where name='";
    for (const char* c = name; *c != '\0'; ++c) {
        query += *c;
        if (*c == '\'') {
            query += '\'';
        }
    }
    query += "'";
    std::string text(query);
    TarvoSqlReturn rc = tarvodb::SQLExecDirect(
        handles->statement, reinterpret_cast<TarvoSqlChar*>(text.data()), SQL_NTS);
    if (succeeded(rc)) {
        rc = tarvodb::SQLFetch(handles->statement);
        if (succeeded(rc)) {
            *exists = true;
        }
    }
    if (rc == SQL_ERROR || rc == SQL_INVALID_HANDLE) {
        TRACE_GROUP(traceGroups::TARVO_DBI_IF, 1, "%s",
                    diagnostics(SQL_HANDLE_STMT, handles->statement).c_str());
        return false;
    }
    // The statement handle is shared by the client's queries: its cursor is closed here.
    tarvodb::SQLCloseCursor(handles->statement);
    return true;
}
