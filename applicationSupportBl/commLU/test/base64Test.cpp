#include "base64.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using applsupp::comm::decode;
using applsupp::comm::encode;

namespace {

std::string decoded(const std::string& text, bool expectOk = true) {
    std::vector<unsigned char> bytes{1, 2, 3};  // replaced, never appended to
    EXPECT_EQ(decode(text, bytes), expectOk) << text;
    return std::string(bytes.begin(), bytes.end());
}

}  // namespace

TEST(Base64Test, standardVectorsGoBothWays) {
    const std::pair<std::string, std::string> vectors[] = {{"", ""},
                                                           {"f", "Zg=="},
                                                           {"fo", "Zm8="},
                                                           {"foo", "Zm9v"},
                                                           {"foob", "Zm9vYg=="},
                                                           {"fooba", "Zm9vYmE="},
                                                           {"foobar", "Zm9vYmFy"}};
    for (const auto& v : vectors) {
        std::string text = "old content";
        encode(std::vector<unsigned char>(v.first.begin(), v.first.end()), text);
        EXPECT_EQ(text, v.second);
        EXPECT_EQ(decoded(v.second), v.first);
    }
    // "+" and "/" are the last two letters: 0xFB 0xFF 0xBF encodes as "+/+/".
    std::string text;
    encode({0xFB, 0xFF, 0xBF}, text);
    EXPECT_EQ(text, "+/+/");
    EXPECT_EQ(decoded("+/+/"), "\xFB\xFF\xBF");
}

TEST(Base64Test, decodingSkipsForeignCharactersAndDropsAShortRest) {
    EXPECT_EQ(decoded("Zm9v\r\nYmFy\n"), "foobar");
    EXPECT_EQ(decoded(" Zm\t9v-Ym_Fy\xC3\xA9"), "foobar");
    EXPECT_EQ(decoded(std::string("Zm9v\0YmFy", 9)), "foobar");
    EXPECT_EQ(decoded("Zm9vYmF"), "foo");
    EXPECT_EQ(decoded("Zm9"), "");
}

TEST(Base64Test, misplacedPaddingIsRefusedWithNothingDecoded) {
    for (const char* bad : {"=Zm9", "Z===", "Zm=v", "Zg==Zm8=", "===="}) {
        EXPECT_EQ(decoded(bad, false), "");
    }
}
