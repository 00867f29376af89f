// The MAO-FRO request handler driven by real signals on the node's own services:
// requests and their confirms field by field, the pending-get rule, actions and their
// transactions, zipped answers, and a storm of corrupted requests.
#include "LevelTraceCapture.h"
#include "MaoFroNode.h"
#include "osa_findserver.h"
#include "xmlHandler.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>

using namespace maofro;
using namespace maofrotest;

namespace {

const std::string kLdn = "Probe=1";

// Creates Probe=1 with level 5 and the label, commits it and gives its external id.
uint32_t createProbe(Stack& node, const std::string& label = "x") {
    const uint32_t tx = Stack::begin();
    node.send(
        request(MAO_FRO_CREATE_REQ, tx, 0,
                classXml(kLdn, attrXml("level", "U32", "5") + attrXml("label", "STRING", label))));
    const Confirm c = node.confirm(MAO_FRO_CREATE_CFM);
    EXPECT_EQ(c.result, 0u) << c.text;
    node.end(tx, true);
    return c.externalFroId;
}

std::string answerXml(const Attributes& attributes, const std::string& ldn = kLdn) {
    std::string xml;
    EXPECT_TRUE(xmlHandler::instance().createXml(ldn, "v1", attributes, xml));
    return xml;
}

std::string getXml(const std::string& names) {
    return classXml(kLdn, names);
}

union SIGNAL* patched(union SIGNAL* sig, std::size_t offset, uint32_t value) {
    std::memcpy(reinterpret_cast<unsigned char*>(sig) + offset, &value, sizeof value);
    return sig;
}

union SIGNAL* cut(union SIGNAL* sig, OSBUFSIZE size) {
    union SIGNAL* shorter = alloc(size, word(reinterpret_cast<const unsigned char*>(sig), 0));
    std::memcpy(shorter, sig, size);
    free_buf(&sig);
    return shorter;
}

}  // namespace

