// radioUnit.h: a simulated radio unit in the calling program's kernel.
//
// A unit is one kernel process ("<prefix>RadioUnit") that does all the work, two
// phantom processes that are its servers as the load module sees them,
// "<prefix>RmcServer" (measurement control, RMCI) and "<prefix>RftServer" (result
// file transfer, RFTI), both redirecting to it, and the unit's status service
// "KGM_IW_USI:" + the unit's LDN. The prefix is "<dcControllerName>/" unless the
// configuration says otherwise, so a hunt for "<dcControllerName>/RmcServer" finds
// the server in this kernel. The name server "ose_ns" must run: the status service
// publishes itself there.
//
//   hostns::startNameServer();
//   RadioUnit unit = startRadioUnit(defaultRadioUnitConfig(ldn, "RU-1-link"));
//   RadioFaults faults;
//   faults.badChecksum = true;
//   setRadioFaults(unit, faults);          // from a kernel process
//   stopRadioUnit(unit);
//
// Measurements take their time through kernel time-outs, so a test with the
// kernel's manual clock moves them on with ose_clock_advance().
#ifndef HOST_RADIO_UNIT_H
#define HOST_RADIO_UNIT_H

#include "ose.h"
#include "radioUnitConfig.h"

#include <cstdint>

namespace hostradio {

/// The processes of a running unit.
struct RadioUnit {
    PROCESS unit = 0;        // the worker; host signals go here
    PROCESS rmcServer = 0;   // "<prefix>RmcServer"
    PROCESS rftServer = 0;   // "<prefix>RftServer"; a new one after an injected death
    PROCESS unitStatus = 0;  // "KGM_IW_USI:" + ldn
    std::string dcControllerName;
};

/// Rejection causes (rejectCause.errorCode) of the unit's own checks.
enum RejectCause : uint16_t {
    kCauseUnsupportedProtocol = 1,  // a protocol revision other than 1
    kCauseNoConnection = 2,         // a request on a connection its sender does not hold
    kCauseMalformed = 3,            // a request shorter than its format, or wrong version words
    kCauseUnknownPort = 4,          // a port id the unit does not have, or not the configured one
    kCauseSamplingType = 5,         // a sampling type other than 0, 1, 2; measurement type not 1
    kCauseFrequency = 6,            // the swept range lies in no range of the port
    kCauseBandwidth = 7,            // no bins, more bins than the range allows
    kCauseTrigger = 8,              // a conditional sweep without a usable power trigger
    kCauseNotConfigured = 9,        // a measurement before an accepted configuration
    kCauseBusy = 10,                // a measurement or configuration while one runs
    kCauseUnknownFile = 11,         // a result that the unit does not hold
};

/// Misbehaviour on request, for tests; all off by default. Applies from the moment
/// setRadioFaults() returns until it is called again.
struct RadioFaults {
    /// Requests of this number are rejected with this cause and text, if the request
    /// has a rejection (RMCI establish, config, measure; RFTI establish, result).
    SIGSELECT rejectRequest = 0;
    uint16_t rejectCause = 0;
    char rejectText[64] = "rejected on request";
    /// The answers to requests of this number are held back this long; kNever: the
    /// unit does not answer them at all.
    SIGSELECT slowRequest = 0;
    uint32_t answerDelayMs = 0;
    bool zeroCapabilities = false;  // RMCI_GET_CAPABILITIES_CFM with no records
    bool badChecksum = false;       // RFTI_GET_RESULT_CFM announces a wrong checksum
    /// The file server dies right after sending this block (from 1; 0 never): its
    /// clients' attaches fire, and a new server of the same name starts.
    uint32_t dieAfterBlock = 0;
    /// measurementStatus of RMCI_MEASURE_IND (1 success, 2 failure, 3 time-out); with
    /// a failure no file is made.
    uint32_t measurementStatus = 1;
};

/// Creates and starts the unit's processes and its status service. Any thread.
RadioUnit startRadioUnit(const RadioUnitConfig& config);

/// Sets the faults and waits at most timeoutMs until the unit has taken them; false
/// when it did not answer. The caller must be a kernel process.
bool setRadioFaults(const RadioUnit& unit, const RadioFaults& faults, OSTIME timeoutMs = 1000);

/// Disables (operationalState 0) or enables the unit through its status service,
/// which tells every connection at once; false when the service did not answer.
/// The caller must be a kernel process.
bool setUnitEnabled(const RadioUnit& unit, bool enabled, OSTIME timeoutMs = 1000);

/// Ends the unit: its servers die (their attachers are told) and its status service
/// withdraws. Any thread.
void stopRadioUnit(const RadioUnit& unit);

// Host signals of the worker, in the machine's byte order.
constexpr SIGSELECT RADIO_HOST_SET_FAULTS_REQ = 0x7E220;  // 4: RadioFaults
constexpr SIGSELECT RADIO_HOST_SET_FAULTS_CFM = 0x7E221;  // 4: 0 taken, 1 malformed; 8: RftServer

}  // namespace hostradio

#endif  // HOST_RADIO_UNIT_H
