// The management client against a fake service that answers by the signal formats,
// and against the host's transaction server.
#include "FakeService.h"
#include "KernelErrors.h"
#include "ManagementClient.h"
#include "TempFolder.h"
#include "TimeLimit.h"
#include "maoFroSignals.h"
#include "nameServerHost.h"
#include "traceHost.h"
#include "transactionServer.h"
#include "xmlHandler.h"

#include "../src/MaoFroCodec.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <string>
#include <thread>
#include <vector>

using namespace maofro;
using namespace mgmttest;
using mgmt::Confirm;
using mgmt::FroRef;
using mgmt::ManagementClient;
using mgmt::Outcome;

namespace {

constexpr auto kLimit = std::chrono::seconds(30);
constexpr OSTIME kWait = 5000;
const FroRef kFro{7, "ManagedElement=1,UlSpectrumAnalyzer=1", 3};

std::string answerXml(const std::string& value) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<mim version=\"R1A\">\n<class ldn=\"" +
           kFro.ldn + "\">\n<attr name=\"info\" type=\"STRING\" value=\"" + value +
           "\"/>\n</class>\n</mim>";
}

// The confirm the node sends for a request: its number, transaction id, result and
// the attribute that kind of confirm carries.
Bytes confirmFor(const Received& request, uint32_t result, uint32_t attrKind = 0,
                 const std::string& text = "") {
    const uint32_t transactionId = request.word(kReqTransactionId);
    if (request.number == MAO_FRO_CREATE_REQ) {
        SignalWriter w(MAO_FRO_CREATE_CFM);
        w.word(transactionId).word(result == 0 ? 42 : 0).word(result).word(attrKind ? 1 : 0);
        return (attrKind ? w.stringAttr(attrKind, text) : w).bytes();
    }
    const SIGSELECT number = request.number == MAO_FRO_SET_REQ      ? MAO_FRO_SET_CFM
                             : request.number == MAO_FRO_DELETE_REQ ? MAO_FRO_DELETE_CFM
                             : request.number == MAO_FRO_GET_REQ    ? MAO_FRO_GET_CFM
                                                                    : MAO_FRO_ACTION_CFM;
    SignalWriter w(number);
    w.word(transactionId).word(result).word(attrKind ? 1 : 0);
    return (attrKind ? w.stringAttr(attrKind, text) : w).bytes();
}

class ManagementClientTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_NE(hostns::startNameServer(), 0u); }
    void TearDown() override {
        ose_shutdown();
        EXPECT_EQ(hostdbtest::KernelErrors::take(), std::vector<std::string>{});
    }
    /// Runs the body as a kernel process of the test, with a client connected to a
    /// fake service that answers by the script.
    void withFake(FakeService::Script script,
                  const std::function<void(ManagementClient&, FakeService&)>& body) {
        hostdbtest::runAsKernelProcess(kLimit, "mgmtTest", [&] {
            FakeService fake(std::move(script));
            ManagementClient client;
            ASSERT_TRUE(client.connect(kWait).ok());
            ASSERT_EQ(client.service(), fake.pid());
            body(client, fake);
            client.close();
        });
    }
    hostdbtest::KernelErrors kernelErrors;
};