TEST(MaoFroGenericBase, requests_change_the_model_only_through_their_transaction) {
    LevelTraceCapture trace({"MaoFroIf*"});
    MaoFroNode node;
    node.run([&](Stack& n) {
        // The service is published under the main process.
        OsaServerBlock* block = nullptr;
        PROCESS publisher = 0;
        EXPECT_EQ(Osa_findServer("CLIB_FRO_ULSA_MGMT_SERVICE_NAME", &block, &publisher), OSA_OK);
        EXPECT_EQ(publisher, current_process());
        // The handshake: a well-formed request is accepted when no revision is wanted or
        // the wanted one comes; a malformed one is refused without its revision.
        struct InServ {
            uint32_t attribute;
            const char* wanted;
            uint32_t result;
            const char* echoed;
        };
        for (const InServ& k : {InServ{kAttrRevision, "", kInServAccepted, "R1"},
                                InServ{kAttrRevision, "R2", kInServRefused, "R1"},
                                InServ{kAttrErrorText, "", kInServRefused, ""}}) {
            union SIGNAL* sig = alloc(36, MAOFRO_INITIATE_SERVICE_REQ);
            unsigned char* q = reinterpret_cast<unsigned char*>(sig);
            std::memset(q + 4, 0, 32);
            const MaoFroAttrHead head{k.attribute, kTypeString, 0, 4};
            patched(patched(sig, kInServReqRevision, 3), kInServReqAttrCount, 1);
            std::memcpy(q + kInServReqAttr, &head, sizeof head);
            std::memcpy(q + kInServReqData, "R1", 3);
            n.mao.handleInServReq(sig, current_process(), k.wanted);
            free_buf(&sig);
            const SIGSELECT selected[] = {1, MAOFRO_INITIATE_SERVICE_CFM};
            union SIGNAL* cfm = receive_w_tmo(kWaitMs, selected);
            ASSERT_NE(cfm, nullptr);
            const auto* p = reinterpret_cast<const unsigned char*>(cfm);
            EXPECT_EQ(sigsize(&cfm), kInServCfmSize);
            EXPECT_EQ(word(p, 4), 3u);
            EXPECT_EQ(word(p, 8), k.result) << k.wanted;
            EXPECT_EQ(word(p, 12), 2u);
            EXPECT_EQ(word(p, 16), kAttrNumber);
            EXPECT_EQ(word(p, 28), kAttrRevisionConfirm);
            EXPECT_EQ(word(p, 36), stringAttrValue(std::strlen(k.echoed)));
            EXPECT_STREQ(reinterpret_cast<const char*>(p + 40), k.echoed);
            free_buf(&cfm);
        }

        const uint32_t tx = Stack::begin();
        n.send(request(
            MAO_FRO_CREATE_REQ, tx, 0,
            classXml(kLdn, attrXml("level", "U32", "5") + attrXml("label", "STRING", "x"))));
        Confirm c = n.confirm(MAO_FRO_CREATE_CFM);
        EXPECT_EQ(c.sigNo, MAO_FRO_CREATE_CFM);
        EXPECT_EQ(c.size, 36u);
        EXPECT_EQ(c.transactionId, tx);
        EXPECT_EQ(c.result, 0u);
        EXPECT_EQ(c.count, 0u);
        const uint32_t externalId = c.externalFroId;
        EXPECT_EQ(froMgr::instance().getFro(kLdn), nullptr)
            << "nothing committed before the commit";
        // The transaction sees its own creation.
        n.send(request(MAO_FRO_GET_REQ, tx, externalId, getXml(attrXml("level", "", ""))));
        c = n.confirm(MAO_FRO_GET_CFM);
        EXPECT_EQ(c.result, 0u) << c.text;
        EXPECT_EQ(c.text, answerXml({{"level", "U32", "5"}}));
        n.end(tx, true);
        ASSERT_NE(dynamic_cast<ProbeFro*>(froMgr::instance().getFro(kLdn)), nullptr);

        // A set in a second transaction, then a set that names an attribute the fRO lacks.
        const uint32_t tx2 = Stack::begin();
        n.send(request(MAO_FRO_SET_REQ, tx2, externalId,
                       classXml(kLdn, attrXml("level", "U32", "9"))));
        c = n.confirm(MAO_FRO_SET_CFM);
        EXPECT_EQ(c.size, 32u);
        EXPECT_EQ(c.transactionId, tx2);
        EXPECT_EQ(c.result, 0u);
        EXPECT_EQ(c.count, 0u);
        n.send(
            request(MAO_FRO_SET_REQ, tx2, externalId,
                    classXml(kLdn, attrXml("label", "STRING", "y") + attrXml("nope", "U32", "1"))));
        c = n.confirm(MAO_FRO_SET_CFM);
        const std::string refused = "Failed to set fRO attribute nope in transMgr for fRO Probe=1";
        EXPECT_EQ(c.result, 1u);
        EXPECT_EQ(c.count, 1u);
        EXPECT_EQ(c.attribute, kAttrErrorText);
        EXPECT_EQ(c.value, stringAttrValue(refused.size()));
        EXPECT_EQ(c.size, refused.size() + 42);
        EXPECT_EQ(c.text, refused);
        n.send(request(MAO_FRO_GET_REQ, 0, externalId, getXml(attrXml("level", "", ""))));
        EXPECT_EQ(n.confirm(MAO_FRO_GET_CFM).text, answerXml({{"level", "U32", "5"}}))
            << "outside the transaction the committed value stands";
        n.end(tx2, true);
        EXPECT_EQ(node.column("select level from frodata_probe_initial"),
                  std::vector<std::string>{"9"});
        n.send(request(MAO_FRO_GET_REQ, 0, externalId,
                       getXml(attrXml("level", "", "") + attrXml("label", "", ""))));
        EXPECT_EQ(n.confirm(MAO_FRO_GET_CFM).text,
                  answerXml({{"level", "U32", "9"}, {"label", "STRING", "y"}}));

        // Delete, and the get that follows it.
        const uint32_t tx3 = Stack::begin();
        n.send(request(MAO_FRO_DELETE_REQ, tx3, externalId, "<unread/>"));
        c = n.confirm(MAO_FRO_DELETE_CFM);
        EXPECT_EQ(c.size, 32u);
        EXPECT_EQ(c.result, 0u);
        n.end(tx3, true);
        EXPECT_EQ(froMgr::instance().getFro(kLdn), nullptr);
        n.send(request(MAO_FRO_GET_REQ, 0, externalId, getXml("")));
        c = n.confirm(MAO_FRO_GET_CFM);
        EXPECT_EQ(c.result, 1u);
        EXPECT_EQ(c.attribute, kAttrErrorText);
        EXPECT_EQ(c.text, "fRO not found.");
    });
    EXPECT_TRUE(
        trace.has(8,
                  "Handle Delete: Delete failed! errorCode = 1, errorText = \"fRO not found.\".") ||
        trace.has(1, "MO Get Req failed on \"Probe=1\": fRO does not exist."));
}

