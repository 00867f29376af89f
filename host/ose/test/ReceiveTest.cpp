// Receiving: selection, order, sender filter and time-outs.
#include "KernelFixture.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <thread>

using namespace osetest;

namespace {

class ReceiveTest : public KernelTest {
  protected:
    void sendToMe(SIGSELECT no, uint32_t value, PROCESS from) {
        union SIGNAL* s = makeSig(no, value);
        send_w_s(&s, from, me);
    }

    /// Receives with a selection and checks number and value; frees the signal.
    static void expectNext(const SIGSELECT* sel, SIGSELECT no, uint32_t value) {
        expectNextWithin(0, no, value, sel);
    }
    static void expectNextWithin(OSTIME timeout, SIGSELECT no, uint32_t value,
                                 const SIGSELECT* sel = kAny) {
        union SIGNAL* s = receive_w_tmo(timeout, sel);
        ASSERT_NE(s, NIL) << "expected signal " << no << "/" << value;
        EXPECT_EQ(s->sigNo, no);
        EXPECT_EQ(s->test.value, value);
        free_buf(&s);
    }
};

TEST_F(ReceiveTest, selectiveReceiveTakesTheFirstSelectedAndLeavesTheRestInOrder) {
    sendToMe(1, 10, me);
    sendToMe(2, 20, me);
    sendToMe(3, 30, me);
    sendToMe(2, 21, me);
    sendToMe(1, 11, me);

    static const SIGSELECT three[] = {1, 3};
    static const SIGSELECT twoOrNine[] = {2, 9, 2};
    static const SIGSELECT nine[] = {1, 9};
    expectNext(three, 3, 30);
    expectNext(twoOrNine, 2, 20);
    EXPECT_EQ(receive_w_tmo(0, nine), NIL);
    expectNext(kAny, 1, 10);
    expectNext(kAny, 2, 21);
    expectNext(kAny, 1, 11);
    EXPECT_EQ(receive_w_tmo(0, kAny), NIL);
}

TEST_F(ReceiveTest, receiveFromTakesOnlyTheGivenSender) {
    const PROCESS a = create_process(OS_PHANTOM, "a", nullptr, 0, 0, 0, 0, nullptr, 0, 0);
    const PROCESS b = create_process(OS_PHANTOM, "b", nullptr, 0, 0, 0, 0, nullptr, 0, 0);
    sendToMe(1, 1, a);
    sendToMe(1, 2, b);
    sendToMe(2, 3, a);
    sendToMe(2, 4, b);

    static const SIGSELECT two[] = {1, 2};
    union SIGNAL* s = receive_from(0, two, b);
    ASSERT_NE(s, NIL);
    EXPECT_EQ(s->test.value, 4u);
    free_buf(&s);
    s = receive_from(0, kAny, b);
    ASSERT_NE(s, NIL);
    EXPECT_EQ(s->test.value, 2u);
    free_buf(&s);
    EXPECT_EQ(receive_from(0, kAny, b), NIL);
    expectNext(kAny, 1, 1);
    expectNext(kAny, 2, 3);

    // A blocked receive_from is not taken by a signal of someone else.
    std::thread other([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        sendToMe(5, 50, a);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        sendToMe(5, 51, b);
    });
    s = receive_from(kArrival, kAny, b);
    other.join();
    ASSERT_NE(s, NIL);
    EXPECT_EQ(s->test.value, 51u);
    free_buf(&s);
    expectNext(kAny, 5, 50);
}

TEST_F(ReceiveTest, timeOutsPollWaitAndExpire) {
    auto t0 = std::chrono::steady_clock::now();
    EXPECT_EQ(receive_w_tmo(0, kAny), NIL);
    EXPECT_LT(elapsedMs(t0), 20u);

    t0 = std::chrono::steady_clock::now();
    EXPECT_EQ(receive_w_tmo(30, kAny), NIL);
    EXPECT_GE(elapsedMs(t0), 30u);

    // A signal that is not selected does not end the wait early.
    static const SIGSELECT seven[] = {1, 7};
    std::thread late([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        sendToMe(6, 60, 0);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        sendToMe(7, 70, 0);
    });
    t0 = std::chrono::steady_clock::now();
    union SIGNAL* s = receive_w_tmo(OS_WAIT_FOREVER, seven);
    late.join();
    ASSERT_NE(s, NIL);
    EXPECT_EQ(s->test.value, 70u);
    EXPECT_GE(elapsedMs(t0), 20u);
    free_buf(&s);
    expectNext(kAny, 6, 60);

    t0 = std::chrono::steady_clock::now();
    EXPECT_EQ(receive_w_tmo(30, seven), NIL);
    EXPECT_GE(elapsedMs(t0), 30u);
}

// A wait watch that gives a pipe to watch; what it reads there it sends to the receiver.
struct PipeWatch {
    int fds[2] = {-1, -1};
    bool give = true;
    std::thread::id receiver;
    std::atomic<int> begun{0};
    std::atomic<int> ended{0};
    std::atomic<int> readElsewhere{0};
};
PipeWatch g_pipeWatch;

int pipeWatchBegin(void*, unsigned long long* serial) {
    ++g_pipeWatch.begun;
    *serial = 1;
    return g_pipeWatch.give ? g_pipeWatch.fds[0] : -1;
}

int pipeWatchReady(void*, int fd) {
    if (std::this_thread::get_id() != g_pipeWatch.receiver) {
        ++g_pipeWatch.readElsewhere;
    }
    uint8_t byte = 0;
    if (::read(fd, &byte, 1) == 1) {
        union SIGNAL* s = makeSig(7, byte);
        send(&s, current_process());
    }
    return 1;
}

void pipeWatchEnd(void*, int) {
    ++g_pipeWatch.ended;
}

TEST_F(ReceiveTest, aBlockingReceiveReadsWhatItsWaitWatchGivesOnItsOwnThread) {
    static const OseWaitWatch watch{&pipeWatchBegin, &pipeWatchReady, &pipeWatchEnd, nullptr};
    ASSERT_EQ(::pipe(g_pipeWatch.fds), 0);
    g_pipeWatch.receiver = std::this_thread::get_id();
    ose_set_wait_watch(&watch);

    // What arrives on the watched pipe is read by the receiver, which receives what that
    // sends it; the watch begun for the wait is ended once.
    std::thread writer([] {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        const uint8_t byte = 42;
        EXPECT_EQ(::write(g_pipeWatch.fds[1], &byte, 1), 1);
    });
    expectNextWithin(kArrival, 7, 42);
    writer.join();
    EXPECT_EQ(g_pipeWatch.begun.load(), 1);
    EXPECT_EQ(g_pipeWatch.ended.load(), 1);
    EXPECT_EQ(g_pipeWatch.readElsewhere.load(), 0);

    // A wait that times out ends its watch too; a receive that finds its signal queued
    // does not watch at all.
    EXPECT_EQ(receive_w_tmo(kAbsence, kAny), NIL);
    sendToMe(1, 1, 0);
    expectNextWithin(kArrival, 1, 1);
    EXPECT_EQ(g_pipeWatch.begun.load(), 2);
    EXPECT_EQ(g_pipeWatch.ended.load(), 2);

    // A watch that gives nothing leaves the wait as it was, and ends nothing.
    g_pipeWatch.give = false;
    std::thread sender([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        sendToMe(2, 2, 0);
    });
    expectNextWithin(kArrival, 2, 2);
    sender.join();
    EXPECT_EQ(g_pipeWatch.ended.load(), 2);

    ose_set_wait_watch(nullptr);
    ::close(g_pipeWatch.fds[0]);
    ::close(g_pipeWatch.fds[1]);
}

OS_PROCESS(receiveOnceEntry) {
    union SIGNAL* s = receive(kAny);
    free_buf(&s);
}

TEST_F(ReceiveTest, aWaitWithoutADoorbellGivesItsWatchedDescriptorBackBeforeItSleeps) {
#if defined(__SANITIZE_ADDRESS__)
    // The sanitizer runtime tests whether memory is readable through a pipe of its own,
    // and so reports a false invalid vptr when the process is out of descriptors.
    GTEST_SKIP() << "needs descriptors that the address sanitizer's runtime uses itself";
#endif
    static const OseWaitWatch watch{&pipeWatchBegin, &pipeWatchReady, &pipeWatchEnd, nullptr};
    ASSERT_EQ(::pipe(g_pipeWatch.fds), 0);
    g_pipeWatch.give = true;
    g_pipeWatch.begun = 0;
    g_pipeWatch.ended = 0;
    ose_set_wait_watch(&watch);

    // Out of descriptors: a new thread gets no pipe for its doorbell. The descriptor it was
    // given is read by nobody while it sleeps, so the watch has to end before it does: the
    // link would otherwise leave its socket unread until the process gets another signal.
    rlimit saved{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &saved), 0);
    const int lowestFree = ::fcntl(g_pipeWatch.fds[0], F_DUPFD, 0);
    ASSERT_GE(lowestFree, 0);
    ::close(lowestFree);
    rlimit full = saved;
    full.rlim_cur = static_cast<rlim_t>(lowestFree);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &full), 0);
    const PROCESS waiter = spawn("waiter", &receiveOnceEntry);
    const auto waitFor = [](const std::atomic<int>& count) {
        const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(2);
        while (count.load() == 0 && std::chrono::steady_clock::now() < until) {
            std::this_thread::yield();
        }
        return count.load();
    };
    EXPECT_EQ(waitFor(g_pipeWatch.begun), 1);
    EXPECT_EQ(waitFor(g_pipeWatch.ended), 1) << "the wait sleeps holding the watch";
    ::setrlimit(RLIMIT_NOFILE, &saved);

    union SIGNAL* s = makeSig(1);
    send(&s, waiter);
    EXPECT_TRUE(ose_wait_ended(waiter, kArrival));
    EXPECT_EQ(g_pipeWatch.ended.load(), 1);
    ose_set_wait_watch(nullptr);
    ::close(g_pipeWatch.fds[0]);
    ::close(g_pipeWatch.fds[1]);
}

TEST_F(ReceiveTest, malformedSelectionsAndCallersOutsideTheKernelAreErrors) {
    EXPECT_EQ(receive(nullptr), NIL);
    expectError("receive@ose.h", OSE_ERR_BAD_ARGUMENT);
    static const SIGSELECT negative[] = {0xFFFFFFFFu, 1};
    EXPECT_EQ(receive_w_tmo(0, negative), NIL);
    expectError("receive_w_tmo@ose.h", OSE_ERR_BAD_ARGUMENT);

    std::thread outside([] {
        EXPECT_EQ(receive_w_tmo(0, kAny), NIL);
        expectError("receive_w_tmo@ose.h", OSE_ERR_NOT_PROCESS);
        EXPECT_EQ(receive_from(0, kAny, 1), NIL);
        expectError("receive_from@ose.h", OSE_ERR_NOT_PROCESS);
        EXPECT_EQ(current_process(), 0u);
        expectError("current_process@ose.h", OSE_ERR_NOT_PROCESS);
        EXPECT_EQ(ose_current_process_or_zero(), 0u);
    });
    outside.join();
    EXPECT_EQ(current_process(), me);
    EXPECT_EQ(ose_current_process_or_zero(), me);
}

}  // namespace
