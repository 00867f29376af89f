// SqlCalls: the call table as the load module uses it, typed, with the sequences of
// the load module's database client written out for the tests.
#ifndef HOSTDB_TEST_SQL_CALLS_H
#define HOSTDB_TEST_SQL_CALLS_H

#include "tarvo_sqlcalltable.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace hostdbtest {

struct SqlCalls {
    TarvoSqlAllocHandleFn allocHandle;
    TarvoSqlFreeHandleFn freeHandle;
    TarvoSqlSetEnvAttrFn setEnvAttr;
    TarvoSqlConnectFn connect;
    TarvoSqlDisconnectFn disconnect;
    TarvoSqlExecDirectFn execDirect;
    TarvoSqlFetchFn fetch;
    TarvoSqlGetDataFn getData;
    TarvoSqlCloseCursorFn closeCursor;
    TarvoSqlGetDiagRecFn getDiagRec;
    TarvoSqlEventReceiveFn eventReceive;
    TarvoSqlEventGetFn eventGet;

    static SqlCalls from(const TarvoDbEntry* table) {
        using C = TarvoSqlCall;
        return SqlCalls{tarvoSqlFunction<TarvoSqlAllocHandleFn>(table, C::SQLAllocHandle),
                        tarvoSqlFunction<TarvoSqlFreeHandleFn>(table, C::SQLFreeHandle),
                        tarvoSqlFunction<TarvoSqlSetEnvAttrFn>(table, C::SQLSetEnvAttr),
                        tarvoSqlFunction<TarvoSqlConnectFn>(table, C::SQLConnect),
                        tarvoSqlFunction<TarvoSqlDisconnectFn>(table, C::SQLDisconnect),
                        tarvoSqlFunction<TarvoSqlExecDirectFn>(table, C::SQLExecDirect),
                        tarvoSqlFunction<TarvoSqlFetchFn>(table, C::SQLFetch),
                        tarvoSqlFunction<TarvoSqlGetDataFn>(table, C::SQLGetData),
                        tarvoSqlFunction<TarvoSqlCloseCursorFn>(table, C::SQLCloseCursor),
                        tarvoSqlFunction<TarvoSqlGetDiagRecFn>(table, C::SQLGetDiagRec),
                        tarvoSqlFunction<TarvoSqlEventReceiveFn>(table, C::SQLEventReceive),
                        tarvoSqlFunction<TarvoSqlEventGetFn>(table, C::SQLEventGet)};
    }

    /// The diagnostic records of a handle as "STATE: message" lines.
    std::vector<std::string> diagnostics(TarvoSqlSmallInt type, TarvoSqlHandle handle) const {
        std::vector<std::string> records;
        for (TarvoSqlSmallInt record = 1; record < 16; ++record) {
            TarvoSqlChar state[6] = {};
            TarvoSqlInteger native = 0;
            TarvoSqlChar message[256] = {};
            TarvoSqlSmallInt length = 0;
            const TarvoSqlReturn rc =
                getDiagRec(type, handle, record, state, &native, message, sizeof message, &length);
            if (rc != SQL_SUCCESS && rc != SQL_SUCCESS_WITH_INFO)
                break;
            records.push_back(std::string(reinterpret_cast<char*>(state)) + ": " +
                              reinterpret_cast<char*>(message));
        }
        return records;
    }

    /// The state of the first diagnostic record, or empty.
    std::string state(TarvoSqlSmallInt type, TarvoSqlHandle handle) const {
        const std::vector<std::string> records = diagnostics(type, handle);
        return records.empty() ? std::string() : records[0].substr(0, 5);
    }

    TarvoSqlReturn exec(TarvoSqlHandle statement, const std::string& text) const {
        return execDirect(
            statement, reinterpret_cast<TarvoSqlChar*>(const_cast<char*>(text.c_str())), SQL_NTS);
    }

    /// A text column as the load module reads it: a buffer of 0xC000 bytes.
    std::string text(TarvoSqlHandle statement, TarvoSqlUSmallInt column,
                     TarvoSqlLen* indicatorOut = nullptr) const {
        std::vector<char> buffer(0xC000);
        TarvoSqlLen indicator = 0;
        const TarvoSqlReturn rc = getData(statement, column, SQL_C_CHAR, buffer.data(),
                                          static_cast<TarvoSqlLen>(buffer.size()), &indicator);
        EXPECT_EQ(rc, SQL_SUCCESS) << "SQLGetData of column " << column;
        if (indicatorOut != nullptr)
            *indicatorOut = indicator;
        return rc == SQL_SUCCESS && indicator != SQL_NULL_DATA ? std::string(buffer.data())
                                                               : std::string();
    }

