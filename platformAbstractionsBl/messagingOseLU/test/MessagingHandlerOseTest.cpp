// The messaging handlers on the kernel: what the kernel's calls do to a message, the
// receive forms, hunt and attach.
#include "plab/messaging/MessageOse.h"
#include "plab/messaging/MessagingHandlerFactory.h"
#include "plab/messaging/MessagingHandlerOse.h"
#include "oseHost.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using plab::messaging::createMessagingHandler;
using plab::messaging::createMessagingHandlerV2;
namespace v1 = plab::messaging::v1;
namespace v2 = plab::messaging::v2;

std::vector<std::string> g_kernelErrors;

void recordKernelError(const char* call, uint32_t code, const char*) {
    g_kernelErrors.push_back(std::string(call) + "/" + std::to_string(code));
}

// A process that waits for any signal and then returns, which ends it.
OS_PROCESS(endOnFirstSignal) {
    static const SIGSELECT any[] = {0};
    union SIGNAL* signal = receive(any);
    free_buf(&signal);
}

class MessagingHandlerTest : public ::testing::Test {
  protected:
    MessagingHandlerTest() {
        g_kernelErrors.clear();
        m_previous = ose_set_error_handler(recordKernelError);
        m_self = ose_adopt_thread("messagingTest");
    }
    ~MessagingHandlerTest() override {
        ose_leave_thread();
        ose_shutdown();
        ose_set_error_handler(m_previous);
    }

    PROCESS startHelper(const char* name) {
        const PROCESS pid =
            create_process(OS_PRI_PROC, name, endOnFirstSignal, 4096, 20, 0, 0, nullptr, 0, 0);
        start(pid);
        return pid;
    }

    OseErrorHandler m_previous;
    PROCESS m_self;
};

TEST_F(MessagingHandlerTest, sendEmptiesTheMessageAndTheSignalArrivesInOrder) {
    auto handler = createMessagingHandler();
    EXPECT_EQ(handler->currentProcess(), m_self);

    auto first = handler->alloc(8, 0x101);
    auto second = handler->alloc(8, 0x102);
    handler->send(first, m_self);
    EXPECT_TRUE(first->isEmpty());
    EXPECT_EQ(first->sigNo(), 0u);
    EXPECT_EQ(first->size(), 0u);
    handler->sendWithSender(second, m_self, 0x1234);
    EXPECT_TRUE(second->isEmpty());

    auto received = handler->receive();
    ASSERT_TRUE(received);
    EXPECT_EQ(received->sigNo(), 0x101u);
    EXPECT_EQ(received->sender(), m_self);
    received = handler->receive({}, 1000);
    ASSERT_TRUE(received);
    EXPECT_EQ(received->sigNo(), 0x102u);
    EXPECT_EQ(received->sender(), 0x1234u);

    // Sending what is not there is refused before the kernel sees it.
    handler->send(first, m_self);
    handler->send(nullptr, m_self);
    handler->sendWithSender(nullptr, m_self, m_self);
    EXPECT_TRUE(g_kernelErrors.empty());
    EXPECT_FALSE(handler->receive({}, 0));
}

TEST_F(MessagingHandlerTest, receiveSelectsByNumberAndSenderAndTimesOutWithNull) {
    auto handler = createMessagingHandler();
    EXPECT_EQ(handler->receive({}, 10), nullptr);  // no signal: no message object at all

    handler->sendWithSender(handler->alloc(4, 1), m_self, 0x50);
    handler->sendWithSender(handler->alloc(4, 2), m_self, 0x60);
    handler->sendWithSender(handler->alloc(4, 3), m_self, 0x50);

    auto byNumber = handler->receive({3, 2}, 1000);
    ASSERT_TRUE(byNumber);
    EXPECT_EQ(byNumber->sigNo(), 2u);  // the first in the queue that is selected
    EXPECT_EQ(handler->receive({2}, 0), nullptr);

    auto bySender = handler->receive({}, 1000, 0x50);
    ASSERT_TRUE(bySender);
    EXPECT_EQ(bySender->sigNo(), 1u);
    EXPECT_EQ(handler->receive({1, 2}, 0, 0x50), nullptr);
    auto last = handler->receive({}, 1000, 0x50);
    ASSERT_TRUE(last);
    EXPECT_EQ(last->sigNo(), 3u);
}

TEST_F(MessagingHandlerTest, huntAndAttachGiveTheirSignalsBack) {
    auto handler = createMessagingHandler();
    auto huntSignal = handler->alloc(4, 0x777);
    EXPECT_FALSE(handler->hunt("lateHelper", huntSignal));  // not there yet
    EXPECT_TRUE(huntSignal->isEmpty());

    const PROCESS helper = startHelper("lateHelper");
    auto found = handler->receive({0x777}, 2000);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->sender(), helper);
    EXPECT_TRUE(handler->hunt("lateHelper", nullptr));  // exists: no signal asked for

    auto deathSignal = handler->alloc(4, 0x888);
    const OSATTREF withSignal = handler->attach(helper, deathSignal);
    EXPECT_NE(withSignal, 0u);
    EXPECT_TRUE(deathSignal->isEmpty());
    const OSATTREF withDefault = handler->attach(helper, nullptr);
    EXPECT_NE(withDefault, 0u);
    const OSATTREF taken = handler->attach(helper, handler->alloc(4, 0x999));
    handler->detach(taken);

    handler->send(handler->alloc(4, 1), helper);  // ends the helper
    auto death = handler->receive({0x888}, 2000);
    ASSERT_TRUE(death);
    EXPECT_EQ(death->sender(), helper);
    auto defaultDeath = handler->receive({OS_ATTACH_SIG}, 2000);
    ASSERT_TRUE(defaultDeath);
    EXPECT_EQ(defaultDeath->sender(), helper);
    EXPECT_EQ(handler->receive({0x999}, 50), nullptr);  // detached

    handler->detach(0);  // no reference: refused before the kernel sees it
    EXPECT_TRUE(g_kernelErrors.empty());
}

TEST_F(MessagingHandlerTest, theVersionTwoHandlerForwardsWithTheOtherView) {
    auto handler = createMessagingHandlerV2();
    EXPECT_EQ(handler->currentProcess(), m_self);
    std::shared_ptr<v2::Message> message = handler->alloc(8, 0x55);
    ASSERT_TRUE(message);
    EXPECT_EQ(message->sigNo(), 0x55u);
    handler->send(message, m_self);
    EXPECT_TRUE(message->isEmpty());

    std::shared_ptr<v2::Message> received = handler->receive({0x55}, 1000);
    ASSERT_TRUE(received);
    EXPECT_EQ(received->sender(), m_self);
    // The same object answers as a version-1 message.
    auto asV1 = std::dynamic_pointer_cast<v1::Message>(received);
    ASSERT_TRUE(asV1);
    EXPECT_EQ(asV1->raw(), received->raw());

    EXPECT_EQ(handler->receive({}, 10), nullptr);
    EXPECT_EQ(handler->receive({}, 10, m_self), nullptr);
    EXPECT_FALSE(handler->hunt("nobodyByThatName", nullptr));

    handler->sendWithSender(handler->alloc(4, 0x56), m_self, 0x42);
    received = handler->receive();
    ASSERT_TRUE(received);
    EXPECT_EQ(received->sender(), 0x42u);
    EXPECT_TRUE(g_kernelErrors.empty());
}

}  // namespace
