// The call table in the order of tarvo_sqlcalltable.h.
#include "HostSqlFunctions.h"
#include "databaseAgent.h"

// After the ODBC headers: its standard names then stand as the ODBC headers spell them.
#include "tarvo_sqlcalltable.h"

#include <type_traits>

namespace hostdb {

// The load module calls through the header's types: the functions behind them must
// have exactly those types.
static_assert(std::is_same_v<TarvoSqlAllocHandleFn, decltype(&hostSqlAllocHandle)>);
static_assert(std::is_same_v<TarvoSqlFreeHandleFn, decltype(&hostSqlFreeHandle)>);
static_assert(std::is_same_v<TarvoSqlSetEnvAttrFn, decltype(&hostSqlSetEnvAttr)>);
static_assert(std::is_same_v<TarvoSqlConnectFn, decltype(&hostSqlConnect)>);
static_assert(std::is_same_v<TarvoSqlDisconnectFn, decltype(&hostSqlDisconnect)>);
static_assert(std::is_same_v<TarvoSqlExecDirectFn, decltype(&hostSqlExecDirect)>);
static_assert(std::is_same_v<TarvoSqlFetchFn, decltype(&SQLFetch)>);
static_assert(std::is_same_v<TarvoSqlGetDataFn, decltype(&SQLGetData)>);
static_assert(std::is_same_v<TarvoSqlCloseCursorFn, decltype(&SQLCloseCursor)>);
static_assert(std::is_same_v<TarvoSqlGetDiagRecFn, decltype(&hostSqlGetDiagRec)>);
static_assert(std::is_same_v<TarvoSqlEventReceiveFn, decltype(&hostSqlEventReceive)>);
static_assert(std::is_same_v<TarvoSqlEventGetFn, decltype(&hostSqlEventGet)>);

namespace {

template <class Function>
uintptr_t address(Function* function) {
    return reinterpret_cast<uintptr_t>(function);
}

}  // namespace

void fillSqlCallTable(uintptr_t* entries, std::size_t count) {
    using C = TarvoSqlCall;
    uintptr_t table[kTarvoDbAgentTableSize] = {};
    auto put = [&table](C which, uintptr_t value) {
        table[static_cast<std::size_t>(which)] = value;
    };
    put(C::SQLAllocHandle, address(&hostSqlAllocHandle));
    put(C::SQLFreeHandle, address(&hostSqlFreeHandle));
    put(C::SQLSetEnvAttr, address(&hostSqlSetEnvAttr));
    put(C::SQLConnect, address(&hostSqlConnect));
    put(C::SQLDisconnect, address(&hostSqlDisconnect));
    put(C::SQLExecDirect, address(&hostSqlExecDirect));
    put(C::SQLFetch, address(&SQLFetch));
    put(C::SQLGetData, address(&SQLGetData));
    put(C::SQLCloseCursor, address(&SQLCloseCursor));
    put(C::SQLGetDiagRec, address(&hostSqlGetDiagRec));
    put(C::SQLEventReceive, address(&hostSqlEventReceive));
    put(C::SQLEventGet, address(&hostSqlEventGet));
    put(C::SQLAllocConnect, address(&SQLAllocConnect));
    put(C::SQLAllocEnv, address(&hostSqlAllocEnv));
    put(C::SQLAllocHandleStd, address(&SQLAllocHandleStd));
    put(C::SQLAllocStmt, address(&SQLAllocStmt));
    put(C::SQLBindCol, address(&SQLBindCol));
    put(C::SQLBindParam, address(&SQLBindParam));
    put(C::SQLBindParameter, address(&SQLBindParameter));
    put(C::SQLBrowseConnect, address(&SQLBrowseConnect));
    put(C::SQLBulkOperations, address(&SQLBulkOperations));
    put(C::SQLCancel, address(&SQLCancel));
    put(C::SQLCancelHandle, address(&SQLCancelHandle));
    put(C::SQLColAttribute, address(&SQLColAttribute));
    put(C::SQLColAttributes, address(&SQLColAttributes));
    put(C::SQLColumnPrivileges, address(&SQLColumnPrivileges));
    put(C::SQLColumns, address(&SQLColumns));
    put(C::SQLCopyDesc, address(&SQLCopyDesc));
    put(C::SQLDataSources, address(&SQLDataSources));
    put(C::SQLDescribeCol, address(&SQLDescribeCol));
    put(C::SQLDescribeParam, address(&SQLDescribeParam));
    put(C::SQLDriverConnect, address(&SQLDriverConnect));
    put(C::SQLDrivers, address(&SQLDrivers));
    put(C::SQLEndTran, address(&SQLEndTran));
    put(C::SQLError, address(&SQLError));
    put(C::SQLExecute, address(&SQLExecute));
    put(C::SQLExtendedFetch, address(&SQLExtendedFetch));
    put(C::SQLFetchScroll, address(&SQLFetchScroll));
    put(C::SQLForeignKeys, address(&SQLForeignKeys));
    put(C::SQLFreeConnect, address(&hostSqlFreeConnect));
    put(C::SQLFreeEnv, address(&hostSqlFreeEnv));
    put(C::SQLFreeStmt, address(&SQLFreeStmt));
    put(C::SQLGetConnectAttr, address(&SQLGetConnectAttr));
    put(C::SQLGetConnectOption, address(&SQLGetConnectOption));
    put(C::SQLGetCursorName, address(&SQLGetCursorName));
    put(C::SQLGetDescField, address(&SQLGetDescField));
    put(C::SQLGetDescRec, address(&SQLGetDescRec));
    put(C::SQLGetDiagField, address(&SQLGetDiagField));
    put(C::SQLGetEnvAttr, address(&hostSqlGetEnvAttr));
    put(C::SQLGetFunctions, address(&SQLGetFunctions));
    put(C::SQLGetInfo, address(&SQLGetInfo));
    put(C::SQLGetStmtAttr, address(&SQLGetStmtAttr));
    put(C::SQLGetStmtOption, address(&SQLGetStmtOption));
    put(C::SQLGetTypeInfo, address(&SQLGetTypeInfo));
    put(C::SQLMoreResults, address(&SQLMoreResults));
    put(C::SQLNativeSql, address(&SQLNativeSql));
    put(C::SQLNumParams, address(&SQLNumParams));
    put(C::SQLNumResultCols, address(&SQLNumResultCols));
    put(C::SQLParamData, address(&SQLParamData));
    put(C::SQLParamOptions, address(&SQLParamOptions));
    put(C::SQLPrepare, address(&hostSqlPrepare));
    put(C::SQLPrimaryKeys, address(&SQLPrimaryKeys));
    put(C::SQLProcedureColumns, address(&SQLProcedureColumns));
    put(C::SQLProcedures, address(&SQLProcedures));
    put(C::SQLPutData, address(&SQLPutData));
    put(C::SQLRowCount, address(&SQLRowCount));
    put(C::SQLSetConnectAttr, address(&SQLSetConnectAttr));
    put(C::SQLSetConnectOption, address(&SQLSetConnectOption));
    put(C::SQLSetCursorName, address(&SQLSetCursorName));
    put(C::SQLSetDescField, address(&SQLSetDescField));
    put(C::SQLSetDescRec, address(&SQLSetDescRec));
    put(C::SQLSetParam, address(&SQLSetParam));
    put(C::SQLSetPos, address(&SQLSetPos));
    put(C::SQLSetScrollOptions, address(&SQLSetScrollOptions));
    put(C::SQLSetStmtAttr, address(&SQLSetStmtAttr));
    put(C::SQLSetStmtOption, address(&SQLSetStmtOption));
    put(C::SQLSpecialColumns, address(&SQLSpecialColumns));
    put(C::SQLStatistics, address(&SQLStatistics));
    put(C::SQLTablePrivileges, address(&SQLTablePrivileges));
    put(C::SQLTables, address(&SQLTables));
    put(C::SQLTransact, address(&SQLTransact));
    for (std::size_t i = 0; i < count; ++i)
        entries[i] = i < kTarvoDbAgentTableSize ? table[i] : 0;
}

}  // namespace hostdb