    /// An integer column as the load module reads it: SQL_C_LONG, length 4.
    int32_t integer(TarvoSqlHandle statement, TarvoSqlUSmallInt column) const {
        int32_t value = 0;
        TarvoSqlLen indicator = 0;
        EXPECT_EQ(getData(statement, column, SQL_C_LONG, &value, 4, &indicator), SQL_SUCCESS);
        return value;
    }
};

/// A text value as the load module writes it: between single quotes, each one doubled.
inline std::string quotedValue(const std::string& value) {
    std::string quoted = "'";
    for (char c : value) {
        quoted += c;
        if (c == '\'')
            quoted += '\'';
    }
    return quoted + "'";
}

/// The handles of one connection, as the load module's TarvoDb_init makes them.
struct SqlConnection {
    TarvoSqlHandle environment = nullptr;
    TarvoSqlHandle connection = nullptr;
    TarvoSqlHandle statement = nullptr;
};

/// Allocates, switches the events on, connects to serverName; the result of SQLConnect.
inline TarvoSqlReturn openConnection(const SqlCalls& sql, const char* serverName,
                                     SqlConnection& handles) {
    EXPECT_EQ(sql.allocHandle(SQL_HANDLE_ENV, nullptr, &handles.environment), SQL_SUCCESS);
    EXPECT_EQ(sql.setEnvAttr(handles.environment, TARVO_SQL_ATTR_ASYNC_EVENTS,
                             reinterpret_cast<TarvoSqlPointer>(1), 0),
              SQL_SUCCESS);
    EXPECT_EQ(sql.allocHandle(SQL_HANDLE_DBC, handles.environment, &handles.connection),
              SQL_SUCCESS);
    auto* name = reinterpret_cast<TarvoSqlChar*>(const_cast<char*>(serverName));
    const TarvoSqlReturn rc =
        sql.connect(handles.connection, name, SQL_NTS, nullptr, SQL_NTS, nullptr, SQL_NTS);
    if (rc == SQL_SUCCESS || rc == SQL_SUCCESS_WITH_INFO) {
        EXPECT_EQ(sql.allocHandle(SQL_HANDLE_STMT, handles.connection, &handles.statement),
                  SQL_SUCCESS);
    }
    return rc;
}

/// As TarvoDb_disconnect: disconnect, free the connection, free the environment.
inline void closeConnection(const SqlCalls& sql, SqlConnection& handles, bool connected = true) {
    if (connected) {
        const TarvoSqlReturn rc = sql.disconnect(handles.connection);
        EXPECT_TRUE(rc == SQL_SUCCESS || rc == SQL_SUCCESS_WITH_INFO)
            << rc << ::testing::PrintToString(sql.diagnostics(SQL_HANDLE_DBC, handles.connection));
    }
    EXPECT_EQ(sql.freeHandle(SQL_HANDLE_DBC, handles.connection), SQL_SUCCESS);
    EXPECT_EQ(sql.freeHandle(SQL_HANDLE_ENV, handles.environment), SQL_SUCCESS);
    handles = SqlConnection{};
}

/// Whether `tables` lists the table, asked as the load module asks (lower case).
inline bool tableListed(const SqlCalls& sql, TarvoSqlHandle statement, const std::string& lower) {
    EXPECT_EQ(sql.exec(statement, "select name from tables where name = '" + lower + "'"),
              SQL_SUCCESS);
    const TarvoSqlReturn rc = sql.fetch(statement);
    EXPECT_TRUE(rc == SQL_SUCCESS || rc == SQL_NO_DATA) << rc;
    if (rc == SQL_SUCCESS) {
        EXPECT_EQ(sql.text(statement, 1), lower);
    }
    EXPECT_EQ(sql.closeCursor(statement), SQL_SUCCESS);
    return rc == SQL_SUCCESS;
}

