// The platform's SQL dialect mapped to the engine's, one statement at a time.
//
//   create table t (persistent, a integer)  ->  create table t (a integer)
//   create persistent table t (a integer)   ->  create table t (a integer)
//   varchar(0)                              ->  text (an unbounded text column)
//
// The platform's system table `tables` needs no rewriting: a view of that name is
// made at connect (OdbcConnect.h). Quoted texts, quoted names and comments are
// copied untouched, so a value that holds these words stays as it is.
#ifndef HOSTDB_SQL_DIALECT_H
#define HOSTDB_SQL_DIALECT_H

#include <string>

namespace hostdb {

/// The statement in the engine's dialect.
std::string mapPlatformSql(const std::string& statement);

}  // namespace hostdb

#endif  // HOSTDB_SQL_DIALECT_H
