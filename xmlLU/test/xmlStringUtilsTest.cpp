// The string helpers: escaping both ways, SQL quoting, case, tokens, numbers.
#include "xmlStringUtils.h"

#include <gtest/gtest.h>

namespace {

TEST(XmlEscaping, EscapeLeavesAnAmpEntityAloneAndEscapesOthersAgain) {
    EXPECT_EQ("a&amp;b", escapeXml(std::string("a&b")));
    EXPECT_EQ("a&amp;b", escapeXml(std::string("a&amp;b")));
    EXPECT_EQ("&amp;lt;", escapeXml(std::string("&lt;")));
    EXPECT_EQ("&lt;tag attr=&quot;v&quot; x=&apos;y&apos;&gt;",
              escapeXml(std::string("<tag attr=\"v\" x='y'>")));
    EXPECT_EQ("trailing&amp;", escapeXml(std::string("trailing&")));
    EXPECT_EQ("&amp;am", escapeXml(std::string("&am")));
    EXPECT_EQ("", escapeXml(static_cast<const char*>(nullptr)));
    EXPECT_EQ("x&amp;y", escapeXml("x&y"));
}

TEST(XmlEscaping, UnescapeReplacesEachEntityUntilNoneIsLeft) {
    EXPECT_EQ("<>'\"&", unescapeXml(std::string("&lt;&gt;&apos;&quot;&amp;")));
    EXPECT_EQ("&", unescapeXml(std::string("&amp;amp;")));
    EXPECT_EQ("&", unescapeXml(std::string("&amp;amp;amp;amp;")));
    // "&amp;" goes last, so an escaped entity comes out as the entity.
    EXPECT_EQ("&lt;", unescapeXml(std::string("&amp;lt;")));
    EXPECT_EQ("&unknown;", unescapeXml(std::string("&unknown;")));
    EXPECT_EQ("", unescapeXml(static_cast<const char*>(nullptr)));
    EXPECT_EQ("plain", unescapeXml("plain"));
    for (const std::string text : {"a&b", "<x y=\"1\">", "it's", "&&&", "&amp;"}) {
        EXPECT_EQ(text == "&amp;" ? "&" : text, unescapeXml(escapeXml(text))) << text;
    }
}

TEST(XmlStringHelpers, QuotingCaseTokensAndNumbers) {
    EXPECT_EQ("it''s ''quoted''", quoteSql("it's 'quoted'"));
    EXPECT_EQ("", quoteSql(""));
    EXPECT_EQ("abc xyz 123 \xc3\x84", toLower("ABC xYz 123 \xc3\x84"));
    EXPECT_EQ("ABC XYZ 123", toUpper("abc xYz 123"));

    std::vector<std::string> tokens{"kept"};
    tokenize(",,a,b;;c,", ",;", tokens);
    EXPECT_EQ((std::vector<std::string>{"kept", "a", "b", "c"}), tokens);
    std::vector<std::string> none;
    tokenize(";;;", ";", none);
    tokenize("", ";", none);
    EXPECT_TRUE(none.empty());
    std::vector<std::string> whole;
    tokenize("single", ",", whole);
    EXPECT_EQ((std::vector<std::string>{"single"}), whole);

    EXPECT_EQ("-2147483648", toString(INT32_MIN));
    EXPECT_EQ("4294967295", toString(UINT32_MAX));
    EXPECT_EQ("0", toString(0));
}

}  // namespace
