// The composite message processor and its process-wide instance.
#include "applsupp/msgprocessor/v1/CompositeMessageProcessor.h"
#include "oseHost.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

using applsupp::msgprocessor::v1::CompositeMessageProcessor;
using applsupp::msgprocessor::v1::CompositeMessageProcessorAPI;
using applsupp::msgprocessor::v1::MessageProcessor;

// Remembers the signals it was given; answers with a fixed result.
class RecordingProcessor final : public MessageProcessor {
  public:
    explicit RecordingProcessor(bool result) : m_result(result) {}
    bool process(union SIGNAL* signal) override {
        m_seen.push_back(signal);
        return m_result;
    }
    std::vector<union SIGNAL*> m_seen;

  private:
    bool m_result;
};

union SIGNAL* asSignal(uint32_t* words) {
    return reinterpret_cast<union SIGNAL*>(words);
}

// Trace objects and the environment need the test thread to be a kernel process.
class CompositeMessageProcessorTest : public ::testing::Test {
  protected:
    CompositeMessageProcessorTest() { ose_adopt_thread("msgProcessorTest"); }
    ~CompositeMessageProcessorTest() override {
        applsupp::msgprocessor::v1::destroyCompositeMessageProcessor();
        ose_leave_thread();
        ose_shutdown();
    }
};

TEST_F(CompositeMessageProcessorTest, eachNumberHasAtMostOneProcessor) {
    CompositeMessageProcessor composite;
    RecordingProcessor first(false);
    RecordingProcessor second(true);
    uint32_t signal[] = {0x300, 7};

    EXPECT_FALSE(composite.process(asSignal(signal)));
    EXPECT_TRUE(composite.registerProcessor(0x300, &first));
    EXPECT_FALSE(composite.registerProcessor(0x300, &second));
    EXPECT_FALSE(composite.registerProcessor(0x301, nullptr));

    // True means a processor ran, whatever it answered; it gets the same pointer.
    EXPECT_TRUE(composite.process(asSignal(signal)));
    EXPECT_EQ(first.m_seen, (std::vector<union SIGNAL*>{asSignal(signal)}));
    EXPECT_TRUE(second.m_seen.empty());

    uint32_t other[] = {0x301};
    EXPECT_FALSE(composite.process(asSignal(other)));
    EXPECT_FALSE(composite.process(nullptr));

    EXPECT_TRUE(composite.unregisterProcessor(0x300));
    EXPECT_FALSE(composite.unregisterProcessor(0x300));
    EXPECT_FALSE(composite.process(asSignal(signal)));
    EXPECT_TRUE(composite.registerProcessor(0x300, &second));
    EXPECT_TRUE(composite.process(asSignal(signal)));
    EXPECT_EQ(second.m_seen.size(), 1u);
}

TEST_F(CompositeMessageProcessorTest, theInstanceIsMadeOnFirstUseAndDestroyedByKey) {
    using applsupp::msgprocessor::v1::destroyCompositeMessageProcessor;
    using applsupp::msgprocessor::v1::getCompositeMessageProcessor;

    destroyCompositeMessageProcessor();  // nothing stored: nothing happens
    EXPECT_EQ(get_envp(0, "CompositeMessageProcessorPtrName"), 0u);

    CompositeMessageProcessorAPI* instance = getCompositeMessageProcessor();
    ASSERT_NE(instance, nullptr);
    EXPECT_EQ(getCompositeMessageProcessor(), instance);
    EXPECT_EQ(get_envp(0, "CompositeMessageProcessorPtrName"),
              reinterpret_cast<OSADDRESS>(dynamic_cast<CompositeMessageProcessor*>(instance)));

    RecordingProcessor processor(true);
    ASSERT_TRUE(instance->registerProcessor(5, &processor));
    destroyCompositeMessageProcessor();
    EXPECT_EQ(get_envp(0, "CompositeMessageProcessorPtrName"), 0u);

    // A new, empty processor (it may sit at the old address).
    uint32_t signal[] = {5};
    EXPECT_FALSE(getCompositeMessageProcessor()->process(asSignal(signal)));
    EXPECT_TRUE(processor.m_seen.empty());
}

}  // namespace
