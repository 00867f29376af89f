// The distributor's dispatch, subscriptions and monitor, with messages that hold a
// plain heap buffer. The test thread is a kernel process only because trace objects
// are registered on behalf of a process.
#include "SignalDistributor.h"
#include "TraceCapture.h"
#include "oseHost.h"

#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

using plab::messaging::v1::Message;
using MessageV2 = plab::messaging::v2::Message;

// A message over a heap buffer of 32-bit words, the first of which is the number.
class FakeMessage : public MessageV2, public Message {
  public:
    FakeMessage(std::vector<uint32_t> words, PROCESS from = 0)
        : m_words(new uint32_t[words.size()]), m_count(words.size()), m_sender(from) {
        std::memcpy(m_words, words.data(), words.size() * sizeof(uint32_t));
    }
    ~FakeMessage() override { delete[] m_words; }
    FakeMessage(const FakeMessage&) = delete;
    FakeMessage& operator=(const FakeMessage&) = delete;

    PROCESS sender() const override { return m_words != nullptr ? m_sender : 0; }
    PROCESS addressee() const override { return 0; }
    OSBUFSIZE size() const override {
        return m_words != nullptr ? static_cast<OSBUFSIZE>(m_count * sizeof(uint32_t)) : 0;
    }
    SIGSELECT sigNo() const override { return m_words != nullptr ? m_words[0] : 0; }
    bool isEmpty() const override { return m_words == nullptr; }
    union SIGNAL* release() override {
        uint32_t* words = m_words;
        m_words = nullptr;
        return reinterpret_cast<union SIGNAL*>(words);
    }
    union SIGNAL* raw() const override {
        return reinterpret_cast<union SIGNAL*>(m_words);
    }

  private:
    uint32_t* m_words;
    std::size_t m_count;
    PROCESS m_sender;
};

std::shared_ptr<Message> message(std::vector<uint32_t> words, PROCESS from = 0) {
    return std::make_shared<FakeMessage>(std::move(words), from);
}

SIGSELECT firstWord(union SIGNAL* signal) {
    SIGSELECT number;
    std::memcpy(&number, signal, sizeof number);
    return number;
}

// Records every signal it is given in a shared log; may take the buffer, unsubscribe
// itself or run an action while it handles.
class Recorder : public SignalSubscriber {
  public:
    Recorder(std::string name, std::vector<std::string>& log)
        : m_name(std::move(name)), m_log(log) {}
    ~Recorder() override { delete[] reinterpret_cast<uint32_t*>(m_taken); }

    void handleSignal(union SIGNAL** signal) override {
        m_log.push_back(m_name + ":" + std::to_string(firstWord(*signal)));
        if (m_action) {
            m_action();
        }
        if (m_takeOver) {
            m_taken = *signal;
            *signal = nullptr;
        }
    }

    bool m_takeOver = false;
    std::function<void()> m_action;
    union SIGNAL* m_taken = nullptr;

  private:
    std::string m_name;
    std::vector<std::string>& m_log;
};

// Makes the test thread a kernel process for the life of a fixture, and leaves a new
// kernel behind.
struct AdoptedThread {
    AdoptedThread() { ose_adopt_thread("sigSubscrTest"); }
    ~AdoptedThread() {
        destroySignalDistributorAPI();
        ose_leave_thread();
        ose_shutdown();
    }
    AdoptedThread(const AdoptedThread&) = delete;
    AdoptedThread& operator=(const AdoptedThread&) = delete;
};

class SignalDistributorTest : public ::testing::Test {
  protected:
    AdoptedThread m_thread;  // before the distributor, whose trace object needs a process
    SignalDistributor m_distributor;
    std::vector<std::string> m_log;
};

