// ImaFacade on the test's thread as the main process, against the real name server
// and attribute-read service, and against the test playing the service with replies
// of every malformed kind.
#include "ImaFacade.h"
#include "LevelTraceCapture.h"
#include "SignalDistributorAPI.h"
#include "SignalNumber2Name.h"
#include "TimeLimit.h"
#include "attrReadService.h"
#include "imaSignals.h"
#include "nameServerHost.h"
#include "oseHost.h"
#include "plab/messaging/MessageOse.h"
#include "plab/nameserver/v1/NameServerOse.h"
#include "processError.h"
#include "traceGroups.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

const std::string kEsf = "ManagedElement=1,EquipmentSupportFunction=1";
const std::string kFdn = "fullDistinguishedName";

class Recorder : public ImaClient {
  public:
    void readCfm(const ImaMoAttributes& attributes) override {
        answers.push_back(attributes);
        if (endsFacade) {
            ImaFacade::destroyInstance();  // as a client whose owner ends with the answer
        }
    }
    std::vector<ImaMoAttributes> answers;
    bool endsFacade = false;
};

void deliver(union SIGNAL* signal) {
    getSignalDistributorAPI()->handleMessage(std::make_shared<plab::messaging::MessageOse>(signal));
}

class ImaFacadeTest : public ::testing::Test {
  protected:
    void TearDown() override { ose_shutdown(); }

    // The body on the main process "ulSpectrumAnalyzer_main_thread", with the name
    // server running and the facade's trace group captured.
    template <class Body>
    void run(Body body) {
        runWithTimeLimit(std::chrono::seconds(30), [&] {
            m_self = ose_adopt_thread("ulSpectrumAnalyzer_main_thread");
            traceGroups::registerTraceGroup("ncImaIf", &traceGroups::ncImaIf);
            {
                LevelTraceCapture trace({"ncImaIf", kTraceDefaultObjectName});
                m_trace = &trace;
                hostns::startNameServer();
                body();
                ImaFacade::destroyInstance();
                plab::nameserver::v1::destroyNameServer();
                m_trace = nullptr;
            }
            destroySignalDistributorAPI();
            SignalNumber2Name::destroyInstance();
            ose_leave_thread();
        });
    }

    // The main loop until done() holds: read requests sent to this process are kept
    // in m_requests, all else goes through the signal distributor. False after 10 s.
    bool loopUntil(const std::function<bool()>& done) {
        static const SIGSELECT any[] = {0};
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!done()) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            union SIGNAL* signal = receive_w_tmo(20, any);
            if (signal == nullptr) {
                continue;
            }
            if (*reinterpret_cast<SIGSELECT*>(signal) == OMF_MAO_IMA_NC_READ_REQ) {
                m_requests.push_back(signal);
            } else {
                deliver(signal);
            }
        }
        return true;
    }

    std::size_t traced(unsigned level, const std::string& text) const {
        return m_trace->count(level, text);
    }

    PROCESS m_self = 0;
    LevelTraceCapture* m_trace = nullptr;
    std::vector<union SIGNAL*> m_requests;
};

}  // namespace

TEST_F(ImaFacadeTest, readsWaitForTheServiceAndGetTheNodesData) {
    run([&] {
        EXPECT_EQ(ImaFacade::requestText({}),
                  "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<ima version=\"R1A\">\n</ima>");
        EXPECT_EQ(ImaFacade::requestText({"A=1", "A=1,B=2"}),
                  "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<ima version=\"R1A\">\n"
                  "<request ldn=\"A=1\"/>\n<request ldn=\"A=1,B=2\"/>\n</ima>");

        Recorder early, objects, none;
        ImaFacade* facade = ImaFacade::getInstance();
        facade->read(&early, {kEsf});
        EXPECT_EQ(
            traced(4, "Omf Ima Server currently not available. Queueing request. clientRef=0"), 1u);
        // The node's data, with the characters that XML must escape.
        const std::string network = "SubNetwork=Lab & \"Co\" <1>,MeContext=node'2";
        hostima::startAttrReadService({hostima::nodeAttributes(network)});
        ASSERT_TRUE(loopUntil([&] { return !early.answers.empty(); }));
        EXPECT_EQ(traced(8, "Sending 1 queued read requests"), 1u);
        EXPECT_EQ(early.answers[0], (ImaMoAttributes{{kEsf, {{kFdn, network + "," + kEsf}}}}));

        // Two reads in a row, each answered to its own client; an object the node does
        // not have, and attributes it does not have, are missing from the answer.
        facade->read(&objects, {"ManagedElement=1", "ManagedElement=1,Equipment=1", kEsf});
        facade->read(&none, {});
        ASSERT_TRUE(loopUntil([&] { return !objects.answers.empty() && !none.answers.empty(); }));
        EXPECT_EQ(objects.answers[0],
                  (ImaMoAttributes{{"ManagedElement=1", {{kFdn, network + ",ManagedElement=1"}}},
                                   {kEsf, {{kFdn, network + "," + kEsf}}}}));
        EXPECT_TRUE(none.answers[0].empty());
        for (int clientRef : {1, 2}) {
            const std::string ref = "clientRef=" + std::to_string(clientRef);
            EXPECT_EQ(traced(10, "OMF_MAO_IMA_NC_READ_REQ, " + ref), 1u);
            EXPECT_EQ(traced(11, "OMF_MAO_IMA_NC_READ_CFM, " + ref), 1u);
        }
        EXPECT_EQ(early.answers.size() + objects.answers.size() + none.answers.size(), 3u);
        EXPECT_EQ(SignalNumber2Name::getInstance()->sigNo2Name(OMF_MAO_IMA_NC_READ_CFM),
                  "OMF_MAO_IMA_NC_READ_CFM");
    });
}