TEST_F(ManagementClientTest, requests_carry_their_fields_and_every_confirm_kind_decodes) {
    const std::string big = std::string(60001, 'x');
    struct Case {
        const char* what;
        std::function<Confirm(ManagementClient&)> call;
        uint32_t result, attrKind;
        std::string text;
        SIGSELECT request;
        std::string expectedXmlValue;  // of attribute "info" in the confirm's XML
    };
    const Attributes attrs{{"info", "STRING", "a<b"}, {"samplingType", "S32", "2"}};
    const std::vector<Case> cases{
        {"create", [&](ManagementClient& c) { return c.create(5, kFro, attrs, kWait); }, 0, 0, "",
         MAO_FRO_CREATE_REQ, ""},
        {"create refused", [&](ManagementClient& c) { return c.create(5, kFro, attrs, kWait); }, 1,
         kAttrErrorText, "Failed to read XML data.", MAO_FRO_CREATE_REQ, ""},
        {"set", [&](ManagementClient& c) { return c.set(5, kFro, attrs, kWait); }, 0, 0, "",
         MAO_FRO_SET_REQ, ""},
        {"set refused", [&](ManagementClient& c) { return c.set(5, kFro, attrs, kWait); }, 1,
         kAttrErrorText, "no", MAO_FRO_SET_REQ, ""},
        {"set zipped", [&](ManagementClient& c) {
             return c.request({mgmt::Request::Kind::set, 5, kFro.froType, kFro.externalFroId,
                               answerXml("a&lt;b"), true}, kWait);
         }, 0, 0, "", MAO_FRO_SET_REQ, ""},
        {"delete", [&](ManagementClient& c) { return c.remove(5, kFro, kWait); }, 0, 0, "",
         MAO_FRO_DELETE_REQ, ""},
        {"get", [&](ManagementClient& c) { return c.get(5, kFro, {"info"}, kWait); }, 0, kAttrXml,
         answerXml("idle"), MAO_FRO_GET_REQ, "idle"},
        {"get zipped", [&](ManagementClient& c) { return c.get(5, kFro, {"info"}, kWait); }, 0,
         kAttrZippedXml, mgmt::zipAndEncode(answerXml(big)), MAO_FRO_GET_REQ, big},
        {"get refused", [&](ManagementClient& c) { return c.get(5, kFro, {"info"}, kWait); }, 7,
         kAttrErrorText, "fRO not found.", MAO_FRO_GET_REQ, ""},
        {"action", [&](ManagementClient& c) {
             return c.actionWithConfirm(5, kFro, "getUlsaSamplingCapability", attrs, kWait);
         }, 0, kAttrXml, answerXml("caps"), MAO_FRO_ACTION_REQ, "caps"},
        {"action refused", [&](ManagementClient& c) {
             return c.actionWithConfirm(5, kFro, "startUlsaSampling", {}, kWait);
         }, 1, kAttrErrorText, "fRO is already executing an action: x", MAO_FRO_ACTION_REQ, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        withFake([&](const Received& r) { return Reply{{confirmFor(r, c.result, c.attrKind, c.text)}}; },
                 [&](ManagementClient& client, FakeService& fake) {
                     const Confirm confirm = c.call(client);
                     ASSERT_EQ(confirm.outcome, Outcome::answered) << confirm.errorText;
                     EXPECT_EQ(confirm.ok(), c.result == 0);
                     EXPECT_EQ(confirm.result, c.result);
                     EXPECT_EQ(confirm.transactionId, 5u);
                     EXPECT_EQ(confirm.zipped, c.attrKind == kAttrZippedXml);
                     if (c.attrKind == kAttrErrorText) {
                         EXPECT_EQ(confirm.errorText, c.text);
                     }
                     EXPECT_EQ(confirm.value("info"), c.expectedXmlValue);
                     if (c.request == MAO_FRO_CREATE_REQ && c.result == 0) {
                         EXPECT_EQ(confirm.externalFroId, 42u);
                     }

                     // The request as the node reads it.
                     ASSERT_EQ(fake.received().size(), 1u);
                     const Received& r = fake.received()[0];
                     EXPECT_EQ(r.number, c.request);
                     EXPECT_EQ(r.word(kReqTransactionId), 5u);
                     const bool create = r.number == MAO_FRO_CREATE_REQ;
                     const bool action = r.number == MAO_FRO_ACTION_REQ;
                     const std::size_t typeAt = create ? kCreateReqFroType
                                                : action ? kActionReqFroType
                                                         : kObjReqFroType;
                     const std::size_t countAt = create ? kCreateReqAttrCount
                                                 : action ? kActionReqAttrCount
                                                          : kObjReqAttrCount;
                     EXPECT_EQ(r.word(typeAt), kFro.froType);
                     EXPECT_EQ(r.word(countAt), kRequestAttrCount);
                     EXPECT_EQ(r.word(countAt + 4),
                               std::string(c.what) == "set zipped" ? kAttrZippedXml : kAttrXml);
                     if (!create && !action) {
                         EXPECT_EQ(r.word(kObjReqExternalFroId), kFro.externalFroId);
                     }
                     const std::string xml = r.text(countAt + 4);
                     EXPECT_NE(xml.find("<class ldn=\"" + kFro.ldn + "\">"), std::string::npos);
                     if (r.number == MAO_FRO_CREATE_REQ || r.number == MAO_FRO_SET_REQ) {
                         EXPECT_NE(xml.find("value=\"a&lt;b\""), std::string::npos) << xml;
                     }
                     if (action) {
                         EXPECT_NE(xml.find("<action name=\""), std::string::npos) << xml;
                     }
                 });
        ose_shutdown();
        ASSERT_NE(hostns::startNameServer(), 0u);
    }
}

TEST_F(ManagementClientTest, a_malformed_answer_is_an_error_and_the_client_goes_on) {
    struct Case {
        const char* what;
        Bytes answer;
    };
    const std::vector<Case> cases{
        {"too short for its result", SignalWriter(MAO_FRO_GET_CFM).word(9).bytes()},
        {"get without attribute", SignalWriter(MAO_FRO_GET_CFM).word(9).word(0).word(0).bytes()},
        {"attribute head cut", SignalWriter(MAO_FRO_GET_CFM).word(9).word(0).word(1).word(21).bytes()},
        {"text without NUL", SignalWriter(MAO_FRO_GET_CFM).word(9).word(0).word(1)
                                 .stringAttr(kAttrXml, answerXml("v")).size(16 + 12 + 20).bytes()},
        {"length word past the end", SignalWriter(MAO_FRO_GET_CFM).word(9).word(0).word(1)
                                         .word(kAttrXml).half(1).half(0).word(4000).word(0x41414141).bytes()},
        {"text longer than its length word", SignalWriter(MAO_FRO_GET_CFM).word(9).word(0).word(1)
                                                 .word(kAttrXml).half(1).half(0).word(4)
                                                 .chars(answerXml("v")).bytes()},
        {"zip that does not inflate", SignalWriter(MAO_FRO_GET_CFM).word(9).word(0).word(1)
                                          .stringAttr(kAttrZippedXml, "bm90IHppcA==").bytes()},
        {"attribute of a number type", SignalWriter(MAO_FRO_GET_CFM).word(9).word(0).word(1)
                                           .word(kAttrXml).half(kTypeNumber).half(0).word(0).bytes()},
        {"XML that is no mim document", SignalWriter(MAO_FRO_GET_CFM).word(9).word(0).word(1)
                                            .stringAttr(kAttrXml, "<class ldn=\"x\"/>").bytes()},
    };
    std::size_t index = 0;
    withFake(
        [&](const Received& r) {
            // Odd requests get the malformed answer of the case, even ones a good one.
            if (r.number == MAO_FRO_GET_REQ && r.word(kReqTransactionId) == 9)
                return Reply{{cases[index].answer}};
            return Reply{{confirmFor(r, 0, kAttrXml, answerXml("good"))}};
        },
        [&](ManagementClient& client, FakeService&) {
            for (index = 0; index < cases.size(); ++index) {
                SCOPED_TRACE(cases[index].what);
                const Confirm bad = client.get(9, kFro, {"info"}, kWait);
                EXPECT_EQ(bad.outcome, Outcome::malformed) << bad.describe();
                EXPECT_FALSE(bad.errorText.empty());
                const Confirm good = client.get(10, kFro, {"info"}, kWait);
                EXPECT_TRUE(good.ok()) << good.describe();
                EXPECT_EQ(good.value("info"), "good");
            }
        });
}

TEST_F(ManagementClientTest, a_missing_answer_times_out_and_comes_late_without_being_taken_for_the_next) {
    std::vector<Received> held;
    withFake(
        [&](const Received& r) {
            held.push_back(r);
            return Reply{};  // the first create is not answered now
        },
        [&](ManagementClient& client, FakeService& fake) {
            const auto before = std::chrono::steady_clock::now();
            const Confirm first = client.create(5, kFro, {}, 100);
            EXPECT_EQ(first.outcome, Outcome::timedOut);
            EXPECT_NE(first.errorText.find("MAO_FRO_CREATE_CFM"), std::string::npos);
            EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(2));
            ASSERT_TRUE(fake.waitHandled(1));

            // The late answer (id 42) comes just before the one to the second create (id 43).
            fake.script([&](const Received& r) {
                Bytes late = confirmFor(held.at(0), 0);
                Bytes next = confirmFor(r, 0);
                next[8] = 43;
                return Reply{{late, next}};
            });
            const Confirm second = client.create(5, kFro, {}, kWait);
            ASSERT_TRUE(second.ok()) << second.describe();
            EXPECT_EQ(second.externalFroId, 43u);
            EXPECT_EQ(client.droppedSignals(), 0u);

            // A service that ends while a call waits is told at once, not at the time-out.
            fake.script([](const Received&) { return Reply{{}, true}; });
            const auto start = std::chrono::steady_clock::now();
            const Confirm gone = client.get(5, kFro, {"info"}, 20000);
            EXPECT_EQ(gone.outcome, Outcome::peerGone) << gone.describe();
            EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
            EXPECT_EQ(client.set(5, kFro, {}, kWait).outcome, Outcome::notConnected);
        });
}

