// The indication handler through its published interfaces, on a kernel: the test's
// thread is the application's process, and every subscriber is a phantom process that
// forwards what it gets back to it, so that each indication can be read with the
// subscriber it was addressed to. Requests are sent on a subscriber's behalf and handed
// to the signal distributor as the main loop does.
#include "ArrayAttribute.h"
#include "IndHandlerApi.h"
#include "LevelTraceCapture.h"
#include "SignalDistributorAPI.h"
#include "SimpleAttribute.h"
#include "TimeLimit.h"
#include "oseHost.h"
#include "plab/messaging/MessageOse.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace {

constexpr SIGSELECT kSubscribeReq = 0xB0024;
constexpr SIGSELECT kAttachInd = 0x1740300;
constexpr SIGSELECT kFaultInd = 0xB0070;
constexpr SIGSELECT kFaultCeasedInd = 0xB0071;
constexpr SIGSELECT kParameterChdInd = 0xB0074;
constexpr const char* kLdn = "ManagedElement=1,UlSpectrumAnalyzer=1";
constexpr const char* kHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n"
    "<mim version=\"R1A\">\n"
    " <class ldn=\"ManagedElement=1,UlSpectrumAnalyzer=1\">\n";
constexpr const char* kTail = " </class>\n</mim>\n";

// A signal as it arrived, copied out of its buffer.
struct Received {
    SIGSELECT sigNo;
    PROCESS to;
    std::vector<unsigned char> bytes;

    uint32_t word(std::size_t offset) const {
        uint32_t value = 0;
        std::memcpy(&value, bytes.data() + offset, sizeof value);
        return value;
    }
    uint16_t half(std::size_t offset) const {
        uint16_t value = 0;
        std::memcpy(&value, bytes.data() + offset, sizeof value);
        return value;
    }
    // The XML attribute whose head is at attrOffset: checks the head, the size of the
    // signal (L + extra) and the NUL padding, and gives the text.
    std::string xml(std::size_t attrOffset, std::size_t extra) const {
        const char* data = reinterpret_cast<const char*>(bytes.data()) + attrOffset + 12;
        const std::string text(data, strnlen(data, bytes.size() - attrOffset - 12));
        const uint32_t l = static_cast<uint32_t>((text.size() & ~std::size_t{3}) + 4);
        EXPECT_EQ(word(attrOffset), 21u);
        EXPECT_EQ(half(attrOffset + 4), 1u);
        EXPECT_EQ(half(attrOffset + 6), 0u);
        EXPECT_EQ(word(attrOffset + 8), l);
        EXPECT_EQ(bytes.size(), l + extra);
        for (std::size_t i = attrOffset + 12 + text.size(); i < bytes.size(); ++i) {
            EXPECT_EQ(bytes[i], 0) << "at " << i;
        }
        return text;
    }
};

class Node {
  public:
    Node() : app(ose_adopt_thread("indHandler_test")) {
        v0 = getIndHandlerApi();
        v1 = gff::v1::getIndHandlerApi();
        v1->init();
    }
    ~Node() {
        gff::v1::releaseIndHandlerApi();
        releaseIndHandlerApi();
        destroySignalDistributorAPI();
        ose_leave_thread();
        ose_shutdown();
    }
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;

    /// A subscriber: a phantom that forwards everything to the test's process.
    PROCESS subscriber(const char* name) {
        OS_redir_entry table[1] = {{1, app}};
        return create_process(OS_PHANTOM, name, nullptr, 0, 0, 0, 0, table, 0, 0);
    }

    /// Sends words from a process to the application and delivers them.
    void request(PROCESS from, const std::vector<uint32_t>& words, OSBUFSIZE size = 0) {
        const OSBUFSIZE bytes = size != 0 ? size : static_cast<OSBUFSIZE>(words.size() * 4);
        union SIGNAL* sig = alloc(bytes, words[0]);
        std::memcpy(sig, words.data(), std::min<std::size_t>(bytes, words.size() * 4));
        send_w_s(&sig, from, app);
        deliver();
    }
    void subscribe(PROCESS from, uint32_t froType) {
        request(from, {kSubscribeReq, 2, 9, froType});
    }

    /// Hands every pending request and attach signal to the distributor; how many.
    int deliver() {
        static const SIGSELECT selection[] = {2, kSubscribeReq, kAttachInd};
        int count = 0;
        while (union SIGNAL* sig = receive_w_tmo(0, selection)) {
            EXPECT_TRUE(getSignalDistributorAPI()->handleMessage(
                std::make_shared<plab::messaging::MessageOse>(sig)));
            ++count;
        }
        return count;
    }