TEST_F(SignalDistributorTest, signalsWithoutAMatchingSubscriberAreNotDelivered) {
    Recorder bySender("sender", m_log);
    Recorder byContent("content", m_log);
    ASSERT_TRUE(m_distributor.subscribe(100, PROCESS{0x77}, &bySender));
    ASSERT_TRUE(m_distributor.subscribe(100, 4, 0xABCD, &byContent));

    EXPECT_FALSE(m_distributor.handleMessage(message({200, 0xABCD})));     // no subscriber
    EXPECT_FALSE(m_distributor.handleMessage(message({100, 0x1234}, 5)));  // neither matches
    EXPECT_TRUE(m_log.empty());

    EXPECT_TRUE(m_distributor.handleMessage(message({100, 0x1234}, 0x77)));
    EXPECT_TRUE(m_distributor.handleMessage(message({100, 0xABCD}, 5)));
    EXPECT_EQ(m_log, (std::vector<std::string>{"sender:100", "content:100"}));

    // A filter word behind the end of a short signal does not match (and is not read).
    EXPECT_FALSE(m_distributor.handleMessage(message({100}, 5)));
    // Neither does a message without a buffer, nor none at all.
    auto empty = message({100, 0xABCD});
    delete[] reinterpret_cast<uint32_t*>(empty->release());
    EXPECT_FALSE(m_distributor.handleMessage(empty));
    EXPECT_FALSE(m_distributor.handleMessage(std::shared_ptr<Message>()));
}

TEST_F(SignalDistributorTest, subscribersRunInOrderUntilOneTakesTheSignal) {
    Recorder first("first", m_log);
    Recorder second("second", m_log);
    Recorder other("other", m_log);
    ASSERT_TRUE(m_distributor.subscribe(7, &first));
    ASSERT_TRUE(m_distributor.subscribe(8, &other));
    ASSERT_TRUE(m_distributor.subscribe(7, &second));

    EXPECT_TRUE(m_distributor.handleMessage(message({7})));
    EXPECT_EQ(m_log, (std::vector<std::string>{"first:7", "second:7"}));

    m_log.clear();
    first.m_takeOver = true;
    auto taken = message({7, 99});
    union SIGNAL* buffer = taken->raw();
    EXPECT_TRUE(m_distributor.handleMessage(taken));
    EXPECT_EQ(m_log, (std::vector<std::string>{"first:7"}));
    // The buffer is the subscriber's now: the message let go of it and will not free it.
    EXPECT_TRUE(taken->isEmpty());
    EXPECT_EQ(taken->sigNo(), 0u);
    EXPECT_EQ(first.m_taken, buffer);
}

TEST_F(SignalDistributorTest, aChangeOfTheTableEndsTheWalk) {
    Recorder first("first", m_log);
    Recorder second("second", m_log);
    Recorder late("late", m_log);
    ASSERT_TRUE(m_distributor.subscribe(7, &first));
    ASSERT_TRUE(m_distributor.subscribe(7, &second));

    first.m_action = [&] { m_distributor.unsubscribe(7, &first); };
    EXPECT_TRUE(m_distributor.handleMessage(message({7})));
    EXPECT_EQ(m_log, (std::vector<std::string>{"first:7"}));

    m_log.clear();
    EXPECT_TRUE(m_distributor.handleMessage(message({7})));
    EXPECT_EQ(m_log, (std::vector<std::string>{"second:7"}));

    // A subscription to another number changes the table as well.
    m_log.clear();
    Recorder third("third", m_log);
    ASSERT_TRUE(m_distributor.subscribe(7, &third));
    second.m_action = [&] { m_distributor.subscribe(9, &late); };
    EXPECT_TRUE(m_distributor.handleMessage(message({7})));
    EXPECT_EQ(m_log, (std::vector<std::string>{"second:7"}));
}

TEST_F(SignalDistributorTest, aNestedDispatchDoesNotHideAChangeFromTheOuterWalk) {
    Recorder first("first", m_log);
    Recorder second("second", m_log);
    Recorder third("third", m_log);
    Recorder inner("inner", m_log);
    ASSERT_TRUE(m_distributor.subscribe(7, &first));
    ASSERT_TRUE(m_distributor.subscribe(7, &second));
    ASSERT_TRUE(m_distributor.subscribe(7, &third));
    ASSERT_TRUE(m_distributor.subscribe(8, &inner));
    first.m_action = [&] {
        m_distributor.unsubscribe(7, &third);
        m_distributor.handleMessage(message({8}));
    };
    EXPECT_TRUE(m_distributor.handleMessage(message({7})));
    EXPECT_EQ(m_log, (std::vector<std::string>{"first:7", "inner:8"}));
}

