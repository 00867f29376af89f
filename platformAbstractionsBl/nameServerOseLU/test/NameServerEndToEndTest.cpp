// The name-server client against the host's "ose_ns", between kernel processes.
#include "NameServerTestLoop.h"

#include "NameServerSignals.h"
#include "RawSignal.h"
#include "nameServerHost.h"

using namespace nstest;

namespace {

class NameServerEndToEndTest : public NameServerLoopTest {
  protected:
    void SetUp() override {
        hostns::startNameServer();
        startLoop("tester");
    }
    static void publishFrom(JobProcess& process, const char* name) {
        process.run([name] { EXPECT_TRUE(hostns::publishService(name)); });
    }
};

}  // namespace

TEST_F(NameServerEndToEndTest, SubscribersFollowProvidersComingChangingAndEnding) {
    Subscriber a(m_events, "A");
    onLoop([&] { a.subscribe("svc"); });
    JobProcess first("first");
    publishFrom(first, "svc");
    ASSERT_TRUE(m_events.waitFor(1));
    // A second provider replaces the first without a removal.
    JobProcess second("second");
    publishFrom(second, "svc");
    ASSERT_TRUE(m_events.waitFor(3));
    // The second provider's process ends: the first one is the provider again.
    second.stop();
    ASSERT_TRUE(m_events.waitFor(5));
    first.run([] { EXPECT_TRUE(hostns::unpublishService("svc")); });
    ASSERT_TRUE(m_events.waitFor(6));
    const PROCESS p1 = first.pid(), p2 = second.pid();
    EXPECT_EQ(m_events.all(),
              (std::vector<std::string>{event("A", '+', "svc", p1), event("A", '-', "svc", p1),
                                        event("A", '+', "svc", p2), event("A", '-', "svc", p2),
                                        event("A", '+', "svc", p1), event("A", '-', "svc", p1)}));
}

TEST_F(NameServerEndToEndTest, LateSubscriberIsToldAloneAndOnceAtOnce) {
    Subscriber a(m_events, "A"), b(m_events, "B");
    onLoop([&] { a.subscribe("svc"); });
    JobProcess provider("provider");
    publishFrom(provider, "svc");
    ASSERT_TRUE(m_events.waitFor(1));
    const PROCESS p = provider.pid();
    onLoop([&] {
        b.subscribe("svc");
        // Before subscribeToService has returned, and to B alone.
        EXPECT_EQ(m_events.all(),
                  (std::vector<std::string>{event("A", '+', "svc", p), event("B", '+', "svc", p)}));
        a.subscribe("svc");  // the same pair again: ignored
    });
    EXPECT_EQ(m_trace.count(0, "are already subscribing to service svc, ignoring request"), 1u);
    provider.stop();
    ASSERT_TRUE(m_events.waitFor(4));
    onLoop([] {});
    EXPECT_EQ(m_events.all(),
              (std::vector<std::string>{event("A", '+', "svc", p), event("B", '+', "svc", p),
                                        event("A", '-', "svc", p), event("B", '-', "svc", p)}));
}

TEST_F(NameServerEndToEndTest, GoneSubscriberIsNotCalledAndOthersStillAre) {
    auto a = std::make_unique<Subscriber>(m_events, "A");
    Subscriber b(m_events, "B");
    onLoop([&] {
        a->subscribe("svc");
        b.subscribe("svc");
    });
    JobProcess provider("provider");
    publishFrom(provider, "svc");
    ASSERT_TRUE(m_events.waitFor(2));
    onLoop([&] { a.reset(); });  // gone without unsubscribing
    provider.stop();
    ASSERT_TRUE(m_events.waitFor(3));
    onLoop([] {});
    EXPECT_EQ(m_events.all().back(), event("B", '-', "svc", provider.pid()));
    EXPECT_EQ(m_events.all().size(), 3u);
}

TEST_F(NameServerEndToEndTest, TheLoopPublishesItselfAndHearsOfRefusals) {
    Subscriber a(m_events, "A");
    onLoop([&] {
        a.subscribe("CLIB_FRO_ULSA_MGMT_SERVICE_NAME");
        EXPECT_TRUE(client()->publish("CLIB_FRO_ULSA_MGMT_SERVICE_NAME"));
        // Sent, so true; the name server refuses it afterwards.
        EXPECT_TRUE(client()->unpublish("notMine"));
    });
    ASSERT_TRUE(m_events.waitFor(1));
    EXPECT_EQ(m_events.all().front(), event("A", '+', "CLIB_FRO_ULSA_MGMT_SERVICE_NAME", m_loop));
    // The refusal comes on its own time, behind the publication's answers.
    EXPECT_TRUE(m_trace.waitFor(
        0, "NS_REMOVE_SERVICE_REPLY received with status NS_FAILURE. tag = notMine"));
}

TEST_F(NameServerEndToEndTest, SubscriptionsEndWithTheSubscribersProcess) {
    Subscriber a(m_events, "A");
    onLoop([&] { a.subscribe("svc"); });
    auto subscriptions = [&] {
        union SIGNAL* ask = alloc(4, hostns::NS_STATUS_REQ);
        send(&ask, hostns::startNameServer());
        static const SIGSELECT select[] = {1, hostns::NS_STATUS_CFM};
        RawSignal status(receive_w_tmo(2000, select));
        return status ? word(status, 8) : 0xDEADu;
    };
    EXPECT_EQ(subscriptions(), 1u);
    union SIGNAL* stop = alloc(4, kStopJobs);
    send(&stop, m_loop);
    ASSERT_TRUE(ose_wait_ended(m_loop, 5000));
    EXPECT_EQ(subscriptions(), 0u);
}

using NameServerAbsentTest = NameServerLoopTest;

TEST_F(NameServerAbsentTest, WithoutNameServerAtStartPublishingFailsForEver) {
    const auto before = std::chrono::steady_clock::now();
    startLoop("tester");
    onLoop([] { client(); });
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(1000));
    hostns::startNameServer();  // too late: there is no second attempt
    Subscriber a(m_events, "A");
    onLoop([&] {
        EXPECT_FALSE(client()->publish("svc"));
        EXPECT_FALSE(client()->unpublish("svc"));
        a.subscribe("svc");
    });
    EXPECT_EQ(m_trace.count(1, "Locate name server failed"), 1u);
    EXPECT_EQ(m_trace.count(1, "No connection to name server."), 2u);
    EXPECT_EQ(m_trace.count(8, "NameServerOse::publish(serviceName=svc) returned false"), 1u);
    EXPECT_EQ(m_trace.count(1, "No connection to name server. Not possible to send subscription"),
              1u);
}
