// The timer API on a real main loop: kernel time-outs come back as TIMER_IND through
// the signal distributor.
#include "TimerTestLoop.h"

#include "TimerApi.h"

using namespace timertest;

namespace {

const char* const kLateCancel =
    "Tried to cancel an already expired timer. No real fault but unusual.";

}  // namespace

using TimerTest = TimerLoopTest;

TEST_F(TimerTest, OnceTimerCallsBackOnceAndIdentitiesAreReusedOldestFirst) {
    Recorder observer;
    uint32_t first = 0, second = 0, third = 0, fourth = 0, fifth = 0;
    onLoop([&] {
        TimerApi* api = getTimerApi();
        first = api->start(&observer, TimerApi::ONCE, 60000);
        second = api->start(&observer, TimerApi::ONCE, 60000);
        api->cancel(first);
        api->cancel(second);
        // Given back first, used first; a new identity only when none is free.
        third = api->start(&observer, TimerApi::ONCE, 60000);
        fourth = api->start(&observer, TimerApi::ONCE, 60000);
        fifth = api->start(&observer, TimerApi::ONCE, 10);
        EXPECT_EQ(api->numberOfActiveTimers(), 3u);
    });
    EXPECT_NE(first, second);
    EXPECT_EQ(third, first);
    EXPECT_EQ(fourth, second);
    EXPECT_NE(fifth, first);
    EXPECT_NE(fifth, second);
    ASSERT_TRUE(observer.waitFor(1));
    EXPECT_EQ(observer.events(), std::vector<uint32_t>{fifth});
    onLoop([&] { EXPECT_EQ(getTimerApi()->numberOfActiveTimers(), 2u); });
    EXPECT_EQ(
        m_trace.count(8, "Timer of type ONCE timed out (timer ID = " + std::to_string(fifth) + ")"),
        1u);
}

TEST_F(TimerTest, RecurringTimerCallsBackEveryPeriodUntilCancelled) {
    Recorder observer;
    uint32_t timerId = 0;
    onLoop([&] { timerId = getTimerApi()->start(&observer, TimerApi::RECURRING, 10); });
    ASSERT_TRUE(observer.waitFor(3));
    onLoop([&] { getTimerApi()->cancel(timerId); });
    const std::size_t seen = observer.events().size();
    delay(100);
    EXPECT_EQ(observer.events().size(), seen);
    for (uint32_t event : observer.events())
        EXPECT_EQ(event, timerId);
}

TEST_F(TimerTest, LateCancelIsTracedAndItsTimerIndNeverCallsBack) {
    Recorder observer;
    Recorder reuser;
    uint32_t late = 0, reused = 0;
    onLoop([&] {
        TimerApi* api = getTimerApi();
        late = api->start(&observer, TimerApi::ONCE, 1);
        delay(50);  // expired: its TIMER_IND waits in the loop's queue
        api->cancel(late);
        // The identity is free again at once; the waiting TIMER_IND must not end the
        // timer that takes it.
        reused = api->start(&reuser, TimerApi::ONCE, 60000);
    });
    EXPECT_EQ(reused, late);
    EXPECT_EQ(m_trace.count(4, kLateCancel), 1u);
    onLoop([] {});  // the stale TIMER_IND has been dispatched before this job
    EXPECT_TRUE(observer.events().empty());
    EXPECT_TRUE(reuser.events().empty());
    onLoop([&] { EXPECT_EQ(getTimerApi()->numberOfActiveTimers(), 1u); });
}

TEST_F(TimerTest, ForeignAndMalformedTimerIndsAreDropped) {
    Recorder observer;
    uint32_t timerId = 0;
    onLoop([&] { timerId = getTimerApi()->start(&observer, TimerApi::ONCE, 60000); });
    // A TIMER_IND from another process names a live timer but is not its time-out.
    union SIGNAL* forged = alloc(kTimerIndSize, TIMER_IND);
    std::memcpy(reinterpret_cast<unsigned char*>(forged) + 4, &timerId, sizeof timerId);
    send(&forged, m_loop);
    union SIGNAL* tooShort = alloc(4, TIMER_IND);
    send(&tooShort, m_loop);
    onLoop([&] { EXPECT_EQ(getTimerApi()->numberOfActiveTimers(), 1u); });
    EXPECT_TRUE(observer.events().empty());
    EXPECT_EQ(m_trace.count(1, "TIMER_IND of 4 bytes is too short for a timer identity, dropped"),
              1u);
}

TEST_F(TimerTest, UninitialisedTimerRefusesToStart) {
    Recorder observer;
    onLoop([&] {
        Timer timer;
        EXPECT_EQ(timer.start(&observer, TimerApi::ONCE, 10), 0u);
        timer.cancel(1);
        EXPECT_EQ(timer.numberOfActiveTimers(), 0u);
    });
    EXPECT_EQ(m_trace.count(1, "The Timer API has not been initialized"), 2u);
}

TEST_F(TimerTest, GetterKeepsOneInstanceUntilDestroyed) {
    onLoop([&] {
        TimerApi* api = getTimerApi();
        EXPECT_EQ(getTimerApi(), api);
        Recorder observer;
        EXPECT_NE(api->start(&observer, TimerApi::ONCE, 60000), 0u);
        destroyTimerApi();
        EXPECT_EQ(findTimerApi(), nullptr);
        destroyTimerApi();  // nothing stored: nothing happens
        TimerApi* fresh = getTimerApi();
        // A new object, not yet initialised: the subscription went with the old one.
        EXPECT_EQ(fresh->numberOfActiveTimers(), 0u);
        EXPECT_EQ(fresh->start(&observer, TimerApi::ONCE, 10), 0u);
        fresh->startinitialize();
        EXPECT_NE(fresh->start(&observer, TimerApi::ONCE, 60000), 0u);
    });
}
