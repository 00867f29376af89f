// The name-server client against a test thread that plays "ose_ns": replies come
// when, and as, the test says, so that every race can be staged.
#include "NameServerTestLoop.h"
#include "RawSignal.h"

#include <cstring>

using namespace nstest;
using namespace plab::nameserver::v1;

namespace {

using Signal = RawSignal;

class NameServerClientRaceTest : public NameServerLoopTest {
  protected:
    void SetUp() override { startLoop("ose_ns"); }

    /// The next request the client sends, or null when none comes within timeoutMs.
    Signal request(OSTIME timeoutMs = 2000) {
        static const SIGSELECT requests[] = {4, NS_ADD_SERVICE, NS_REMOVE_SERVICE,
                                             NS_SUBSCRIBE_SERVICE, NS_CANCEL_SERVICE_SUBSCRIPTION};
        return Signal(receive_w_tmo(timeoutMs, requests));
    }
    /// Expects a subscription to the name, checks its layout.
    void expectSubscribe(const std::string& name) {
        Signal subscribe = request();
        ASSERT_TRUE(subscribe);
        EXPECT_EQ(word(subscribe, 0), NS_SUBSCRIBE_SERVICE);
        EXPECT_EQ(sizeOf(subscribe), name.size() + 13);
        EXPECT_EQ(text(subscribe, 8), name);
    }
    void expectCancel(uint32_t sid) {
        Signal cancel = request();
        ASSERT_TRUE(cancel);
        EXPECT_EQ(word(cancel, 0), NS_CANCEL_SERVICE_SUBSCRIPTION);
        EXPECT_EQ(sizeOf(cancel), 8u);
        EXPECT_EQ(word(cancel, 4), sid);
    }
    void expectNothing() { EXPECT_FALSE(request(100)); }
    /// Sends a signal of that size: words at 4, 8, ... and the tag at tagOffset.
    void reply(SIGSELECT sigNo, std::size_t size, std::vector<uint32_t> words,
               const std::string& tag = "", std::size_t tagOffset = 0) {
        ASSERT_LE(4 + 4 * words.size(), size);
        union SIGNAL* signal = alloc(static_cast<OSBUFSIZE>(size), sigNo);
        auto* bytes = reinterpret_cast<unsigned char*>(signal);
        std::memset(bytes + 4, 0, size - 4);
        for (std::size_t i = 0; i < words.size(); ++i)
            std::memcpy(bytes + 4 + 4 * i, &words[i], 4);
        if (!tag.empty())
            std::memcpy(bytes + tagOffset, tag.data(), std::min(tag.size(), size - tagOffset));
        send(&signal, m_loop);
    }
    void subscribeReply(uint32_t sid, const std::string& name) {
        reply(NS_SUBSCRIBE_SERVICE_REPLY, 16 + name.size(), {sid}, name, 12);
    }
    void added(uint32_t sid, PROCESS pid) { reply(NS_SUBSCRIBE_SERVICE_ADDED_PID, 12, {sid, pid}); }
    void removed(uint32_t sid) { reply(NS_SUBSCRIBE_SERVICE_REMOVED_PID, 8, {sid}); }
    void cancelReply(uint32_t sid) { reply(NS_CANCEL_SERVICE_SUBSCRIPTION_REPLY, 8, {sid}); }
    /// Waits until the loop has handled everything sent to it so far.
    void settle() {
        onLoop([] {});
    }
};

constexpr PROCESS kP = 0x10101, kP2 = 0x20202;

}  // namespace

TEST_F(NameServerClientRaceTest, PublicationRequestsHaveTheirLayouts) {
    onLoop([] {
        EXPECT_TRUE(client()->publish("abcde"));
        EXPECT_TRUE(client()->unpublish("abcde"));
    });
    Signal add = request();
    ASSERT_TRUE(add);
    EXPECT_EQ(word(add, 0), NS_ADD_SERVICE);
    EXPECT_EQ(sizeOf(add), 5u + 9u);
    EXPECT_EQ(text(add, 4), "abcde");
    Signal remove = request();
    ASSERT_TRUE(remove);
    EXPECT_EQ(word(remove, 0), NS_REMOVE_SERVICE);
    EXPECT_EQ(sizeOf(remove), ((5u + 4u) & ~3u) + 8u);
    EXPECT_EQ(text(remove, 4), "abcde");
}

