// The node's database on the host: the process "Vq_rtrdb_supervisor", which publishes
// "Vq_database" with the name server while the database can be reached.
//
// The load module follows that publication and connects with "ose/" and the
// publisher's name, "rtrdb" standing for "Vq_rtrdb_supervisor": "ose/rtrdb", which
// the database agent's SQLConnect maps to the configured data source.
#ifndef HOSTDB_DATABASE_SUPERVISOR_H
#define HOSTDB_DATABASE_SUPERVISOR_H

#include "DatabaseConfig.h"
#include "ose.h"

#include <cstdint>

namespace hostdb {

/// The supervisor's process name, and the name it publishes.
constexpr const char* kDatabaseSupervisorProcess = "Vq_rtrdb_supervisor";
constexpr const char* kDatabaseServiceName = "Vq_database";

struct DatabaseSupervisorConfig {
    /// The database: the same as the database agent's.
    DatabaseConfig database;
    /// How often the published database is probed; 0: never, once published.
    uint32_t checkIntervalMs = 5000;
    /// How often an unreachable database or name server is tried again.
    uint32_t retryIntervalMs = 1000;
};

/// Creates and starts "Vq_rtrdb_supervisor", or finds the one running; its pid. 0
/// when the configuration cannot be prepared (the reason is traced).
PROCESS startDatabase(const DatabaseSupervisorConfig& config);

}  // namespace hostdb

#endif  // HOSTDB_DATABASE_SUPERVISOR_H
