// MessageOse on the kernel: ownership of the buffer and the answers of an empty object.
#include "plab/messaging/MessageOse.h"
#include "oseHost.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using plab::messaging::MessageOse;

std::vector<std::string> g_kernelErrors;

void recordKernelError(const char* call, uint32_t code, const char*) {
    g_kernelErrors.push_back(std::string(call) + "/" + std::to_string(code));
}

class MessageOseTest : public ::testing::Test {
  protected:
    MessageOseTest() {
        g_kernelErrors.clear();
        m_previous = ose_set_error_handler(recordKernelError);
        m_self = ose_adopt_thread("messageOseTest");
    }
    ~MessageOseTest() override {
        ose_leave_thread();
        ose_shutdown();
        ose_set_error_handler(m_previous);
    }
    OseErrorHandler m_previous;
    PROCESS m_self;
};

TEST_F(MessageOseTest, aMessageOwnsItsBufferUntilItIsReleased) {
    MessageOse message(16, 0x4711);
    ASSERT_FALSE(message.isEmpty());
    EXPECT_EQ(message.sigNo(), 0x4711u);
    EXPECT_EQ(message.size(), 16u);
    ASSERT_NE(message.raw(), nullptr);

    union SIGNAL* buffer = message.release();
    EXPECT_NE(buffer, nullptr);
    EXPECT_EQ(message.release(), nullptr);
    EXPECT_TRUE(message.isEmpty());
    EXPECT_EQ(message.raw(), nullptr);
    EXPECT_EQ(message.sigNo(), 0u);
    EXPECT_EQ(message.size(), 0u);
    EXPECT_EQ(message.sender(), 0u);
    EXPECT_EQ(message.addressee(), 0u);

    // The released buffer is the caller's: freeing it is no error, and the message's
    // destructor does not free it a second time.
    free_buf(&buffer);
    EXPECT_TRUE(g_kernelErrors.empty());
}

TEST_F(MessageOseTest, anAdoptedBufferIsFreedWithTheMessage) {
    union SIGNAL* buffer = alloc(8, 0x10);
    {
        MessageOse message(buffer);
        EXPECT_EQ(message.sigNo(), 0x10u);
    }
    // Already freed: the kernel reports a second free as an error.
    free_buf(&buffer);
    ASSERT_EQ(g_kernelErrors.size(), 1u);
    EXPECT_EQ(g_kernelErrors[0].rfind("free_buf@ose.h", 0), 0u);

    MessageOse none(nullptr);
    EXPECT_TRUE(none.isEmpty());
}

TEST_F(MessageOseTest, sizesNoBufferCanHaveGiveAnEmptyMessage) {
    MessageOse tooSmall(2, 1);
    MessageOse tooLarge(OS_MAX_SIGSIZE + 1, 1);
    EXPECT_TRUE(tooSmall.isEmpty());
    EXPECT_TRUE(tooLarge.isEmpty());
    EXPECT_TRUE(g_kernelErrors.empty());

    MessageOse largest(OS_MAX_SIGSIZE, 1);
    EXPECT_FALSE(largest.isEmpty());
}

TEST_F(MessageOseTest, aReceivedMessageKnowsItsSenderAndAddressee) {
    union SIGNAL* signal = alloc(12, 0x99);
    send(&signal, m_self);
    static const SIGSELECT any[] = {0};
    MessageOse message(receive_w_tmo(1000, any));
    ASSERT_FALSE(message.isEmpty());
    EXPECT_EQ(message.sender(), m_self);
    EXPECT_EQ(message.addressee(), m_self);
    EXPECT_EQ(message.size(), 12u);
}

}  // namespace
