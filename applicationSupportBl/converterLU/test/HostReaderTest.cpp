#include "FromHostReader.h"
#include "FromNetworkReader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

using applsupp::converter::v1::FromHostReader;
using applsupp::converter::v1::FromNetworkReader;
using applsupp::converter::v1::HostReader;

namespace {

// Fields as they stand in a big-endian signal, passed to a reader as the client does.
template <typename T>
T stored(const unsigned char* bytes) {
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

const unsigned char kU32[4] = {0x00, 0x01, 0x02, 0x03};
const unsigned char kMinus257[2] = {0xFE, 0xFF};
const unsigned char kPlus128[2] = {0x00, 0x80};
const unsigned char kMinus2[4] = {0xFF, 0xFF, 0xFF, 0xFE};

bool littleEndianHost() {
    return stored<uint16_t>(kPlus128) == 0x8000;
}

}  // namespace

TEST(HostReaderTest, reverseModeDecodesBigEndianFieldsWithTheirSign) {
    if (!littleEndianHost()) {
        GTEST_SKIP() << "mode 2 turns big-endian fields around only on a little-endian host";
    }
    const EndianConverter converter(EndianConverter::Reverse);
    const FromNetworkReader network(converter);
    const HostReader& reader = network;
    EXPECT_EQ(reader.readU32(stored<uint32_t>(kU32)), 0x00010203u);
    EXPECT_EQ(reader.readS32(stored<int32_t>(kMinus2)), -2);
    EXPECT_EQ(reader.readU16(stored<uint16_t>(kMinus257)), 0xFEFFu);
    // The sign is taken after the reversal: bit 7 of the stored first byte decides.
    EXPECT_EQ(static_cast<int32_t>(reader.readS16(stored<int16_t>(kMinus257))), -257);
    EXPECT_EQ(static_cast<int32_t>(reader.readS16(stored<int16_t>(kPlus128))), 128);

    // In host mode both readers leave every field as it stands.
    const EndianConverter hostMode(EndianConverter::HostOrder);
    const FromNetworkReader asIs(hostMode);
    const FromHostReader host;
    EXPECT_EQ(asIs.readS16(stored<int16_t>(kMinus257)), host.readS16(stored<int16_t>(kMinus257)));
    EXPECT_EQ(asIs.readU32(stored<uint32_t>(kU32)), stored<uint32_t>(kU32));
    EXPECT_EQ(host.readS32(stored<int32_t>(kMinus2)), stored<int32_t>(kMinus2));
}

TEST(HostReaderDeathTest, networkReaderOverAConverterWithoutModeStops) {
    const EndianConverter converter;
    const FromNetworkReader reader(converter);
    EXPECT_DEATH(reader.readS16(-1), "m_mode != Unknown");
}