TEST(MaoFroGenericBase, malformed_requests_get_the_confirm_of_their_failure) {
    MaoFroNode node;
    node.run([&](Stack& n) {
        createProbe(n);
        const std::string xml = getXml("");
        std::string zipped = xml;
        ASSERT_TRUE(MaoFroGenericBase::zipAndEncode(zipped));
        zipped.insert(zipped.size() / 2, "\r\n");  // a broken line decodes as if unbroken
        const std::string extractFailed = "Failed to extract XML data.";
        // An error text that quotes a request of nearly the largest size is cut to fit.
        const std::string huge(65400, 'x');
        const std::string hugeText =
            ("Failed to read XML data.Received xmlString:\n" + huge).substr(0, OS_MAX_SIGSIZE - 46);
        struct Case {
            const char* what;
            union SIGNAL* sig;
            SIGSELECT cfm;
            uint32_t result;
            std::string text;
        };
        const Case cases[] = {
            {"create, count 1", request(MAO_FRO_CREATE_REQ, 0, 0, xml, kAttrXml, 1),
             MAO_FRO_CREATE_CFM, 1, extractFailed},
            {"create, count 3", request(MAO_FRO_CREATE_REQ, 0, 0, xml, kAttrXml, 3),
             MAO_FRO_CREATE_CFM, 1, extractFailed},
            {"create, not XML", request(MAO_FRO_CREATE_REQ, 0, 0, "<<", kAttrXml),
             MAO_FRO_CREATE_CFM, 1, "Failed to read XML data.Received xmlString:\n<<"},
            {"create, not XML and huge", request(MAO_FRO_CREATE_REQ, 0, 0, huge, kAttrXml),
             MAO_FRO_CREATE_CFM, 1, hugeText},
            {"set, error text as payload", request(MAO_FRO_SET_REQ, 0, 0, xml, kAttrErrorText),
             MAO_FRO_SET_CFM, 1, extractFailed},
            {"set, not XML", request(MAO_FRO_SET_REQ, 0, 0, "x", kAttrXml), MAO_FRO_SET_CFM, 1,
             "Failed to read XML data. Received xmlString:\nx"},
            {"delete, zipped", request(MAO_FRO_DELETE_REQ, 0, 0, zipped, kAttrZippedXml),
             MAO_FRO_DELETE_CFM, 1, extractFailed},
            {"get, zipped and broken into lines",
             request(MAO_FRO_GET_REQ, 0, 0, zipped, kAttrZippedXml), MAO_FRO_GET_CFM, 0,
             answerXml({{"level", "U32", "5"}, {"label", "STRING", "x"}})},
            {"get, zipped garbage", request(MAO_FRO_GET_REQ, 0, 0, "QUJD", kAttrZippedXml),
             MAO_FRO_GET_CFM, 1, extractFailed},
            {"get, Base64 that does not decode",
             request(MAO_FRO_GET_REQ, 0, 0, "A=BC", kAttrZippedXml), MAO_FRO_GET_CFM, 1,
             extractFailed},
            {"get, shorter than its fields", cut(request(MAO_FRO_GET_REQ, 0, 0, xml), 22),
             MAO_FRO_GET_CFM, 1, extractFailed},
            {"create, text running past the end",
             patched(request(MAO_FRO_CREATE_REQ, 0, 0, xml), kCreateReqFirstAttr + 8, 0x10000),
             MAO_FRO_CREATE_CFM, 1, extractFailed},
            {"set, text without its NUL",
             cut(request(MAO_FRO_SET_REQ, 0, 0, xml), kObjReqFirstAttr + kAttrDataOffset + 8),
             MAO_FRO_SET_CFM, 1, extractFailed},
            {"get, not XML", request(MAO_FRO_GET_REQ, 0, 0, "x"), MAO_FRO_GET_CFM, 1,
             "Failed to read XML data."},
            {"action, unknown LDN",
             request(MAO_FRO_ACTION_REQ, 0, 0,
                     classXml("Probe=9", "<action name=\"now\"></action>")),
             MAO_FRO_ACTION_CFM, 1, "Failed to find the requested fro with ldn: Probe=9"},
            {"action, no action element", request(MAO_FRO_ACTION_REQ, 0, 0, xml),
             MAO_FRO_ACTION_CFM, 1,
             "The type of thing to do in the action request was not of type ACTION, it was: 0"},
            {"action, count 0", request(MAO_FRO_ACTION_REQ, 0, 0, xml, kAttrXml, 0),
             MAO_FRO_ACTION_CFM, 1, "Failed to extract XML data from MaoFroActionReq signal."},
        };
        for (const Case& k : cases) {
            n.send(k.sig);
            const Confirm c = n.confirm(k.cfm);
            EXPECT_EQ(c.sigNo, k.cfm) << k.what;
            EXPECT_EQ(c.result, k.result) << k.what;
            EXPECT_EQ(c.text, k.text) << k.what;
            EXPECT_EQ(c.count, 1u) << k.what;
            EXPECT_EQ(c.attribute, k.result == 0 ? kAttrXml : kAttrErrorText) << k.what;
            EXPECT_FALSE(n.anyConfirm()) << k.what << ": one confirm only";
        }
        // An action without a confirm is told to nobody.
        n.send(request(MAO_FRO_ACTION, 0, 0, classXml("Probe=9", "<action name=\"now\"/>")));
        EXPECT_FALSE(n.anyConfirm());
    });
}

