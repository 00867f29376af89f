// The load module's client of the node's SQL database.
//
// Three pieces: the process "VqDb_name_proc" follows the name server and knows under
// which name the database is published (TarvoDb_getName); the agent step
// (tarvo_dbagent.h) fills the call table once at start; the TarvoDb_ functions below
// connect, disconnect, reconnect and read errors through that table.
//
// The SQL calls themselves are reached through the inline wrappers in the namespace
// tarvodb (tarvodb::SQLExecDirect, ...). They carry the interface's names but live in
// a namespace of their own, so a file may also include an ODBC header (first) without
// a clash; call them qualified. A wrapper whose table entry is empty (the agent has not
// answered) returns SQL_ERROR instead of calling through a null address.
#ifndef TARVO_DATABASE_H
#define TARVO_DATABASE_H

#include "ose.h"
#include "tarvo_sqlcalltable.h"

#include <cstdint>

/// The handles of one connection, filled by TarvoDb_init.
struct TarvoDbHandles {
    TarvoSqlHandle environment;
    TarvoSqlHandle connection;
    TarvoSqlHandle statement;
    /// 1 while connected.
    uint32_t connected;
};

/// The size of the buffer that holds the database's name, NUL included.
inline constexpr std::size_t kTarvoDbNameSize = 17;
/// The name the database is published under at the name server.
inline constexpr const char* kTarvoDbServiceName = "Vq_database";

/// Allocates the handles, waits for the database's name and connects; true when
/// connected. A failure disconnects what was made and returns false.
bool TarvoDb_init(TarvoDbHandles* handles);
/// Disconnects and frees the connection and environment handles; true if every step worked.
bool TarvoDb_disconnect(TarvoDbHandles* handles);
/// Disconnects and connects again until it works, with no upper limit; always true.
bool TarvoDb_reconnect(TarvoDbHandles* handles);
/// Hands a database event signal (TARVO_DB_EVENT_SIG) to the interface, which takes
/// the buffer over: the caller must not use or free it afterwards. A lost connection
/// among the events reconnects before returning. False on an event it does not know.
bool TarvoDb_handleSignal(TarvoDbHandles* handles, union SIGNAL* signal);
/// Waits (at most thirty minutes) for the database to be published and points *name
/// at its name ("ose/rtrdb"); true when known, else *name is null.
bool TarvoDb_getName(char** name);
/// The diagnostics of a handle as one text in *text, a signal buffer the caller frees
/// with free_buf(reinterpret_cast<union SIGNAL**>(text)); empty for a null handle.
/// *disconnected tells whether a record said the connection was lost (state 08S01).
void TarvoDb_getError(TarvoSqlSmallInt handleType, TarvoSqlHandle handle, char** text,
                      bool* disconnected);
/// Looks a table up by its (lower-case) name in the system table `tables`; false when
/// the query failed, else *exists tells.
bool TarvoDb_tableExists(TarvoDbHandles* handles, const char* name, bool* exists);

