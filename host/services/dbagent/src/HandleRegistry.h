// HandleRegistry: what the call table keeps per ODBC handle beyond the driver
// manager: diagnostics of failures it reports itself (an unknown server name, a bad
// event attribute), the environment's event switch and a statement's connection.
//
// Its own records stand until the next call through the table on the same handle,
// as a driver's would; SQLGetDiagRec shows them in place of the driver manager's.
#ifndef HOSTDB_HANDLE_REGISTRY_H
#define HOSTDB_HANDLE_REGISTRY_H

#include "OdbcSession.h"

#include <mutex>
#include <unordered_map>
#include <vector>

namespace hostdb {

class HandleRegistry {
  public:
    /// The one registry of the Linux process: every load-module process uses the table.
    static HandleRegistry& instance();

    /// Forgets the own records of the handle: a new call on it begins.
    void clearDiagnostics(const void* handle);
    /// Replaces the own records of the handle.
    void setDiagnostics(const void* handle, std::vector<SqlDiagnostic> records);
    /// The own records of the handle; false when it has none.
    bool diagnostics(const void* handle, std::vector<SqlDiagnostic>& records) const;
    /// The event switch of an environment (attribute 20000).
    void setEventsEnabled(const void* environment, bool enabled);
    bool eventsEnabled(const void* environment) const;
    /// The connection a statement was allocated on through the table.
    void setParent(const void* statement, void* connection);
    void* parentOf(const void* statement) const;
    /// The statements allocated on the connection through the table.
    std::vector<void*> statementsOf(const void* connection) const;
    /// Forgets everything about a freed handle.
    void forget(const void* handle);

  private:
    struct Entry {
        std::vector<SqlDiagnostic> diagnostics;
        bool eventsEnabled = false;
        void* parent = nullptr;
        bool empty() const { return diagnostics.empty() && !eventsEnabled && parent == nullptr; }
    };

    mutable std::mutex m_lock;  // guards m_entries: called from every process's thread
    std::unordered_map<const void*, Entry> m_entries;
};

}  // namespace hostdb

#endif  // HOSTDB_HANDLE_REGISTRY_H