TEST_F(ManagementClientTest, initiate_subscribe_and_indications_reach_the_handler_in_order) {
    const std::string paramXml = answerXml("changed");
    withFake(
        [&](const Received& r) {
            Reply reply;
            if (r.number == MAOFRO_INITIATE_SERVICE_REQ) {
                const std::string revision = r.text(kInServReqAttr);
                SignalWriter w(MAOFRO_INITIATE_SERVICE_CFM);
                w.word(r.word(kInServReqRevision))
                    .word(revision == "R1" ? kInServAccepted : kInServRefused)
                    .word(2).word(kAttrNumber).half(kTypeNumber).half(0).word(0)
                    .stringAttr(kAttrRevisionConfirm, revision).size(kInServCfmSize);
                reply.signals.push_back(w.bytes());
            } else if (r.number == MAOFRO_NOTIFY_SUBSCRIBE_REQ2) {
                // What a node sends a new subscriber: its state as indications, here
                // with a malformed one in between that the client must drop.
                const uint32_t type = r.word(12);
                reply.signals.push_back(SignalWriter(MAO_FRO_FAULT_IND).word(1).word(type).word(77)
                                            .word(0).word(1).stringAttr(kAttrXml, paramXml).bytes());
                reply.signals.push_back(SignalWriter(MAO_FRO_PARAMETER_CHD_IND).word(1).word(type)
                                            .word(1).word(kAttrXml).half(1).half(0).word(64).bytes());
                reply.signals.push_back(SignalWriter(MAO_FRO_FAULT_CEASED_IND).word(1).word(type)
                                            .word(77).word(1).stringAttr(kAttrXml, paramXml).bytes());
            } else if (r.number != MAO_FRO_ACTION) {
                // An indication that overtakes the confirm is kept for later.
                reply.signals.push_back(SignalWriter(MAO_FRO_PARAMETER_CHD_IND).word(2).word(7)
                                            .word(1).stringAttr(kAttrXml, paramXml).bytes());
                reply.signals.push_back(confirmFor(r, 0, kAttrXml, answerXml("now")));
            }
            return reply;
        },
        [&](ManagementClient& client, FakeService& fake) {
            const mgmt::InitiateConfirm accepted = client.initiate("R1", kWait);
            EXPECT_TRUE(accepted.ok());
            EXPECT_EQ(accepted.revision, "R1");
            const mgmt::InitiateConfirm refused = client.initiate("R9", kWait);
            EXPECT_EQ(refused.outcome, Outcome::answered);
            EXPECT_FALSE(refused.accepted);
            EXPECT_EQ(refused.signalRevision, accepted.signalRevision + 1);
            EXPECT_EQ(client.initiate(std::string(92, 'r'), kWait).outcome, Outcome::badRequest);

            std::vector<mgmt::Indication> seen;
            client.onIndication([&](const mgmt::Indication& i) { seen.push_back(i); });
            ASSERT_TRUE(client.subscribe(7, 3).ok());
            // The two well-formed ones, however they are spread over the calls.
            std::size_t handed = 0;
            while (handed < 2 && client.dispatchIndications(kWait) > 0)
                handed = seen.size();
            EXPECT_EQ(handed, 2u);
            EXPECT_EQ(client.get(5, kFro, {"info"}, kWait).value("info"), "now");
            EXPECT_EQ(client.dispatchIndications(0), 1u);
            EXPECT_EQ(client.dispatchIndications(20), 0u);  // none left: waits 20 ms

            ASSERT_EQ(seen.size(), 3u);
            using Kind = mgmt::Indication::Kind;
            EXPECT_EQ(seen[0].kind, Kind::fault);
            EXPECT_EQ(seen[0].specificProblem, 77u);
            EXPECT_EQ(seen[1].kind, Kind::faultCeased);
            EXPECT_EQ(seen[2].kind, Kind::parameterChanged);
            EXPECT_EQ(seen[2].froId, 2u);
            for (const auto& i : seen) {
                EXPECT_EQ(i.froType, 7u);
                EXPECT_TRUE(i.parsed);
                EXPECT_EQ(i.data.ldn, kFro.ldn);
                EXPECT_EQ(i.value("info"), "changed");
            }
            EXPECT_EQ(client.droppedSignals(), 1u);  // the malformed indication

            // An action without confirm is sent, and nothing is waited for.
            ASSERT_TRUE(client.action(0, kFro, "stopUlsaSampling", {}).ok());
            client.get(5, kFro, {"info"}, kWait);  // orders the fake's records before the reads
            const Received& action = fake.received().at(fake.received().size() - 2);
            EXPECT_EQ(action.number, MAO_FRO_ACTION);
            EXPECT_EQ(action.word(kActionReqFroType), kFro.froType);
            EXPECT_NE(action.text(kActionReqFirstAttr).find("<action name=\"stopUlsaSampling\">"),
                      std::string::npos);

            const Received& subscribe = fake.received().at(2);
            EXPECT_EQ(subscribe.number, MAOFRO_NOTIFY_SUBSCRIBE_REQ2);
            EXPECT_EQ(subscribe.bytes.size(), sizeof(MaoFroNotifySubscribeReq2));
            EXPECT_EQ(subscribe.word(8), 3u);
        });
}

