// Processes: start, end, kill, state words, names, adoption and a fresh kernel.
#include "KernelFixture.h"

#include <atomic>
#include <cstring>
#include <thread>

using namespace osetest;

namespace {

constexpr SIGSELECT kAttachSig = 300;
constexpr SIGSELECT kPidSig = 301;

std::atomic<int> g_unwound{0};
std::atomic<int> g_pastTheKill{0};

struct CountsUnwinding {
    ~CountsUnwinding() { ++g_unwound; }
};

OS_PROCESS(blockedEntry) {
    CountsUnwinding guard;
    static const SIGSELECT never[] = {1, kNeverSig};
    union SIGNAL* s = receive(never);
    ++g_pastTheKill;
    free_buf(&s);
}

OS_PROCESS(delayedEntry) {
    CountsUnwinding guard;
    delay(600000);
    ++g_pastTheKill;
}

OS_PROCESS(selfKillEntry) {
    CountsUnwinding guard;
    kill_proc(current_process());
    ++g_pastTheKill;
}

std::atomic<bool> g_killed{false};

struct FreesWhenUnwound {
    union SIGNAL* held;
    ~FreesWhenUnwound() { free_buf(&held); }
};

/// Busy outside the kernel when killed; goes on through calls that cannot block, holds
/// a buffer that a destructor frees while the thread unwinds.
OS_PROCESS(busyEntry) {
    CountsUnwinding guard;
    FreesWhenUnwound holder{makeSig(kDataSig)};
    union SIGNAL* running = makeSig(kPidSig, current_process());
    send(&running, static_cast<PROCESS>(param("peer")));
    while (!g_killed) {
        std::this_thread::yield();
    }
    union SIGNAL* s = makeSig(kDataSig);
    const PROCESS self = current_process();
    send(&s, self);  // to a dead process: freed quietly
    ++g_pastTheKill;
    static const SIGSELECT never[] = {1, kNeverSig};
    s = receive(never);  // unwinds here
    ++g_pastTheKill;
    free_buf(&s);
}

/// Tells its peer its thread's mark.
OS_PROCESS(markedChildEntry) {
    union SIGNAL* s = makeSig(kPidSig, ose_thread_mark());
    send(&s, static_cast<PROCESS>(param("peer")));
}

/// Tells its peer who it is, then ends.
OS_PROCESS(reportEntry) {
    union SIGNAL* s = makeSig(kPidSig, current_process());
    send(&s, static_cast<PROCESS>(param("peer")));
}

/// Tells its peer its thread's mark, then creates and starts a reporter of its own.
OS_PROCESS(markedParentEntry) {
    union SIGNAL* s = makeSig(kPidSig, ose_thread_mark());
    const PROCESS peer = static_cast<PROCESS>(param("peer"));
    send(&s, peer);
    const PROCESS child =
        create_process(OS_PRI_PROC, "markedChild", markedChildEntry, 1024, 7, 0, 0, nullptr, 0, 0);
    set_envp(child, "peer", peer);
    start(child);
}

class ProcessTest : public KernelTest {
  protected:
    void SetUp() override {
        KernelTest::SetUp();
        g_unwound = 0;
        g_pastTheKill = 0;
    }

    static uint32_t statusOf(PROCESS pid) {
        union SIGNAL* pcb = reinterpret_cast<union SIGNAL*>(get_pcb(pid));
        if (pcb == NIL) {
            return 0xFFFFFFFFu;
        }
        const uint32_t status = pcb->pcb.status;
        free_buf(&pcb);
        return status;
    }

    /// Waits (bounded) until a process is blocked in a receive or a delay.
    static uint32_t waitUntilBlocked(PROCESS pid) {
        uint32_t status = statusOf(pid);
        for (int i = 0; i < 2500 && status == OS_STATE_READY; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            status = statusOf(pid);
        }
        return status;
    }

    OSATTREF watch(PROCESS pid) {
        union SIGNAL* s = makeSig(kAttachSig, pid);
        return attach(&s, pid);
    }