TEST(MaoFroGenericBase, a_get_waits_for_the_snapshot_and_one_per_ldn_is_outstanding) {
    LevelTraceCapture trace({"MaoFroIf*"});
    MaoFroNode node;
    node.run([&](Stack& n) {
        createProbe(n);
        script().snapshotLater = true;
        const std::string xml = getXml(attrXml("level", "", ""));
        const std::string answer = answerXml({{"level", "U32", "5"}});
        n.send(request(MAO_FRO_GET_REQ, 11, 0, xml));
        n.send(request(MAO_FRO_GET_REQ, 12, 0, xml));
        EXPECT_FALSE(n.anyConfirm());
        EXPECT_EQ(n.mao.pendingGets(), 1u);
        // The answer confirms the first; the second starts a new job of its own.
        script().callback->snapshotParamUpdated(script().lastFro);
        Confirm c = n.confirm(MAO_FRO_GET_CFM, 0);
        EXPECT_EQ(c.transactionId, 11u);
        EXPECT_EQ(c.text, answer);
        EXPECT_FALSE(n.anyConfirm());
        EXPECT_EQ(n.mao.pendingGets(), 0u);
        // A failing snapshot answers with the fRO's code and text; then one not answered
        // for 30 seconds still holds the next back, and one of 31 seconds is dropped.
        script().callback->snapshotParamUpdated(script().lastFro, 7, "probe busy");
        c = n.confirm(MAO_FRO_GET_CFM, 0);
        EXPECT_EQ(c.transactionId, 12u);
        EXPECT_EQ(c.result, 7u);
        EXPECT_EQ(c.text, "probe busy");
        n.send(request(MAO_FRO_GET_REQ, 13, 0, xml));
        n.mao.ageOutstandingGets(30);
        n.send(request(MAO_FRO_GET_REQ, 14, 0, xml));
        EXPECT_EQ(n.mao.pendingGets(), 1u) << "at 30 seconds the request still waits";
        n.mao.ageOutstandingGets(31);
        n.send(request(MAO_FRO_GET_REQ, 15, 0, xml));
        EXPECT_EQ(n.mao.pendingGets(), 1u) << "the 14th stays pending, the 15th is the new job";
        EXPECT_TRUE(trace.has(0,
                              "fRO Probe=1 did not respond to a GET Request within 30s. No "
                              "response will be sent to MAO Layer."));
        script().snapshotLater = false;
        script().callback->snapshotParamUpdated(script().lastFro);
        EXPECT_EQ(n.confirm(MAO_FRO_GET_CFM, 0).transactionId, 15u);
        EXPECT_EQ(n.confirm(MAO_FRO_GET_CFM, 0).transactionId, 14u);
        EXPECT_FALSE(n.anyConfirm()) << "the dropped 13th gets no confirm";
    });
}

