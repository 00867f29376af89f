// fileTransferService.h: the platform's remote file access service (RFAI), published
// as "TARVO_RFAI".
//
// A kernel process that speaks the RFAI signals of rfaiSignals.h: a client initiates
// a session, connects to an FTP server, puts local files on it and terminates the
// session. Each session has a worker process of its own that does the FTP work with
// libcurl, so the service's signal loop never waits for a server. Local paths on the
// node's disk ("/d/...") are read from the host folder that hostDisk maps them to.
#ifndef HOST_FILE_TRANSFER_SERVICE_H
#define HOST_FILE_TRANSFER_SERVICE_H

#include "ose.h"

#include <cstdint>

namespace hostftp {

/// The service's settings.
struct FileTransferConfig {
    uint16_t defaultPort = 21;           // for an ipAddress without a port
    uint32_t connectTimeoutMs = 10000;   // to reach the FTP server
    uint32_t responseTimeoutMs = 30000;  // the longest wait for one answer of the server
    /// Refuses every server address but a loopback one (127.0.0.0/8, ::1, localhost)
    /// before any lookup or connect: for fuzzing, where the inputs name the addresses.
    bool loopbackOnly = false;
};

/// Creates and starts the service process "TARVO_RFAI", which publishes its name
/// through "ose_ns" (which must run) as its first step, or returns the one running.
/// Any thread may call it.
PROCESS startFileTransferService(const FileTransferConfig& config = FileTransferConfig());

/// Ends the service and its sessions' workers (a worker in the middle of a transfer
/// ends when the transfer does); the name server withdraws the publication.
void stopFileTransferService(PROCESS service);

}  // namespace hostftp

#endif  // HOST_FILE_TRANSFER_SERVICE_H
