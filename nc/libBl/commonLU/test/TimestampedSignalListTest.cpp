#include "SignalNumber2Name.h"
#include "TimestampedSignalList.h"

#include "KernelFixture.h"

#include <chrono>

namespace {

using TimePoint = std::chrono::system_clock::time_point;

// 2020-01-01 00:00:00 UTC; every reading of the clock is one second later.
constexpr std::chrono::seconds kStart{1577836800};

class TimestampedSignalListTest : public KernelFixture {
  protected:
    void SetUp() override {
        KernelFixture::SetUp();
        SignalNumber2Name::getInstance()->insertSignalNames(
            {{0xA, "SIG_A"}, {0xB, "SIG_B"}, {0xC, "SIG_C"}});
    }
    void TearDown() override {
        SignalNumber2Name::destroyInstance();
        KernelFixture::TearDown();
    }

    TimestampedList<SignalEvent>::Now clock() {
        return [this]() { return TimePoint(kStart + std::chrono::seconds(m_ticks++)); };
    }

    static SignalEvent event(SIGSELECT number, uint32_t direction) {
        SignalEvent e;
        e.signalNumber = number;
        e.direction = direction;
        return e;
    }

    int m_ticks = 0;
};

// The text of the row time for tick t of the clock.
std::string at(int t) {
    return "2020-01-01 00:00:" + std::string(t < 10 ? "0" : "") + std::to_string(t) + ".000000";
}

}  // namespace

TEST_F(TimestampedSignalListTest, aFullListDropsItsOldestRowAndSaysSo) {
    TimestampedSignalList list(2, clock());
    EXPECT_EQ(list.dump(), "( empty )\n");
    list.add(event(0xA, SignalEvent::Received));
    list.add(event(0xB, SignalEvent::Sent));
    EXPECT_FALSE(list.isTruncated());
    EXPECT_EQ(list.dump(), "[" + at(0) + "] Received: SIG_A\n[" + at(1) + "] Sent:     SIG_B\n");

    list.add(event(0xD, 7));
    EXPECT_TRUE(list.isTruncated());
    EXPECT_EQ(list.getRows().size(), 2u);
    EXPECT_EQ(list.dump(), "( List has been truncated due to size limit )\n[" + at(1) +
                               "] Sent:     SIG_B\n[" + at(2) +
                               "] Unknown:  NO_TRANSLATION_FOR_0xd\n");

    list.clear();
    EXPECT_FALSE(list.isTruncated());
    EXPECT_EQ(list.dump(), "( empty )\n");

    // The plain template with a formatter of its own.
    TimestampedList<int> numbers(0, [](const int& n) { return std::to_string(n); });
    numbers.add(1);
    EXPECT_TRUE(numbers.isTruncated());
    EXPECT_EQ(numbers.dump(), "( empty )\n");
}

TEST_F(TimestampedSignalListTest, runsOfAGroupCollapseIntoOneRowPerKind) {
    TimestampedSignalList list(10, clock());
    list.addGroup({{0xA, SignalEvent::Sent}, {0xB, SignalEvent::Received}});
    EXPECT_EQ(list.groupOf(0xA, SignalEvent::Sent), 1u);
    EXPECT_EQ(list.groupOf(0xA, SignalEvent::Received), 0u);

    // B comes first in the run, so its row comes first although A sorts lower.
    list.add(event(0xB, SignalEvent::Received));  // t0
    list.add(event(0xA, SignalEvent::Sent));      // t1
    list.add(event(0xB, SignalEvent::Received));  // t2
    list.add(event(0xA, SignalEvent::Sent));      // t3
    list.add(event(0xA, SignalEvent::Sent));      // t4
    // Still pending: the dump shows them all the same.
    const std::string pending = "[" + at(0) + "] -> [" + at(2) +
                                "] Received: SIG_B (2 signals)\n[" + at(1) + "] -> [" + at(4) +
                                "] Sent:     SIG_A (3 signals)\n";
    EXPECT_EQ(list.dump(), pending);
    EXPECT_TRUE(list.getRows().empty());

    // A signal of no group ends the run: the records become rows, in time order.
    list.add(event(0xC, SignalEvent::Received));  // t5
    EXPECT_EQ(list.getRows().size(), 3u);
    EXPECT_EQ(list.dump(), pending + "[" + at(5) + "] Received: SIG_C\n");

    // A new run starts its own records.
    list.add(event(0xA, SignalEvent::Sent));  // t6
    EXPECT_EQ(list.getRows().size(), 3u);
    EXPECT_EQ(list.dump(), pending + "[" + at(5) + "] Received: SIG_C\n[" + at(6) + "] -> [" +
                               at(6) + "] Sent:     SIG_A (1 signals)\n");
}

TEST_F(TimestampedSignalListTest, aNewGroupTakesItsKindsAndEndsTheRunningOne) {
    TimestampedSignalList list(10, clock());
    list.addGroup({{0xA, SignalEvent::Sent}});
    list.addGroup({{0xA, SignalEvent::Sent}, {0xB, SignalEvent::Sent}});
    EXPECT_EQ(list.groupOf(0xA, SignalEvent::Sent), 2u);
    EXPECT_EQ(list.groupOf(0xB, SignalEvent::Sent), 2u);
    list.addGroup({{0xC, SignalEvent::Sent}});
    EXPECT_EQ(list.groupOf(0xC, SignalEvent::Sent), 3u);

    list.add(event(0xA, SignalEvent::Sent));  // group 2
    list.add(event(0xB, SignalEvent::Sent));  // group 2, same run
    EXPECT_TRUE(list.getRows().empty());
    list.add(event(0xC, SignalEvent::Sent));  // group 3 ends the run of group 2
    EXPECT_EQ(list.getRows().size(), 2u);
    list.add(event(0xC, SignalEvent::Sent));
    EXPECT_EQ(list.getRows().size(), 2u);
    EXPECT_EQ(list.dump().substr(list.dump().rfind('[')),
              "[" + at(3) + "] Sent:     SIG_C (2 signals)\n");

    // Flushed records count against the limit like any row.
    TimestampedSignalList small(1, clock());
    small.addGroup({{0xA, SignalEvent::Sent}, {0xB, SignalEvent::Sent}});
    small.add(event(0xA, SignalEvent::Sent));
    small.add(event(0xB, SignalEvent::Sent));
    small.add(event(0xC, SignalEvent::Sent));
    EXPECT_TRUE(small.isTruncated());
    EXPECT_EQ(small.getRows().size(), 1u);
    small.clear();
    EXPECT_EQ(small.dump(), "( empty )\n");
}