    /// The indications sent so far, in order.
    std::vector<Received> indications() {
        static const SIGSELECT selection[] = {3, kFaultInd, kFaultCeasedInd, kParameterChdInd};
        std::vector<Received> all;
        while (union SIGNAL* sig = receive_w_tmo(0, selection)) {
            const auto* bytes = reinterpret_cast<const unsigned char*>(sig);
            SIGSELECT sigNo = 0;
            std::memcpy(&sigNo, sig, sizeof sigNo);
            all.push_back({sigNo, addressee(&sig), {bytes, bytes + sigsize(&sig)}});
            free_buf(&sig);
        }
        return all;
    }

    IndSubscriptions subscriptionsOf(PROCESS pid) {
        IndSubscriptions out;
        v1->getSubscriptions(pid, out);
        return out;
    }

    const PROCESS app;
    IndHandlerApi* v0;
    gff::v1::IndHandlerApi* v1;
};

struct Observer : IndHandlerObserverIf {
    Observer(std::string observerName, std::vector<std::string>& sharedLog)
        : name(std::move(observerName)), log(sharedLog) {}
    void subscriberAdded(uint32_t froType, uint32_t pid) override {
        log.push_back(name + ":" + std::to_string(froType) + ":" + std::to_string(pid));
    }
    std::string name;
    std::vector<std::string>& log;
};

template <class Body>
void onKernel(Body body) {
    runWithTimeLimit(std::chrono::seconds(60), [&] {
        LevelTraceCapture trace({"IndHandlerLU", "MaoFroIf"});
        Node node;
        body(node, trace);
    });
}

std::string expectedFault(const std::string& additional, const std::string& severity) {
    return std::string(kHead) +
           "  <fault>\n"
           "   <attr name=\"faultId\" type=\"S32\" value=\"-7\" />\n"
           "   <attr name=\"faultIdLogical\" type=\"STRING\" value=\"LinkDown\" />\n"
           "   <attr name=\"faultDescription\" type=\"STRING\" value=\"lost &amp; found\" />\n" +
           additional + severity + "   <attr name=\"eventId\" type=\"S32\" value=\"42\" />\n" +
           "  </fault>\n" + kTail;
}

TEST(IndHandler, subscribedClientGetsFaultIndicationWithEveryField) {
    onKernel([](Node& node, LevelTraceCapture& trace) {
        std::vector<std::string> log;
        Observer observer("o", log);
        node.v0->registerClient(&observer);
        const PROCESS a = node.subscriber("clientA");
        node.subscribe(a, 5);
        EXPECT_EQ(log, std::vector<std::string>{"o:5:" + std::to_string(a)});
        EXPECT_TRUE(trace.has(11,
                              "MAOFRO_NOTIFY_SUBSCRIBE_REQ2, sigNo=0xb0024, "
                              "signalRevision=2, clientId=9, froType=5"));

        node.v0->sendFaultInd(3, 5, kLdn, -7, "LinkDown", "lost & found", {"a", "b<c"}, "HIGH", 42);
        const std::vector<Received> got = node.indications();
        ASSERT_EQ(got.size(), 1u);
        const Received& ind = got[0];
        EXPECT_EQ(ind.sigNo, kFaultInd);
        EXPECT_EQ(ind.to, a);
        EXPECT_EQ(ind.word(4), 3u);
        EXPECT_EQ(ind.word(8), 5u);
        EXPECT_EQ(ind.word(12), static_cast<uint32_t>(-7));
        EXPECT_EQ(ind.word(16), 0u);
        EXPECT_EQ(ind.word(20), 1u);
        const std::string xml = ind.xml(24, 40);
        EXPECT_EQ(xml, expectedFault("   <array name=\"additionalData\">\n"
                                     "    <attr type=\"STRING\" value=\"a\" />\n"
                                     "    <attr type=\"STRING\" value=\"b&lt;c\" />\n"
                                     "   </array>\n",
                                     "   <attr name=\"severity\" type=\"STRING\" "
                                     "value=\"HIGH\" />\n"));
        // The signal's trace is longer than one piece of 400.
        EXPECT_TRUE(trace.hasPrefix(10,
                                    "MAO_FRO_FAULT_IND, sigNo=0xb0070, froId=3, froType=5, "
                                    "specificProblem=4294967289, primaryInd=0, "
                                    "noOfAttributes=1, attributeArray[0].attribute=21, "
                                    "attributeArray[0].type=1, attributeArray[0].status=0, "
                                    "attributeArray[0].value=" +
                                        std::to_string(ind.word(32)) +
                                        ", attributeArray[0].data=<?xml"));
        EXPECT_TRUE(trace.has(10, "END long trace"));
        EXPECT_TRUE(trace.hasPrefix(15, "SigNo: 0xb0070"));

        node.v0->sendFaultCeasedInd(3, 5, kLdn, 7, "LinkDown");
        const std::vector<Received> ceased = node.indications();
        ASSERT_EQ(ceased.size(), 1u);
        EXPECT_EQ(ceased[0].sigNo, kFaultCeasedInd);
        EXPECT_EQ(ceased[0].word(12), 7u);
        EXPECT_EQ(ceased[0].word(16), 1u);
        EXPECT_EQ(ceased[0].xml(20, 36),
                  std::string(kHead) +
                      "  <fault>\n"
                      "   <attr name=\"faultId\" type=\"S32\" value=\"7\" />\n"
                      "   <attr name=\"faultIdLogical\" type=\"STRING\" "
                      "value=\"LinkDown\" />\n"
                      "  </fault>\n" +
                      kTail);
    });
}

