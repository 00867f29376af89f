// "ose_ns" spoken to with raw signals, as each of its clients speaks it.
#include "JobProcess.h"
#include "NameServerSignals.h"
#include "RawSignal.h"
#include "TraceLines.h"
#include "nameServerHost.h"
#include "traceHost.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <vector>

using namespace hostns;
using testsupport::JobProcess;

namespace {

using Signal = nstest::RawSignal;
using nstest::senderOf;
using nstest::text;
using nstest::word;

/// A signal with words at the offsets given and a name (with its NUL) at nameOffset.
void sendRequest(PROCESS to, SIGSELECT sigNo, std::size_t size, std::size_t nameOffset,
                 const std::string& name,
                 std::vector<std::pair<std::size_t, uint32_t>> words = {}) {
    union SIGNAL* signal = alloc(static_cast<OSBUFSIZE>(size), sigNo);
    std::memset(reinterpret_cast<unsigned char*>(signal) + 4, 0, size - 4);
    std::memcpy(reinterpret_cast<unsigned char*>(signal) + nameOffset, name.c_str(),
                std::min(name.size() + 1, size - nameOffset));
    for (const auto& [offset, value] : words)
        std::memcpy(reinterpret_cast<unsigned char*>(signal) + offset, &value, sizeof value);
    send(&signal, to);
}

Signal expect(SIGSELECT sigNo, OSTIME timeoutMs = 2000) {
    const SIGSELECT select[] = {1, sigNo};
    return Signal(receive_w_tmo(timeoutMs, select));
}

/// The next signal of any number, or null when none comes within timeoutMs.
Signal next(OSTIME timeoutMs = 50) {
    static const SIGSELECT any[] = {0};
    return Signal(receive_w_tmo(timeoutMs, any));
}

class NameServerProtocolTest : public ::testing::Test {
  protected:
    void SetUp() override {
        m_client = ose_adopt_thread("client");
        m_ns = startNameServer();
    }
    void TearDown() override {
        ose_leave_thread();
        ose_shutdown();
    }
    void publish(const std::string& name) {
        sendRequest(m_ns, NS_ADD_SERVICE, name.size() + 9, 4, name);
    }
    uint32_t subscribe(const std::string& name) {
        sendRequest(m_ns, NS_SUBSCRIBE_SERVICE, name.size() + 13, 8, name);
        Signal reply = expect(NS_SUBSCRIBE_SERVICE_REPLY);
        EXPECT_TRUE(reply);
        if (!reply)
            return 0;
        EXPECT_EQ(text(reply, 12), name);
        return word(reply, 4);
    }
    /// The provider that the next ADDED_PID names for sid; 0 for a REMOVED_PID.
    PROCESS nextChange(uint32_t sid) {
        Signal change = next(2000);
        EXPECT_TRUE(change);
        if (!change)
            return 0xDEAD;
        EXPECT_EQ(word(change, 4), sid);
        if (word(change, 0) == NS_SUBSCRIBE_SERVICE_REMOVED_PID)
            return 0;
        EXPECT_EQ(word(change, 0), NS_SUBSCRIBE_SERVICE_ADDED_PID);
        return word(change, 8);
    }
    /// A process that publishes the name and waits for the reply.
    static void publishFrom(JobProcess& process, const char* name) {
        process.run([name] { EXPECT_TRUE(publishService(name)); });
    }

    testsupport::TraceLines m_trace;
    PROCESS m_client = 0;
    PROCESS m_ns = 0;
};

}  // namespace

TEST_F(NameServerProtocolTest, PublicationsAreAnsweredWithStatusAndTag) {
    EXPECT_EQ(startNameServer(), m_ns);
    publish("svc");
    Signal added = expect(NS_ADD_SERVICE_REPLY);
    ASSERT_TRUE(added);
    EXPECT_EQ(word(added, 4), NS_SUCCESS);
    EXPECT_EQ(text(added, 8), "svc");
    sendRequest(m_ns, NS_STATUS_REQ, 4, 4, "");
    Signal status = expect(NS_STATUS_CFM);
    ASSERT_TRUE(status);
    char line[64];
    std::snprintf(line, sizeof line, "service svc 0x%x\n", m_client);
    EXPECT_EQ(text(status, 16), line);
    // Only the publishing process can take a publication back.
    JobProcess other("other");
    other.run([] { EXPECT_FALSE(unpublishService("svc")); });
    sendRequest(m_ns, NS_REMOVE_SERVICE, 12, 4, "svc");
    Signal removed = expect(NS_REMOVE_SERVICE_REPLY);
    ASSERT_TRUE(removed);
    EXPECT_EQ(word(removed, 4), NS_SUCCESS);
    EXPECT_EQ(text(removed, 8), "svc");
    sendRequest(m_ns, NS_REMOVE_SERVICE, 12, 4, "svc");
    Signal again = expect(NS_REMOVE_SERVICE_REPLY);
    ASSERT_TRUE(again);
    EXPECT_EQ(word(again, 4), NS_FAILURE);
    publish("");
    Signal empty = expect(NS_ADD_SERVICE_REPLY);
    ASSERT_TRUE(empty);
    EXPECT_EQ(word(empty, 4), NS_FAILURE);
}

