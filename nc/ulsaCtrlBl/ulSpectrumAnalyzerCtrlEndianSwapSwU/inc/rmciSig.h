// rmciSig.h: the signals of the radio unit's measurement control interface (RMCI).
//
// Every field has a fixed offset from the start of the signal, whose first word is
// the signal number; integers are unsigned. Each layout's static_asserts pin the
// offsets and sizes, so that a layout cannot drift from the wire format. Signals
// with a text or records at their end have a fixed part described here and a
// minimum size (minSize); read them through radioSignalReader.h.
#ifndef RMCI_SIG_H
#define RMCI_SIG_H

#include "ose.h"

#include <cstddef>
#include <cstdint>

#define RMCI_CONN_ESTABLISH_REQ ((SIGSELECT)0x1706A00)
#define RMCI_CONN_ESTABLISH_CFM ((SIGSELECT)0x1706A01)
#define RMCI_CONN_ESTABLISH_REJ ((SIGSELECT)0x1706A02)
#define RMCI_GET_CAPABILITIES_REQ ((SIGSELECT)0x1706A10)
#define RMCI_GET_CAPABILITIES_CFM ((SIGSELECT)0x1706A11)
#define RMCI_CONFIG_REQ ((SIGSELECT)0x1706A20)
#define RMCI_CONFIG_CFM ((SIGSELECT)0x1706A21)
#define RMCI_CONFIG_REJ ((SIGSELECT)0x1706A22)
#define RMCI_MEASURE_REQ ((SIGSELECT)0x1706A30)
#define RMCI_MEASURE_CFM ((SIGSELECT)0x1706A31)
#define RMCI_MEASURE_REJ ((SIGSELECT)0x1706A32)
#define RMCI_MEASURE_IND ((SIGSELECT)0x1706A33)
#define RMCI_MEASURE_STOP_REQ ((SIGSELECT)0x1706A40)
#define RMCI_MEASURE_STOP_CFM ((SIGSELECT)0x1706A41)

/// The word that connection requests carry at offset 8 in place of connectionRef.
constexpr uint32_t kRadioConnEstablishWord = 300;
/// The protocol revision that connection requests ask for.
constexpr uint16_t kRadioProtocolRev = 1;

/// measurementStatus of RMCI_MEASURE_IND: 1 success, 2 failure; any other value
/// counts as a time-out (3 is what a server sends for one).
constexpr uint32_t RMC_MEASURE_STATUS_SUCCESS = 1;
constexpr uint32_t RMC_MEASURE_STATUS_FAILURE = 2;
constexpr uint32_t RMC_MEASURE_STATUS_TIMEOUT = 3;

/// The head of every RMCI and RFTI signal, and the whole of a head-only signal:
/// RMCI_CONN_ESTABLISH_CFM, RMCI_CONFIG_CFM, RMCI_MEASURE_CFM, RMCI_MEASURE_STOP_CFM,
/// RMCI_GET_CAPABILITIES_REQ and their RFTI counterparts. Confirmations may be longer.
struct RadioSignalHead {
    static constexpr OSBUFSIZE minSize = 12;
    SIGSELECT sigNo;
    uint32_t clientRef;      // froId of the client; every reply echoes it
    uint32_t connectionRef;  // given by the server's establish confirmation
};
static_assert(offsetof(RadioSignalHead, clientRef) == 4, "RadioSignalHead layout");
static_assert(offsetof(RadioSignalHead, connectionRef) == 8, "RadioSignalHead layout");
static_assert(sizeof(RadioSignalHead) == 12, "RadioSignalHead layout");

/// RMCI_CONN_ESTABLISH_REQ and RFTI_CONN_ESTABLISH_REQ, 16 bytes.
struct RadioConnEstablishReq {
    static constexpr OSBUFSIZE minSize = 16;
    SIGSELECT sigNo;
    uint32_t clientRef;
    uint32_t establishWord;  // kRadioConnEstablishWord
    uint16_t protocolRev;    // kRadioProtocolRev
    uint16_t fill;
};
static_assert(offsetof(RadioConnEstablishReq, establishWord) == 8, "RadioConnEstablishReq");
static_assert(offsetof(RadioConnEstablishReq, protocolRev) == 12, "RadioConnEstablishReq");
static_assert(sizeof(RadioConnEstablishReq) == 16, "RadioConnEstablishReq layout");

