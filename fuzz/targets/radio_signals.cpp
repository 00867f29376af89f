// A signal from the radio unit or the unit's status service, as the RMCI and RFTI
// clients and the supervision receive it: converted to host order in the load
// module's mode (1) and in the swapping mode (2), then checked and read through every
// reader that applies to its number. Nothing may be read or written outside the signal.
#include "FuzzKernel.h"
#include "radioSignalReader.h"
#include "radioSignals.h"
#include "ulSpectrumAnalyzerEndianSwap.h"

#include <string>
#include <vector>

namespace {

void readAll(const union SIGNAL* signal, OSBUFSIZE size) {
    using namespace radioSignals;
    if (!hasMinimumSize(signal, size)) {
        return;
    }
    // Every reader on every signal: a reader must also refuse what is not its own.
    (void)isWellFormed(signal, size);
    RejectInfo reject;
    (void)readReject(signal, size, reject);
    std::vector<Capability> capabilities;
    (void)readCapabilities(signal, size, capabilities);
    UnitInfo info;
    (void)readUnitInfo(signal, size, info);
    UsiEstablishRequest request;
    (void)readUsiConnEstablishReq(signal, size, request);
    std::string name;
    (void)readServerName(signal, size, name);
    ResultBlock block;
    if (readResultData(signal, size, block) && block.length > 0) {
        // The block must lie inside the signal: touch its first and last byte.
        volatile uint8_t edge = block.data[0];
        edge = block.data[block.length - 1];
        (void)edge;
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    ose_adopt_thread("ulSpectrumAnalyzer_main_thread");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    if (!fuzzkernel::fitsSignal(size)) {
        return 0;
    }
    const auto length = static_cast<OSBUFSIZE>(size);
    for (int mode : {1, 2}) {
        union SIGNAL* signal = fuzzkernel::signalOf(data, size);
        if (ulSpectrumAnalyzerEndianSwap::convertReceived(signal, length, mode) !=
            ulSpectrumAnalyzerEndianSwap::Result::Malformed) {
            readAll(signal, length);
        }
        free_buf(&signal);
    }
    // The signals the load module sends pass the other table; a malformed one must be
    // refused there too.
    union SIGNAL* sent = fuzzkernel::signalOf(data, size);
    (void)ulSpectrumAnalyzerEndianSwap::convertToSend(sent, length, 2);
    free_buf(&sent);
    return 0;
}
