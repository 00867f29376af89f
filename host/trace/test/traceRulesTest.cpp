// Masks from rule lists (the ULSA_TRACE syntax) and from run-time changes.
#include "TraceCapture.h"
#include "traceAndError.h"
#include "traceHost.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace {

TraceObject* registerName(const std::string& name) {
    TraceRef ref{nullptr};
    TraceCall call{};
    call.ref = &ref;
    call.name = name.c_str();
    EXPECT_EQ(traceAndErrorInit(TRACE_OP_REGISTER, &call), 0) << name;
    return ref.load();
}

uint32_t levels(std::initializer_list<unsigned> list) {
    uint32_t mask = 0;
    for (unsigned level : list) {
        mask |= 1u << level;
    }
    return mask;
}

class TraceRulesTest : public ::testing::Test {
  protected:
    void SetUp() override { traceConfigure(""); }
    void TearDown() override { traceConfigure(""); }
};

TEST_F(TraceRulesTest, PrefixPatternsRangesAndListsSetTheMasks) {
    TraceObject* timer = registerName("ulsaTimerLU");
    TraceObject* restart = registerName("Ft_RESTART");
    TraceObject* other = registerName("rulesOther");
    TraceObject* ulsa = registerName("ulsa");

    // Objects registered before the rules are recomputed by them.
    EXPECT_EQ(traceConfigure("ulsa*=0-16,Ft_*=13"), 0);
    EXPECT_EQ(timer->mask.load(), 0x1FFFFu);
    EXPECT_EQ(ulsa->mask.load(), 0x1FFFFu);  // an empty rest matches the prefix too
    EXPECT_EQ(restart->mask.load(), levels({13}));
    EXPECT_EQ(other->mask.load(), kTraceUnnamedMask);
    // ... and objects registered after them get their masks at registration.
    EXPECT_EQ(registerName("ulsaLater")->mask.load(), 0x1FFFFu);
    EXPECT_EQ(registerName("Ft_CONFIG")->mask.load(), levels({13}));

    // The last matching rule wins; blanks around items are allowed.
    EXPECT_EQ(traceConfigure(" ulsa*=2 , ulsaTimerLU = 0-4+8+ 31 ,rulesOther=all"), 0);
    EXPECT_EQ(timer->mask.load(), levels({0, 1, 2, 3, 4, 8, 31}));
    EXPECT_EQ(ulsa->mask.load(), levels({2}));
    EXPECT_EQ(other->mask.load(), 0xFFFFFFFFu);
    EXPECT_EQ(restart->mask.load(), kTraceUnnamedMask);  // no rule names it any more
    EXPECT_EQ(traceConfigure("ulsaTimerLU=3,ulsa*=none,Ft_RESTART=0x300000,*=5"), 0);
    EXPECT_EQ(timer->mask.load(), levels({5}));
    EXPECT_EQ(traceConfigure("*=5,ulsaTimerLU=3,ulsa*=none,Ft_RESTART=0x300000,"), 0);
    EXPECT_EQ(timer->mask.load(), 0u);
    EXPECT_EQ(restart->mask.load(), levels({20, 21}));
    EXPECT_EQ(other->mask.load(), levels({5}));
}

TEST_F(TraceRulesTest, BadRulesAreSkippedWithAWarningAndTheOthersApply) {
    TraceObject* object = registerName("badRulesX");
    TraceCapture capture;
    // The range list of another syntax: "8" is a rule of its own, and no rule.
    EXPECT_EQ(traceConfigure("badRules*=0-4,8"), 1);
    EXPECT_EQ(object->mask.load(), levels({0, 1, 2, 3, 4}));
    ASSERT_EQ(capture.texts("traceService").size(), 1u);
    EXPECT_NE(capture.texts("traceService")[0].find("ULSA_TRACE: '8'"), std::string::npos);

    const char* bad[] = {"badRulesX=32", "badRulesX=4-3", "badRulesX=",
                         "badRulesX=1+", "badRulesX=-1",  "badRulesX=1-",
                         "badRulesX=x",  "badRulesX=0x",  "badRulesX=0x123456789",
                         "badRulesX=+1", "badRulesX=1 2", "badRulesX=100",
                         "=1",           "bad*Rules=1",   "**=1",
                         "bad Rules=1",  "badRulesX==1",  "badRulesX=0-4=5"};
    for (const char* rule : bad) {
        capture.clear();
        EXPECT_EQ(traceConfigure(std::string(rule) + ",badRulesX=9"), 1) << rule;
        EXPECT_EQ(object->mask.load(), levels({9})) << rule;
        EXPECT_EQ(capture.texts("traceService").size(), 1u) << rule;
    }
    EXPECT_EQ(traceConfigure(", ,"), 0);

    // Arbitrary bytes never bring the service down; they only give warnings.
    std::mt19937 random(12345);
    const std::string alphabet = "ab*=,+-0123456789x \t\n\x01\xff";
    for (int round = 0; round < 2000; ++round) {
        std::string text;
        const int length = static_cast<int>(random() % 24);
        for (int i = 0; i < length; ++i) {
            text += alphabet[random() % alphabet.size()];
        }
        EXPECT_GE(traceConfigure(text), 0) << text;
    }
}

TEST_F(TraceRulesTest, RunTimeChangesReachRegisteredAndLaterObjectsUntilReconfigured) {
    TraceObject* a = registerName("rtAlpha");
    TraceObject* b = registerName("rtBeta");
    TraceObject* c = registerName("rtGamma");
    EXPECT_EQ(traceSetMask("rt*", levels({2, 3})), 3);
    EXPECT_EQ(traceSetMask("rtBeta", levels({11})), 1);
    EXPECT_EQ(a->mask.load(), levels({2, 3}));
    EXPECT_EQ(b->mask.load(), levels({11}));
    EXPECT_EQ(c->mask.load(), levels({2, 3}));
    EXPECT_EQ(registerName("rtDelta")->mask.load(), levels({2, 3}));
    EXPECT_EQ(traceSetMask("rtNobody", 1), 0);

    // Setting the same pattern again replaces its rule, so it wins again.
    EXPECT_EQ(traceSetMask("rt*", levels({15})), 4);
    EXPECT_EQ(b->mask.load(), levels({15}));

    for (const char* pattern : {"", "rt*a", "rt,a", "rt=a", "rt a", "*rt", "rt\n"}) {
        EXPECT_EQ(traceSetMask(pattern, 0), -1) << pattern;
    }
    EXPECT_EQ(a->mask.load(), levels({15}));

    bool seen = false;
    for (const TraceObjectInfo& info : traceGetObjects()) {
        if (info.name == "rtBeta") {
            seen = true;
            EXPECT_EQ(info.mask, levels({15}));
        }
    }
    EXPECT_TRUE(seen);

    traceConfigure("");
    EXPECT_EQ(a->mask.load(), kTraceUnnamedMask);
    EXPECT_EQ(registerName("rtEpsilon")->mask.load(), kTraceUnnamedMask);
}

}  // namespace
