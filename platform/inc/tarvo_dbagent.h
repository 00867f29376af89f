// The start-up step in which the platform's database agent hands over the SQL
// call-level interface: a table of function addresses, one per function of the
// interface, in the agent's order.
//
// On the wire (the agent side must agree): every address is pointer-wide on the
// host, since it is an address, and the addresses stand one behind the other right
// after the 32-bit signal number.
//   0x1078D request: +4 the address of a client routine (tarvo_poly_handler, see
//                    tarvo_poly_handler.h; 0: none), then the address
//                    of the client's data (the table); size kTarvoDbAgentRequestSize.
//   0x1078E reply:   +4 kTarvoDbAgentTableSize addresses; a shorter reply fills only
//                    the entries it holds.
#ifndef TARVO_DBAGENT_H
#define TARVO_DBAGENT_H

#include "ose.h"

#include <cstddef>

/// The process name of the platform's database agent.
inline constexpr const char* kTarvoDbAgentName = "Osa_dbAgent_proc";
/// The signal that the hunt for the agent delivers.
inline constexpr SIGSELECT TARVO_DBAGENT_HUNT_SIG = 0x1002C;
/// The request for the call table, and the agent's reply.
inline constexpr SIGSELECT TARVO_DBAGENT_REQ = 0x1078D;
inline constexpr SIGSELECT TARVO_DBAGENT_REPLY = 0x1078E;
/// How long the start-up waits for the agent: thirty minutes.
inline constexpr OSTIME kTarvoDbAgentWaitMs = 1800000;
/// Entries of the call table.
inline constexpr std::size_t kTarvoDbAgentTableSize = 107;
/// Where the addresses start in both signals, and the request's size.
inline constexpr std::size_t kTarvoDbAgentAddressOffset = sizeof(SIGSELECT);
inline constexpr std::size_t kTarvoDbAgentRequestSize = sizeof(SIGSELECT) + 2 * sizeof(void*);
inline constexpr std::size_t kTarvoDbAgentReplySize =
    sizeof(SIGSELECT) + kTarvoDbAgentTableSize * sizeof(void*);
/// The error code reported to the node's error handling when the agent does not answer.
inline constexpr uint32_t kTarvoDbAgentNoResponseError = 0x00010B01;

/// One entry of the call table; its users cast it to the function's own type.
using TarvoDbEntry = void (*)();

/// The call table, all null until the agent has answered.
extern TarvoDbEntry tarvoDbAgentTable[kTarvoDbAgentTableSize];

/// The start-up step: hunts the agent and waits for it at most waitMs; then requests
/// the table, waits for the reply and copies it into tarvoDbAgentTable. Without an
/// answer in time it traces "No response hunting for Osa_dbAgent_proc after %d msec."
/// at level 1 in OSA_PRI_IF, reports "No response hunting for Osa_dbAgent_proc" to the
/// node's error handling and returns false; the table stays empty.
bool TarvoDbAgent_bind(OSTIME waitMs);

#endif  // TARVO_DBAGENT_H