TEST_F(ImaFacadeTest, aReadTheEndedServiceTookIsLostAndTheNextServiceIsFound) {
    run([&] {
        Recorder lost, later, afresh;
        later.endsFacade = true;
        const PROCESS service = hostima::startAttrReadService();
        ImaFacade::getInstance();
        ASSERT_TRUE(loopUntil([&] { return traced(8, "Attaching to Omf Ima Server") == 1; }));
        hostima::stopAttrReadService(service);
        ASSERT_TRUE(ose_wait_ended(service, 5000));
        // Sent before the facade has heard of the end: lost with the service, and not
        // repeated.
        ImaFacade::getInstance()->read(&lost, {kEsf});
        // The end is heard before the name-server client's record of the ended provider
        // is gone (its cancel is still unanswered): that provider is not taken again.
        const SIGSELECT attachInd[] = {1, NC_OMF_MAO_IMA_ATTACH_IND};
        union SIGNAL* ended = receive_w_tmo(5000, attachInd);
        ASSERT_NE(ended, nullptr);
        deliver(ended);
        EXPECT_EQ(traced(8, "Subscribing to Omf Ima Server"), 2u);
        char stale[80];
        std::snprintf(stale, sizeof stale,
                      "Omf Ima Server 0x%x has ended: waiting for the next one", service);
        EXPECT_EQ(traced(4, stale), 1u);
        ImaFacade::getInstance()->read(&later, {kEsf});
        EXPECT_EQ(
            traced(4, "Omf Ima Server currently not available. Queueing request. clientRef=1"), 1u);
        hostima::startAttrReadService({{{kEsf, kFdn, "again"}}});
        ASSERT_TRUE(loopUntil([&] { return !later.answers.empty(); }));
        EXPECT_EQ(later.answers[0], (ImaMoAttributes{{kEsf, {{kFdn, "again"}}}}));
        EXPECT_TRUE(lost.answers.empty());
        // The client ended the facade from its answer; a new one finds the service.
        ImaFacade::getInstance()->read(&afresh, {kEsf});
        ASSERT_TRUE(loopUntil([&] { return !afresh.answers.empty(); }));
        EXPECT_EQ(afresh.answers[0], later.answers[0]);
    });
}

