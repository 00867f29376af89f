// The trace objects of the host's database services.
#ifndef HOSTDB_TRACE_H
#define HOSTDB_TRACE_H

// sqlext.h defines a TRACE_ON of its own, which the trace's replaces in these files.
#ifdef TRACE_ON
#undef TRACE_ON
#endif
#include "dynTrace.h"

namespace hostdb {

/// "HostDbAgent": the agent process and the call table's functions.
TraceObject* agentTrace();
/// "HostDatabase": the database's supervisor.
TraceObject* databaseTrace();
/// "HostTransaction": the transaction server.
TraceObject* transactionTrace();

}  // namespace hostdb

#endif  // HOSTDB_TRACE_H