/// The cause of a rejection: a code and a NUL-terminated text that ends the signal.
struct RejectCause {
    uint16_t errorCode;
    uint16_t fill;
    char errorDescription[4];  // NUL-terminated; as long as the signal
};
static_assert(offsetof(RejectCause, errorDescription) == 4, "RejectCause layout");

/// RMCI_CONN_ESTABLISH_REJ and RFTI_CONN_ESTABLISH_REJ; the text ends the signal.
struct RadioConnEstablishRej {
    static constexpr OSBUFSIZE minSize = 21;  // an empty text: its NUL alone
    SIGSELECT sigNo;
    uint32_t clientRef;
    uint32_t connectionRef;
    uint16_t supportedProtocolRev;
    uint16_t fill;
    RejectCause rejectCause;
};
static_assert(offsetof(RadioConnEstablishRej, supportedProtocolRev) == 12, "ConnEstablishRej");
static_assert(offsetof(RadioConnEstablishRej, rejectCause) == 16, "ConnEstablishRej layout");
static_assert(offsetof(RadioConnEstablishRej, rejectCause.errorDescription) == 20,
              "ConnEstablishRej layout");

/// RMCI_CONFIG_REJ, RMCI_MEASURE_REJ and RFTI_GET_RESULT_REJ; the text ends the signal.
struct RadioRequestRej {
    static constexpr OSBUFSIZE minSize = 17;
    SIGSELECT sigNo;
    uint32_t clientRef;
    uint32_t connectionRef;
    RejectCause rejectCause;
};
static_assert(offsetof(RadioRequestRej, rejectCause) == 12, "RadioRequestRej layout");
static_assert(offsetof(RadioRequestRej, rejectCause.errorDescription) == 16, "RadioRequestRej");

/// RMCI_GET_CAPABILITIES_CFM: a count, then that many capability records one behind
/// the other, each as long as its capabilityLength says.
struct RmciGetCapabilitiesCfm {
    static constexpr OSBUFSIZE minSize = 16;
    static constexpr std::size_t firstRecordOffset = 16;
    SIGSELECT sigNo;
    uint32_t clientRef;
    uint32_t connectionRef;
    uint16_t noOfCapabilities;
    uint16_t fill;
};
static_assert(offsetof(RmciGetCapabilitiesCfm, noOfCapabilities) == 12, "GetCapabilitiesCfm");
static_assert(sizeof(RmciGetCapabilitiesCfm) == RmciGetCapabilitiesCfm::firstRecordOffset,
              "RmciGetCapabilitiesCfm layout");

/// Capability types; any other type is skipped by its length.
constexpr uint16_t kRmciCapabilityEntries = 1;  // entries with ranges and triggers
constexpr uint16_t kRmciCapabilityOpaque = 2;   // a body that is not interpreted

/// The head of a capability record, at any offset (no alignment may be assumed).
struct RmciCapabilityHead {
    uint16_t capabilityType;
    uint16_t capabilityLength;  // distance to the next record
};
static_assert(sizeof(RmciCapabilityHead) == 4, "RmciCapabilityHead layout");

/// A type 1 record goes on with its count of entries at offset 4, entries from 8.
constexpr std::size_t kRmciNoOfEntriesOffset = 4;
constexpr std::size_t kRmciFirstEntryOffset = 8;

/// The head of an entry of a type 1 capability; its ranges and triggers follow.
struct RmciCapabilityEntryHead {
    uint32_t entryId;
    uint32_t noOfRanges;
    uint32_t noOfTriggers;
};
static_assert(sizeof(RmciCapabilityEntryHead) == 12, "RmciCapabilityEntryHead layout");

/// A range record: five words.
struct RmciRange {
    uint32_t words[5];
};
static_assert(sizeof(RmciRange) == 20, "RmciRange layout");

/// Trigger identities; another identity is skipped by its length.
constexpr uint16_t kRmciPowerTrigger = 1;

/// A trigger record; identity 1 goes on with two words at offsets 4 and 8.
struct RmciTrigger {
    uint16_t triggerIdentity;
    uint16_t triggerLength;  // distance to the next trigger
    uint32_t firstValue;
    uint32_t secondValue;
};
static_assert(offsetof(RmciTrigger, firstValue) == 4, "RmciTrigger layout");
static_assert(offsetof(RmciTrigger, secondValue) == 8, "RmciTrigger layout");
constexpr std::size_t kRmciTriggerHeadSize = 4;

