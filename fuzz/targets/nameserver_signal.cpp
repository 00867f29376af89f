// A signal to the name server "ose_ns" from one of its clients: publications,
// subscriptions of both kinds, finds, hunts of signals and the status request.
#include "ServiceFuzz.h"
#include "nameServerHost.h"

namespace {
PROCESS server = 0;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    ose_adopt_thread("nameServerClient");
    server = hostns::startNameServer();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    fuzzkernel::feedService(server, "ose_ns", data, size);
    return 0;
}
