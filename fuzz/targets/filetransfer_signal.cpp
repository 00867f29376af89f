// A signal to the file-transfer service "TARVO_RFAI" from a client: session
// initiation, connect, put and terminate. The service refuses every address but a
// loopback one before any lookup, so an input never makes it reach another machine;
// a loopback connect is refused at once (nothing listens on port 1).
#include "ServiceFuzz.h"
#include "fileTransferService.h"
#include "nameServerHost.h"

namespace {
PROCESS service = 0;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    ose_adopt_thread("fileTransferClient");
    hostns::startNameServer();
    hostftp::FileTransferConfig config;
    config.defaultPort = 1;  // nothing listens there: a connect is refused at once
    config.connectTimeoutMs = 200;
    config.responseTimeoutMs = 200;
    config.loopbackOnly = true;
    service = hostftp::startFileTransferService(config);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    fuzzkernel::feedService(service, "TARVO_RFAI", data, size);
    return 0;
}
