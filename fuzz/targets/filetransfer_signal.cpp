// A signal to the file-transfer service "TARVO_RFAI" from a client: session
// initiation, connect, put and terminate. Connections are to be refused quickly: the
// time-outs are short, so that a connect to an address the input names costs little.
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
    service = hostftp::startFileTransferService(config);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    fuzzkernel::feedService(service, "TARVO_RFAI", data, size);
    return 0;
}
