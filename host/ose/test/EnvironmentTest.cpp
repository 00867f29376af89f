// The environment: pointer and text values per process and for the block.
#include "KernelFixture.h"

#include <cstring>

using namespace osetest;

namespace {

class EnvironmentTest : public KernelTest {};

OS_PROCESS(envEchoEntry) {
    // Reports the value its creator set for it, as seen from inside.
    union SIGNAL* s = makeSig(kDataSig, static_cast<uint32_t>(param("count")));
    send(&s, static_cast<PROCESS>(param("peer")));
}

TEST_F(EnvironmentTest, pointerValuesArePerProcessAndForTheBlock) {
    int object = 0;
    const auto address = reinterpret_cast<OSADDRESS>(&object);
    EXPECT_EQ(get_envp(0, "TimerAPILU"), 0u);
    EXPECT_TRUE(set_envp(0, "TimerAPILU", address));
    EXPECT_EQ(get_envp(0, "TimerAPILU"), address);
    EXPECT_EQ(get_envp(me, "TimerAPILU"), 0u);
    EXPECT_TRUE(set_envp(me, "TimerAPILU", 17));
    EXPECT_EQ(get_envp(me, "TimerAPILU"), 17u);
    EXPECT_EQ(get_envp(0, "TimerAPILU"), address);
    EXPECT_TRUE(set_envp(0, "TimerAPILU", 0));
    EXPECT_EQ(get_envp(0, "TimerAPILU"), 0u);

    spawn("reporter", envEchoEntry, me, 4711);
    union SIGNAL* s = receive_w_tmo(kArrival, kAny);
    ASSERT_NE(s, NIL);
    EXPECT_EQ(s->test.value, 4711u);
    free_buf(&s);
}

TEST_F(EnvironmentTest, textValuesComeAsBuffersOfTheCaller) {
    EXPECT_EQ(get_env(0, "OSE_LM_MAIN_NAME"), nullptr);
    EXPECT_TRUE(set_env(0, "OSE_LM_MAIN_NAME", "ulsa_main"));
    char* value = get_env(0, "OSE_LM_MAIN_NAME");
    ASSERT_NE(value, nullptr);
    EXPECT_STREQ(value, "ulsa_main");
    auto* buffer = reinterpret_cast<union SIGNAL*>(value);
    EXPECT_EQ(sigsize(&buffer), std::strlen("ulsa_main") + 1);
    free_buf(&buffer);

    EXPECT_EQ(get_env(me, "OSE_LM_MAIN_NAME"), nullptr);
    EXPECT_EQ(get_envp(0, "OSE_LM_MAIN_NAME"), 0u);  // text and pointers are apart
    EXPECT_TRUE(set_env(0, "OSE_LM_MAIN_NAME", nullptr));
    EXPECT_EQ(get_env(0, "OSE_LM_MAIN_NAME"), nullptr);
}

TEST_F(EnvironmentTest, valuesOfEndedOrUnknownProcessesAreErrors) {
    const PROCESS p = spawn("short", returnEntry);
    ASSERT_TRUE(ose_wait_ended(p, kArrival));
    EXPECT_EQ(get_envp(p, "count"), 0u);
    expectError("get_envp@ose.h", OSE_ERR_NO_PROCESS);
    EXPECT_FALSE(set_env(0x7FFFFFF0u, "x", "y"));
    expectError("set_env@ose.h", OSE_ERR_NO_PROCESS);
    EXPECT_FALSE(set_envp(0, nullptr, 1));
    expectError("set_envp@ose.h", OSE_ERR_BAD_ARGUMENT);
}

}  // namespace
