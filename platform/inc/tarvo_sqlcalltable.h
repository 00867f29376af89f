// The SQL call-level interface as the database agent hands it over: which entry of
// the call table (tarvo_dbagent.h) holds which function, the C signatures of the
// functions the load module calls, and the constants it uses.
//
// The types are the standard ones of the interface, spelled with fixed-width types
// so that no ODBC header is needed: a user casts an entry to its function type,
//   auto fetch = tarvoSqlFunction<TarvoSqlFetchFn>(tarvoDbAgentTable, TarvoSqlCall::SQLFetch);
// Entries the agent does not provide are null. The constants carry the standard
// names and values; a file that also includes an ODBC header includes it first.
#ifndef TARVO_SQLCALLTABLE_H
#define TARVO_SQLCALLTABLE_H

#include "tarvo_dbagent.h"

#include <cstddef>
#include <cstdint>

/// SQLRETURN: the result of every call.
typedef int16_t TarvoSqlReturn;
/// SQLSMALLINT and SQLUSMALLINT.
typedef int16_t TarvoSqlSmallInt;
typedef uint16_t TarvoSqlUSmallInt;
/// SQLINTEGER: 32 bits on every platform.
typedef int32_t TarvoSqlInteger;
/// SQLLEN: pointer-wide, as the interface defines it on 32- and 64-bit machines alike.
typedef intptr_t TarvoSqlLen;
/// SQLCHAR: texts are byte strings.
typedef uint8_t TarvoSqlChar;
/// SQLPOINTER.
typedef void* TarvoSqlPointer;
/// SQLHANDLE (SQLHENV, SQLHDBC, SQLHSTMT): pointer-wide, opaque.
typedef void* TarvoSqlHandle;

/// The order of the call table. The first twelve are the ones the load module calls;
/// the rest of the interface follows in alphabetical order, then reserved entries.
enum class TarvoSqlCall : std::size_t {
    SQLAllocHandle = 0,
    SQLFreeHandle,
    SQLSetEnvAttr,
    SQLConnect,
    SQLDisconnect,
    SQLExecDirect,
    SQLFetch,
    SQLGetData,
    SQLCloseCursor,
    SQLGetDiagRec,
    SQLEventReceive,
    SQLEventGet,
    SQLAllocConnect,
    SQLAllocEnv,
    SQLAllocHandleStd,
    SQLAllocStmt,
    SQLBindCol,
    SQLBindParam,
    SQLBindParameter,
    SQLBrowseConnect,
    SQLBulkOperations,
    SQLCancel,
    SQLCancelHandle,
    SQLColAttribute,
    SQLColAttributes,
    SQLColumnPrivileges,
    SQLColumns,
    SQLCopyDesc,
    SQLDataSources,
    SQLDescribeCol,
    SQLDescribeParam,
    SQLDriverConnect,
    SQLDrivers,
    SQLEndTran,
    SQLError,
    SQLExecute,
    SQLExtendedFetch,
    SQLFetchScroll,
    SQLForeignKeys,
    SQLFreeConnect,
    SQLFreeEnv,
    SQLFreeStmt,
    SQLGetConnectAttr,
    SQLGetConnectOption,
    SQLGetCursorName,
    SQLGetDescField,
    SQLGetDescRec,
    SQLGetDiagField,
    SQLGetEnvAttr,
    SQLGetFunctions,
    SQLGetInfo,
    SQLGetStmtAttr,
    SQLGetStmtOption,
    SQLGetTypeInfo,
    SQLMoreResults,
    SQLNativeSql,
    SQLNumParams,
    SQLNumResultCols,
    SQLParamData,
    SQLParamOptions,
    SQLPrepare,
    SQLPrimaryKeys,
    SQLProcedureColumns,
    SQLProcedures,
    SQLPutData,
    SQLRowCount,
    SQLSetConnectAttr,
    SQLSetConnectOption,
    SQLSetCursorName,
    SQLSetDescField,
    SQLSetDescRec,
    SQLSetParam,
    SQLSetPos,
    SQLSetScrollOptions,
    SQLSetStmtAttr,
    SQLSetStmtOption,
    SQLSpecialColumns,
    SQLStatistics,
    SQLTablePrivileges,
    SQLTables,
    SQLTransact,
    /// From here to the end the entries are reserved and null.
    FirstReserved,
    Count = kTarvoDbAgentTableSize
};

static_assert(static_cast<std::size_t>(TarvoSqlCall::FirstReserved) <= kTarvoDbAgentTableSize,
              "the named entries must fit the agent's table");

// The functions the load module calls.
typedef TarvoSqlReturn (*TarvoSqlAllocHandleFn)(TarvoSqlSmallInt handleType,
                                                TarvoSqlHandle inputHandle,
                                                TarvoSqlHandle* outputHandle);
