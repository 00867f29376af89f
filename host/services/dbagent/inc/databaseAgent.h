// The platform's database agent "Osa_dbAgent_proc" on the host.
//
// It answers the load module's request 0x1078D with 0x1078E: the SQL call table, one
// pointer-wide function address per entry in the order of tarvo_sqlcalltable.h. The
// entries call unixODBC; SQLConnect maps the server name to the configured data
// source, SQLExecDirect maps the platform's dialect (README.md beside this folder).
#ifndef HOSTDB_DATABASE_AGENT_H
#define HOSTDB_DATABASE_AGENT_H

#include "DatabaseConfig.h"
#include "ose.h"

#include <cstddef>
#include <cstdint>

namespace hostdb {

/// The agent's process name.
constexpr const char* kDatabaseAgentProcess = "Osa_dbAgent_proc";

/// Sets the configuration the call table connects with, and creates and starts
/// "Osa_dbAgent_proc", or finds the one running. Returns its pid; 0 when the
/// configuration cannot be prepared (the reason is traced).
PROCESS startDatabaseAgent(const DatabaseConfig& config);

/// Fills entries with the call table's addresses, as the agent's reply carries them;
/// reserved entries are 0. count is the table's size.
void fillSqlCallTable(uintptr_t* entries, std::size_t count);

}  // namespace hostdb

#endif  // HOSTDB_DATABASE_AGENT_H
