// AgentConfiguration: the data source behind the server name, as startDatabaseAgent
// set it. The call table's SQLConnect reads it from any process; the agent's start
// writes it.
#ifndef HOSTDB_AGENT_CONFIGURATION_H
#define HOSTDB_AGENT_CONFIGURATION_H

#include "DatabaseConfig.h"

#include <mutex>
#include <string>

namespace hostdb {

class AgentConfiguration {
  public:
    static AgentConfiguration& instance();

    /// Takes the configuration; SQLConnect uses it from now on.
    void set(const DatabaseConfig& config);
    /// The connection string for a server name; false with a reason when the name is
    /// not the configured one or nothing is configured.
    bool connectStringFor(const std::string& serverName, std::string& connectString,
                          std::string& reason) const;

  private:
    mutable std::mutex m_lock;  // guards the two members: set by the agent, read by every caller
    bool m_configured = false;
    DatabaseConfig m_config;
};

/// The connection string with the value of PWD replaced by "***", for traces.
std::string withoutPassword(const std::string& connectString);

}  // namespace hostdb

#endif  // HOSTDB_AGENT_CONFIGURATION_H
