#include "sampleFile.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

namespace hostradio {

namespace {

void putBig(std::vector<uint8_t>& out, uint32_t value, int bytes) {
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
        out.push_back(static_cast<uint8_t>(value >> shift));
    }
}

uint32_t getBig(const uint8_t* at, int bytes) {
    uint32_t value = 0;
    for (int i = 0; i < bytes; ++i) {
        value = (value << 8) | at[i];
    }
    return value;
}

double toMilliwatt(double dbm) {
    return std::pow(10.0, dbm / 10.0);
}

// A standard normal value from two draws (Box-Muller): mt19937's sequence is fixed by
// the standard, std::normal_distribution's is not.
double gaussian(std::mt19937& random) {
    const double u1 = (static_cast<double>(random()) + 0.5) / 4294967296.0;
    const double u2 = (static_cast<double>(random()) + 0.5) / 4294967296.0;
    return std::sqrt(-2.0 * std::log(u1)) * std::cos(6.283185307179586 * u2);
}

}  // namespace

double SampleFile::binCenter(std::size_t i) const {
    const double width = (static_cast<double>(stopFrequency) - startFrequency) /
                         static_cast<double>(power.empty() ? 1 : power.size());
    return startFrequency + (static_cast<double>(i) + 0.5) * width;
}

std::vector<uint8_t> encodeSampleFile(const SampleFile& file) {
    std::vector<uint8_t> out(kSampleFileMagic, kSampleFileMagic + sizeof kSampleFileMagic);
    out.reserve(kSampleFileHeaderLength + 2 * file.power.size());
    putBig(out, kSampleFileVersion, 2);
    putBig(out, kSampleFileHeaderLength, 2);
    putBig(out, file.startFrequency, 4);
    putBig(out, file.stopFrequency, 4);
    putBig(out, static_cast<uint32_t>(file.power.size()), 4);
    putBig(out, file.portId, 2);
    putBig(out, file.samplingType, 2);
    out.resize(kSampleFileHeaderLength + 2 * file.power.size());
    uint8_t* at = out.data() + kSampleFileHeaderLength;
    for (const int16_t value : file.power) {
        const auto word = static_cast<uint16_t>(value);
        *at++ = static_cast<uint8_t>(word >> 8);
        *at++ = static_cast<uint8_t>(word);
    }
    return out;
}

bool decodeSampleFile(const uint8_t* data, std::size_t size, SampleFile& file) {
    if (data == nullptr || size < kSampleFileHeaderLength ||
        std::memcmp(data, kSampleFileMagic, sizeof kSampleFileMagic) != 0 ||
        getBig(data + 4, 2) != kSampleFileVersion) {
        return false;
    }
    const uint32_t headerLength = getBig(data + 6, 2);
    const uint64_t bins = getBig(data + 16, 4);
    // A later version may have a longer header; the values follow it.
    if (headerLength < kSampleFileHeaderLength || headerLength > size ||
        (size - headerLength) != 2 * bins) {
        return false;
    }
    SampleFile read;
    read.startFrequency = getBig(data + 8, 4);
    read.stopFrequency = getBig(data + 12, 4);
    read.portId = static_cast<uint16_t>(getBig(data + 20, 2));
    read.samplingType = static_cast<uint16_t>(getBig(data + 22, 2));
    if (read.startFrequency >= read.stopFrequency || bins == 0) {
        return false;
    }
    read.power.resize(static_cast<std::size_t>(bins));
    for (std::size_t i = 0; i < read.power.size(); ++i) {
        read.power[i] = static_cast<int16_t>(getBig(data + headerLength + 2 * i, 2));
    }
    file = std::move(read);
    return true;
}

uint32_t fileChecksum(const std::vector<uint8_t>& bytes) {
    uint32_t sum = 0;
    for (const uint8_t byte : bytes) {
        sum += byte;
    }
    return sum;
}

SampleFile makeSweep(const SpectrumConfig& spectrum, const SweepRequest& request,
                     uint32_t sweepNumber) {
    SampleFile file;
    file.portId = request.portId;
    file.samplingType = request.samplingType;
    const uint32_t half = request.displayedBandwidth / 2;
    file.startFrequency = request.centerFrequency > half ? request.centerFrequency - half : 0;
    file.stopFrequency = file.startFrequency + std::max<uint32_t>(request.displayedBandwidth, 1);
    const std::size_t bins = std::max<uint32_t>(request.binCount, 1);
    const double binWidth =
        (static_cast<double>(file.stopFrequency) - file.startFrequency) / static_cast<double>(bins);

    std::seed_seq seeds{spectrum.seed, sweepNumber, static_cast<uint32_t>(request.portId)};
    std::mt19937 random(seeds);
    file.power.resize(bins);
    const double floorMw = toMilliwatt(spectrum.noiseFloorDbm);
    // Most bins hold the floor alone: the level of the bin before is taken again when
    // its power is the same, which gives the very same value.
    double levelOf = -1;
    double level = 0;
    for (std::size_t i = 0; i < bins; ++i) {
        const double low = file.startFrequency + static_cast<double>(i) * binWidth;
        const double high = low + binWidth;
        double milliwatt = floorMw;
        for (const Carrier& carrier : spectrum.carriers) {
            // A carrier adds its power in the share of the bin that it covers.
            const double from = carrier.centerFrequency - carrier.width / 2.0;
            const double to = carrier.centerFrequency + carrier.width / 2.0;
            const double overlap = std::min(high, to) - std::max(low, from);
            if (overlap > 0) {
                milliwatt += toMilliwatt(carrier.powerDbm) * overlap / binWidth;
            }
        }
        if (milliwatt != levelOf) {
            levelOf = milliwatt;
            level = 10.0 * std::log10(milliwatt);
        }
        const double dbm = level + spectrum.noiseDb * gaussian(random);
        const double tenths = std::round(dbm * 10.0);
        file.power[i] = static_cast<int16_t>(std::clamp(tenths, -32768.0, 32767.0));
    }
    return file;
}

}  // namespace hostradio
