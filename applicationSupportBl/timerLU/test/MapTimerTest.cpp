// MapTimer and MapTdiHost on a real main loop.
#include "TimerTestLoop.h"

#include "MapTdiHost.h"

#include <cinttypes>
#include <cstdio>

using namespace timertest;

namespace {

std::string hexAddress(const void* pointer) {
    char text[32];
    std::snprintf(text, sizeof text, "0x%" PRIxPTR, reinterpret_cast<uintptr_t>(pointer));
    return text;
}

// Cancels its own timer from inside the callback, as observers do.
class SelfCancelling : public MapTimerObserver {
  public:
    void timeout(uint32_t enumId) override {
        cancelledInside = MapTimer::getInstance()->cancelTmo(this, enumId);
        ++calls;
    }
    bool cancelledInside = true;
    int calls = 0;
};

}  // namespace

using MapTimerTest = TimerLoopTest;

TEST_F(MapTimerTest, OneTimerPerObserverAndEnumeration) {
    Recorder a, b;
    onLoop([&] {
        MapTimer* timers = MapTimer::getInstance();
        EXPECT_TRUE(timers->requestTmo(&a, 30, 7, "ldn=1"));
        // The second request of the pair is refused and the first keeps running.
        EXPECT_FALSE(timers->requestTmo(&a, 60000, 7, "ldn=1"));
        EXPECT_FALSE(timers->requestRepeatedTmo(&a, 60000, 7, "ldn=1"));
        EXPECT_TRUE(timers->requestTmo(&b, 30, 7, "ldn=1"));
        EXPECT_TRUE(timers->requestTmo(&a, 60000, 8, "ldn=1"));
        EXPECT_EQ(timers->numberOfTimers(), 3u);
    });
    ASSERT_TRUE(a.waitFor(1));
    ASSERT_TRUE(b.waitFor(1));
    delay(60);
    EXPECT_EQ(a.events(), std::vector<uint32_t>{7});
    EXPECT_EQ(b.events(), std::vector<uint32_t>{7});
    EXPECT_EQ(
        m_trace.count(8, "--------- Failed to create timer,  enumId:7 is already taken for user:" +
                             hexAddress(static_cast<MapTimerObserver*>(&a))),
        2u);
    onLoop([&] {
        EXPECT_TRUE(MapTimer::getInstance()->isActive(&a, 8));
        EXPECT_FALSE(MapTimer::getInstance()->isActive(&a, 7));
    });
}

TEST_F(MapTimerTest, RepeatedTimerRunsUntilCancelled) {
    Recorder observer;
    onLoop(
        [&] { EXPECT_TRUE(MapTimer::getInstance()->requestRepeatedTmo(&observer, 10, 3, "x")); });
    ASSERT_TRUE(observer.waitFor(3));
    onLoop([&] {
        EXPECT_TRUE(MapTimer::getInstance()->cancelTmo(&observer, 3));
        EXPECT_FALSE(MapTimer::getInstance()->cancelTmo(&observer, 3));
        EXPECT_EQ(getTimerApi()->numberOfActiveTimers(), 0u);
    });
    const std::size_t seen = observer.events().size();
    delay(100);
    EXPECT_EQ(observer.events().size(), seen);
    EXPECT_EQ(observer.events(), std::vector<uint32_t>(seen, 3));
}

TEST_F(MapTimerTest, CancelsAndCallbacksThatCancel) {
    Recorder a, b;
    SelfCancelling self;
    onLoop([&] {
        MapTimer* timers = MapTimer::getInstance();
        for (uint32_t enumId = 1; enumId <= 3; ++enumId)
            timers->requestTmo(&a, 20, enumId, "a");
        timers->requestTmo(&b, 20, 1, "b");
        timers->requestTmo(&self, 1, 9, "self");
        timers->cancelAllTmo(&a);
        EXPECT_EQ(timers->numberOfTimers(), 2u);
        EXPECT_FALSE(timers->isActive(&a, 2));
        EXPECT_TRUE(timers->isActive(&b, 1));
    });
    ASSERT_TRUE(b.waitFor(1));
    onLoop([&] {
        // A once timer is gone by the time its observer hears of it.
        EXPECT_EQ(self.calls, 1);
        EXPECT_FALSE(self.cancelledInside);
    });
    delay(40);
    EXPECT_TRUE(a.events().empty());
}

