// nameServerHost.h: starting the host's name server, and publishing from host code.
//
// The load module talks to "ose_ns" only by signals. The host's own services have no
// signal distributor, so they publish through the blocking helpers below.
#ifndef NAME_SERVER_HOST_H
#define NAME_SERVER_HOST_H

#include "ose.h"

namespace hostns {

/// Creates and starts the kernel process "ose_ns", or finds the one running; its pid.
PROCESS startNameServer();

/// Publishes a name for the calling process and waits at most timeoutMs for the
/// reply; true when the name server accepted it. The caller must be a kernel process.
bool publishService(const char* name, OSTIME timeoutMs = 1000);

/// Takes back the calling process's publication; true when the name server accepted it.
bool unpublishService(const char* name, OSTIME timeoutMs = 1000);

}  // namespace hostns

#endif  // NAME_SERVER_HOST_H
