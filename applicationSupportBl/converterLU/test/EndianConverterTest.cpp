#include "EndianConverter.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

TEST(EndianConverterTest, onlyReverseModeReversesAndOnlyTheConvertingReads) {
    // A field at an odd address, as fields of packed signals may be.
    const unsigned char bytes[6] = {0xEE, 0x12, 0x34, 0x56, 0x78, 0xEE};
    const unsigned char reversed[4] = {0x78, 0x56, 0x34, 0x12};
    uint32_t asStored, swapped;
    uint16_t asStored16, swapped16;
    std::memcpy(&asStored, bytes + 1, 4);
    std::memcpy(&swapped, reversed, 4);
    std::memcpy(&asStored16, bytes + 1, 2);
    std::memcpy(&swapped16, reversed + 2, 2);

    const EndianConverter host(EndianConverter::HostOrder);
    EXPECT_EQ(host.read32(bytes + 1), asStored);
    EXPECT_EQ(host.read16(bytes + 1), asStored16);

    EndianConverter reverse;
    reverse.setMode(EndianConverter::Reverse);
    EXPECT_EQ(reverse.read32(bytes + 1), swapped);
    EXPECT_EQ(reverse.read16(bytes + 1), swapped16);
    EXPECT_EQ(reverse.read32NoSwap(bytes + 1), asStored);
    EXPECT_EQ(reverse.read16NoSwap(bytes + 1), asStored16);

    const EndianConverter odd(7);  // any mode but 2 keeps the bytes
    EXPECT_EQ(odd.read32(bytes + 1), asStored);
}

TEST(EndianConverterDeathTest, everyReadStopsWhenNoModeWasGiven) {
    const uint32_t word = 0x01020304;
    const EndianConverter never;
    EXPECT_DEATH(never.read16(&word), "m_mode != Unknown");
    EXPECT_DEATH(never.read32(&word), "m_mode != Unknown");
    EXPECT_DEATH(never.read16NoSwap(&word), "m_mode != Unknown");
    EXPECT_DEATH(never.read32NoSwap(&word), "m_mode != Unknown");

    EndianConverter reset(EndianConverter::Reverse);
    reset.setMode(EndianConverter::Unknown);
    EXPECT_DEATH(reset.read32(&word), "m_mode != Unknown");
}
