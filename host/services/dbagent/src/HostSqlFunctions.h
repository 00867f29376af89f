// The call table's own functions: the entries that do more than the driver manager.
//
// They have the standard signatures of the functions whose entries they fill. The
// other entries are unixODBC's functions themselves.
#ifndef HOSTDB_HOST_SQL_FUNCTIONS_H
#define HOSTDB_HOST_SQL_FUNCTIONS_H

#include "ose.h"

#include <sql.h>
#include <sqlext.h>

namespace hostdb {

/// An environment gets the ODBC version 3 behaviour at once, which the load module
/// does not ask for.
SQLRETURN hostSqlAllocHandle(SQLSMALLINT handleType, SQLHANDLE inputHandle,
                             SQLHANDLE* outputHandle);
SQLRETURN hostSqlAllocEnv(SQLHENV* environment);
/// Forgets the table's own state of the handle and frees it.
SQLRETURN hostSqlFreeHandle(SQLSMALLINT handleType, SQLHANDLE handle);
SQLRETURN hostSqlFreeEnv(SQLHENV environment);
SQLRETURN hostSqlFreeConnect(SQLHDBC connection);
/// Attribute 20000 (the event switch, 0 or 1) is kept here; others go to the manager.
SQLRETURN hostSqlSetEnvAttr(SQLHENV environment, SQLINTEGER attribute, SQLPOINTER value,
                            SQLINTEGER length);
SQLRETURN hostSqlGetEnvAttr(SQLHENV environment, SQLINTEGER attribute, SQLPOINTER value,
                            SQLINTEGER bufferLength, SQLINTEGER* length);
/// Connects the configured data source for the configured server name; user and
/// password are those of the connection string. Makes the view `tables` if missing.
SQLRETURN hostSqlConnect(SQLHDBC connection, SQLCHAR* serverName, SQLSMALLINT serverNameLength,
                         SQLCHAR* userName, SQLSMALLINT userNameLength, SQLCHAR* authentication,
                         SQLSMALLINT authenticationLength);
/// Frees the connection's statements, as a disconnect does by the standard, and
/// disconnects.
SQLRETURN hostSqlDisconnect(SQLHDBC connection);
/// Executes the statement mapped from the platform's dialect.
SQLRETURN hostSqlExecDirect(SQLHSTMT statement, SQLCHAR* text, SQLINTEGER textLength);
/// Prepares the statement mapped from the platform's dialect.
SQLRETURN hostSqlPrepare(SQLHSTMT statement, SQLCHAR* text, SQLINTEGER textLength);
/// The table's own records of the handle when it has some, else the manager's.
SQLRETURN hostSqlGetDiagRec(SQLSMALLINT handleType, SQLHANDLE handle, SQLSMALLINT record,
                            SQLCHAR* state, SQLINTEGER* nativeError, SQLCHAR* message,
                            SQLSMALLINT bufferLength, SQLSMALLINT* textLength);
/// Takes the signal over and frees it; the host sends no database events, so there is
/// never one to receive: SQL_NO_DATA.
SQLRETURN hostSqlEventReceive(SQLHENV environment, union SIGNAL* signal);
/// SQL_NO_DATA: no event is ever pending on the host.
SQLRETURN hostSqlEventGet(SQLHENV environment, SQLINTEGER* functionId, SQLRETURN* functionResult,
                          SQLHANDLE* handle);

}  // namespace hostdb

#endif  // HOSTDB_HOST_SQL_FUNCTIONS_H