    static void expectToldOfEnd(PROCESS pid) {
        static const SIGSELECT sel[] = {1, kAttachSig};
        union SIGNAL* s = receive_w_tmo(kArrival, sel);
        ASSERT_NE(s, NIL) << "no attach signal for " << pid;
        EXPECT_EQ(sender(&s), pid);
        free_buf(&s);
    }
};

TEST_F(ProcessTest, aProcessIsStoppedUntilStartedAndEndsWhenItsEntryReturns) {
    const PROCESS p =
        create_process(OS_PRI_PROC, "reporter", reportEntry, 1024, 7, 0, 0, nullptr, 0, 0);
    ASSERT_NE(p, 0u);
    set_envp(p, "peer", me);
    union SIGNAL* early = makeSig(kDataSig);
    send(&early, p);
    union SIGNAL* pcb = reinterpret_cast<union SIGNAL*>(get_pcb(p));
    ASSERT_NE(pcb, NIL);
    EXPECT_EQ(pcb->pcb.status, OS_STATE_STOPPED);
    EXPECT_EQ(pcb->pcb.pid, p);
    EXPECT_EQ(pcb->pcb.priority, 7u);
    EXPECT_EQ(pcb->pcb.sigqueue, 1u);
    EXPECT_STREQ(pcb->pcb.name, "reporter");
    free_buf(&pcb);
    EXPECT_EQ(receive_w_tmo(kAbsence, kAny), NIL);  // it does not run yet

    watch(p);
    start(p);
    union SIGNAL* s = receive_w_tmo(kArrival, kAny);
    ASSERT_NE(s, NIL);
    EXPECT_EQ(s->sigNo, kPidSig);
    EXPECT_EQ(s->test.value, p);  // current_process() inside is its own pid
    free_buf(&s);
    expectToldOfEnd(p);
    ASSERT_TRUE(ose_wait_ended(p, kArrival));
    EXPECT_EQ(statusOf(p), OS_STATE_ENDED);
    char name[5];
    EXPECT_TRUE(ose_process_name(p, name, sizeof name));
    EXPECT_STREQ(name, "repo");
    EXPECT_FALSE(hunt("reporter", 0, nullptr, nullptr));
    start(p);
    expectError("start@ose.h", OSE_ERR_NO_PROCESS);
}

TEST_F(ProcessTest, aMarkGoesToTheProcesssThreadAndToTheProcessesItCreates) {
    const PROCESS parent = create_process(OS_PRI_PROC, "markedParent", markedParentEntry, 1024, 7,
                                          0, 0, nullptr, 0, 0);
    set_envp(parent, "peer", me);
    EXPECT_TRUE(ose_set_mark(parent, 7));
    EXPECT_FALSE(ose_set_mark(0x7FFFFFF0u, 7));
    start(parent);
    for (const char* who : {"the marked process", "its child"}) {
        union SIGNAL* s = receive_w_tmo(kArrival, kAny);
        ASSERT_NE(s, NIL) << who;
        EXPECT_EQ(s->test.value, 7u) << who;
        free_buf(&s);
    }
    EXPECT_EQ(ose_thread_mark(), 0u);  // this thread's process has none
}

TEST_F(ProcessTest, aProcessKilledWhileBlockedUnwindsAndItsAttachersAreTold) {
    for (OSENTRYPOINT* entry : {&blockedEntry, &delayedEntry}) {
        const PROCESS p = spawn("victim", entry);
        watch(p);
        union SIGNAL* waiting = makeSig(kDataSig);
        send(&waiting, p);  // stays queued: it waits for another number
        EXPECT_EQ(waitUntilBlocked(p), entry == &blockedEntry ? OS_STATE_RECEIVE : OS_STATE_DELAY);

        kill_proc(p);
        EXPECT_EQ(statusOf(p), OS_STATE_KILLED);
        expectToldOfEnd(p);
        ASSERT_TRUE(ose_wait_ended(p, kArrival));
        EXPECT_FALSE(hunt("victim", 0, nullptr, nullptr));
        union SIGNAL* late = makeSig(kDataSig);
        send(&late, p);  // to a killed process: freed, no error
        EXPECT_EQ(late, NIL);
        kill_proc(p);  // killed already: harmless
    }
    EXPECT_EQ(g_unwound, 2);
    EXPECT_EQ(g_pastTheKill, 0);
}

TEST_F(ProcessTest, aProcessKilledWhileRunningUnwindsAtItsNextBlockingCallOnly) {
    g_killed = false;
    const PROCESS busy = spawn("busy", busyEntry, me);
    static const SIGSELECT runningSel[] = {1, kPidSig};
    union SIGNAL* running = receive_w_tmo(kArrival, runningSel);
    ASSERT_NE(running, NIL);
    free_buf(&running);
    kill_proc(busy);
    g_killed = true;
    ASSERT_TRUE(ose_wait_ended(busy, kArrival));
    EXPECT_EQ(g_pastTheKill, 1);  // the calls that cannot block went on
    EXPECT_EQ(g_unwound, 1);      // and the destructors ran, freeing without an error
    EXPECT_EQ(statusOf(busy), OS_STATE_KILLED);
}

TEST_F(ProcessTest, aProcessThatKillsItselfEndsAtOnce) {
    const PROCESS p = spawn("suicide", selfKillEntry);
    ASSERT_TRUE(ose_wait_ended(p, kArrival));
    EXPECT_EQ(statusOf(p), OS_STATE_KILLED);
    EXPECT_EQ(g_unwound, 1);
    EXPECT_EQ(g_pastTheKill, 0);
}

TEST_F(ProcessTest, aStoppedProcessCanBeKilledAndAnAdoptedThreadThatLeavesIsTold) {
    const PROCESS p = create_process(OS_BG_PROC, "never", blockedEntry, 0, 0, 0, 0, nullptr, 0, 0);
    kill_proc(p);
    EXPECT_TRUE(ose_wait_ended(p, 0));
    start(p);
    expectError("start@ose.h", OSE_ERR_NO_PROCESS);

    std::atomic<PROCESS> worker{0};
    std::atomic<bool> leave{false};
    std::thread t([&] {
        worker = ose_adopt_thread("worker");
        EXPECT_EQ(ose_adopt_thread("again"), worker.load());
        while (!leave) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        ose_leave_thread();
    });
    while (worker == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    watch(worker);
    leave = true;
    t.join();
    expectToldOfEnd(worker);
    EXPECT_EQ(statusOf(worker), OS_STATE_ENDED);
}

TEST_F(ProcessTest, aKilledAdoptedThreadIsWokenWithNullAndGoesOnOutsideTheKernel) {
    std::atomic<PROCESS> worker{0};
    std::atomic<bool> woken{false};
    std::thread t([&] {
        worker = ose_adopt_thread("adopted");
        union SIGNAL* s = receive(kAny);
        EXPECT_EQ(s, NIL);
        woken = true;
        EXPECT_EQ(receive_w_tmo(OS_WAIT_FOREVER, kAny), NIL);  // dead: no waiting any more
        ose_leave_thread();
    });
    while (worker == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    watch(worker);
    EXPECT_EQ(waitUntilBlocked(worker), OS_STATE_RECEIVE);
    kill_proc(worker);
    t.join();
    EXPECT_TRUE(woken);
    expectToldOfEnd(worker);
    EXPECT_EQ(statusOf(worker), OS_STATE_KILLED);
}

TEST_F(ProcessTest, wrongArgumentsAreErrorsOfTheirCall) {
    EXPECT_EQ(create_process(OS_PRI_PROC, nullptr, returnEntry, 0, 0, 0, 0, nullptr, 0, 0), 0u);
    expectError("create_process@ose.h", OSE_ERR_BAD_ARGUMENT);
    EXPECT_EQ(create_process(OS_PRI_PROC, "x", nullptr, 0, 0, 0, 0, nullptr, 0, 0), 0u);
    expectError("create_process@ose.h", OSE_ERR_BAD_ARGUMENT);
    EXPECT_EQ(create_process(OS_INT_PROC, "x", returnEntry, 0, 0, 0, 0, nullptr, 0, 0), 0u);
    expectError("create_process@ose.h", OSE_ERR_BAD_ARGUMENT);
    kill_proc(0x7FFFFFF0u);
    expectError("kill_proc@ose.h", OSE_ERR_NO_PROCESS);
    start(0);
    expectError("start@ose.h", OSE_ERR_NO_PROCESS);
    EXPECT_EQ(get_pcb(0x7FFFFFF0u), nullptr);
    expectError("get_pcb@ose.h", OSE_ERR_NO_PROCESS);
    char name[8];
    EXPECT_FALSE(ose_process_name(0x7FFFFFF0u, name, sizeof name));
    EXPECT_FALSE(ose_wait_ended(0x7FFFFFF0u, 0));
}

TEST_F(ProcessTest, shutdownEndsEverythingAndTheNextUseStartsAFreshKernel) {
    const PROCESS blocked = spawn("blocked", blockedEntry);
    const PROCESS echo = spawn("echo", echoEntry);
    union SIGNAL* hunted = makeSig(kDataSig);
    hunt("someday", 0, nullptr, &hunted);
    union SIGNAL* tmo = makeSig(kDataSig);
    request_tmo_sig(600000, &tmo);
    set_envp(0, "key", 5);
    ASSERT_EQ(waitUntilBlocked(blocked), OS_STATE_RECEIVE);

    ose_leave_thread();
    ose_shutdown();
    EXPECT_EQ(g_unwound, 1);

    me = ose_adopt_thread("tester");
    EXPECT_GT(me, echo);  // pids are not given again
    EXPECT_FALSE(hunt("echo", 0, nullptr, nullptr));
    EXPECT_EQ(get_envp(0, "key"), 0u);
    // A pid of the kernel before reads as killed, for records that outlived it.
    EXPECT_EQ(statusOf(blocked), OS_STATE_KILLED);
    union SIGNAL* s = makeSig(kDataSig);
    send(&s, blocked);
    expectError("send@ose.h", OSE_ERR_NO_PROCESS);
    free_buf(&s);

    const PROCESS again = spawn("echo", echoEntry);
    s = makeSig(kDataSig, 3);
    send(&s, again);
    s = receive_w_tmo(kArrival, kAny);
    ASSERT_NE(s, NIL);
    EXPECT_EQ(sender(&s), again);
    free_buf(&s);
}

}  // namespace