TEST(MaoFroGenericBase, actions_run_one_at_a_time_and_hear_of_their_transaction) {
    MaoFroNode node;
    node.run([&](Stack& n) {
        createProbe(n);
        const auto action = [&](uint32_t tx, const std::string& name,
                                SIGSELECT sigNo = MAO_FRO_ACTION_REQ) {
            n.send(request(sigNo, tx, 0,
                           classXml(kLdn, "<action name=\"" + name + "\">" +
                                              attrXml("p", "STRING", "hello") + "</action>")));
        };
        // Completed at once, inside the request.
        action(0, "now");
        Confirm c = n.confirm(MAO_FRO_ACTION_CFM, 0);
        EXPECT_EQ(c.result, 0u);
        EXPECT_EQ(c.attribute, kAttrXml);
        EXPECT_EQ(c.text, answerXml({{"echo", "STRING", "hello"}, {"count", "U32", "1"}}));
        EXPECT_EQ(c.size, c.text.size() + 42);
        EXPECT_FALSE(n.anyConfirm());
        action(0, "fail");
        c = n.confirm(MAO_FRO_ACTION_CFM, 0);
        EXPECT_EQ(c.result, 4u);
        EXPECT_EQ(c.text, "probe refused");

        // Completed later; a second action meanwhile is refused with the first one's name,
        // and an answer under another name finds nothing.
        action(0, "later");
        EXPECT_FALSE(n.anyConfirm());
        action(0, "now");
        c = n.confirm(MAO_FRO_ACTION_CFM, 0);
        EXPECT_EQ(c.result, 1u);
        EXPECT_EQ(c.text, "fRO is already executing an action: later");
        ActionResult done;
        done.actionName = "other";
        script().callback->actionCompleted(script().lastFro, done);
        EXPECT_FALSE(n.anyConfirm());
        done.actionName = "later";
        script().callback->actionCompleted(script().lastFro, done);
        c = n.confirm(MAO_FRO_ACTION_CFM, 0);
        EXPECT_EQ(c.result, 0u);
        EXPECT_EQ(c.text, answerXml({}));

        // In a transaction: told at commit, and at rollback; outside one, never.
        for (const bool commit : {true, false}) {
            const uint32_t tx = Stack::begin();
            action(tx, "now");
            EXPECT_EQ(n.confirm(MAO_FRO_ACTION_CFM, 0).transactionId, tx);
            EXPECT_EQ(froMgr::instance().getFro(kLdn)->getTransactionId(), tx);
            EXPECT_EQ(n.mao.transactionActionCount(), 1u);
            n.end(tx, commit);
            ASSERT_EQ(script().told.size(), commit ? 1u : 2u);
            EXPECT_EQ(script().told.back(),
                      (commit ? "commit " : "rollback ") + std::to_string(tx) + " now");
            EXPECT_EQ(froMgr::instance().getFro(kLdn)->getTransactionId(), 0u);
            EXPECT_EQ(n.mao.transactionActionCount(), 0u);
        }
        // A transaction lost with its server is forgotten without a word to the fRO.
        action(Stack::begin(), "now");
        EXPECT_EQ(n.confirm(MAO_FRO_ACTION_CFM, 0).result, 0u);
        n.mao.handleTraniServerDown();
        EXPECT_EQ(n.mao.transactionActionCount(), 0u);
        EXPECT_EQ(froMgr::instance().getFro(kLdn)->getTransactionId(), 0u);
        action(0, "now", MAO_FRO_ACTION);
        EXPECT_FALSE(n.anyConfirm()) << "MAO_FRO_ACTION has no confirm";
        EXPECT_EQ(script().told.size(), 2u);
    });
}