TEST_F(SignalDistributorTest, subscriptionsAreRefusedForBadOffsetsAndRepeats) {
    Recorder recorder("r", m_log);
    EXPECT_FALSE(m_distributor.subscribe(5, 6, 1, &recorder));
    EXPECT_FALSE(m_distributor.subscribe(5, SignalFilter{{4, 1}, {6, 2}},
                                         std::make_shared<SignalHandler>([](auto) {})));
    EXPECT_FALSE(m_distributor.subscribe(5, static_cast<SignalSubscriber*>(nullptr)));

    EXPECT_TRUE(m_distributor.subscribe(5, 8, 0x55, &recorder));
    EXPECT_FALSE(m_distributor.subscribe(5, 8, 0x55, &recorder));
    EXPECT_FALSE(m_distributor.subscribe(5, &recorder));  // another filter: still refused
    EXPECT_TRUE(m_distributor.subscribe(6, &recorder));   // another number is fine

    EXPECT_FALSE(m_distributor.handleMessage(message({5, 0, 0x54})));
    EXPECT_TRUE(m_distributor.handleMessage(message({5, 0, 0x55})));

    EXPECT_FALSE(m_distributor.unsubscribe(5, static_cast<SignalSubscriber*>(nullptr)));
    EXPECT_TRUE(m_distributor.unsubscribe(5, &recorder));
    EXPECT_FALSE(m_distributor.unsubscribe(5, &recorder));
    EXPECT_FALSE(m_distributor.handleMessage(message({5, 0, 0x55})));
    EXPECT_TRUE(m_distributor.subscribe(5, &recorder));
}

TEST_F(SignalDistributorTest, handlersAreHeldByWeakPointer) {
    std::vector<SIGSELECT> seen;
    auto handler = std::make_shared<SignalHandler>(
        [&](std::shared_ptr<Message> m) { seen.push_back(m->sigNo()); });
    auto gone = std::make_shared<SignalHandler>([&](std::shared_ptr<Message>) { FAIL(); });

    EXPECT_TRUE(m_distributor.subscribe(3, handler));
    EXPECT_FALSE(m_distributor.subscribe(3, handler));
    EXPECT_TRUE(m_distributor.subscribe(4, PROCESS{0x10}, 4, 0x42, handler));
    EXPECT_TRUE(m_distributor.subscribe(6, gone));
    std::weak_ptr<SignalHandler> expired = gone;
    gone.reset();
    EXPECT_FALSE(m_distributor.subscribe(3, expired));
    EXPECT_FALSE(m_distributor.unsubscribe(6, expired));

    EXPECT_TRUE(m_distributor.handleMessage(message({3})));
    EXPECT_FALSE(m_distributor.handleMessage(message({4, 0x42}, 0x11)));
    EXPECT_TRUE(m_distributor.handleMessage(message({4, 0x42}, 0x10)));
    EXPECT_EQ(seen, (std::vector<SIGSELECT>{3, 4}));

    // A dead handler's entry stays and still counts as a receiver, though nothing runs.
    EXPECT_TRUE(m_distributor.handleMessage(message({6})));

    EXPECT_TRUE(m_distributor.unsubscribe(3, handler));
    EXPECT_FALSE(m_distributor.unsubscribe(3, handler));
    EXPECT_FALSE(m_distributor.handleMessage(message({3})));
}

TEST_F(SignalDistributorTest, versionTwoHandlersGetTheSecondViewAndMayTakeTheBuffer) {
    std::vector<std::string> log;
    std::unique_ptr<uint32_t[]> kept;
    auto taker = std::make_shared<SignalDistributor::HandlerV2>([&](std::shared_ptr<MessageV2> m) {
        log.push_back("v2:" + std::to_string(m->sigNo()));
        kept.reset(reinterpret_cast<uint32_t*>(m->release()));
    });
    auto later = std::make_shared<SignalHandler>(
        [&](std::shared_ptr<Message> m) { log.push_back("v1:" + std::to_string(m->sigNo())); });
    applsupp::signaldistributor::v2::SignalDistributorAPI& v2 = m_distributor;
    ASSERT_TRUE(v2.subscribe(12, SignalFilter{{4, 1}, {8, 2}}, taker));
    ASSERT_TRUE(m_distributor.subscribe(12, later));

    auto m = std::make_shared<FakeMessage>(std::vector<uint32_t>{12, 1, 3});
    EXPECT_TRUE(v2.handleMessage(std::shared_ptr<MessageV2>(m)));
    EXPECT_EQ(log, (std::vector<std::string>{"v1:12"}));

    log.clear();
    m = std::make_shared<FakeMessage>(std::vector<uint32_t>{12, 1, 2});
    EXPECT_TRUE(v2.handleMessage(std::shared_ptr<MessageV2>(m)));
    EXPECT_EQ(log, (std::vector<std::string>{"v2:12"}));
    EXPECT_TRUE(m->isEmpty());
    ASSERT_TRUE(kept);
    EXPECT_EQ(kept[2], 2u);

    EXPECT_TRUE(v2.unsubscribe(12, taker));
    EXPECT_FALSE(v2.unsubscribe(12, taker));
}

