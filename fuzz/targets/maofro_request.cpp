// A MAO-FRO request as the service layer extracts it: the signal of the input's size
// goes through the handler's extraction of the request kind its number picks (create,
// set, get, delete, action), which reads every field within the signal, decodes a
// zipped text (Base64 and zlib) and parses the XML. The input's bytes are also given
// to the decoding of zipped texts on their own.
#include "FuzzKernel.h"
#include "MaoFroGenericBase.h"
#include "NcmiSignalData.h"
#include "maoFroSignals.h"

#include <string>

namespace {

// The extraction steps are the handler's own, reached through a derived class as an
// application's handler reaches them.
class Extractor : public MaoFroGenericBase {
  public:
    bool extract(union SIGNAL* signal, NcmiSignalData& data) {
        switch (fuzzkernel::numberOf(signal)) {
            case maofro::MAO_FRO_CREATE_REQ:
                return extractCreateReq(signal, data);
            case maofro::MAO_FRO_SET_REQ:
                return extractSetReq(signal, data);
            case maofro::MAO_FRO_GET_REQ:
                return extractGetReq(signal, data);
            case maofro::MAO_FRO_DELETE_REQ:
                return extractDeleteReq(signal, data);
            case maofro::MAO_FRO_ACTION_REQ:
            case maofro::MAO_FRO_ACTION:
                return extractActionReq(signal, data);
            default:
                return false;  // not a request: the dispatcher never subscribes it
        }
    }
};

Extractor* extractor = nullptr;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    ose_adopt_thread("ulSpectrumAnalyzer_main_thread");
    extractor = new Extractor;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    (void)MaoFroGenericBase::decodeAndUnzip(text);
    if (!fuzzkernel::fitsSignal(size)) {
        return 0;
    }
    union SIGNAL* signal = fuzzkernel::signalOf(data, size);
    NcmiSignalData request;
    (void)extractor->extract(signal, request);
    free_buf(&signal);
    return 0;
}