TEST(MaoFroGenericBase, answers_longer_than_60000_characters_travel_zipped) {
    MaoFroNode node;
    node.run([&](Stack& n) {
        const std::size_t frame = answerXml({{"label", "STRING", ""}}).size();
        const uint32_t externalId = createProbe(n, std::string(60000 - frame, 'a'));
        const std::string xml = getXml(attrXml("label", "", ""));
        n.send(request(MAO_FRO_GET_REQ, 0, 0, xml));
        Confirm c = n.confirm(MAO_FRO_GET_CFM);
        EXPECT_EQ(c.attribute, kAttrXml);
        EXPECT_EQ(c.text.size(), 60000u);
        EXPECT_EQ(c.size, 60042u);

        const uint32_t tx = Stack::begin();
        const std::string longer(60001 - frame, 'b');
        n.send(request(MAO_FRO_SET_REQ, tx, externalId,
                       classXml(kLdn, attrXml("label", "STRING", longer))));
        EXPECT_EQ(n.confirm(MAO_FRO_SET_CFM).result, 0u);
        n.end(tx, true);
        n.send(request(MAO_FRO_GET_REQ, 0, 0, xml));
        c = n.confirm(MAO_FRO_GET_CFM);
        const std::string expected = answerXml({{"label", "STRING", longer}});
        ASSERT_EQ(expected.size(), 60001u);
        EXPECT_EQ(c.attribute, kAttrZippedXml);
        EXPECT_EQ(c.value, stringAttrValue(c.text.size()));
        std::string ours = c.text;
        ASSERT_TRUE(MaoFroGenericBase::decodeAndUnzip(ours));
        EXPECT_EQ(ours, expected);

        // The receiver's own zlib and Base64 give the text back.
        const std::string path = ::testing::TempDir() + "maoFroZipped.txt";
        FILE* file = std::fopen(path.c_str(), "w");
        ASSERT_NE(file, nullptr);
        std::fputs(c.text.c_str(), file);
        std::fclose(file);
        const std::string command =
            "/usr/bin/python3 -c \"import sys,zlib,base64;"
            "sys.stdout.write(zlib.decompress(base64.b64decode("
            "open(sys.argv[1]).read())).decode())\" " +
            path;
        FILE* pipe = popen(command.c_str(), "r");
        ASSERT_NE(pipe, nullptr);
        std::string python;
        char buffer[4096];
        for (std::size_t got; (got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;)
            python.append(buffer, got);
        EXPECT_EQ(pclose(pipe), 0);
        std::remove(path.c_str());
        EXPECT_EQ(python, expected);
    });
}

TEST(MaoFroGenericBase, corrupted_requests_are_refused_and_a_valid_get_still_answers) {
    MaoFroNode node;
    node.run([&](Stack& n) {
        createProbe(n);
        traceSetSink([](const std::string&) {});  // thousands of refusals, each traced
        std::mt19937 random(20261122);
        const auto pick = [&](uint32_t below) {
            return std::uniform_int_distribution<uint32_t>(0, below - 1)(random);
        };
        const SIGSELECT kinds[] = {MAO_FRO_CREATE_REQ,         MAO_FRO_SET_REQ,    MAO_FRO_GET_REQ,
                                   MAO_FRO_DELETE_REQ,         MAO_FRO_ACTION_REQ, MAO_FRO_ACTION,
                                   MAOFRO_INITIATE_SERVICE_REQ};
        const std::string valid =
            classXml(kLdn, attrXml("level", "U32", "6") + "<action name=\"later\"/>");
        std::string zipped = valid;
        MaoFroGenericBase::zipAndEncode(zipped);
        constexpr uint32_t kUnknownTx = 0x7A5B3C2Du;  // never one of the server's
        for (int i = 0; i < 1500 * 7; ++i) {
            const SIGSELECT kind = kinds[i % 7];
            std::string text = pick(2) ? valid : zipped;
            uint32_t attribute = text == valid ? kAttrXml : kAttrZippedXml;
            uint32_t count = 2;
            switch (pick(6)) {
                case 0:
                    count = pick(5);
                    break;
                case 1:
                    attribute = pick(30);
                    break;
                case 2:
                    text = text.substr(0, pick(uint32_t(text.size()) + 1));
                    break;
                case 3:
                    text[pick(uint32_t(text.size()))] = char(pick(256));
                    break;
                case 4:
                    attribute = kAttrZippedXml;
                    text = std::string(pick(40), 'A' + char(pick(60)));
                    break;
                default:
                    break;
            }
            union SIGNAL* sig = request(kind, kUnknownTx, pick(8), text, attribute, count);
            OSBUFSIZE size = sigsize(&sig);
            unsigned char* p = reinterpret_cast<unsigned char*>(sig);
            for (uint32_t flips = pick(4); flips > 0; --flips)  // anywhere but the number
                p[4 + pick(size - 4)] = static_cast<unsigned char>(pick(256));
            if (pick(3) == 0) {  // cut anywhere, the head included
                const OSBUFSIZE cut = 4 + pick(size - 4);
                union SIGNAL* shorter = alloc(cut, kind);
                std::memcpy(shorter, sig, cut);
                free_buf(&sig);
                sig = shorter;
            }
            n.send(sig);
            ASSERT_TRUE(n.drainConfirms()) << "after request " << i;
        }
        traceSetSink(nullptr);
        // The fRO may be running an action started by a lucky request; a get is still answered.
        n.send(request(MAO_FRO_GET_REQ, 0, 0, getXml(attrXml("level", "", ""))));
        const Confirm c = n.confirm(MAO_FRO_GET_CFM);
        EXPECT_EQ(c.result, 0u);
        EXPECT_EQ(c.text, answerXml({{"level", "U32", "5"}}));
    });
}
