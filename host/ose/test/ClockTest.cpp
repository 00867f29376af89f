// The manual clock: time-outs, delays and receive time-outs that follow a clock a
// test moves by hand, and the switch back to real time.
#include "KernelFixture.h"
#include "TimeLimit.h"

#include <atomic>
#include <iterator>
#include <thread>
#include <vector>

using namespace osetest;

namespace {

constexpr SIGSELECT kDoneSig = 500;
constexpr SIGSELECT kGoSig = 501;
constexpr SIGSELECT kTickSig = 502;
constexpr SIGSELECT kTmoSig = 503;
constexpr OSTIME kLong = 30000;
constexpr OSTIME kPeriod = 1000;

/// Tells the peer, with the kernel's time as the value.
void report(SIGSELECT no) {
    union SIGNAL* s = makeSig(no, ose_clock_now_ms());
    send(&s, static_cast<PROCESS>(param("peer")));
}

OS_PROCESS(delayEntry) {
    delay(kLong);
    report(kDoneSig);
}

OS_PROCESS(receiveEntry) {
    static const SIGSELECT never[] = {1, kNeverSig};
    union SIGNAL* s = receive_w_tmo(kLong, never);
    report(s == NIL ? kDoneSig : kNeverSig);
}

OS_PROCESS(receiveFromEntry) {
    union SIGNAL* s = receive_from(kLong, kAny, static_cast<PROCESS>(param("peer")));
    report(s == NIL ? kDoneSig : kNeverSig);
}

/// On kGoSig, ticks every kPeriod ms on a time-out it requests again at each tick. It
/// takes its time over each signal, so that a clock that did not wait for it would
/// have moved on before it asks for the next tick.
OS_PROCESS(tickerEntry) {
    static const SIGSELECT go[] = {1, kGoSig};
    static const SIGSELECT tick[] = {1, kTickSig};
    union SIGNAL* s = receive(go);
    free_buf(&s);
    for (;;) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        s = makeSig(kTickSig);
        request_tmo_sig(kPeriod, &s);
        s = receive(tick);
        free_buf(&s);
        report(kTickSig);
    }
}

class ClockTest : public KernelTest {
  protected:
    void SetUp() override {
        KernelTest::SetUp();
        ose_leave_thread();  // the body adopts a thread of its own, under a time limit
        ose_clock_set_manual(1);
    }

    /// Runs body as the adopted process "tester" (me), under a time limit.
    template <class Body>
    void run(Body body) {
        runWithTimeLimit(std::chrono::seconds(30), [&] {
            me = ose_adopt_thread("tester");
            start = ose_clock_now_ms();
            body();
            ose_leave_thread();
        });
    }

    /// The values of the signals in my queue now, in order.
    static std::vector<uint32_t> queued(SIGSELECT no) {
        const SIGSELECT sel[] = {1, no};
        std::vector<uint32_t> values;
        while (union SIGNAL* s = receive_w_tmo(0, sel)) {
            values.push_back(s->test.value);
            free_buf(&s);
        }
        return values;
    }

    OSTIME start = 0;
};

TEST_F(ClockTest, timeOutsFireOnAdvanceInOrderOfDueTimeAndNotBefore) {
    struct TimeOut {
        OSTIME ms;
        bool cancelled;
    };
    // The value of each signal is its index here.
    const TimeOut timeOuts[] = {{30000, false}, {5000, false},  {100, false}, {12000, true},
                                {5000, false},  {29999, false}, {1, true}};
    struct Step {
        OSTIME advance;
        std::vector<uint32_t> due;  // in order
    };
    const Step steps[] = {{0, {}},     {99, {}}, {1, {2}}, {4899, {}}, {1, {1, 4}},
                          {24998, {}}, {1, {5}}, {1, {0}}, {60000, {}}};
    run([&] {
        std::vector<OSTMOREF> refs;
        for (uint32_t i = 0; i < std::size(timeOuts); ++i) {
            union SIGNAL* s = makeSig(kTmoSig, i);
            refs.push_back(request_tmo_sig(timeOuts[i].ms, &s));
        }
        for (uint32_t i = 0; i < std::size(timeOuts); ++i) {
            if (timeOuts[i].cancelled) {
                union SIGNAL* back = cancel_tmo_sig(&refs[i]);
                ASSERT_NE(back, NIL) << i;
                free_buf(&back);
            }
        }
        OSTIME elapsed = 0;
        for (const Step& step : steps) {
            ose_clock_advance(step.advance);
            elapsed += step.advance;
            EXPECT_EQ(queued(kTmoSig), step.due) << "at " << elapsed << " ms";
            EXPECT_EQ(ose_clock_now_ms(), start + elapsed);
        }
    });
}