TEST_F(ManagementClientTest, connect_waits_for_the_publication_within_its_time) {
    hostdbtest::runAsKernelProcess(kLimit, "mgmtTest", [&] {
        ManagementClient client;
        const auto start = std::chrono::steady_clock::now();
        const mgmt::Sent none = client.connect(100, "NO_SUCH_SERVICE");
        EXPECT_EQ(none.outcome, Outcome::timedOut);
        EXPECT_NE(none.errorText.find("NO_SUCH_SERVICE"), std::string::npos);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
        EXPECT_EQ(client.create(1, kFro, {}, kWait).outcome, Outcome::notConnected);
        // A client is bound to the thread that connected it.
        std::thread([&] {
            EXPECT_EQ(client.create(1, kFro, {}, kWait).outcome, Outcome::badRequest);
        }).join();
    });
}

TEST_F(ManagementClientTest, transactions_at_the_host_transaction_server) {
    hostdbtest::TempFolder folder;
    hosttx::TransactionServerConfig config;
    config.database.stateDir = folder.path();
    ASSERT_NE(hosttx::startTransactionServer(config), 0u);
    // A thread of its own that is no kernel process: the client adopts it.
    auto done = std::async(std::launch::async, [&] {
        ManagementClient client;
        ASSERT_EQ(client.connect(200, "NOT_PUBLISHED").outcome, Outcome::timedOut);
        const Confirm first = client.createTransaction(kWait);
        ASSERT_TRUE(first.ok()) << first.describe();
        EXPECT_NE(first.transactionId, 0u);
        const Confirm second = client.createTransaction(kWait);
        ASSERT_TRUE(second.ok());
        EXPECT_NE(second.transactionId, first.transactionId);
        EXPECT_TRUE(client.commit(first.transactionId, kWait).ok());
        EXPECT_TRUE(client.rollback(second.transactionId, kWait).ok());
        const Confirm unknown = client.commit(first.transactionId, kWait);
        EXPECT_EQ(unknown.outcome, Outcome::answered);
        EXPECT_EQ(unknown.result, 7u);  // the transaction has ended
        client.close();
        EXPECT_EQ(ose_current_process_or_zero(), 0u);
    });
    if (done.wait_for(kLimit) != std::future_status::ready) {
        std::fprintf(stderr, "FAILED: the client did not finish within its time\n");
        std::abort();  // a future's destructor would wait for ever
    }
    done.get();
}

}  // namespace