TEST_F(ImaFacadeTest, malformedRepliesAreFailuresAndNeverReadOutsideTheSignal) {
    run([&] {
        // The test's process plays the service.
        Recorder client;
        ImaFacade* facade = ImaFacade::getInstance();
        facade->read(&client, {kEsf});
        ASSERT_TRUE(hostns::publishService(ima::kServiceName));
        ASSERT_TRUE(loopUntil([&] { return !m_requests.empty(); }));
        union SIGNAL* request = m_requests[0];
        const std::string text = ImaFacade::requestText({kEsf});
        EXPECT_EQ(sigsize(&request), text.size() + 20);
        std::string readBack;
        uint32_t words[3] = {};
        std::memcpy(words, reinterpret_cast<unsigned char*>(request) + 4, sizeof words);
        EXPECT_TRUE(ima::readText(request, sigsize(&request), readBack));
        EXPECT_EQ(readBack, text);
        EXPECT_EQ(words[0], 0u);  // clientRef
        EXPECT_EQ(words[1], 0u);  // reserved
        free_buf(&request);

        const std::string good =
            "<ima version=\"R1A\"><class ldn=\"A=1\"><attr name=\"n\" type=\"STRING\" value=\"v\"/>"
            "</class></ima>";
        // A reply of size bytes: its clientRef and length words and the text bytes, as far
        // as they fit; the rest as allocated.
        auto reply = [](OSBUFSIZE size, uint32_t clientRef, uint32_t length,
                        const std::string& bytes) {
            union SIGNAL* signal = alloc(size, OMF_MAO_IMA_NC_READ_CFM);
            unsigned char* raw = reinterpret_cast<unsigned char*>(signal);
            const uint32_t fields[3] = {clientRef, 0, length};
            std::memcpy(raw + 4, fields, std::min<std::size_t>(sizeof fields, size - 4));
            if (size > 16) {
                std::memcpy(raw + 16, bytes.data(), std::min<std::size_t>(bytes.size(), size - 16));
            }
            return signal;
        };
        const auto goodSize = static_cast<OSBUFSIZE>(good.size() + 17);
        const auto goodLength = static_cast<uint32_t>(good.size());
        struct Case {
            const char* what;
            union SIGNAL* signal;
            bool answered;  // the read's client is called (with an empty map)
        };
        Case cases[] = {
            {"the number alone", reply(4, 0, 0, ""), false},
            {"a clientRef cut short", reply(7, 0, 0, ""), false},
            {"a clientRef alone", reply(8, 1, 0, ""), true},
            {"a head without text", reply(16, 2, 0, ""), true},
            {"a length past the end", reply(goodSize, 3, goodLength + 1, good + '\0'), true},
            {"a length that wraps", reply(goodSize, 4, 0xFFFFFFFFu, good + '\0'), true},
            {"no NUL behind the text", reply(goodSize - 1, 5, goodLength - 1, good), true},
            {"no document", reply(goodSize, 6, goodLength, "<ima><class" + good.substr(11)), true},
            {"an unknown clientRef", reply(goodSize, 99, goodLength, good + '\0'), false},
        };
        for (int i = 1; i <= 6; ++i) {
            facade->read(&client, {});
        }
        for (const Case& c : cases) {
            const std::size_t calls = client.answers.size();
            const uint32_t errors = nc::processErrorCount();
            deliver(c.signal);
            EXPECT_EQ(client.answers.size(), calls + (c.answered ? 1 : 0)) << c.what;
            EXPECT_EQ(nc::processErrorCount(), errors + (c.answered ? 0 : 1)) << c.what;
            if (c.answered && client.answers.size() > calls) {
                EXPECT_TRUE(client.answers.back().empty()) << c.what;
            }
        }
        EXPECT_EQ(nc::lastProcessError(),
                  "Not possible to return ImaMoAttributes, client missing, clientRef: 99");
        // The well-formed reply to the one read still open.
        facade->read(&client, {});
        deliver(reply(goodSize, 7, goodLength, good + '\0'));
        EXPECT_EQ(client.answers.back(), (ImaMoAttributes{{"A=1", {{"n", "v"}}}}));

        // Replies of random sizes, fields and bytes, most of them near a good one. Each
        // is one outcome: its client called, or a process error; AddressSanitizer sees
        // any read behind a signal's size.
        std::mt19937 random(20261122);
        uint32_t nextRef = 8;
        for (int i = 0; i < 3000; ++i) {
            facade->read(&client, {});
            const uint32_t clientRef =
                random() % 8 != 0 ? nextRef : static_cast<uint32_t>(random());
            ++nextRef;
            std::string bytes = good + '\0';
            for (unsigned flips = random() % 4; flips > 0; --flips) {
                bytes[random() % bytes.size()] = static_cast<char>(random());
            }
            const auto size = static_cast<OSBUFSIZE>(4 + random() % (bytes.size() + 24));
            const uint32_t length = random() % 4 == 0
                                        ? static_cast<uint32_t>(random())
                                        : static_cast<uint32_t>(random() % (size + 8));
            const std::size_t calls = client.answers.size();
            const uint32_t errors = nc::processErrorCount();
            deliver(reply(size, clientRef, length, bytes));
            ASSERT_EQ(client.answers.size() - calls + (nc::processErrorCount() - errors), 1u)
                << "reply " << i;
        }
    });
}
