#include "DatabaseSupervisor.h"

#include "HostDbTrace.h"
#include "nameServerHost.h"
#include "NameServerSignals.h"

namespace hostdb {

DatabaseSupervisor::DatabaseSupervisor(const DatabaseSupervisorConfig& config)
    : m_config(config), m_session(resolveConnectString(config.database)) {}

void DatabaseSupervisor::report(const std::string& failure) {
    if (failure == m_lastFailure)
        return;
    m_lastFailure = failure;
    TRACE(databaseTrace(), 1, "%s", failure.c_str());
}

bool DatabaseSupervisor::tryPublish() {
    if (!m_session.connect()) {
        report("database not reachable: " + diagnosticsText(m_session.lastError()));
        return false;
    }
    // Only a running name server is asked: a hunt left waiting would answer later,
    // into this process's queue.
    PROCESS nameServer = 0;
    union SIGNAL* none = nullptr;
    if (!hunt(hostns::kNameServerProcess, 0, &nameServer, &none)) {
        report("no name server to publish Vq_database with");
        return false;
    }
    if (!hostns::publishService(kDatabaseServiceName)) {
        report("the name server did not accept Vq_database");
        return false;
    }
    m_lastFailure.clear();
    TRACE(databaseTrace(), 4, "Vq_database published, database %s", m_session.dbmsName().c_str());
    return true;
}

bool DatabaseSupervisor::probe() {
    SqlRows rows;
    if (m_session.query("select count(*) from tables", rows))
        return true;
    report("database stopped answering: " + diagnosticsText(m_session.lastError()));
    m_session.disconnect();
    if (!hostns::unpublishService(kDatabaseServiceName))
        TRACE(databaseTrace(), 1, "withdrawing Vq_database was not confirmed");
    else
        TRACE(databaseTrace(), 4, "Vq_database withdrawn");
    return false;
}

OSTIME DatabaseSupervisor::step() {
    if (!m_published)
        m_published = tryPublish();
    else
        m_published = probe();
    if (!m_published)
        return m_config.retryIntervalMs;
    return m_config.checkIntervalMs == 0 ? OS_WAIT_FOREVER : m_config.checkIntervalMs;
}

}  // namespace hostdb