TEST_F(NameServerClientRaceTest, LastSubscriberLeavingBeforeTheReplyCancelsOnTheReply) {
    Subscriber a(m_events, "A"), b(m_events, "B");
    onLoop([&] {
        a.subscribe("svc");
        b.subscribe("svc");  // one subscription at the name server for both
    });
    expectSubscribe("svc");
    onLoop([&] {
        a.unsubscribe("svc");
        b.unsubscribe("svc");
    });
    expectNothing();
    EXPECT_EQ(
        m_trace.count(
            0, "Race condition, trying to cancel subscription before response from nameserver"),
        1u);
    subscribeReply(7, "svc");
    expectCancel(7);
    cancelReply(7);
    // The record is gone: the next subscriber makes a new subscription.
    onLoop([&] { a.subscribe("svc"); });
    expectSubscribe("svc");
    EXPECT_TRUE(m_events.all().empty());
}

TEST_F(NameServerClientRaceTest, SubscriberArrivingDuringTheCancelGetsAFreshSubscription) {
    Subscriber a(m_events, "A"), b(m_events, "B");
    onLoop([&] { a.subscribe("svc"); });
    expectSubscribe("svc");
    subscribeReply(7, "svc");
    added(7, kP);
    ASSERT_TRUE(m_events.waitFor(1));
    onLoop([&] { a.unsubscribe("svc"); });
    expectCancel(7);
    onLoop([&] { b.subscribe("svc"); });  // told of the known provider at once
    expectNothing();
    cancelReply(7);
    expectSubscribe("svc");
    subscribeReply(8, "svc");
    added(8, kP2);
    added(7, kP);  // the old subscription is no more
    settle();
    EXPECT_EQ(m_events.all(),
              (std::vector<std::string>{event("A", '+', "svc", kP), event("B", '+', "svc", kP),
                                        event("B", '-', "svc", kP), event("B", '+', "svc", kP2)}));
    EXPECT_EQ(m_trace.count(
                  0, "NS_SUBSCRIBE_SERVICE_ADDED_PID received for non-observed SID=7, ignoring"),
              1u);
}

TEST_F(NameServerClientRaceTest, ChangesCrossingTheCancelReachNobody) {
    Subscriber a(m_events, "A");
    onLoop([&] { a.subscribe("svc"); });
    expectSubscribe("svc");
    subscribeReply(7, "svc");
    onLoop([&] { a.unsubscribe("svc"); });
    expectCancel(7);
    // Sent by the name server before it saw the cancel.
    added(7, kP);
    removed(7);
    cancelReply(7);
    removed(7);
    cancelReply(7);
    settle();
    onLoop([&] { a.unsubscribe("svc"); });
    EXPECT_TRUE(m_events.all().empty());
    EXPECT_EQ(m_trace.count(
                  0, "NS_SUBSCRIBE_SERVICE_REMOVED_PID received for non-observed SID=7, ignoring"),
              1u);
    EXPECT_EQ(
        m_trace.count(0, "NS_CANCEL_SERVICE_SUBSCRIPTION_REPLY received for non-observed SID = 7"),
        1u);
    EXPECT_EQ(
        m_trace.count(0, "service (service=svc) is not observed by name server, ignoring request"),
        1u);
}

TEST_F(NameServerClientRaceTest, UnknownAndMalformedRepliesAreDropped) {
    auto a = std::make_unique<Subscriber>(m_events, "A");
    onLoop([&] { a->subscribe("svc"); });
    expectSubscribe("svc");
    added(5, kP);                                           // before the reply: sid unknown
    reply(NS_SUBSCRIBE_SERVICE_REPLY, 15, {5}, "svc", 12);  // tag without its NUL
    subscribeReply(5, "svc");
    added(99, kP);                                  // unknown sid
    reply(NS_SUBSCRIBE_SERVICE_ADDED_PID, 8, {5});  // too short for the pid
    reply(NS_SUBSCRIBE_SERVICE_REMOVED_PID, 4, {});
    reply(NS_CANCEL_SERVICE_SUBSCRIPTION_REPLY, 4, {});
    reply(NS_ADD_SERVICE_REPLY, 4, {});
    reply(NS_REMOVE_SERVICE_REPLY, 6, {});
    added(5, kP);
    removed(5);
    removed(5);  // no provider left to tell of
    settle();
    EXPECT_EQ(m_events.all(),
              (std::vector<std::string>{event("A", '+', "svc", kP), event("A", '-', "svc", kP)}));
    EXPECT_EQ(m_trace.count(1, "NS_SUBSCRIBE_SERVICE_REPLY without a terminated tag, dropped"), 1u);
    // The subscriber lets its callbacks go without unsubscribing.
    onLoop([&] { a.reset(); });
    added(5, kP2);
    settle();
    EXPECT_EQ(m_events.all().size(), 2u);
    EXPECT_EQ(m_trace.count(
                  0, "NS_SUBSCRIBE_SERVICE_ADDED_PID received for non-observed SID=5, ignoring"),
              1u);
    EXPECT_EQ(m_trace.count(
                  0, "NS_SUBSCRIBE_SERVICE_ADDED_PID received for non-observed SID=99, ignoring"),
              1u);
}
