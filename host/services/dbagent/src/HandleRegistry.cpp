#include "HandleRegistry.h"

#include <utility>

namespace hostdb {

HandleRegistry& HandleRegistry::instance() {
    // Never destroyed: a process may free its handles while statics are torn down.
    static HandleRegistry* const registry = new HandleRegistry;
    return *registry;
}

void HandleRegistry::clearDiagnostics(const void* handle) {
    std::lock_guard<std::mutex> lock(m_lock);
    auto found = m_entries.find(handle);
    if (found == m_entries.end())
        return;
    found->second.diagnostics.clear();
    if (found->second.empty())
        m_entries.erase(found);
}

void HandleRegistry::setDiagnostics(const void* handle, std::vector<SqlDiagnostic> records) {
    std::lock_guard<std::mutex> lock(m_lock);
    m_entries[handle].diagnostics = std::move(records);
}

bool HandleRegistry::diagnostics(const void* handle, std::vector<SqlDiagnostic>& records) const {
    std::lock_guard<std::mutex> lock(m_lock);
    auto found = m_entries.find(handle);
    if (found == m_entries.end() || found->second.diagnostics.empty())
        return false;
    records = found->second.diagnostics;
    return true;
}

void HandleRegistry::setEventsEnabled(const void* environment, bool enabled) {
    std::lock_guard<std::mutex> lock(m_lock);
    m_entries[environment].eventsEnabled = enabled;
}

bool HandleRegistry::eventsEnabled(const void* environment) const {
    std::lock_guard<std::mutex> lock(m_lock);
    auto found = m_entries.find(environment);
    return found != m_entries.end() && found->second.eventsEnabled;
}

void HandleRegistry::setParent(const void* statement, void* connection) {
    std::lock_guard<std::mutex> lock(m_lock);
    m_entries[statement].parent = connection;
}

void* HandleRegistry::parentOf(const void* statement) const {
    std::lock_guard<std::mutex> lock(m_lock);
    auto found = m_entries.find(statement);
    return found != m_entries.end() ? found->second.parent : nullptr;
}

std::vector<void*> HandleRegistry::statementsOf(const void* connection) const {
    std::lock_guard<std::mutex> lock(m_lock);
    std::vector<void*> statements;
    for (const auto& [handle, entry] : m_entries) {
        if (entry.parent == connection)
            statements.push_back(const_cast<void*>(handle));
    }
    return statements;
}

void HandleRegistry::forget(const void* handle) {
    std::lock_guard<std::mutex> lock(m_lock);
    m_entries.erase(handle);
}

}  // namespace hostdb
