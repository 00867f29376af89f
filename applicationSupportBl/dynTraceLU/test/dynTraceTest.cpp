// The calls behind TRACE, TRACE_DATA and traceFormat.
#include "TraceCapture.h"
#include "dynTrace.h"
#include "traceHost.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TraceObject* serviceObject(const char* name) {
    TraceRef ref{nullptr};
    TraceCall call{};
    call.ref = &ref;
    call.name = name;
    EXPECT_EQ(traceAndErrorInit(TRACE_OP_REGISTER, &call), 0);
    return ref.load();
}

std::string text(std::size_t length) {
    std::string result;
    for (std::size_t i = 0; i < length; ++i) {
        result += static_cast<char>('a' + i % 26);
    }
    return result;
}

class DynTraceTest : public ::testing::Test {
  protected:
    void SetUp() override { traceConfigure("dynT*=0-16"); }
    void TearDown() override { traceConfigure(""); }
};

TEST_F(DynTraceTest, TextsLongerThan400AreWrittenInPiecesBetweenBeginAndEnd) {
    TraceObject* object = serviceObject("dynTLong");
    struct Case {
        std::size_t length;
        std::size_t pieces;  // 0: written as it is
    };
    for (const Case& c : {Case{0, 0}, Case{1, 0}, Case{399, 0}, Case{400, 0}, Case{401, 2},
                          Case{800, 2}, Case{801, 3}, Case{1200, 3}, Case{1201, 4}}) {
        TraceCapture capture;
        const std::string written = text(c.length);
        TRACE(object, 8, "%s", written.c_str());
        const std::vector<std::string> lines = capture.texts("dynTLong");
        if (c.pieces == 0) {
            EXPECT_EQ(lines, std::vector<std::string>{written}) << c.length;
            continue;
        }
        ASSERT_EQ(lines.size(), c.pieces + 2) << c.length;
        EXPECT_EQ(lines.front(), "BEGIN long trace");
        EXPECT_EQ(lines.back(), "END long trace");
        std::string joined;
        for (std::size_t i = 1; i <= c.pieces; ++i) {
            EXPECT_EQ(lines[i].size(), i < c.pieces ? kTraceMaxPiece : c.length - joined.size())
                << c.length;
            joined += lines[i];
        }
        EXPECT_EQ(joined, written);
    }
}

TEST_F(DynTraceTest, NothingIsFormattedOrWrittenForALevelThatIsOff) {
    TraceObject* object = serviceObject("dynTGate");
    int evaluated = 0;
    TraceCapture capture;
    TRACE(object, 17, "off %d", ++evaluated);
    TRACE_DATA(object, 20, &evaluated, sizeof evaluated, "off %d", ++evaluated);
    EXPECT_FALSE(TRACE_ON(object, 17));
    EXPECT_EQ(evaluated, 0);
    EXPECT_TRUE(capture.lines().empty());
    TRACE(object, 16, "on %d", ++evaluated);
    EXPECT_EQ(evaluated, 1);
    EXPECT_EQ(capture.texts("dynTGate"), std::vector<std::string>{"on 1"});

    // A null object is the dummy: its levels 0, 1 and 4 only.
    capture.clear();
    for (unsigned level = 0; level <= 16; ++level) {
        traceText(nullptr, level, __FILE__, __LINE__, "null " + std::to_string(level));
    }
    EXPECT_EQ(capture.texts("traceDummy"),
              (std::vector<std::string>{"null 0", "null 1", "null 4"}));
}

TEST_F(DynTraceTest, FormatterHandlesLongAndEmptyResults) {
    const std::string big(1000, 'x');
    EXPECT_EQ(traceFormat("<%s|%d|0x%x>", big.c_str(), -5, 255u), "<" + big + "|-5|0xff>");
    EXPECT_EQ(traceFormat("%s", ""), "");
    EXPECT_EQ(traceFormat("%u%%", 50u), "50%");
    // Around the size of the formatter's buffer on the stack.
    for (std::size_t length : {254u, 255u, 256u, 257u}) {
        EXPECT_EQ(traceFormat("%s", text(length).c_str()), text(length)) << length;
    }
}

TEST_F(DynTraceTest, DataTraceWritesHexAndTakesTheLengthAs16Bits) {
    TraceObject* object = serviceObject("dynTData");
    std::vector<uint8_t> bytes(0x10000 + 40);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<uint8_t>(i);
    }
    TraceCapture capture;
    TRACE_DATA(object, 16, bytes.data(), 0x10000 + 18, "SigNo: 0x%x", 0x1234u);
    EXPECT_EQ(capture.texts("dynTData"),
              (std::vector<std::string>{
                  "SigNo: 0x1234",
                  "0000: 00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f  ................",
                  "0010: 10 11                                            ..",
              }));
    capture.clear();
    TRACE_DATA(object, 16, bytes.data(), 0x10000, "wrapped to nothing");
    EXPECT_EQ(capture.texts("dynTData"), std::vector<std::string>{"wrapped to nothing"});
    capture.clear();
    traceData(object, 16, __FILE__, __LINE__, "whole", bytes.data(), 0xFFFF);
    const std::vector<std::string> lines = capture.texts("dynTData");
    ASSERT_EQ(lines.size(), 1u + 4096u);
    EXPECT_EQ(lines.back(),
              "fff0: f0 f1 f2 f3 f4 f5 f6 f7 f8 f9 fa fb fc fd fe     " + std::string(15, '.'));
}

}  // namespace
