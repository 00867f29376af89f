// Finding a platform server by name, common to the platform proxies.
//
// Osa_findServer asks the name server for the process that serves a name and has the
// support process "Osa_IfSupport_proc" supervise it. The support process keeps one
// server block per name: its status drops to 0 when the server ends, and a proxy that
// sees 0 calls Osa_findServer again, which finds the new process. Blocks live as long
// as the load module, so a proxy may keep the pointer.
#ifndef OSA_FINDSERVER_H
#define OSA_FINDSERVER_H

#include "ose.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

/// The longest server name a block holds, NUL included.
inline constexpr std::size_t kOsaServerNameSize = 64;

/// One supervised server. status and pid are written by the support process and read
/// by the proxies in other processes.
struct OsaServerBlock {
    /// 1 while the server runs, 0 once its end was seen.
    std::atomic<uint16_t> status;
    std::atomic<PROCESS> pid;
    OsaServerBlock* next;
    char name[kOsaServerNameSize];
};

/// Results of Osa_findServer.
inline constexpr uint32_t OSA_OK = 0;
inline constexpr uint32_t OSA_SERVER_NOT_FOUND = 1;

/// The support process's name, and its stack and priority.
inline constexpr const char* kOsaIfSupportProcName = "Osa_IfSupport_proc";
/// The request to the support process: 8: pid, 14: name; answered with the block's
/// address at 4 and the status at 12 (16 bits).
inline constexpr SIGSELECT OSA_IF_SUPPORT_REQ = 0x100C3;
/// The attach signal the support process sets on each server.
inline constexpr SIGSELECT OSA_IF_SUPPORT_SERVER_DOWN = 0x100C4;
/// The name server's find request (8: name) and answer (4: the process, 0 if none).
inline constexpr SIGSELECT OSA_NS_FIND_SERVER_REQ = 0x7B76;
inline constexpr SIGSELECT OSA_NS_FIND_SERVER_RSP = 0x7B77;

/// Finds the process that serves name: *block is its server block and *pid the
/// process; OSA_OK, or OSA_SERVER_NOT_FOUND (outputs untouched). At the first call it
/// starts "Osa_IfSupport_proc".
uint32_t Osa_findServer(const char* name, OsaServerBlock** block, PROCESS* pid);

#endif  // OSA_FINDSERVER_H
