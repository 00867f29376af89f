// UnitStatusState: what a unit-status service knows, and its answer to each signal.
// Runs on the service's own process alone: no lock.
#ifndef HOST_UNIT_STATUS_STATE_H
#define HOST_UNIT_STATUS_STATE_H

#include "traceAndError.h"
#include "unitStatusService.h"

#include <map>

namespace hostusi {

class UnitStatusState {
  public:
    explicit UnitStatusState(UnitStatusConfig config);
    ~UnitStatusState();
    UnitStatusState(const UnitStatusState&) = delete;
    UnitStatusState& operator=(const UnitStatusState&) = delete;

    /// Answers one received signal; the buffer stays the caller's.
    void handle(union SIGNAL* signal);

    const TraceObject* trace() const { return m_trace; }

  private:
    struct Connection {
        PROCESS client;
        uint32_t procedureRef;
    };

    void establish(union SIGNAL* signal, PROCESS from);
    void close(union SIGNAL* signal, PROCESS from);
    void setStatus(union SIGNAL* signal, PROCESS from);
    void clientEnded(PROCESS client);
    void reject(PROCESS to, uint32_t procedureRef, uint32_t errorCode, const char* why);
    void sendUnitInfo(uint32_t connectionRef, const Connection& connection);
    void watch(PROCESS client);
    void unwatchIfIdle(PROCESS client);

    UnitStatusConfig m_config;
    uint32_t m_nextConnectionRef = 1;
    std::map<uint32_t, Connection> m_connections;  // by connectionRef
    std::map<PROCESS, OSATTREF> m_watched;         // clients with connections
    TraceObject* m_trace;
};

}  // namespace hostusi

#endif  // HOST_UNIT_STATUS_STATE_H
