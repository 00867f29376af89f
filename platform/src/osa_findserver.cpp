// Osa_findServer: the name server says which process serves a name, the support
// process "Osa_IfSupport_proc" supervises it.
#include "osa_findserver.h"

#include "OsaIfSupport.h"
#include "proxyProcesses.h"

#include "dynTrace.h"
#include "traceGroups.h"

#include <cstring>
#include <mutex>

namespace {

constexpr SIGSELECT kHuntSig = 0x1002C;
constexpr std::size_t kFindNameOffset = 8;
constexpr std::size_t kFoundPidOffset = 4;
constexpr OSTIME kSupportStack = 2000;
constexpr OSPRIORITY kSupportPriority = 10;
// How long an answer of the name server or of the support process is waited for; both
// answer at once unless they have ended.
constexpr OSTIME kAnswerWaitMs = 10000;

std::mutex startLock;

// A process of that name that runs now, or 0.
PROCESS running(const char* name) {
    PROCESS pid = 0;
    if (hunt(name, 0, &pid, nullptr) != 0) {
        return pid;
    }
    return 0;
}

// The support process, created and started at the first call. A kernel restarted under
// the same program (tests) has lost it, and gets a new one.
PROCESS supportProcess() {
    std::lock_guard<std::mutex> guard(startLock);
    PROCESS pid = running(kOsaIfSupportProcName);
    if (pid == 0) {
        pid = create_process(OS_PRI_PROC, kOsaIfSupportProcName, Osa_IfSupport_proc, kSupportStack,
                             kSupportPriority, 0, 0, nullptr, 0, 0);
        start(pid);
    }
    return pid;
}

PROCESS nameServer() {
    PROCESS pid = running("ose_ns");
    if (pid != 0) {
        return pid;
    }
    union SIGNAL* huntSignal = alloc(sizeof(SIGSELECT), kHuntSig);
    hunt("ose_ns", 0, nullptr, &huntSignal);
    static const SIGSELECT selectHunt[] = {1, kHuntSig};
    union SIGNAL* answer = receive(selectHunt);
    if (answer == nullptr) {
        return 0;
    }
    pid = sender(&answer);
    free_buf(&answer);
    return pid;
}

unsigned char* bytes(union SIGNAL* signal) {
    return reinterpret_cast<unsigned char*>(signal);
}

// The process the name server knows for name, or 0.
PROCESS askNameServer(PROCESS ns, const char* name, std::size_t length) {
    union SIGNAL* request = alloc(static_cast<OSBUFSIZE>(length + 12), OSA_NS_FIND_SERVER_REQ);
    std::memset(bytes(request) + sizeof(SIGSELECT), 0, length + 12 - sizeof(SIGSELECT));
    std::memcpy(bytes(request) + kFindNameOffset, name, length + 1);
    send(&request, ns);
    static const SIGSELECT selectAnswer[] = {1, OSA_NS_FIND_SERVER_RSP};
    union SIGNAL* answer = receive_from(kAnswerWaitMs, selectAnswer, ns);
    if (answer == nullptr) {
        return 0;
    }
    PROCESS pid = 0;
    if (sigsize(&answer) >= kFoundPidOffset + sizeof pid) {
        std::memcpy(&pid, bytes(answer) + kFoundPidOffset, sizeof pid);
    }
    free_buf(&answer);
    return pid;
}

}  // namespace

uint32_t Osa_findServer(const char* name, OsaServerBlock** block, PROCESS* pid) {
    if (name == nullptr || block == nullptr || pid == nullptr) {
        return OSA_SERVER_NOT_FOUND;
    }
    const std::size_t length = std::strlen(name);
    if (length == 0 || length >= kOsaServerNameSize) {
        TRACE_GROUP(traceGroups::OSA_PRI_IF, 1, "Osa_findServer: no server name fits \"%s\"", name);
        return OSA_SERVER_NOT_FOUND;
    }
    const PROCESS support = supportProcess();
    const PROCESS ns = nameServer();
    const PROCESS server = ns != 0 ? askNameServer(ns, name, length) : 0;
    if (server == 0) {
        TRACE_GROUP(traceGroups::OSA_PRI_IF, 9, "Osa_findServer: OSA_SERVER_NOT_FOUND");
        return OSA_SERVER_NOT_FOUND;
    }
    TRACE_GROUP(traceGroups::OSA_PRI_IF, 9, "Osa_findServer: server pid is: 0x%x", server);

    union SIGNAL* request = alloc(static_cast<OSBUFSIZE>(length + 16), OSA_IF_SUPPORT_REQ);
    std::memset(bytes(request) + sizeof(SIGSELECT), 0, length + 16 - sizeof(SIGSELECT));
    std::memcpy(bytes(request) + osaifsupport::kPidOffset, &server, sizeof server);
    std::memcpy(bytes(request) + osaifsupport::kNameOffset, name, length + 1);
    send(&request, support);
    static const SIGSELECT selectAnswer[] = {1, OSA_IF_SUPPORT_REQ};
    union SIGNAL* answer = receive_from(kAnswerWaitMs, selectAnswer, support);
    if (answer == nullptr) {
        TRACE_GROUP(traceGroups::OSA_PRI_IF, 1, "Osa_findServer: no answer from %s",
                    kOsaIfSupportProcName);
        return OSA_SERVER_NOT_FOUND;
    }
    uintptr_t address;
    std::memcpy(&address, bytes(answer) + osaifsupport::kBlockOffset, sizeof address);
    uint16_t status;
    std::memcpy(&status, bytes(answer) + osaifsupport::kStatusOffset, sizeof status);
    free_buf(&answer);
    TRACE_GROUP(traceGroups::OSA_PRI_IF, 9, "Osa_findServer: status = %d", status);
    if (status != 0 || address == 0) {
        return OSA_SERVER_NOT_FOUND;
    }
    *block = reinterpret_cast<OsaServerBlock*>(address);
    *pid = server;
    return OSA_OK;
}
