// DatabaseSupervisor: keeps "Vq_database" published exactly while the database
// answers. It connects, makes the system table view, publishes; then probes the
// database at every check and withdraws the publication when it stops answering, to
// publish again when it is back.
#ifndef HOSTDB_DATABASE_SUPERVISOR_STATE_H
#define HOSTDB_DATABASE_SUPERVISOR_STATE_H

#include "OdbcSession.h"
#include "databaseSupervisor.h"

#include <string>

namespace hostdb {

class DatabaseSupervisor {
  public:
    explicit DatabaseSupervisor(const DatabaseSupervisorConfig& config);

    /// One step: publish when possible, or probe when published. Returns how long to
    /// wait before the next step (OS_WAIT_FOREVER: no further step is needed).
    OSTIME step();

  private:
    bool tryPublish();
    bool probe();
    /// Traces a failure once until something changes.
    void report(const std::string& failure);

    DatabaseSupervisorConfig m_config;
    OdbcSession m_session;
    bool m_published = false;
    std::string m_lastFailure;
};

}  // namespace hostdb

#endif  // HOSTDB_DATABASE_SUPERVISOR_STATE_H