TEST_F(MapTimerTest, DestroyingTheMapTimerStopsItsKernelTimeOuts) {
    Recorder observer;
    onLoop([&] {
        MapTimer::getInstance()->requestTmo(&observer, 20, 1, "x");
        MapTimer::getInstance()->requestRepeatedTmo(&observer, 20, 2, "x");
        EXPECT_EQ(getTimerApi()->numberOfActiveTimers(), 2u);
        MapTimer::destroyInstance();
        EXPECT_EQ(getTimerApi()->numberOfActiveTimers(), 0u);
    });
    delay(60);
    EXPECT_TRUE(observer.events().empty());
}

TEST_F(MapTimerTest, ExpireNowOnlyForOneDeclaredTimer) {
    Recorder a, b;
    onLoop([&] {
        MapTimer* timers = MapTimer::getInstance();
        MapTdiHost tdi(*timers);
        timers->requestTmo(&a, 60000, 5, "ldn=A");
        // Not declared: nothing happens.
        EXPECT_FALSE(tdi.expireNow("ldn=A", 5));
        tdi.addTdiTimer(5, "ldn=A");
        tdi.addTdiTimer(5, "ldn=A");
        EXPECT_TRUE(tdi.expireNow("ldn=A", 5));
        EXPECT_EQ(a.events(), std::vector<uint32_t>{5});
        EXPECT_FALSE(timers->isActive(&a, 5));
        EXPECT_EQ(getTimerApi()->numberOfActiveTimers(), 0u);
        // Declared, but none running.
        EXPECT_FALSE(tdi.expireNow("ldn=A", 5));
        // Two running for the same LDN and enumeration value: neither is touched.
        timers->requestTmo(&a, 60000, 5, "ldn=A");
        timers->requestTmo(&b, 60000, 5, "ldn=A");
        EXPECT_TRUE(tdi.expireNow("ldn=A", 5));
        EXPECT_EQ(timers->numberOfTimers(), 2u);
        EXPECT_TRUE(b.events().empty());
    });
    EXPECT_EQ(m_trace.count(1, "Too many active TMO's with same ldn:[ldn=A] & enumId:[5]"), 1u);
    EXPECT_EQ(m_trace.count(8, "Simulate a expiredTmo(): ldn:[ldn=A], enumId:[5]"), 1u);
}

TEST_F(MapTimerTest, RetiredTimerIsOutOfTheKernelsReach) {
    Recorder observer;
    uint32_t retired = 0, undeclared = 0;
    onLoop([&] {
        MapTimer* timers = MapTimer::getInstance();
        MapTdiHost tdi(*timers);
        tdi.addTdiTimer(4, "ldn=R");
        timers->requestTmo(&observer, 20, 4, "ldn=R");
        timers->requestTmo(&observer, 60000, 6, "ldn=R");
        retired = tdi.retire(1);
        undeclared = tdi.retire(2);
        EXPECT_EQ(tdi.retire(77), 0u);
    });
    EXPECT_EQ(retired, 0xFFFFFFFFu);
    EXPECT_EQ(undeclared, 0u);
    EXPECT_EQ(m_trace.count(8,
                            "Resetting key-value(timerId) to nothing usable:  ldn:[ldn=R], "
                            "enumId:[4], NEW-timerId:0xFFFFFFFF"),
              1u);
    delay(60);  // the kernel's time-out has fired into nothing
    EXPECT_TRUE(observer.events().empty());
    onLoop([&] {
        MapTimer* timers = MapTimer::getInstance();
        EXPECT_TRUE(timers->isActive(&observer, 4));
        MapTdiHost tdi(*timers);
        tdi.addTdiTimer(4, "ldn=R");
        EXPECT_TRUE(tdi.expireNow("ldn=R", 4));
    });
    EXPECT_EQ(observer.events(), std::vector<uint32_t>{4});
}