/// The 44-byte record of sampling parameters that RMCI_CONFIG_REQ carries at 16.
struct RmciSamplingParameters {
    uint32_t portId;  // 1 ("A") to 8 ("H")
    uint32_t samplingType;
    uint32_t centerFrequency;
    uint32_t displayedBandwidth;
    uint32_t resolutionBandwidth;
    uint32_t samplingTimeout;  // milliseconds
    uint16_t triggerIdentity;  // 1 for a power trigger, else 0
    uint16_t triggerLength;    // 20 for a power trigger, else 0
    uint32_t powerLevel;
    uint8_t reserved[12];
};
static_assert(offsetof(RmciSamplingParameters, triggerIdentity) == 24, "SamplingParameters");
static_assert(offsetof(RmciSamplingParameters, powerLevel) == 28, "RmciSamplingParameters");
static_assert(sizeof(RmciSamplingParameters) == 44, "RmciSamplingParameters layout");

/// RMCI_CONFIG_REQ, 60 bytes.
struct RmciConfigReq {
    static constexpr OSBUFSIZE minSize = 60;
    SIGSELECT sigNo;
    uint32_t clientRef;
    uint32_t connectionRef;
    uint16_t configVersion;  // 1
    uint16_t configLength;   // 44
    RmciSamplingParameters parameters;
};
static_assert(offsetof(RmciConfigReq, configVersion) == 12, "RmciConfigReq layout");
static_assert(offsetof(RmciConfigReq, configLength) == 14, "RmciConfigReq layout");
static_assert(offsetof(RmciConfigReq, parameters.portId) == 16, "RmciConfigReq layout");
static_assert(offsetof(RmciConfigReq, parameters.samplingTimeout) == 36, "RmciConfigReq layout");
static_assert(offsetof(RmciConfigReq, parameters.triggerIdentity) == 40, "RmciConfigReq");
static_assert(offsetof(RmciConfigReq, parameters.triggerLength) == 42, "RmciConfigReq layout");
static_assert(offsetof(RmciConfigReq, parameters.powerLevel) == 44, "RmciConfigReq layout");
static_assert(offsetof(RmciConfigReq, parameters.reserved) == 48, "RmciConfigReq layout");
static_assert(sizeof(RmciConfigReq) == 60, "RmciConfigReq layout");

/// RMCI_MEASURE_REQ, 20 bytes.
struct RmciMeasureReq {
    static constexpr OSBUFSIZE minSize = 20;
    SIGSELECT sigNo;
    uint32_t clientRef;
    uint32_t connectionRef;
    uint32_t portId;
    uint16_t measurementType;  // 1
    uint16_t fill;
};
static_assert(offsetof(RmciMeasureReq, portId) == 12, "RmciMeasureReq layout");
static_assert(offsetof(RmciMeasureReq, measurementType) == 16, "RmciMeasureReq layout");
static_assert(sizeof(RmciMeasureReq) == 20, "RmciMeasureReq layout");

/// RMCI_MEASURE_IND, at least 20 bytes.
struct RmciMeasureInd {
    static constexpr OSBUFSIZE minSize = 20;
    SIGSELECT sigNo;
    uint32_t clientRef;
    uint32_t connectionRef;
    uint32_t measurementStatus;  // RMC_MEASURE_STATUS_...
    uint32_t dataFileRef;        // the result file in the radio unit
};
static_assert(offsetof(RmciMeasureInd, measurementStatus) == 12, "RmciMeasureInd layout");
static_assert(offsetof(RmciMeasureInd, dataFileRef) == 16, "RmciMeasureInd layout");
static_assert(sizeof(RmciMeasureInd) == 20, "RmciMeasureInd layout");

/// RMCI_MEASURE_STOP_REQ, 16 bytes.
struct RmciMeasureStopReq {
    static constexpr OSBUFSIZE minSize = 16;
    SIGSELECT sigNo;
    uint32_t clientRef;
    uint32_t connectionRef;
    uint32_t portId;
};
static_assert(offsetof(RmciMeasureStopReq, portId) == 12, "RmciMeasureStopReq layout");
static_assert(sizeof(RmciMeasureStopReq) == 16, "RmciMeasureStopReq layout");

#endif  // RMCI_SIG_H