// ---------------------------------------------------------------------------------------
// The confirm's XML: read directly in the form the node writes, with parseXml's record.

namespace {

const std::string kDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n";

// What the node sends: its answer document (createXml) with values that need escaping
// and struct, array and moref values as the node keeps them (elementToXml of a
// request), an empty answer, and the answers of an action and of a fault.
std::vector<std::string> nodeDocuments() {
    const std::string request =
        kDeclaration + "<mim version=\"R1A\">\n<class ldn=\"x\">\n" +
        "<struct name=\"band&amp;amp;s\">\n<attr name=\"low\" type=\"S32\" value=\"-5\"/>\n"
        "<array name=\"marks\">\n<attr type=\"U32\" value=\"1\"/>\n"
        "<attr type=\"STRING\" value=\"a&amp;lt;b &quot;q&quot;\"/>\n</array>\n<struct/>\n"
        "</struct>\n<array name=\"none\"/>\n"
        "<moref name=\"peer\">\n<attr name=\"ldn\" type=\"STRING\" value=\"Me=1\"/>\n</moref>\n"
        "</class>\n</mim>";
    XmlClassData parsed;
    EXPECT_TRUE(xmlHandler::instance().parseXml(request, parsed));
    Attributes attributes = {{"level", "U32", "7"},
                             {"name", "STRING", "a&b<c>\"d'e &amp; &lt;"},
                             {"big", "S64", "-9000000000"},
                             {"empty", "STRING", ""}};
    attributes.insert(attributes.end(), parsed.attributes.begin(), parsed.attributes.end());
    std::string get;
    std::string none;
    EXPECT_TRUE(xmlHandler::instance().createXml(kFro.ldn, "R1A", attributes, get));
    EXPECT_TRUE(xmlHandler::instance().createXml(kFro.ldn, "R1A", {}, none));
    const std::string open =
        kDeclaration + "<mim version=\"R1A\">\n<class ldn=\"" + kFro.ldn + "\">\n";
    return {get, none,
            open + "<action name=\"run\">\n<attr name=\"result\" type=\"S32\" value=\"0\"/>\n" +
                "<array name=\"list\">\n<attr type=\"S32\" "
                "value=\"3\"/>\n</array>\n</action>\n</class>\n</mim>",
            open + "<fault name=\"hot &amp;amp; cold\"/>\n</class >\n</mim>\n"};
}

// The trace lines written while it lives, without their time stamps.
class TraceTexts {
  public:
    TraceTexts() {
        traceSetSink([this](const std::string& line) {
            const std::size_t at = line.find(" - ");
            lines.push_back(at == std::string::npos ? line : line.substr(at));
        });
    }
    ~TraceTexts() { traceSetSink({}); }
    std::vector<std::string> take() {
        std::vector<std::string> taken;
        taken.swap(lines);
        return taken;
    }

