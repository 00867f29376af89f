// OdbcTiming: the time a benchmark program spends in ODBC calls, measured where every
// ODBC call of the process passes. Included by one source file of the program: it defines
// the unixODBC entry points that the call table and the services use, times each
// outermost call of a thread and forwards it to the real one (dlsym RTLD_NEXT). Time and
// calls add up per thread role (t_role); a program without roles reads role 0. A program
// that wants more entry points defines them with timed() as these are.
#ifndef BENCH_ODBC_TIMING_H
#define BENCH_ODBC_TIMING_H

#include <sql.h>

#include <dlfcn.h>

#include <atomic>
#include <chrono>
#include <cstdint>

namespace {

constexpr int kRoles = 2;
std::atomic<int64_t> g_odbcNanos[kRoles] = {};
std::atomic<int64_t> g_odbcCalls[kRoles] = {};
thread_local int t_depth = 0;
thread_local int t_role = 0;

// Each entry point keeps its own real function (several share one type).
template <class Fn, class... Args>
SQLRETURN timed(Fn& real, const char* name, Args... args) {
    if (real == nullptr) {
        real = reinterpret_cast<Fn>(dlsym(RTLD_NEXT, name));
    }
    if (real == nullptr) {
        return SQL_ERROR;
    }
    if (t_depth++ > 0) {
        const SQLRETURN result = real(args...);
        --t_depth;
        return result;
    }
    const auto start = std::chrono::steady_clock::now();
    const SQLRETURN result = real(args...);
    g_odbcNanos[t_role] += std::chrono::duration_cast<std::chrono::nanoseconds>(
                               std::chrono::steady_clock::now() - start)
                               .count();
    ++g_odbcCalls[t_role];
    --t_depth;
    return result;
}

}  // namespace

extern "C" {
SQLRETURN SQL_API SQLExecDirect(SQLHSTMT s, SQLCHAR* t, SQLINTEGER l) {
    static SQLRETURN (*real)(SQLHSTMT, SQLCHAR*, SQLINTEGER) = nullptr;
    return timed(real, "SQLExecDirect", s, t, l);
}
SQLRETURN SQL_API SQLPrepare(SQLHSTMT s, SQLCHAR* t, SQLINTEGER l) {
    static SQLRETURN (*real)(SQLHSTMT, SQLCHAR*, SQLINTEGER) = nullptr;
    return timed(real, "SQLPrepare", s, t, l);
}
SQLRETURN SQL_API SQLFetch(SQLHSTMT s) {
    static SQLRETURN (*real)(SQLHSTMT) = nullptr;
    return timed(real, "SQLFetch", s);
}
SQLRETURN SQL_API SQLGetData(SQLHSTMT s, SQLUSMALLINT c, SQLSMALLINT t, SQLPOINTER v, SQLLEN l,
                             SQLLEN* i) {
    static SQLRETURN (*real)(SQLHSTMT, SQLUSMALLINT, SQLSMALLINT, SQLPOINTER, SQLLEN, SQLLEN*) =
        nullptr;
    return timed(real, "SQLGetData", s, c, t, v, l, i);
}
SQLRETURN SQL_API SQLCloseCursor(SQLHSTMT s) {
    static SQLRETURN (*real)(SQLHSTMT) = nullptr;
    return timed(real, "SQLCloseCursor", s);
}
SQLRETURN SQL_API SQLFreeStmt(SQLHSTMT s, SQLUSMALLINT o) {
    static SQLRETURN (*real)(SQLHSTMT, SQLUSMALLINT) = nullptr;
    return timed(real, "SQLFreeStmt", s, o);
}
SQLRETURN SQL_API SQLEndTran(SQLSMALLINT t, SQLHANDLE h, SQLSMALLINT c) {
    static SQLRETURN (*real)(SQLSMALLINT, SQLHANDLE, SQLSMALLINT) = nullptr;
    return timed(real, "SQLEndTran", t, h, c);
}
SQLRETURN SQL_API SQLSetConnectAttr(SQLHDBC h, SQLINTEGER a, SQLPOINTER v, SQLINTEGER l) {
    static SQLRETURN (*real)(SQLHDBC, SQLINTEGER, SQLPOINTER, SQLINTEGER) = nullptr;
    return timed(real, "SQLSetConnectAttr", h, a, v, l);
}
SQLRETURN SQL_API SQLAllocHandle(SQLSMALLINT t, SQLHANDLE i, SQLHANDLE* o) {
    static SQLRETURN (*real)(SQLSMALLINT, SQLHANDLE, SQLHANDLE*) = nullptr;
    return timed(real, "SQLAllocHandle", t, i, o);
}
SQLRETURN SQL_API SQLFreeHandle(SQLSMALLINT t, SQLHANDLE h) {
    static SQLRETURN (*real)(SQLSMALLINT, SQLHANDLE) = nullptr;
    return timed(real, "SQLFreeHandle", t, h);
}
}

#endif  // BENCH_ODBC_TIMING_H
