#include "numberConversion.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

using applsupp::comm::numberToString;
using applsupp::comm::stringToNumber;

namespace {

template <typename T>
std::string written(T value, int base) {
    std::string text;
    EXPECT_TRUE(numberToString(value, text, base));
    return text;
}

}  // namespace

TEST(NumberConversionTest, unsignedTextRefusesAnyMinusAndLeavesTheResult) {
    uint32_t u32 = 77;
    EXPECT_FALSE(stringToNumber("-1", u32));
    EXPECT_FALSE(stringToNumber("12-3", u32));
    EXPECT_EQ(u32, 77u);
    uint16_t u16 = 9;
    EXPECT_FALSE(stringToNumber("-65535", u16));
    EXPECT_EQ(u16, 9u);

    EXPECT_TRUE(stringToNumber(" 4294967295", u32));
    EXPECT_EQ(u32, 4294967295u);
    EXPECT_FALSE(stringToNumber("4294967296", u32));
    EXPECT_FALSE(stringToNumber("65536", u16));
    EXPECT_FALSE(stringToNumber("", u32));
    EXPECT_TRUE(stringToNumber("12ab", u32));  // extraction stops at the first non-digit
    EXPECT_EQ(u32, 12u);
    uint64_t u64 = 0;
    EXPECT_TRUE(stringToNumber("18446744073709551615", u64));
    EXPECT_EQ(u64, UINT64_MAX);

    uint8_t u8 = 1;
    EXPECT_TRUE(stringToNumber("255", u8));
    EXPECT_EQ(u8, 255u);
    EXPECT_TRUE(stringToNumber("7", u8));
    EXPECT_EQ(u8, 7u);  // the number 7, not the character '7'
    EXPECT_FALSE(stringToNumber("256", u8));
    EXPECT_FALSE(stringToNumber("-1", u8));
    EXPECT_EQ(u8, 7u);
}

TEST(NumberConversionTest, signedTextKeepsItsSignAndRange) {
    int32_t s32 = 0;
    EXPECT_TRUE(stringToNumber("-1", s32));
    EXPECT_EQ(s32, -1);
    EXPECT_FALSE(stringToNumber("2147483648", s32));
    int16_t s16 = 0;
    EXPECT_TRUE(stringToNumber("-32768", s16));
    EXPECT_EQ(s16, -32768);
    EXPECT_FALSE(stringToNumber("32768", s16));
    int64_t s64 = 0;
    EXPECT_TRUE(stringToNumber("-9223372036854775808", s64));
    EXPECT_EQ(s64, INT64_MIN);
    EXPECT_FALSE(stringToNumber("--1", s64));
}

TEST(NumberConversionTest, numbersAreAppendedInTheChosenBase) {
    std::string text = "v=";
    EXPECT_TRUE(numberToString(uint32_t{255}, text, 1));
    EXPECT_TRUE(numberToString(uint32_t{255}, text, 2));
    EXPECT_TRUE(numberToString(uint32_t{255}, text, 0));
    EXPECT_TRUE(numberToString(uint32_t{255}, text, 16));  // no base code: decimal
    EXPECT_EQ(text, "v=ff377255255");

    EXPECT_EQ(written(uint64_t{0xABCDEF0123456789ull}, 1), "abcdef0123456789");
    EXPECT_EQ(written(int64_t{INT64_MIN}, 0), "-9223372036854775808");
    EXPECT_EQ(written(int32_t{-1}, 1), "ffffffff");
    EXPECT_EQ(written(int16_t{-1}, 1), "ffff");
    EXPECT_EQ(written(uint16_t{65535}, 2), "177777");
    // 8-bit values are numbers, not characters.
    EXPECT_EQ(written(uint8_t{65}, 0), "65");
    EXPECT_EQ(written(int8_t{-1}, 1), "ff");
    EXPECT_EQ(written(int8_t{-128}, 0), "-128");
}
