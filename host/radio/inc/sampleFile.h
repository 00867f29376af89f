// sampleFile.h: the radio unit's result file of one uplink sweep.
//
// What the unit's file server sends block by block, and what the load module keeps
// and uploads without looking inside. The layout (README.md) is big-endian:
//
//   0  4  magic "RUSW"
//   4  2  format version, 1
//   6  2  header length in bytes (24); the power values start there
//   8  4  start frequency, kHz: the lower edge of the first bin
//  12  4  stop frequency, kHz: the upper edge of the last bin
//  16  4  number of bins
//  20  2  port id (1 "A" to 8 "H")
//  22  2  sampling type (0 single, 1 continuous, 2 conditional)
//  24     one signed 16-bit power per bin, tenths of a dBm, lowest frequency first
#ifndef HOST_RADIO_SAMPLE_FILE_H
#define HOST_RADIO_SAMPLE_FILE_H

#include "radioUnitConfig.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace hostradio {

constexpr char kSampleFileMagic[4] = {'R', 'U', 'S', 'W'};
constexpr uint16_t kSampleFileVersion = 1;
constexpr uint16_t kSampleFileHeaderLength = 24;

struct SampleFile {
    uint32_t startFrequency = 0;  // kHz
    uint32_t stopFrequency = 0;   // kHz
    uint16_t portId = 0;
    uint16_t samplingType = 0;
    std::vector<int16_t> power;  // 0.1 dBm per bin

    /// The centre of bin i, kHz.
    double binCenter(std::size_t i) const;
};

/// The file's bytes.
std::vector<uint8_t> encodeSampleFile(const SampleFile& file);

/// Reads a file; false when it is not one of this format (wrong magic or version,
/// a header length or bin count that does not match the size, an empty range).
/// Never reads outside [data, data + size).
bool decodeSampleFile(const uint8_t* data, std::size_t size, SampleFile& file);

/// The file server's checksum: the sum of the file's bytes modulo 2^32.
uint32_t fileChecksum(const std::vector<uint8_t>& bytes);

/// What one sweep asks for.
struct SweepRequest {
    uint16_t portId = 1;
    uint16_t samplingType = 0;
    uint32_t centerFrequency = 0;     // kHz
    uint32_t displayedBandwidth = 0;  // kHz, more than 0
    uint32_t binCount = 0;            // more than 0
};

/// A sweep of the configured uplink: the noise floor and the carriers added as
/// powers, each bin with its own Gaussian noise in dB. The same spectrum, request
/// and sweep number give the same file on every machine.
SampleFile makeSweep(const SpectrumConfig& spectrum, const SweepRequest& request,
                     uint32_t sweepNumber);

}  // namespace hostradio

#endif  // HOST_RADIO_SAMPLE_FILE_H
