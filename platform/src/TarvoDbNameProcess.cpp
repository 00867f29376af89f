// "VqDb_name_proc": follows the publication of the database at the name server.
#include "TarvoDbNameState.h"
#include "proxyProcesses.h"

#include "dynTrace.h"
#include "traceGroups.h"

#include <cstring>
#include <string>

namespace {

constexpr SIGSELECT kHuntSig = 0x1002C;
constexpr SIGSELECT kSubscribe = 0x7B78;
constexpr SIGSELECT kSubscribeCfm = 0x7B7A;
constexpr SIGSELECT kServiceAdded = 0x7B7B;
constexpr SIGSELECT kServiceRemoved = 0x7B7C;
constexpr std::size_t kSubscribeNameOffset = 8;
constexpr std::size_t kCfmNameOffset = 12;
constexpr std::size_t kLengthOffset = 8;
constexpr std::size_t kServiceNameOffset = 16;

const unsigned char* bytes(union SIGNAL* signal) {
    return reinterpret_cast<const unsigned char*>(signal);
}

uint32_t wordAt(union SIGNAL* signal, std::size_t offset) {
    uint32_t word;
    std::memcpy(&word, bytes(signal) + offset, sizeof word);
    return word;
}

// The NUL-terminated text at offset, if it ends inside the signal.
bool textAt(union SIGNAL* signal, OSBUFSIZE size, std::size_t offset, std::string& text) {
    if (offset >= size) {
        return false;
    }
    const auto* start = reinterpret_cast<const char*>(bytes(signal) + offset);
    const void* end = std::memchr(start, '\0', size - offset);
    if (end == nullptr) {
        return false;
    }
    text.assign(start, static_cast<const char*>(end));
    return true;
}

// The publisher's process name of an "added" or "removed": behind the service name,
// whose length (NUL and padding included) stands at offset 8.
bool publisherOf(union SIGNAL* signal, OSBUFSIZE size, std::string& publisher) {
    if (size < kServiceNameOffset) {
        return false;
    }
    const uint32_t length = wordAt(signal, kLengthOffset);
    if (length > size - kServiceNameOffset) {
        return false;
    }
    return textAt(signal, size, kServiceNameOffset + length, publisher);
}

void badSignal(union SIGNAL* signal, SIGSELECT sigNo, OSBUFSIZE size) {
    TRACE_GROUP(traceGroups::TARVO_DBI_IF, 1,
                "VqDb_name_proc: bad signal 0x%x of %u bytes from 0x%x dropped", sigNo,
                static_cast<unsigned>(size), sender(&signal));
    error2(kTarvoDbBadSignalError, sigNo);
}

PROCESS huntNameServer() {
    union SIGNAL* huntSignal = alloc(sizeof(SIGSELECT), kHuntSig);
    hunt("ose_ns", 0, nullptr, &huntSignal);
    static const SIGSELECT selectHunt[] = {1, kHuntSig};
    union SIGNAL* answer = receive(selectHunt);
    if (answer == nullptr) {
        return 0;
    }
    const PROCESS nameServer = sender(&answer);
    free_buf(&answer);
    return nameServer;
}

void subscribe(PROCESS nameServer) {
    const std::size_t length = std::strlen(kTarvoDbServiceName);
    union SIGNAL* request = alloc(static_cast<OSBUFSIZE>(length + 12), kSubscribe);
    std::memset(reinterpret_cast<unsigned char*>(request) + sizeof(SIGSELECT), 0,
                length + 12 - sizeof(SIGSELECT));
    std::memcpy(reinterpret_cast<unsigned char*>(request) + kSubscribeNameOffset,
                kTarvoDbServiceName, length + 1);
    send(&request, nameServer);
}

void serve(union SIGNAL* signal) {
    SIGSELECT sigNo;
    std::memcpy(&sigNo, signal, sizeof sigNo);
    const OSBUFSIZE size = sigsize(&signal);
    std::string text;
    switch (sigNo) {
        case kServiceAdded:
            if (!publisherOf(signal, size, text)) {
                badSignal(signal, sigNo, size);
                break;
            }
            TRACE_GROUP(traceGroups::TARVO_DBI_IF, 9, "Database service added by %s", text.c_str());
            tarvodbname::added(text.c_str());
            break;
        case kServiceRemoved:
            if (!publisherOf(signal, size, text)) {
                badSignal(signal, sigNo, size);
                break;
            }
            TRACE_GROUP(traceGroups::TARVO_DBI_IF, 9, "Database service removed by %s",
                        text.c_str());
            tarvodbname::removed(text.c_str());
            break;
        case kSubscribeCfm:
            if (!textAt(signal, size, kCfmNameOffset, text)) {
                badSignal(signal, sigNo, size);
                break;
            }
            TRACE_GROUP(traceGroups::TARVO_DBI_IF, 9, "Now subscribing on %s", text.c_str());
            break;
        default:
            badSignal(signal, sigNo, size);
            break;
    }
}

}  // namespace

OS_PROCESS(VqDb_name_proc) {
    const PROCESS nameServer = huntNameServer();
    if (nameServer == 0) {
        return;
    }
    subscribe(nameServer);
    static const SIGSELECT anySignal[] = {0};
    for (;;) {
        union SIGNAL* signal = receive(anySignal);
        if (signal == nullptr) {
            return;  // the process is being ended
        }
        serve(signal);
        free_buf(&signal);
    }
}
