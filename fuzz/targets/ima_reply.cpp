// The attribute-read reply as the main process receives it: a signal of the input's
// size with the reply's number, handed to the signal distributor, where ImaFacade
// reads its clientRef, length and XML text. One read is kept open, so that a reply
// whose clientRef (the input's second word, taken relative to the open read's) is 0
// reaches a client and its document is parsed. This process plays the service.
#include "FuzzKernel.h"
#include "ImaFacade.h"
#include "SignalDistributorAPI.h"
#include "imaSignals.h"
#include "nameServerHost.h"
#include "plab/messaging/MessageOse.h"

#include <memory>
#include <vector>

namespace {

class Client : public ImaClient {
  public:
    void readCfm(const ImaMoAttributes&) override { open = false; }
    bool open = false;
};

Client client;
uint32_t openRef = 0;  // the clientRef of the open read
uint32_t nextRef = 0;  // the facade numbers its reads from 0

void deliver(union SIGNAL* signal) {
    getSignalDistributorAPI()->handleMessage(std::make_shared<plab::messaging::MessageOse>(signal));
}

// The main loop's part: the facade's requests to the service (this process) are
// dropped unanswered, everything else goes to the distributor.
void pump() {
    static const SIGSELECT any[] = {0};
    while (union SIGNAL* signal = receive_w_tmo(0, any)) {
        if (fuzzkernel::numberOf(signal) == OMF_MAO_IMA_NC_READ_REQ) {
            free_buf(&signal);
        } else {
            deliver(signal);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    ose_adopt_thread("ulSpectrumAnalyzer_main_thread");
    hostns::startNameServer();
    ImaFacade::getInstance();
    // This process plays the service, so that the facade sends its requests here
    // instead of keeping them for a service to come.
    hostns::publishService(ima::kServiceName);
    pump();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (!fuzzkernel::fitsSignal(size)) {
        return 0;
    }
    if (!client.open) {
        // The read goes to this process, which never answers it; its clientRef is taken.
        ImaFacade::getInstance()->read(&client, {"ManagedElement=1"});
        client.open = true;
        openRef = nextRef++;
    }
    union SIGNAL* signal = fuzzkernel::signalOf(data, size, OMF_MAO_IMA_NC_READ_CFM);
    if (size >= 8) {
        uint32_t ref;
        std::memcpy(&ref, reinterpret_cast<unsigned char*>(signal) + 4, sizeof ref);
        ref += openRef;
        std::memcpy(reinterpret_cast<unsigned char*>(signal) + 4, &ref, sizeof ref);
    }
    deliver(signal);
    pump();
    return 0;
}
