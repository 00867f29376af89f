// Time-outs and delay.
#include "KernelFixture.h"

#include <random>
#include <set>
#include <vector>

using namespace osetest;

namespace {

constexpr SIGSELECT kTmoSig = 400;

class TimeoutTest : public KernelTest {};

TEST_F(TimeoutTest, aTimeOutDeliversItsSignalToTheCallerAfterItsTime) {
    union SIGNAL* s = makeSig(kTmoSig, 1);
    const auto t0 = std::chrono::steady_clock::now();
    OSTMOREF ref = request_tmo_sig(30, &s);
    EXPECT_NE(ref, 0u);
    EXPECT_EQ(s, NIL);
    s = receive_w_tmo(kArrival, kAny);
    ASSERT_NE(s, NIL);
    EXPECT_GE(elapsedMs(t0), 30u);
    EXPECT_EQ(s->test.value, 1u);
    EXPECT_EQ(sender(&s), me);
    free_buf(&s);

    EXPECT_EQ(cancel_tmo_sig(&ref), NIL);  // fired already
    EXPECT_EQ(ref, 0u);

    // A time-out due before the one the timer waits for comes at its own time, whether
    // it is requested while the later one waits or after that one was cancelled.
    union SIGNAL* late = makeSig(kTmoSig, 3);
    OSTMOREF lateRef = request_tmo_sig(2 * kArrival, &late);
    for (uint32_t value : {4u, 5u}) {
        s = makeSig(kTmoSig, value);
        request_tmo_sig(20, &s);
        s = receive_w_tmo(kArrival, kAny);
        ASSERT_NE(s, NIL);
        EXPECT_EQ(s->test.value, value);
        free_buf(&s);
        union SIGNAL* back = cancel_tmo_sig(&lateRef);
        ASSERT_NE(back, NIL);
        if (value == 4) {
            lateRef = request_tmo_sig(2 * kArrival, &back);
        } else {
            free_buf(&back);
        }
    }
}

TEST_F(TimeoutTest, cancellingGivesTheSignalBackAndNothingComesLater) {
    ose_clock_set_manual(1);  // the cancel comes before the due time, however slow the host
    union SIGNAL* s = makeSig(kTmoSig, 2);
    union SIGNAL* original = s;
    OSTMOREF ref = request_tmo_sig(20, &s);
    union SIGNAL* back = cancel_tmo_sig(&ref);
    EXPECT_EQ(ref, 0u);
    ASSERT_EQ(back, original);
    EXPECT_EQ(back->test.value, 2u);
    ose_clock_advance(60);
    EXPECT_EQ(receive_w_tmo(0, kAny), NIL);
    free_buf(&back);  // owned by the caller again
    ose_clock_set_manual(0);

    union SIGNAL* none = NIL;
    EXPECT_EQ(request_tmo_sig(10, &none), 0u);
    expectError("request_tmo_sig@ose.h", OSE_ERR_NULL_BUFFER);
    OSTMOREF zero = 0;
    EXPECT_EQ(cancel_tmo_sig(&zero), NIL);
    expectError("cancel_tmo_sig@ose.h", OSE_ERR_BAD_ARGUMENT);
}

TEST_F(TimeoutTest, tenThousandTimeOutsHalfCancelledDeliverExactlyTheOtherHalfInTimeOrder) {
    constexpr uint32_t kCount = 10000;
    std::mt19937 random(7);
    std::uniform_int_distribution<OSTIME> due(1, 200);
    std::vector<OSTMOREF> refs(kCount);
    // The kernel takes its due time between these two.
    std::vector<std::chrono::steady_clock::time_point> dueEarliest(kCount), dueLatest(kCount);
    for (uint32_t i = 0; i < kCount; ++i) {
        union SIGNAL* s = makeSig(kTmoSig, i);
        const auto ms = std::chrono::milliseconds(due(random));
        dueEarliest[i] = std::chrono::steady_clock::now() + ms;
        refs[i] = request_tmo_sig(static_cast<OSTIME>(ms.count()), &s);
        dueLatest[i] = std::chrono::steady_clock::now() + ms;
    }
    std::set<uint32_t> expected;
    for (uint32_t i = 0; i < kCount; ++i) {
        if (i % 2 == 0) {
            union SIGNAL* back = cancel_tmo_sig(&refs[i]);
            if (back != NIL) {
                free_buf(&back);
                continue;
            }
        }
        expected.insert(i);  // fired before it could be cancelled, or not cancelled
    }
    std::set<uint32_t> got;
    auto dueOfEarlierOnes = std::chrono::steady_clock::time_point{};
    int outOfOrder = 0;
    while (got.size() < expected.size()) {
        union SIGNAL* s = receive_w_tmo(kArrival, kAny);
        ASSERT_NE(s, NIL) << got.size() << " of " << expected.size() << " arrived";
        EXPECT_TRUE(got.insert(s->test.value).second);
        if (dueLatest[s->test.value] < dueOfEarlierOnes) {
            ++outOfOrder;
        }
        dueOfEarlierOnes = std::max(dueOfEarlierOnes, dueEarliest[s->test.value]);
        free_buf(&s);
    }
    EXPECT_EQ(got, expected);
    EXPECT_EQ(outOfOrder, 0);
    EXPECT_EQ(receive_w_tmo(kAbsence, kAny), NIL);
}

TEST_F(TimeoutTest, delayWaitsItsTime) {
    const auto t0 = std::chrono::steady_clock::now();
    delay(25);
    EXPECT_GE(elapsedMs(t0), 25u);
}

}  // namespace