TEST_F(NameServerProtocolTest, SubscriptionsFollowTheActiveProvider) {
    const uint32_t sid = subscribe("svc");
    EXPECT_NE(sid, 0u);
    EXPECT_FALSE(next());  // no provider yet
    JobProcess first("first"), second("second");
    publishFrom(first, "svc");
    EXPECT_EQ(nextChange(sid), first.pid());
    publishFrom(second, "svc");
    EXPECT_EQ(nextChange(sid), second.pid());
    // The newest provider leaves: the one before it is active again.
    second.run([] { EXPECT_TRUE(unpublishService("svc")); });
    EXPECT_EQ(nextChange(sid), first.pid());
    // A subscription made while a provider is up hears of it right behind its reply.
    const uint32_t late = subscribe("svc");
    EXPECT_NE(late, sid);
    EXPECT_EQ(nextChange(late), first.pid());
    sendRequest(m_ns, NS_CANCEL_SERVICE_SUBSCRIPTION, 8, 4, "", {{4, late}});
    Signal cancelled = expect(NS_CANCEL_SERVICE_SUBSCRIPTION_REPLY);
    ASSERT_TRUE(cancelled);
    EXPECT_EQ(word(cancelled, 4), late);
    // The provider's process ends: the remaining subscription is told, the cancelled one not.
    first.stop();
    EXPECT_EQ(nextChange(sid), 0u);
    EXPECT_FALSE(next());
}

TEST_F(NameServerProtocolTest, FindServerGivesProviderOrProcessOrZero) {
    auto find = [&](const std::string& name) {
        sendRequest(m_ns, NS_FIND_SERVER, name.size() + 12, 8, name);
        Signal answer = expect(NS_FIND_SERVER_REPLY);
        EXPECT_TRUE(answer);
        return answer ? word(answer, 4) : 0xDEADu;
    };
    EXPECT_EQ(find("nobody"), 0u);
    JobProcess server("TarvoTransaction");
    EXPECT_EQ(find("TarvoTransaction"), server.pid());
    JobProcess provider("provider");
    publishFrom(provider, "svc");
    EXPECT_EQ(find("svc"), provider.pid());
}

TEST_F(NameServerProtocolTest, NameSubscriptionTellsThePublishersName) {
    const std::string name = "Vq_database";
    sendRequest(m_ns, NS_NAME_SUBSCRIBE, name.size() + 12, 8, name);
    Signal confirm = expect(NS_NAME_SUBSCRIBE_CFM);
    ASSERT_TRUE(confirm);
    EXPECT_EQ(text(confirm, 12), name);
    JobProcess database("Vq_rtrdb_supervisor");
    publishFrom(database, "Vq_database");
    Signal added = expect(NS_NAME_ADDED);
    ASSERT_TRUE(added);
    const uint32_t length = word(added, 8);
    EXPECT_EQ(length, 12u);
    EXPECT_EQ(text(added, 16), name);
    EXPECT_EQ(text(added, 16 + length), "Vq_rtrdb_supervisor");
    database.stop();
    Signal removed = expect(NS_NAME_REMOVED);
    ASSERT_TRUE(removed);
    EXPECT_EQ(text(removed, 16 + word(removed, 8)), "Vq_rtrdb_supervisor");
}