TEST(IndHandler, subscriptionsLiveUntilTheirProcessEnds) {
    onKernel([](Node& node, LevelTraceCapture&) {
        std::vector<std::string> log;
        Observer first("v1", log), second("v0", log);
        node.v0->registerClient(&second);
        node.v1->registerClient(&first);
        const PROCESS a = node.subscriber("clientA");
        const PROCESS b = node.subscriber("clientB");
        node.subscribe(a, 5);
        node.subscribe(a, 5);
        node.subscribe(a, 6);
        node.subscribe(b, 5);
        const std::string pa = std::to_string(a), pb = std::to_string(b);
        EXPECT_EQ(log, (std::vector<std::string>{"v1:5:" + pa, "v0:5:" + pa, "v1:6:" + pa,
                                                 "v0:6:" + pa, "v1:5:" + pb, "v0:5:" + pb}));
        EXPECT_EQ(node.subscriptionsOf(a), (IndSubscriptions{{5, a}, {6, a}}));

        node.v1->sendFaultInd2(1, 5, kLdn, -7, "LinkDown", "lost & found", {}, 1, 42);
        const std::vector<Received> both = node.indications();
        ASSERT_EQ(both.size(), 2u);
        EXPECT_EQ(both[0].to, a);
        EXPECT_EQ(both[1].to, b);

        kill_proc(a);
        EXPECT_EQ(node.deliver(), 1) << "one attach per process, however many types";
        EXPECT_TRUE(node.subscriptionsOf(a).empty());
        EXPECT_EQ(node.subscriptionsOf(b), (IndSubscriptions{{5, b}}));
        node.v0->sendFaultCeasedInd(1, 6, kLdn, 7, "LinkDown");
        EXPECT_TRUE(node.indications().empty());
    });
}

TEST(IndHandler, faultIndicationForms) {
    struct Case {
        int32_t severity;
        std::vector<std::string> additionalData;
        std::string additionalXml;
        std::string severityXml;
        bool unsupported;
    };
    const std::string emptyArray = "   <array name=\"additionalData\" />\n";
    const std::string oneText =
        "   <array name=\"additionalData\">\n"
        "    <attr type=\"STRING\" value=\"x\" />\n"
        "   </array>\n";
    const std::vector<Case> cases = {
        {1, {}, emptyArray, "   <attr name=\"severity\" type=\"STRING\" value=\"LOW\" />\n", false},
        {2,
         {"x"},
         oneText,
         "   <attr name=\"severity\" type=\"STRING\" value=\"HIGH\" />\n",
         false},
        {3, {"x"}, oneText, "", true},
        {4, {}, emptyArray, "", false},
    };
    onKernel([&](Node& node, LevelTraceCapture& trace) {
        const PROCESS a = node.subscriber("clientA");
        const PROCESS other = node.subscriber("notSubscribed");
        node.subscribe(a, 5);
        for (const Case& c : cases) {
            trace.clear();
            node.v1->sendFaultInd2(1, 5, kLdn, -7, "LinkDown", "lost & found", c.additionalData,
                                   c.severity, 42, other);
            const std::vector<Received> got = node.indications();
            ASSERT_EQ(got.size(), 1u) << c.severity;
            EXPECT_EQ(got[0].to, other) << "a given pid need not subscribe";
            EXPECT_EQ(got[0].xml(24, 40), expectedFault(c.additionalXml, c.severityXml));
            EXPECT_EQ(trace.has(4, "Unsupported severity: " + std::to_string(c.severity)),
                      c.unsupported);
        }
        // An empty severity text leaves the element out as well.
        node.v0->sendFaultInd(1, 5, kLdn, -7, "LinkDown", "lost & found", {}, "", 42);
        const std::vector<Received> got = node.indications();
        ASSERT_EQ(got.size(), 1u);
        EXPECT_EQ(got[0].xml(24, 40), expectedFault(emptyArray, ""));
    });
}

