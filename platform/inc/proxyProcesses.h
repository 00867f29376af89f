// Entry functions of the support processes of the platform proxies. The load
// module's process table creates the first two at load; Osa_findServer creates the
// third at its first call.
#ifndef PROXY_PROCESSES_H
#define PROXY_PROCESSES_H

#include "ose.h"

#include <cstdint>

/// "Vq_IfSupport_proc" and "Osa_IfSupport_proc": keep a list of interface servers by
/// name, each supervised with attach (0x100C3 asks for an entry, the attach signal
/// 0x100C4 clears it). Both run the same loop; Osa_findServer speaks to the second.
OS_PROCESS(Vq_IfSupport_proc);
OS_PROCESS(Osa_IfSupport_proc);
/// "VqDb_name_proc": subscribes "Vq_database" at "ose_ns" and keeps the database's
/// name for TarvoDb_getName.
OS_PROCESS(VqDb_name_proc);

/// The code a bad signal to "VqDb_name_proc" is reported with (non-fatal); the extra
/// word is the signal number.
inline constexpr uint32_t kTarvoDbBadSignalError = 0x00010B02;

#endif  // PROXY_PROCESSES_H