TEST_F(NameServerProtocolTest, SignalSubscriptionSendsItsSignalInTheProvidersName) {
    constexpr SIGSELECT kServerUp = 0x10650;
    auto subscribeSignal = [&] {
        // The name field is the name's length with the two low bits cleared, plus 4.
        sendRequest(m_ns, NS_SIGNAL_SUBSCRIBE, 24 + 12, 16, "TARVO_RFAI",
                    {{8, 12}, {16 + 12, kServerUp}});
    };
    subscribeSignal();
    EXPECT_FALSE(next());
    JobProcess rfai("rfai");
    publishFrom(rfai, "TARVO_RFAI");
    Signal up = expect(kServerUp);
    ASSERT_TRUE(up);
    EXPECT_EQ(senderOf(up), rfai.pid());
    rfai.run([] { EXPECT_TRUE(unpublishService("TARVO_RFAI")); });
    Signal down = expect(NS_SIGNAL_UNPUBLISH_IND);
    ASSERT_TRUE(down);
    EXPECT_EQ(senderOf(down), m_ns);
    // Told once per subscription: a new one is needed, and is answered at once.
    publishFrom(rfai, "TARVO_RFAI");
    EXPECT_FALSE(next());
    subscribeSignal();
    Signal again = expect(kServerUp);
    ASSERT_TRUE(again);
    EXPECT_EQ(senderOf(again), rfai.pid());
    // Asked again while told already: the new subscription replaces the one held, so
    // that one use after another (an upload each) leaves one subscription.
    subscribeSignal();
    EXPECT_TRUE(expect(kServerUp));
    sendRequest(m_ns, NS_STATUS_REQ, 4, 4, "");
    Signal status = expect(NS_STATUS_CFM);
    ASSERT_TRUE(status);
    EXPECT_EQ(word(status, 8), 1u);
    rfai.run([] { EXPECT_TRUE(unpublishService("TARVO_RFAI")); });
    EXPECT_TRUE(expect(NS_SIGNAL_UNPUBLISH_IND));
    EXPECT_FALSE(next());  // told once, for the one subscription
}

TEST_F(NameServerProtocolTest, EndedSubscriberIsForgotten) {
    JobProcess subscriber("subscriber");
    subscriber.run([&] {
        sendRequest(m_ns, NS_SUBSCRIBE_SERVICE, 16, 8, "svc");
        sendRequest(m_ns, NS_NAME_SUBSCRIBE, 16, 8, "svc");
        EXPECT_TRUE(expect(NS_SUBSCRIBE_SERVICE_REPLY));
        EXPECT_TRUE(expect(NS_NAME_SUBSCRIBE_CFM));
    });
    JobProcess provider("provider");
    publishFrom(provider, "svc");
    sendRequest(m_ns, NS_STATUS_REQ, 4, 4, "");
    Signal before = expect(NS_STATUS_CFM);
    ASSERT_TRUE(before);
    EXPECT_EQ(word(before, 8), 2u);
    subscriber.stop();
    provider.stop();
    sendRequest(m_ns, NS_STATUS_REQ, 4, 4, "");
    Signal after = expect(NS_STATUS_CFM);
    ASSERT_TRUE(after);
    EXPECT_EQ(word(after, 4), 0u);   // no publication left
    EXPECT_EQ(word(after, 8), 0u);   // no subscription left
    EXPECT_EQ(word(after, 12), 0u);  // nobody left to supervise
    EXPECT_EQ(text(after, 16), "");
}

TEST_F(NameServerProtocolTest, MalformedSignalsAreTracedAndDropped) {
    traceSetMask("ose_ns", 0xFFFFFFFFu);
    sendRequest(m_ns, NS_ADD_SERVICE, 8, 4, "abcdefgh");  // no NUL in the signal
    sendRequest(m_ns, NS_REMOVE_SERVICE, 4, 4, "");       // no name at all
    sendRequest(m_ns, NS_SUBSCRIBE_SERVICE, 6, 4, "a");   // too short for the name
    sendRequest(m_ns, NS_CANCEL_SERVICE_SUBSCRIPTION, 4, 4, "");
    sendRequest(m_ns, NS_FIND_SERVER, 10, 8, "ab");  // name cut at the end
    sendRequest(m_ns, NS_NAME_SUBSCRIBE, 8, 4, "abc");
    sendRequest(m_ns, NS_SIGNAL_SUBSCRIBE, 24, 16, "abcd", {{8, 1000}});   // field past the end
    sendRequest(m_ns, NS_SIGNAL_SUBSCRIBE, 28, 16, "abcdefgh", {{8, 4}});  // no NUL in the field
    sendRequest(m_ns, 0x12345, 4, 4, "");
    sendRequest(m_ns, OS_ATTACH_SIG, 4, 4, "");  // an end nobody was told of
    // Answered in order: nothing may have come before this answer.
    sendRequest(m_ns, NS_FIND_SERVER, 16, 8, "svc");
    Signal first = next(2000);
    ASSERT_TRUE(first);
    EXPECT_EQ(word(first, 0), NS_FIND_SERVER_REPLY);
    EXPECT_EQ(m_trace.countContaining("dropped"), 10u);
}
