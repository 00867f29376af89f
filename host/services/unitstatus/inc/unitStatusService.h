// unitStatusService.h: the status service of one radio unit, "KGM_IW_USI:" + the
// unit's LDN.
//
// A kernel process that publishes that name through "ose_ns" and speaks the USI
// signals of usiSig.h: it answers establish and close requests, and sends the unit
// information (dcControllerName, operationalState, unitStatusBits) to every open
// connection at once after its confirmation and again at every change. The
// simulator starts one per radio unit; a test changes the unit's information while
// the node runs with setUnitStatus().
#ifndef HOST_UNIT_STATUS_SERVICE_H
#define HOST_UNIT_STATUS_SERVICE_H

#include "ose.h"

#include <cstdint>
#include <string>

namespace hostusi {

/// What the service tells about its unit.
struct UnitStatus {
    std::string dcControllerName;   // the link path to the radio unit's servers
    uint32_t operationalState = 1;  // 1 enabled, 0 disabled
    uint32_t unitStatusBits = 0;
};

/// One radio unit's service.
struct UnitStatusConfig {
    std::string ldn;  // e.g. "ManagedElement=1,Equipment=1,AuxPlugInUnit=RU-1"
    UnitStatus status;
};

/// Error codes of KGM_IW_USI_CONN_ESTABLISH_REJ.
constexpr uint32_t kUsiRejectMalformed = 1;    // the request does not fit its own size
constexpr uint32_t kUsiRejectUnknownUnit = 2;  // the LDN is not this service's unit
constexpr uint32_t kUsiRejectUnsupported = 3;  // fixed words other than 1

/// The service name of a unit: "KGM_IW_USI:" + ldn.
std::string serviceName(const std::string& ldn);

/// Creates and starts the service process (named as its service), which publishes
/// its name as its first step. Returns its pid. Any thread may call it.
PROCESS startUnitStatusService(const UnitStatusConfig& config);

/// Gives the unit new information and waits at most timeoutMs until the service
/// has sent it to every open connection: the number of connections told, or -1
/// when the service did not answer. The caller must be a kernel process.
int setUnitStatus(PROCESS service, const UnitStatus& status, OSTIME timeoutMs = 1000);

/// Ends the service; the name server withdraws its publication.
void stopUnitStatusService(PROCESS service);

// The signals of setUnitStatus(), in the machine's byte order. The confirmation goes
// to the request's sender and carries the number of connections told.
constexpr SIGSELECT USI_HOST_SET_STATUS_REQ = 0x7E210;  // 4: bits, 8: state, 12: name (NUL)
constexpr SIGSELECT USI_HOST_SET_STATUS_CFM = 0x7E211;  // 4: connections told, or -1: malformed

}  // namespace hostusi

#endif  // HOST_UNIT_STATUS_SERVICE_H
