// radioUnitConfig.h: everything a simulated radio unit is, as plain values.
//
// One struct per unit: its names, its RF ports and what each can measure, the size
// of the blocks its file server sends, how long a measurement takes and what the
// uplink looks like. Nothing in it refers to a running kernel: the processes that
// play the unit are made from it by startRadioUnit() (radioUnit.h).
//
// Units, as the unit's measurement interface uses them: frequencies and bandwidths
// in kHz; trigger powers in whole dBm, as signed 32-bit words (-90 is -90 dBm).
#ifndef HOST_RADIO_UNIT_CONFIG_H
#define HOST_RADIO_UNIT_CONFIG_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace hostradio {

/// A time that never comes: a power trigger that never fires.
constexpr uint32_t kNever = 0xFFFFFFFFu;

/// One frequency range a port can sweep: a range record of the capability.
struct FrequencyRange {
    uint32_t minFrequency = 0;     // kHz
    uint32_t maxFrequency = 0;     // kHz
    uint32_t flatGainBW = 0;       // kHz
    uint32_t samplingRate = 0;     // kHz
    uint32_t maxNumSamplings = 0;  // most bins of one sweep
};

/// The power trigger of a port: a conditional sweep waits for the uplink power to
/// pass a level between these two.
struct PowerTrigger {
    bool present = true;
    int32_t minPower = -130;  // dBm
    int32_t maxPower = -30;   // dBm
};

/// What one RF port can measure; ports are "A", "B", ... in order, port id 1, 2, ...
struct PortCapability {
    std::vector<FrequencyRange> ranges;
    PowerTrigger trigger;
};

/// A carrier in the uplink: flat over its width, at its power per bin.
struct Carrier {
    uint32_t centerFrequency = 0;  // kHz
    uint32_t width = 0;            // kHz
    double powerDbm = 0;           // power in one resolution bandwidth
};

/// What the unit sees on every port.
struct SpectrumConfig {
    double noiseFloorDbm = -110.0;  // power in one resolution bandwidth
    std::vector<Carrier> carriers;
    double noiseDb = 1.0;  // standard deviation of each bin, dB
    uint32_t seed = 1;     // with the sweep's number, fixes every bin
};

struct RadioUnitConfig {
    std::string ldn;               // e.g. "ManagedElement=1,Equipment=1,AuxPlugInUnit=RU-1"
    std::string dcControllerName;  // what the unit-status service tells the load module
    /// What the server processes' names begin with, "RmcServer" and "RftServer"
    /// behind it. Unset: dcControllerName and "/", so that a hunt for
    /// "<dcControllerName>/RmcServer" in the same kernel finds the server without a
    /// link. A unit behind a link gives the prefix that the link's far side hunts.
    std::optional<std::string> serverNamePrefix;
    std::vector<PortCapability> ports;  // at most 8: "A" to "H"
    uint32_t blockSize = 4096;          // bytes of file a block carries at most
    uint32_t measurementTimeMs = 2000;  // from the measure request to its result
    uint32_t triggerDelayMs = 5000;     // a conditional sweep waits this long more; kNever
    /// Unit-status bits and state at the start (enabled: 1).
    uint32_t unitStatusBits = 0;
    uint32_t operationalState = 1;
    SpectrumConfig spectrum;
};

/// A unit of eight ports "A" to "H", each sweeping 1920 to 1980 MHz (an uplink band)
/// in at most 4096 bins with a power trigger from -130 to -30 dBm; blocks of 4096
/// bytes; 2 s a measurement, 5 s more for a trigger; three carriers of 5, 10 and
/// 15 MHz above a floor of -110 dBm.
RadioUnitConfig defaultRadioUnitConfig(const std::string& ldn, const std::string& dcControllerName);

/// The names of the unit's processes: prefix + "RmcServer", "RftServer", "RadioUnit".
std::string serverNamePrefix(const RadioUnitConfig& config);

/// The LDN of a port below the unit: "<ldn>,DeviceGroup=ru,RfPort=<A..H>"; port from 1.
std::string rfPortLdn(const RadioUnitConfig& config, uint32_t portId);

}  // namespace hostradio

#endif  // HOST_RADIO_UNIT_CONFIG_H