/// The load module's own statements on a fresh database: its tables in the platform's
/// dialect, rows with quotes and XML, reads through `tables` and SQLGetData.
inline void runLoadModuleStatements(const SqlCalls& sql, TarvoSqlHandle st) {
    EXPECT_FALSE(tableListed(sql, st, "fro_versions"));
    ASSERT_EQ(sql.exec(st,
                       "create table fro_versions (persistent, frotype integer, froTypeName "
                       "varchar(0), frodataTableName varchar(0), primary key(frotype))"),
              SQL_SUCCESS)
        << ::testing::PrintToString(sql.diagnostics(SQL_HANDLE_STMT, st));
    EXPECT_TRUE(tableListed(sql, st, "fro_versions"));

    // A mixed-case name is found by its lower-case form, as the load module asks.
    ASSERT_EQ(sql.exec(st,
                       "create table frodata_UlSpectrumAnalyzer_INITIAL (persistent, froid "
                       "integer, ldn varchar(0) not null, info varchar(0) not null, targetRfPort "
                       "integer not null, primary key(froid))"),
              SQL_SUCCESS)
        << ::testing::PrintToString(sql.diagnostics(SQL_HANDLE_STMT, st));
    EXPECT_TRUE(tableListed(sql, st, "frodata_ulspectrumanalyzer_initial"));
    EXPECT_FALSE(tableListed(sql, st, "frodata_other_initial"));

    // varchar(0) is unbounded: a text far longer than any fixed size fits.
    const std::string quoted = "It's O'Brien's 'port'";
    const std::string xml =
        "<struct><member name=\"a\">x &amp; y</member><member name='b'>1</member></struct>";
    const std::string dialectInText = "create table t (persistent, c varchar(0))";
    const std::string longText(30000, 'L');
    ASSERT_EQ(sql.exec(st,
                       "insert into frodata_UlSpectrumAnalyzer_INITIAL (froid, ldn, info, "
                       "targetRfPort) values (1, 'ManagedElement=1,UlSpectrumAnalyzer=1', " +
                           quotedValue(quoted) + ", 3)"),
              SQL_SUCCESS);
    ASSERT_EQ(sql.exec(st,
                       "insert into frodata_UlSpectrumAnalyzer_INITIAL (froid, ldn, info, "
                       "targetRfPort) values (2, " +
                           quotedValue(xml) + ", " + quotedValue(dialectInText) + ", -7)"),
              SQL_SUCCESS);
    ASSERT_EQ(sql.exec(st,
                       "insert into frodata_UlSpectrumAnalyzer_INITIAL (froid, ldn, info, "
                       "targetRfPort) values (3, 'long', '" +
                           longText + "', 0)"),
              SQL_SUCCESS);

    ASSERT_EQ(sql.exec(st,
                       "select froId, ldn, info, targetRfPort from "
                       "frodata_UlSpectrumAnalyzer_INITIAL order by froid"),
              SQL_SUCCESS);
    ASSERT_EQ(sql.fetch(st), SQL_SUCCESS);
    EXPECT_EQ(sql.integer(st, 1), 1);
    EXPECT_EQ(sql.text(st, 2), "ManagedElement=1,UlSpectrumAnalyzer=1");
    EXPECT_EQ(sql.text(st, 3), quoted);
    EXPECT_EQ(sql.integer(st, 4), 3);
    ASSERT_EQ(sql.fetch(st), SQL_SUCCESS);
    EXPECT_EQ(sql.text(st, 2), xml);
    EXPECT_EQ(sql.text(st, 3), dialectInText) << "a quoted text is not mapped";
    EXPECT_EQ(sql.integer(st, 4), -7);
    ASSERT_EQ(sql.fetch(st), SQL_SUCCESS);
    EXPECT_EQ(sql.text(st, 3), longText);
    EXPECT_EQ(sql.fetch(st), SQL_NO_DATA);
    EXPECT_EQ(sql.closeCursor(st), SQL_SUCCESS);

    // A NULL reads with the indicator SQL_NULL_DATA.
    ASSERT_EQ(sql.exec(st, "insert into fro_versions (frotype, froTypeName) values (5, 'X')"),
              SQL_SUCCESS);
    ASSERT_EQ(sql.exec(st, "select * from fro_versions where frotype = 5"), SQL_SUCCESS);
    ASSERT_EQ(sql.fetch(st), SQL_SUCCESS);
    TarvoSqlLen indicator = 0;
    EXPECT_EQ(sql.text(st, 3, &indicator), "");
    EXPECT_EQ(indicator, SQL_NULL_DATA);
    EXPECT_EQ(sql.closeCursor(st), SQL_SUCCESS);

    // A failing statement is SQL_ERROR with a diagnostic that is no lost connection.
    EXPECT_EQ(sql.exec(st, "select * from no_such_table"), SQL_ERROR);
    const std::string state = sql.state(SQL_HANDLE_STMT, st);
    EXPECT_FALSE(state.empty());
    EXPECT_NE(state, "08S01");
    EXPECT_EQ(sql.exec(st, "insert into fro_versions (frotype, froTypeName) values (5, 'again')"),
              SQL_ERROR)
        << "the primary key holds";
}

}  // namespace hostdbtest

#endif  // HOSTDB_TEST_SQL_CALLS_H