TEST_F(ClockTest, delaysAndReceiveTimeOutsEndOnAdvanceNotInRealTime) {
    struct Waiter {
        const char* name;
        OSENTRYPOINT* entry;
        uint32_t state;
    };
    const Waiter waiters[] = {{"delay", delayEntry, OS_STATE_DELAY},
                              {"receive_w_tmo", receiveEntry, OS_STATE_RECEIVE},
                              {"receive_from", receiveFromEntry, OS_STATE_RECEIVE}};
    run([&] {
        const auto t0 = std::chrono::steady_clock::now();
        for (const Waiter& w : waiters) {
            const PROCESS pid = spawn(w.name, w.entry, me);
            ASSERT_TRUE(ose_wait_idle(pid, kArrival)) << w.name;
            union SIGNAL* pcb = reinterpret_cast<union SIGNAL*>(get_pcb(pid));
            EXPECT_EQ(pcb->pcb.status, w.state) << w.name;
            free_buf(&pcb);
            const OSTIME began = ose_clock_now_ms();
            ose_clock_advance(kLong - 1);
            EXPECT_TRUE(queued(kDoneSig).empty()) << w.name;
            ose_clock_advance(1);
            EXPECT_EQ(queued(kDoneSig), std::vector<uint32_t>{began + kLong}) << w.name;
            EXPECT_TRUE(ose_wait_ended(pid, kArrival)) << w.name;
        }

        // The tester's own wait, with another thread moving the clock.
        std::thread mover([this] {
            EXPECT_TRUE(ose_wait_idle(me, kArrival));
            ose_clock_advance(kLong);
        });
        EXPECT_EQ(receive_w_tmo(kLong, kAny), NIL);
        mover.join();
        EXPECT_EQ(ose_clock_now_ms(), start + 4 * kLong);

        // A thread that is no process: it cannot be seen to block, so move on until it ends.
        std::atomic<bool> slept{false};
        std::thread sleeper([&] {
            delay(kLong);
            slept = true;
        });
        while (!slept) {
            ose_clock_advance(kLong);
            std::this_thread::yield();
        }
        sleeper.join();
        EXPECT_LT(elapsedMs(t0), kLong);
    });
}

TEST_F(ClockTest, aProcessReactsAtEachDueTimeWithinOneAdvance) {
    run([&] {
        const PROCESS ticker = spawn("ticker", tickerEntry, me);
        union SIGNAL* go = makeSig(kGoSig);
        send(&go, ticker);
        // No wait: the advance lets the ticker take kGoSig first, at the time it was sent.
        ose_clock_advance(5 * kPeriod + kPeriod / 2);
        const std::vector<uint32_t> ticks = {start + kPeriod, start + 2 * kPeriod,
                                             start + 3 * kPeriod, start + 4 * kPeriod,
                                             start + 5 * kPeriod};
        EXPECT_EQ(queued(kTickSig), ticks);
    });
}

TEST_F(ClockTest, waitIdleCountsASignalOnItsWayAsWork) {
    run([&] {
        const PROCESS stopped =
            create_process(OS_PRI_PROC, "stopped", echoEntry, 0, 0, 0, 0, nullptr, 0, 0);
        EXPECT_FALSE(ose_wait_idle(stopped, kAbsence));
        const PROCESS echo = spawn("echo", echoEntry);
        EXPECT_TRUE(ose_wait_idle(0, kArrival));  // the stopped one counts as at rest
        for (uint32_t i = 0; i < 200; ++i) {
            union SIGNAL* s = makeSig(kDataSig, i);
            send(&s, echo);
            ASSERT_TRUE(ose_wait_idle(echo, kArrival));
            EXPECT_EQ(queued(kDataSig), std::vector<uint32_t>{i});
        }
        union SIGNAL* stop = makeSig(kStopSig);
        send(&stop, echo);
        ASSERT_TRUE(ose_wait_ended(echo, kArrival));
        EXPECT_FALSE(ose_wait_idle(echo, kAbsence));
    });
}

TEST_F(ClockTest, switchingModesKeepsWhatWaitsAndShutdownReturnsToRealTime) {
    run([&] {
        // Manual to real: real time goes on from the manual time, and the 40 ms left of a
        // time-out pass in real time.
        union SIGNAL* s = makeSig(kTmoSig, 1);
        request_tmo_sig(kLong + 40, &s);
        ose_clock_advance(kLong);
        const auto t0 = std::chrono::steady_clock::now();
        ose_clock_set_manual(0);
        EXPECT_GE(ose_clock_now_ms(), start + kLong);
        s = receive_w_tmo(kArrival, kAny);  // the 40 ms that were left, in real time
        ASSERT_NE(s, NIL);
        EXPECT_GE(elapsedMs(t0), 39u);
        free_buf(&s);
        ose_clock_advance(1);
        expectError("ose_clock_advance@oseHost.h", OSE_ERR_BAD_ARGUMENT);

        // Real to manual: a delay begun in real time ends on advance.
        const PROCESS sleeper = spawn("delay", delayEntry, me);
        ASSERT_TRUE(ose_wait_idle(sleeper, kArrival));
        ose_clock_set_manual(1);
        ose_clock_advance(kLong - kArrival);
        EXPECT_TRUE(queued(kDoneSig).empty());
        ose_clock_advance(kArrival);
        EXPECT_EQ(queued(kDoneSig).size(), 1u);

        ose_leave_thread();
        ose_shutdown();
        me = ose_adopt_thread("tester");
        s = makeSig(kTmoSig, 2);
        request_tmo_sig(10, &s);
        s = receive_w_tmo(kArrival, kAny);
        ASSERT_NE(s, NIL);
        free_buf(&s);
    });
}

}  // namespace
