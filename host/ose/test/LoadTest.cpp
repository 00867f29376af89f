// Many senders at once: nothing lost, each sender's order kept.
#include "KernelFixture.h"

#include <vector>

using namespace osetest;

namespace {

class LoadTest : public KernelTest {};

TEST_F(LoadTest, eightProcessesSendingTenThousandSignalsEachLoseNothingAndKeepTheirOrder) {
    constexpr uint32_t kSenders = 8;
    constexpr uint32_t kEach = 10000;
    std::vector<PROCESS> senders;
    for (uint32_t i = 0; i < kSenders; ++i) {
        const std::string name = "producer" + std::to_string(i);
        senders.push_back(spawn(name.c_str(), producerEntry, me, kEach));
    }
    std::vector<uint32_t> next(kSenders, 0);
    static const SIGSELECT data[] = {1, kDataSig};
    for (uint32_t n = 0; n < kSenders * kEach; ++n) {
        union SIGNAL* s = receive_w_tmo(kArrival, data);
        ASSERT_NE(s, NIL) << n << " signals arrived";
        const PROCESS from = sender(&s);
        const auto which = static_cast<uint32_t>(std::find(senders.begin(), senders.end(), from) -
                                                 senders.begin());
        ASSERT_LT(which, kSenders);
        ASSERT_EQ(s->test.value, next[which]) << "out of order from sender " << which;
        ++next[which];
        free_buf(&s);
    }
    EXPECT_EQ(receive_w_tmo(kAbsence, kAny), NIL);
    for (PROCESS p : senders) {
        EXPECT_TRUE(ose_wait_ended(p, kArrival));
    }
}

TEST_F(LoadTest, selectiveReceiveFromOneSenderUnderLoadKeepsTheOthersWaiting) {
    constexpr uint32_t kEach = 5000;
    const PROCESS a = spawn("a", producerEntry, me, kEach);
    const PROCESS b = spawn("b", producerEntry, me, kEach);
    for (uint32_t i = 0; i < kEach; ++i) {
        union SIGNAL* s = receive_from(kArrival, kAny, b);
        ASSERT_NE(s, NIL);
        ASSERT_EQ(s->test.value, i);
        free_buf(&s);
    }
    for (uint32_t i = 0; i < kEach; ++i) {
        union SIGNAL* s = receive_w_tmo(kArrival, kAny);
        ASSERT_NE(s, NIL);
        ASSERT_EQ(sender(&s), a);
        ASSERT_EQ(s->test.value, i);
        free_buf(&s);
    }
}

}  // namespace
