// Entry functions of the two support processes of the platform proxies, which the
// load module's process table creates at load.
//
// TO BE REPLACED: the support loop of the interface proxies and the name loop of the
// database proxy belong to the proxies, which are not part of this build. Until they
// are, each process only receives: every signal is traced at level 1 in OSA_PRI_IF
// ("... not served in this build") and freed, so that nothing piles up in its queue.
#ifndef PROXY_PROCESSES_H
#define PROXY_PROCESSES_H

#include "ose.h"

/// "Vq_IfSupport_proc": will keep the list of interface servers (0x100C3, 0x100C4).
OS_PROCESS(Vq_IfSupport_proc);
/// "VqDb_name_proc": will follow the database's name at the name server.
OS_PROCESS(VqDb_name_proc);

#endif  // PROXY_PROCESSES_H
