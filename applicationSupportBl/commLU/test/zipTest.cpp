#include "zip.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

using applsupp::comm::unzip;
using applsupp::comm::zip;

namespace {

// XML-like text whose words vary, so that it does not compress to nothing.
std::string xmlText(std::size_t size) {
    std::string text = "<?xml version=\"1.0\"?><mo>";
    for (uint32_t seed = 12345; text.size() < size;) {
        seed = seed * 1103515245u + 12345u;
        text += "<attr name=\"a" + std::to_string(seed % 977) + "\" value=\"" +
                std::to_string(seed >> 7) + "\"/>\n";
    }
    text.resize(size);
    return text;
}

}  // namespace

TEST(ZipTest, textsSurviveZipAndUnzipAppended) {
    std::string binary;
    for (int i = 0; i < 1024; ++i) {
        binary.push_back(static_cast<char>((i * 7 + i / 256) & 0xFF));
    }
    for (const std::string& text : {std::string(), xmlText(100 * 1024), binary}) {
        std::vector<unsigned char> bytes{0xEE};
        ASSERT_TRUE(zip(text, bytes));
        // Appended after what was there; level 9 with the zlib header: 0x78 0xDA.
        ASSERT_GE(bytes.size(), 3u);
        EXPECT_EQ(bytes[0], 0xEE);
        EXPECT_EQ(bytes[1], 0x78);
        EXPECT_EQ(bytes[2], 0xDA);
        bytes.erase(bytes.begin());
        std::string back = "prefix:";
        ASSERT_TRUE(unzip(bytes, back));
        EXPECT_EQ(back, "prefix:" + text);
    }
}

TEST(ZipTest, damagedStreamsFailAndLeaveTheTextAsItWas) {
    std::vector<unsigned char> good;
    ASSERT_TRUE(zip(xmlText(5000), good));

    std::vector<std::vector<unsigned char>> damaged;
    damaged.emplace_back();
    damaged.emplace_back(good.begin(), good.begin() + good.size() / 2);
    damaged.emplace_back(good.begin(), good.end() - 4);  // checksum missing
    damaged.push_back(good);
    damaged.back()[good.size() - 2] ^= 0x5A;  // checksum wrong
    damaged.push_back(good);
    damaged.back()[0] = 0x12;  // no zlib header
    damaged.emplace_back();
    for (int i = 0; i < 300; ++i) {
        damaged.back().push_back(static_cast<unsigned char>(i * 31 + 7));
    }
    for (const auto& bytes : damaged) {
        std::string text = "kept";
        EXPECT_FALSE(unzip(bytes, text)) << bytes.size() << " bytes";
        EXPECT_EQ(text, "kept");
    }
}