  private:
    std::vector<std::string> lines;
};

// Reads text both ways; the results and the traces are the same. Gives whether it was
// read directly.
bool readsAsParseXml(const std::string& text) {
    XmlClassData expected;
    XmlClassData actual;
    bool direct = false;
    TraceTexts traces;
    const bool expectedOk = xmlHandler::instance().parseXml(text, expected);
    const std::vector<std::string> expectedTraces = traces.take();
    EXPECT_EQ(mgmt::readConfirmXml(text, actual, &direct), expectedOk) << text;
    EXPECT_EQ(traces.take(), expectedTraces) << text;
    EXPECT_EQ(actual.version, expected.version) << text;
    EXPECT_EQ(actual.ldn, expected.ldn) << text;
    EXPECT_EQ(actual.kind, expected.kind) << text;
    EXPECT_EQ(actual.actionName, expected.actionName) << text;
    EXPECT_EQ(actual.faultName, expected.faultName) << text;
    EXPECT_EQ(actual.attributeCount, expected.attributeCount) << text;
    EXPECT_EQ(actual.attributes, expected.attributes) << text;
    return direct;
}

}  // namespace

TEST(ConfirmXml, the_node_documents_are_read_directly_with_the_record_of_parseXml) {
    for (const std::string& text : nodeDocuments()) {
        EXPECT_TRUE(readsAsParseXml(text)) << text;
    }
    XmlClassData record;
    ASSERT_TRUE(mgmt::readConfirmXml(nodeDocuments().front(), record));
    ASSERT_EQ(record.attributes.size(), 7u);
    EXPECT_EQ(record.attributes[1].value, "a&b<c>\"d'e & <");
    EXPECT_EQ(record.attributes[4].name, "band&s");
}