typedef TarvoSqlReturn (*TarvoSqlFreeHandleFn)(TarvoSqlSmallInt handleType, TarvoSqlHandle handle);
typedef TarvoSqlReturn (*TarvoSqlSetEnvAttrFn)(TarvoSqlHandle environment,
                                               TarvoSqlInteger attribute, TarvoSqlPointer value,
                                               TarvoSqlInteger length);
typedef TarvoSqlReturn (*TarvoSqlConnectFn)(TarvoSqlHandle connection, TarvoSqlChar* serverName,
                                            TarvoSqlSmallInt serverNameLength,
                                            TarvoSqlChar* userName, TarvoSqlSmallInt userNameLength,
                                            TarvoSqlChar* authentication,
                                            TarvoSqlSmallInt authenticationLength);
typedef TarvoSqlReturn (*TarvoSqlDisconnectFn)(TarvoSqlHandle connection);
typedef TarvoSqlReturn (*TarvoSqlExecDirectFn)(TarvoSqlHandle statement, TarvoSqlChar* text,
                                               TarvoSqlInteger textLength);
typedef TarvoSqlReturn (*TarvoSqlFetchFn)(TarvoSqlHandle statement);
typedef TarvoSqlReturn (*TarvoSqlGetDataFn)(TarvoSqlHandle statement, TarvoSqlUSmallInt column,
                                            TarvoSqlSmallInt targetType, TarvoSqlPointer target,
                                            TarvoSqlLen bufferLength, TarvoSqlLen* indicator);
typedef TarvoSqlReturn (*TarvoSqlCloseCursorFn)(TarvoSqlHandle statement);
typedef TarvoSqlReturn (*TarvoSqlGetDiagRecFn)(TarvoSqlSmallInt handleType, TarvoSqlHandle handle,
                                               TarvoSqlSmallInt record, TarvoSqlChar* state,
                                               TarvoSqlInteger* nativeError, TarvoSqlChar* message,
                                               TarvoSqlSmallInt bufferLength,
                                               TarvoSqlSmallInt* textLength);
/// Hands a database event signal to the interface, which takes the buffer over.
/// SQL_NO_DATA: the signal held no event.
typedef TarvoSqlReturn (*TarvoSqlEventReceiveFn)(TarvoSqlHandle environment, union SIGNAL* signal);
/// Takes the next event received: the function it concerns, that function's result and
/// the handle. SQL_NO_DATA: no event left.
typedef TarvoSqlReturn (*TarvoSqlEventGetFn)(TarvoSqlHandle environment,
                                             TarvoSqlInteger* functionId,
                                             TarvoSqlReturn* functionResult,
                                             TarvoSqlHandle* handle);

/// The entry of the table as a function of type Fn (null when the entry is empty).
template <class Fn>
inline Fn tarvoSqlFunction(const TarvoDbEntry* table, TarvoSqlCall which) {
    return reinterpret_cast<Fn>(table[static_cast<std::size_t>(which)]);
}

/// The database event signal that the interface may send to its client.
inline constexpr SIGSELECT TARVO_DB_EVENT_SIG = 0x504F4C59;
/// The environment attribute that switches the asynchronous events on (value 1).
inline constexpr TarvoSqlInteger TARVO_SQL_ATTR_ASYNC_EVENTS = 20000;
/// The event function id that says the connection was lost.
inline constexpr TarvoSqlInteger TARVO_SQL_EVENT_CONNECTION_LOST = 9;
/// The state of a failed communication link: the connection is lost.
inline constexpr const char* TARVO_SQL_STATE_LINK_FAILURE = "08S01";

// Standard names and values; spelled as the ODBC headers spell them.
#ifndef SQL_SUCCESS
#define SQL_SUCCESS 0
#endif
#ifndef SQL_SUCCESS_WITH_INFO
#define SQL_SUCCESS_WITH_INFO 1
#endif
#ifndef SQL_STILL_EXECUTING
#define SQL_STILL_EXECUTING 2
#endif
#ifndef SQL_NEED_DATA
#define SQL_NEED_DATA 99
#endif
#ifndef SQL_NO_DATA
#define SQL_NO_DATA 100
#endif
#ifndef SQL_ERROR
#define SQL_ERROR (-1)
#endif
#ifndef SQL_INVALID_HANDLE
#define SQL_INVALID_HANDLE (-2)
#endif
#ifndef SQL_NTS
#define SQL_NTS (-3)
#endif
#ifndef SQL_NULL_DATA
#define SQL_NULL_DATA (-1)
#endif
#ifndef SQL_HANDLE_ENV
#define SQL_HANDLE_ENV 1
#endif
#ifndef SQL_HANDLE_DBC
#define SQL_HANDLE_DBC 2
#endif
#ifndef SQL_HANDLE_STMT
#define SQL_HANDLE_STMT 3
#endif
#ifndef SQL_C_CHAR
#define SQL_C_CHAR 1
#endif
#ifndef SQL_C_LONG
#define SQL_C_LONG 4
#endif
#ifndef SQL_NULL_HANDLE
#define SQL_NULL_HANDLE 0L
#endif

#endif  // TARVO_SQLCALLTABLE_H