class Monitor : public SignalProcessingMonitor {
  public:
    explicit Monitor(std::vector<std::string>& log) : m_log(log) {}
    void signalProcessingStarted(SIGSELECT sigNo) override {
        m_log.push_back("start:" + std::to_string(sigNo));
    }
    void signalProcessingFinished(SIGSELECT sigNo) override {
        m_log.push_back("end:" + std::to_string(sigNo));
    }

  private:
    std::vector<std::string>& m_log;
};

std::string address(const void* object) {
    char text[32];
    std::snprintf(text, sizeof text, "%" PRIxPTR, reinterpret_cast<std::uintptr_t>(object));
    return text;
}

TEST_F(SignalDistributorTest, oneMonitorSeesEveryDispatch) {
    TraceCapture capture;
    Monitor monitor(m_log);
    Monitor intruder(m_log);
    Recorder recorder("r", m_log);
    ASSERT_TRUE(m_distributor.subscribe(2, &recorder));

    EXPECT_TRUE(m_distributor.subscribeToSignalProcessingMonitoring(monitor));
    EXPECT_FALSE(m_distributor.subscribeToSignalProcessingMonitoring(intruder));
    EXPECT_TRUE(
        capture.contains("Warning: usage failure: "
                         "subscribeToSignalProcessingMonitoring(SignalProcessingMonitor &0x" +
                         address(&intruder) + " ) signalProcessing already enabled by &0x" +
                         address(&monitor) + "!"));

    m_distributor.handleMessage(message({2}));
    m_distributor.handleMessage(message({3}));
    EXPECT_EQ(m_log, (std::vector<std::string>{"start:2", "r:2", "end:2", "start:3", "end:3"}));

    EXPECT_FALSE(m_distributor.unsubscribeToSignalProcessingMonitoring(intruder));
    EXPECT_TRUE(
        capture.contains("Warning: usage failure: "
                         "unsubscribeToSignalProcessingMonitoring(SignalProcessingMonitor &0x" +
                         address(&intruder) + " ) has not subscribed to signalMonitoring!"));
    EXPECT_TRUE(m_distributor.unsubscribeToSignalProcessingMonitoring(monitor));

    // A monitor that goes away during the dispatch is not told of its end.
    m_log.clear();
    ASSERT_TRUE(m_distributor.subscribeToSignalProcessingMonitoring(monitor));
    recorder.m_action = [&] { m_distributor.unsubscribeToSignalProcessingMonitoring(monitor); };
    m_distributor.handleMessage(message({2}));
    EXPECT_EQ(m_log, (std::vector<std::string>{"start:2", "r:2"}));
}

// The process-wide instance lives in the kernel's environment.
class SignalDistributorInstanceTest : public ::testing::Test {
  protected:
    AdoptedThread m_thread;
};

TEST_F(SignalDistributorInstanceTest, getterAndDestroyerWorkByKey) {
    destroySignalDistributorAPI();  // nothing stored: nothing happens
    EXPECT_EQ(get_envp(0, "SigSubcsrAPIPtrName"), 0u);

    SignalDistributorAPI* first = getSignalDistributorAPI();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(getSignalDistributorAPI(), first);
    auto* second = applsupp::signaldistributor::v2::getSignalDistributorAPI();
    EXPECT_EQ(dynamic_cast<SignalDistributor*>(second), dynamic_cast<SignalDistributor*>(first));

    std::vector<std::string> log;
    Recorder recorder("r", log);
    ASSERT_TRUE(first->subscribe(1, &recorder));
    destroySignalDistributorAPI();
    EXPECT_EQ(get_envp(0, "SigSubcsrAPIPtrName"), 0u);
    // A new, empty distributor: the old subscription is gone.
    EXPECT_TRUE(getSignalDistributorAPI()->subscribe(1, &recorder));
}

}  // namespace