TEST(ConfirmXml, corrupted_documents_read_as_parseXml_reads_them) {
    const std::string replacements[] = {" ", "<", ">",  "&",    "\"",   "/",
                                        "=", "x", "\t", "\x01", "\xc3", std::string(1, '\0')};
    int direct = 0;
    int other = 0;
    for (const std::string& text : nodeDocuments()) {
        for (std::size_t at = 0; at < text.size(); ++at) {
            std::vector<std::string> variants = {text.substr(0, at),
                                                 text.substr(0, at) + text.substr(at + 1)};
            for (const std::string& c : replacements) {
                variants.push_back(text.substr(0, at) + c + text.substr(at + 1));
            }
            for (const std::string& variant : variants) {
                (readsAsParseXml(variant) ? direct : other) += 1;
            }
        }
    }
    for (const char* text : {"<mim version=\"1\" version=\"2\"><class ldn=\"x\"/></mim>",
                             "<mim><class ldn=\"a&b\"/></mim>", "<mim><class ldn=\"x\"/></mim><x/>",
                             "<mim><class ldn=\"x\"><foo/></class></mim>"}) {
        readsAsParseXml(kDeclaration + text);
    }
    // Both ways were taken: variants in the node's form and ones left to parseXml.
    EXPECT_GT(direct, 0);
    EXPECT_GT(other, 0);
}