/// The SQL calls of the load module through the call table.
namespace tarvodb {

template <class Fn>
inline Fn entry(TarvoSqlCall which) {
    return tarvoSqlFunction<Fn>(tarvoDbAgentTable, which);
}

/// Allocates an environment (1), connection (2) or statement (3) handle.
inline TarvoSqlReturn SQLAllocHandle(TarvoSqlSmallInt handleType, TarvoSqlHandle inputHandle,
                                     TarvoSqlHandle* outputHandle) {
    const auto fn = entry<TarvoSqlAllocHandleFn>(TarvoSqlCall::SQLAllocHandle);
    return fn != nullptr ? fn(handleType, inputHandle, outputHandle) : SQL_ERROR;
}
/// Frees a handle.
inline TarvoSqlReturn SQLFreeHandle(TarvoSqlSmallInt handleType, TarvoSqlHandle handle) {
    const auto fn = entry<TarvoSqlFreeHandleFn>(TarvoSqlCall::SQLFreeHandle);
    return fn != nullptr ? fn(handleType, handle) : SQL_ERROR;
}
/// Sets an environment attribute.
inline TarvoSqlReturn SQLSetEnvAttr(TarvoSqlHandle environment, TarvoSqlInteger attribute,
                                    TarvoSqlPointer value, TarvoSqlInteger length) {
    const auto fn = entry<TarvoSqlSetEnvAttrFn>(TarvoSqlCall::SQLSetEnvAttr);
    return fn != nullptr ? fn(environment, attribute, value, length) : SQL_ERROR;
}
/// Connects to the server of that name.
inline TarvoSqlReturn SQLConnect(TarvoSqlHandle connection, TarvoSqlChar* serverName,
                                 TarvoSqlSmallInt serverNameLength, TarvoSqlChar* userName,
                                 TarvoSqlSmallInt userNameLength, TarvoSqlChar* authentication,
                                 TarvoSqlSmallInt authenticationLength) {
    const auto fn = entry<TarvoSqlConnectFn>(TarvoSqlCall::SQLConnect);
    return fn != nullptr ? fn(connection, serverName, serverNameLength, userName, userNameLength,
                              authentication, authenticationLength)
                         : SQL_ERROR;
}
/// Disconnects.
inline TarvoSqlReturn SQLDisconnect(TarvoSqlHandle connection) {
    const auto fn = entry<TarvoSqlDisconnectFn>(TarvoSqlCall::SQLDisconnect);
    return fn != nullptr ? fn(connection) : SQL_ERROR;
}
/// Runs one statement.
inline TarvoSqlReturn SQLExecDirect(TarvoSqlHandle statement, TarvoSqlChar* text,
                                    TarvoSqlInteger textLength) {
    const auto fn = entry<TarvoSqlExecDirectFn>(TarvoSqlCall::SQLExecDirect);
    return fn != nullptr ? fn(statement, text, textLength) : SQL_ERROR;
}
/// Moves to the next row of the result.
inline TarvoSqlReturn SQLFetch(TarvoSqlHandle statement) {
    const auto fn = entry<TarvoSqlFetchFn>(TarvoSqlCall::SQLFetch);
    return fn != nullptr ? fn(statement) : SQL_ERROR;
}
/// Reads one column of the current row.
inline TarvoSqlReturn SQLGetData(TarvoSqlHandle statement, TarvoSqlUSmallInt column,
                                 TarvoSqlSmallInt targetType, TarvoSqlPointer target,
                                 TarvoSqlLen bufferLength, TarvoSqlLen* indicator) {
    const auto fn = entry<TarvoSqlGetDataFn>(TarvoSqlCall::SQLGetData);
    return fn != nullptr ? fn(statement, column, targetType, target, bufferLength, indicator)
                         : SQL_ERROR;
}
/// Closes the statement's result.
inline TarvoSqlReturn SQLCloseCursor(TarvoSqlHandle statement) {
    const auto fn = entry<TarvoSqlCloseCursorFn>(TarvoSqlCall::SQLCloseCursor);
    return fn != nullptr ? fn(statement) : SQL_ERROR;
}
/// Reads one diagnostic record of a handle.
inline TarvoSqlReturn SQLGetDiagRec(TarvoSqlSmallInt handleType, TarvoSqlHandle handle,
                                    TarvoSqlSmallInt record, TarvoSqlChar* state,
                                    TarvoSqlInteger* nativeError, TarvoSqlChar* message,
                                    TarvoSqlSmallInt bufferLength, TarvoSqlSmallInt* textLength) {
    const auto fn = entry<TarvoSqlGetDiagRecFn>(TarvoSqlCall::SQLGetDiagRec);
    return fn != nullptr ? fn(handleType, handle, record, state, nativeError, message, bufferLength,
                              textLength)
                         : SQL_ERROR;
}
/// Hands a database event signal to the interface, which takes the buffer over; with
/// no interface the buffer is freed here and SQL_ERROR returned.
inline TarvoSqlReturn SQLEventReceive(TarvoSqlHandle environment, union SIGNAL* signal) {
    const auto fn = entry<TarvoSqlEventReceiveFn>(TarvoSqlCall::SQLEventReceive);
    if (fn == nullptr) {
        if (signal != nullptr) {
            free_buf(&signal);
        }
        return SQL_ERROR;
    }
    return fn(environment, signal);
}
/// Takes the next event received.
inline TarvoSqlReturn SQLEventGet(TarvoSqlHandle environment, TarvoSqlInteger* functionId,
                                  TarvoSqlReturn* functionResult, TarvoSqlHandle* handle) {
    const auto fn = entry<TarvoSqlEventGetFn>(TarvoSqlCall::SQLEventGet);
    return fn != nullptr ? fn(environment, functionId, functionResult, handle) : SQL_ERROR;
}

}  // namespace tarvodb

#endif  // TARVO_DATABASE_H