TEST(IndHandler, parameterIndications) {
    onKernel([](Node& node, LevelTraceCapture&) {
        const PROCESS a = node.subscriber("clientA");
        node.subscribe(a, 5);

        node.v0->sendParamChdInd(1, 77, kLdn, Attributes{{"info", "STRING", "x"}});
        EXPECT_TRUE(node.indications().empty()) << "no subscriber of type 77";

        // Every length of text modulo 4: L is the text and its NUL in whole words, so a
        // text of 7 has L 8 and one of 8 has L 12.
        std::set<uint32_t> padding;
        for (const std::string value : {"", "v", "vv", "vvv"}) {
            node.v0->sendParamChdInd(9, 5, kLdn, Attributes{{"info", "STRING", value}}, 0);
            const std::vector<Received> got = node.indications();
            ASSERT_EQ(got.size(), 1u);
            EXPECT_EQ(got[0].sigNo, kParameterChdInd);
            EXPECT_EQ(got[0].word(4), 9u);
            EXPECT_EQ(got[0].word(8), 5u);
            EXPECT_EQ(got[0].word(12), 1u);
            EXPECT_EQ(got[0].xml(16, 32), std::string(kHead) +
                                              "  <attr name=\"info\" type=\"STRING\" value=\"" +
                                              value + "\" />\n" + kTail);
            padding.insert(got[0].word(24) - static_cast<uint32_t>(got[0].xml(16, 32).size()));
        }
        EXPECT_EQ(padding, (std::set<uint32_t>{1, 2, 3, 4}));

        SimpleAttribute info("info", "STRING", "ok");
        ArrayAttribute list("list", "array");
        list.addElement(new SimpleAttribute("", "S32", "1"));
        list.addElement(new SimpleAttribute("", "S32", "2"));
        node.v1->sendParamChdInd(9, 5, kLdn, GenericAttributeMap{{"list", &list}, {"info", &info}});
        const std::vector<Received> got = node.indications();
        ASSERT_EQ(got.size(), 1u);
        EXPECT_EQ(got[0].xml(16, 32), std::string(kHead) +
                                          "  <attr name=\"info\" type=\"STRING\" value=\"ok\" />\n"
                                          "  <array name=\"list\">\n"
                                          "   <attr type=\"S32\" value=\"1\" />\n"
                                          "   <attr type=\"S32\" value=\"2\" />\n"
                                          "  </array>\n" +
                                          kTail);
    });
}

TEST(IndHandler, malformedAndUnknownSignalsAreTracedAndDropped) {
    onKernel([](Node& node, LevelTraceCapture& trace) {
        const PROCESS a = node.subscriber("clientA");
        node.request(a, {kSubscribeReq, 2, 9, 5}, 12);
        EXPECT_TRUE(node.subscriptionsOf(a).empty());
        EXPECT_TRUE(trace.hasPrefix(1, "MAOFRO_NOTIFY_SUBSCRIBE_REQ2 from 0x"));
        kill_proc(a);
        EXPECT_EQ(node.deliver(), 0) << "no attach for a dropped request";

        union SIGNAL* sig = alloc(8, 0x1234);
        EXPECT_TRUE(node.v1->maoFroEvent(&sig));
        free_buf(&sig);
        EXPECT_TRUE(trace.hasPrefix(1, "Unknown signal (0x1234) received from 0x"));
        EXPECT_TRUE(trace.has(8,
                              "maoFroEvent maoFroEvent maoFroEvent maoFroEvent maoFroEvent "
                              "maoFroEvent ***** IndHandler::sendParamChdInd*****"));
    });
}

TEST(IndHandler, versionsShareOneHandlerThatEndsWithTheLastRelease) {
    onKernel([](Node& node, LevelTraceCapture&) {
        std::vector<std::string> log;
        Observer o0("v0", log), o1("v1", log);
        node.v0->registerClient(&o0);
        node.v1->registerClient(&o1);
        const PROCESS a = node.subscriber("clientA");
        node.subscribe(a, 5);
        IndSubscriptions seenByV0;
        node.v0->getSubscriptions(a, seenByV0);
        EXPECT_EQ(seenByV0, node.subscriptionsOf(a));

        releaseIndHandlerApi();  // forgets o0, the handler stays for version 1
        log.clear();
        node.subscribe(a, 6);
        EXPECT_EQ(log, std::vector<std::string>{"v1:6:" + std::to_string(a)});

        gff::v1::releaseIndHandlerApi();  // the last version: the handler ends
        node.v1 = gff::v1::getIndHandlerApi();
        EXPECT_TRUE(node.subscriptionsOf(a).empty());
        union SIGNAL* sig = alloc(16, kSubscribeReq);
        send_w_s(&sig, a, node.app);
        sig = receive_w_tmo(0, std::vector<SIGSELECT>{1, kSubscribeReq}.data());
        EXPECT_FALSE(getSignalDistributorAPI()->handleMessage(
            std::make_shared<plab::messaging::MessageOse>(sig)))
            << "not subscribed at the distributor before init";
        node.v0 = getIndHandlerApi();
    });
}

}  // namespace
