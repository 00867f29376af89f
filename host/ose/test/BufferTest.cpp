// Buffers: sizes, ownership, and every misuse reported as a kernel error.
#include "KernelFixture.h"

#include <cstdlib>
#include <cstring>
#include <thread>

using namespace osetest;

namespace {

class BufferTest : public KernelTest {};

TEST_F(BufferTest, allocGivesAWritableBufferOfEverySizeWithItsNumberFirst) {
    for (OSBUFSIZE size : {1u, 4u, 31u, 32u, 64u, 255u, 256u, 4096u, 16384u, OS_MAX_SIGSIZE}) {
        union SIGNAL* s = alloc(size, 0x1234);
        ASSERT_NE(s, NIL) << size;
        EXPECT_EQ(s->sigNo, 0x1234u) << size;
        EXPECT_EQ(sigsize(&s), size);
        if (size >= sizeof(SIGSELECT)) {
            std::memset(s, 0xA5, size);  // the whole buffer belongs to the caller
        }
        free_buf(&s);
        EXPECT_EQ(s, NIL);
    }
}

TEST_F(BufferTest, sizesOutsideThePoolAreRefusedAndTheProcessGoesOn) {
    EXPECT_EQ(alloc(0, 1), NIL);
    expectError("alloc@ose.h", OSE_ERR_BUFFER_SIZE);
    EXPECT_EQ(alloc(OS_MAX_SIGSIZE + 1, 1), NIL);
    expectError("alloc@ose.h", OSE_ERR_BUFFER_SIZE);
    union SIGNAL* s = alloc(8, 1);
    ASSERT_NE(s, NIL);
    free_buf(&s);
}

TEST_F(BufferTest, doubleFreeGarbageAndNullAreReportedNotFollowed) {
    union SIGNAL* s = makeSig(1);
    union SIGNAL* copy = s;
    free_buf(&s);
    EXPECT_EQ(s, NIL);
    free_buf(&copy);
    expectError("free_buf@ose.h", OSE_ERR_NOT_BUFFER);
    EXPECT_EQ(sigsize(&copy), 0u);
    expectError("sigsize@ose.h", OSE_ERR_NOT_BUFFER);

    uint32_t onStack[8] = {};
    auto* garbage = reinterpret_cast<union SIGNAL*>(onStack);
    free_buf(&garbage);
    expectError("free_buf@ose.h", OSE_ERR_NOT_BUFFER);
    EXPECT_EQ(garbage, reinterpret_cast<union SIGNAL*>(onStack));

    void* heap = std::malloc(64);
    auto* fromHeap = static_cast<union SIGNAL*>(heap);
    EXPECT_EQ(sender(&fromHeap), 0u);
    expectError("sender@ose.h", OSE_ERR_NOT_BUFFER);
    std::free(heap);

    union SIGNAL* live = makeSig(2);
    auto* inside = reinterpret_cast<union SIGNAL*>(reinterpret_cast<char*>(live) + 4);
    EXPECT_EQ(addressee(&inside), 0u);
    expectError("addressee@ose.h", OSE_ERR_NOT_BUFFER);
    free_buf(&live);

    union SIGNAL* none = NIL;
    free_buf(&none);
    expectError("free_buf@ose.h", OSE_ERR_NULL_BUFFER);
    send(&none, me);
    expectError("send@ose.h", OSE_ERR_NULL_BUFFER);
}

TEST_F(BufferTest, sendHandsTheBufferOverAndTheSenderMayNotTouchItAnyMore) {
    const PROCESS holder = spawn("holder", holdEntry);
    union SIGNAL* s = makeSig(kDataSig, 42);
    union SIGNAL* copy = s;
    send(&s, holder);
    EXPECT_EQ(s, NIL);

    free_buf(&copy);
    expectError("free_buf@ose.h", OSE_ERR_NOT_OWNER);
    send(&copy, me);
    expectError("send@ose.h", OSE_ERR_NOT_OWNER);
    EXPECT_EQ(sigsize(&copy), 0u);
    expectError("sigsize@ose.h", OSE_ERR_NOT_OWNER);
    EXPECT_EQ(sender(&copy), 0u);
    expectError("sender@ose.h", OSE_ERR_NOT_OWNER);

    // Nothing of the above reached the holder's buffer: it comes back intact.
    union SIGNAL* go = makeSig(kReleaseSig);
    send(&go, holder);
    union SIGNAL* back = receive_w_tmo(kArrival, kAny);
    ASSERT_NE(back, NIL);
    EXPECT_EQ(back, copy);
    EXPECT_EQ(back->test.value, 42u);
    EXPECT_EQ(sender(&back), holder);
    EXPECT_EQ(addressee(&back), me);
    free_buf(&back);
}

TEST_F(BufferTest, sendToAnUnknownProcessKeepsTheBufferAndToAnEndedOneFreesIt) {
    union SIGNAL* s = makeSig(kDataSig);
    send(&s, 0);
    expectError("send@ose.h", OSE_ERR_NO_PROCESS);
    send_w_s(&s, me, 0x7FFFFFF0u);
    expectError("send_w_s@ose.h", OSE_ERR_NO_PROCESS);
    ASSERT_NE(s, NIL);

    const PROCESS gone = spawn("gone", returnEntry);
    ASSERT_TRUE(ose_wait_ended(gone, kArrival));
    union SIGNAL* copy = s;
    send(&s, gone);
    EXPECT_EQ(s, NIL);
    free_buf(&copy);  // the kernel freed it
    expectError("free_buf@ose.h", OSE_ERR_NOT_BUFFER);
}

TEST_F(BufferTest, aThreadOutsideTheKernelOwnsItsBuffersAsNoProcess) {
    union SIGNAL* foreign = NIL;
    std::thread outside([&] {
        union SIGNAL* s = makeSig(7);
        EXPECT_EQ(sigsize(&s), sizeof(TestSig));
        free_buf(&s);
        EXPECT_EQ(s, NIL);
        foreign = makeSig(8);
        union SIGNAL* toMe = makeSig(9, 99);
        send(&toMe, me);
    });
    outside.join();
    free_buf(&foreign);
    expectError("free_buf@ose.h", OSE_ERR_NOT_OWNER);

    union SIGNAL* got = receive_w_tmo(kArrival, kAny);
    ASSERT_NE(got, NIL);
    EXPECT_EQ(got->test.value, 99u);
    EXPECT_EQ(sender(&got), 0u);
    free_buf(&got);

    ose_leave_thread();  // now this thread is outside the kernel too, and may free it
    free_buf(&foreign);
    EXPECT_EQ(foreign, NIL);
}

TEST_F(BufferTest, userErrorsGoToTheSameHandler) {
    error(0x77);
    expectError("error@ose.h", OSE_ERR_USER);
    error2(0x78, 5);
    expectError("error2@ose.h", OSE_ERR_USER);
}

TEST_F(BufferTest, aNonFatalUserErrorUnderTheDefaultHandlerLetsTheCallerGoOn) {
    const OseErrorHandler mine = ose_set_error_handler(nullptr);
    error(0x77);      // reported on stderr, not fatal
    error2(0x78, 5);  // the test program is still here
    ose_set_error_handler(mine);
    EXPECT_TRUE(takeErrors().empty());
}

TEST_F(BufferTest, aFatalUserErrorEndsTheProgram) {
    EXPECT_DEATH(
        {
            ose_set_error_handler(nullptr);
            error(0x80000001u);
        },
        "error@ose.h");
}

}  // namespace
