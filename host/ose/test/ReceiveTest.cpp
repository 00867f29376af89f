// Receiving: selection, order, sender filter and time-outs.
#include "KernelFixture.h"

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
        union SIGNAL* s = receive_w_tmo(0, sel);
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
