// ULSAProxyRfai: the node's side of one session with the platform's remote file
// access service (RFAI, published as "TARVO_RFAI").
//
// The record holds which process is supervised (the name server while the service is
// looked for, the server once found) and what the service is asked for. It is a
// 56-byte block of the kernel's signal pool (signal number 0) that lives as long as
// one upload; its operations are plain functions on it, and each returns at once: the
// answers arrive as signals that the owner hands back to handleProxySignal() (for the
// search) or reads itself (for the requests' replies).
//
// A request made while no server is known is not sent: the proxy sends its own
// process the negative answer instead (OSA_RFAI_CONNECT_REJ, OSA_RFAI_PUT_REJ or
// OSA_RFAI_DISCONN_REJ with fault code 2000 and "Request in invalid state", or a plain
// OSA_RFAI_TERMINATE_SERVICE_CFM), so that the owner has one path for both cases.
#ifndef ULSA_PROXY_RFAI_H
#define ULSA_PROXY_RFAI_H

#include "ose.h"

#include <cstddef>
#include <cstdint>

struct ULSAProxyRfai {
    static constexpr std::size_t clientNameSize = 41;
    OSATTREF attachRef;  // the name server's or the server's attach; 0 = none
    PROCESS serverPid;   // 0 = no server
    char clientName[clientNameSize];
    uint16_t pvFirstWanted;
    uint16_t pvSecondWanted;
    uint16_t pvThirdWanted;
};
static_assert(offsetof(ULSAProxyRfai, clientName) == 8, "ULSAProxyRfai layout");
static_assert(offsetof(ULSAProxyRfai, pvFirstWanted) == 50, "ULSAProxyRfai layout");
static_assert(sizeof(ULSAProxyRfai) == 56, "ULSAProxyRfai layout");

/// A new record from the signal pool, idle: no attach, no server, no client name.
ULSAProxyRfai* Osa_Rfai_createProxy();
/// Returns the record to the pool and nulls the pointer; nothing is sent or detached.
void Osa_Rfai_deleteProxy(ULSAProxyRfai** proxy);

/// Keeps the client name (cut to 40 characters) and the wanted protocol versions,
/// then hunts the name server with OSA_RFAI_HUNT_NS_IND. Returns 0, or 2 when the
/// client name was cut.
int Osa_Rfai_initiateService(ULSAProxyRfai* proxy, const char* clientName, uint16_t pvFirst,
                             uint16_t pvSecond, uint16_t pvThird);

/// Takes the signals of the service's search and of its end: OSA_RFAI_HUNT_NS_IND,
/// OSA_RFAI_SERVER_UP_IND, OSA_RFAI_ATTACH_NS_IND, OSA_RFAI_SERVER_DOWN_IND,
/// OSA_RFAI_UNPUBLISH_IND, OSA_RFAI_TERMINATE_SERVICE_CFM. Returns 0, or 1 for any
/// other number. The buffer stays the caller's.
int handleProxySignal(ULSAProxyRfai* proxy, union SIGNAL* signal);

/// OSA_RFAI_CONNECT_IPV6_BSA_REQ; a null text gives an empty field, longer texts are
/// cut to their fields.
void sendConnectIPv6BsaReq(ULSAProxyRfai* proxy, const char* password, const char* username,
                           const char* ipAddress);
/// OSA_RFAI_PUT_REQ: the node's file and the path it gets on the server.
void sendPutReq(ULSAProxyRfai* proxy, const char* localPath, const char* remotePath);
/// OSA_RFAI_DISCONN_REQ.
void sendDisconnReq(ULSAProxyRfai* proxy);
/// OSA_RFAI_TERMINATE_SERVICE_REQ: ends the session, and with it the connection.
void sendTerminateServiceReq(ULSAProxyRfai* proxy);

/// Detaches whatever is supervised and forgets the server: the record is idle.
void Osa_Rfai_release(ULSAProxyRfai* proxy);

#endif  // ULSA_PROXY_RFAI_H
