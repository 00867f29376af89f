#include "radioSignals.h"

namespace radioSignals {

namespace {

#define ULSA_SIGNAL(number, layout) \
    { number, #number, layout::minSize }

const SignalInfo signals[] = {
    ULSA_SIGNAL(RMCI_CONN_ESTABLISH_REQ, RadioConnEstablishReq),
    ULSA_SIGNAL(RMCI_CONN_ESTABLISH_CFM, RadioSignalHead),
    ULSA_SIGNAL(RMCI_CONN_ESTABLISH_REJ, RadioConnEstablishRej),
    ULSA_SIGNAL(RMCI_GET_CAPABILITIES_REQ, RadioSignalHead),
    ULSA_SIGNAL(RMCI_GET_CAPABILITIES_CFM, RmciGetCapabilitiesCfm),
    ULSA_SIGNAL(RMCI_CONFIG_REQ, RmciConfigReq),
    ULSA_SIGNAL(RMCI_CONFIG_CFM, RadioSignalHead),
    ULSA_SIGNAL(RMCI_CONFIG_REJ, RadioRequestRej),
    ULSA_SIGNAL(RMCI_MEASURE_REQ, RmciMeasureReq),
    ULSA_SIGNAL(RMCI_MEASURE_CFM, RadioSignalHead),
    ULSA_SIGNAL(RMCI_MEASURE_REJ, RadioRequestRej),
    ULSA_SIGNAL(RMCI_MEASURE_IND, RmciMeasureInd),
    ULSA_SIGNAL(RMCI_MEASURE_STOP_REQ, RmciMeasureStopReq),
    ULSA_SIGNAL(RMCI_MEASURE_STOP_CFM, RadioSignalHead),
    ULSA_SIGNAL(RFTI_CONN_ESTABLISH_REQ, RadioConnEstablishReq),
    ULSA_SIGNAL(RFTI_CONN_ESTABLISH_CFM, RadioSignalHead),
    ULSA_SIGNAL(RFTI_CONN_ESTABLISH_REJ, RadioConnEstablishRej),
    ULSA_SIGNAL(RFTI_GET_CAPABILITIES_REQ, RadioSignalHead),
    ULSA_SIGNAL(RFTI_GET_CAPABILITIES_CFM, RftiGetCapabilitiesCfm),
    ULSA_SIGNAL(RFTI_GET_RESULT_REQ, RftiGetResultReq),
    ULSA_SIGNAL(RFTI_GET_RESULT_CFM, RftiGetResultCfm),
    ULSA_SIGNAL(RFTI_GET_RESULT_REJ, RadioRequestRej),
    ULSA_SIGNAL(RFTI_GET_RESULT_DATA, RftiGetResultData),
    ULSA_SIGNAL(RFTI_GET_RESULT_ACK, RftiGetResultAck),
    ULSA_SIGNAL(KGM_IW_USI_CONN_ESTABLISH_REQ, UsiConnEstablishReq),
    ULSA_SIGNAL(KGM_IW_USI_CONN_ESTABLISH_CFM, UsiSignalHead),
    ULSA_SIGNAL(KGM_IW_USI_CONN_ESTABLISH_REJ, UsiConnEstablishRej),
    ULSA_SIGNAL(KGM_IW_USI_UNIT_INFO_UPDATE_IND, UsiUnitInfoUpdateInd),
    ULSA_SIGNAL(KGM_IW_USI_CONN_CLOSE_REQ, UsiSignalHead),
    ULSA_SIGNAL(KGM_IW_USI_CONN_CLOSE_CFM, UsiSignalHead),
    ULSA_SIGNAL(ULSA_RMCI_SERVER_HUNT_IND, UlsaServerInd),
    ULSA_SIGNAL(ULSA_RMCI_SERVER_ATTACH_IND, UlsaServerInd),
    ULSA_SIGNAL(ULSA_RFTI_SERVER_HUNT_IND, UlsaServerInd),
    ULSA_SIGNAL(ULSA_RFTI_SERVER_ATTACH_IND, UlsaServerInd),
    ULSA_SIGNAL(ULSA_TMO_SIG, UlsaTmoSig),
};

#undef ULSA_SIGNAL

}  // namespace

const SignalInfo* catalogue(std::size_t& count) {
    count = sizeof signals / sizeof signals[0];
    return signals;
}

const SignalInfo* findSignal(SIGSELECT number) {
    for (const SignalInfo& info : signals) {
        if (info.number == number) {
            return &info;
        }
    }
    return nullptr;
}

}  // namespace radioSignals
