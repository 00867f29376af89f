// NameServerSignals.h: the signal numbers and layouts that "ose_ns" speaks.
//
// Every signal begins with its number (a 32-bit word); offsets are in bytes from
// the start of the signal, words are 32 bits in the machine's own byte order, and
// names are NUL-terminated. README.md beside this folder tells each exchange.
#ifndef NAME_SERVER_SIGNALS_H
#define NAME_SERVER_SIGNALS_H

#include "ose.h"

#include <cstdint>

namespace hostns {

/// The name server's process name.
constexpr const char* kNameServerProcess = "ose_ns";

// Publish and subscribe.
constexpr SIGSELECT NS_ADD_SERVICE = 31600;                        // 4: name
constexpr SIGSELECT NS_ADD_SERVICE_REPLY = 31601;                  // 4: status, 8: name
constexpr SIGSELECT NS_REMOVE_SERVICE = 31602;                     // 4: name
constexpr SIGSELECT NS_REMOVE_SERVICE_REPLY = 31603;               // 4: status, 8: name
constexpr SIGSELECT NS_SUBSCRIBE_SERVICE = 31609;                  // 4: word (ignored), 8: name
constexpr SIGSELECT NS_SUBSCRIBE_SERVICE_REPLY = 31610;            // 4: sid, 8: status, 12: name
constexpr SIGSELECT NS_SUBSCRIBE_SERVICE_ADDED_PID = 31613;        // 4: sid, 8: provider
constexpr SIGSELECT NS_SUBSCRIBE_SERVICE_REMOVED_PID = 31614;      // 4: sid
constexpr SIGSELECT NS_CANCEL_SERVICE_SUBSCRIPTION = 31615;        // 4: sid
constexpr SIGSELECT NS_CANCEL_SERVICE_SUBSCRIPTION_REPLY = 31616;  // 4: sid

constexpr uint32_t NS_SUCCESS = 0;
constexpr uint32_t NS_FAILURE = 1;

// Finding a server's process.
constexpr SIGSELECT NS_FIND_SERVER = 0x7B76;        // 8: name
constexpr SIGSELECT NS_FIND_SERVER_REPLY = 0x7B77;  // 4: pid or 0, 8: name

// Following which process publishes a name, told by that process's name.
constexpr SIGSELECT NS_NAME_SUBSCRIBE = 0x7B78;      // 8: name
constexpr SIGSELECT NS_NAME_SUBSCRIBE_CFM = 0x7B7A;  // 4: sid, 8: status, 12: name
constexpr SIGSELECT NS_NAME_ADDED = 0x7B7B;    // 4: sid, 8: L, 12: 0, 16: name (L), 16+L: publisher
constexpr SIGSELECT NS_NAME_REMOVED = 0x7B7C;  // as NS_NAME_ADDED

// A subscription that names the signal to send when the name is published.
constexpr SIGSELECT NS_SIGNAL_SUBSCRIBE = 0x7B81;  // 4: 0, 8: L, 12: -, 16: name (L), 16+L: signal
constexpr SIGSELECT NS_SIGNAL_UNPUBLISH_IND = 0x10652;  // 4: name

// The host's own question to the name server, for tools and tests: what it knows.
constexpr SIGSELECT NS_STATUS_REQ = 0x7E5900;
/// 4: names published, 8: subscriptions, 12: processes supervised, 16: text, one line
/// per publication ("service <name> <pid>") and per subscription ("subscription <sid>
/// <kind> <name> <subscriber>"), cut at whole lines to fit the largest buffer.
constexpr SIGSELECT NS_STATUS_CFM = 0x7E5901;

}  // namespace hostns

#endif  // NAME_SERVER_SIGNALS_H
