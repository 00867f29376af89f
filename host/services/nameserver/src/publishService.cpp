// Blocking publication for host code that has no signal distributor.
#include "NameServerSignals.h"
#include "SignalView.h"
#include "nameServerHost.h"

#include <cstring>
#include <string>

namespace hostns {

using hostsvc::SignalView;
using hostsvc::paddedLength;
using hostsvc::putText;

namespace {

// Private to this exchange, so that the hunt's answer is told apart from any other.
constexpr SIGSELECT kHuntSignal = 0x7B7F0001;

PROCESS locateNameServer(OSTIME timeoutMs) {
    union SIGNAL* huntSignal = alloc(4, kHuntSignal);
    hunt(kNameServerProcess, 0, nullptr, &huntSignal);
    static const SIGSELECT select[] = {1, kHuntSignal};
    union SIGNAL* found = receive_w_tmo(timeoutMs, select);
    if (found == nullptr)
        return 0;
    PROCESS nameServer = sender(&found);
    free_buf(&found);
    return nameServer;
}

bool request(SIGSELECT request, SIGSELECT replyNo, const char* name, OSTIME timeoutMs) {
    if (name == nullptr)
        return false;
    PROCESS nameServer = locateNameServer(timeoutMs);
    if (nameServer == 0)
        return false;
    std::string text(name);
    union SIGNAL* signal = alloc(static_cast<OSBUFSIZE>(4 + paddedLength(text)), request);
    std::memset(reinterpret_cast<unsigned char*>(signal) + 4, 0, paddedLength(text));
    putText(signal, 4, text);
    send(&signal, nameServer);
    const SIGSELECT select[] = {1, replyNo};
    union SIGNAL* reply = receive_from(timeoutMs, select, nameServer);
    if (reply == nullptr)
        return false;
    uint32_t status = NS_FAILURE;
    SignalView(reply, sigsize(&reply)).word(4, status);
    free_buf(&reply);
    return status == NS_SUCCESS;
}

}  // namespace

bool publishService(const char* name, OSTIME timeoutMs) {
    return request(NS_ADD_SERVICE, NS_ADD_SERVICE_REPLY, name, timeoutMs);
}

bool unpublishService(const char* name, OSTIME timeoutMs) {
    return request(NS_REMOVE_SERVICE, NS_REMOVE_SERVICE_REPLY, name, timeoutMs);
}

}  // namespace hostns
