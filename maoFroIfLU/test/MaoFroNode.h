// MaoFroNode: the request handler as the node runs it, for the tests. The host's
// name server, database agent, database (SQLite in a folder of the test's own) and
// transaction server run in the test's kernel; the test body runs as the main process
// with the real framework, FroDatabase, the transaction participant and the two
// dispatchers behind the signal distributor. The body also plays the management
// layer: it sends requests to its own process, pumps them through the distributor and
// reads the confirms that come back.
#ifndef MAO_FRO_NODE_H
#define MAO_FRO_NODE_H

#include "FroCtrlIf.h"
#include "FroDatabase.h"
#include "KernelErrors.h"
#include "OdbcSession.h"
#include "MaoFroGenericBase.h"
#include "MaoFroSignalDispatcher.h"
#include "SignalDistributorAPI.h"
#include "TarvoTransactionTuning.h"
#include "TempFolder.h"
#include "TimeLimit.h"
#include "TraniGenericBase.h"
#include "TraniSignalDispatcher.h"
#include "fRO.h"
#include "fROFactory.h"
#include "froMgr.h"
#include "hostServices.h"
#include "maoFroSignals.h"
#include "ose.h"
#include "oseHost.h"
#include "plab/messaging/MessageOse.h"
#include "plab/nameserver/v1/NameServerOse.h"
#include "proxyProcesses.h"
#include "tarvo_dbagent.h"
#include "tarvo_transaction.h"
#include "transMgr.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace maofrotest {

constexpr uint32_t kProbeType = 7;
constexpr OSTIME kWaitMs = 5000;

/// What the probe fROs were told, and how they answer; one set for the process.
struct ProbeScript {
    bool snapshotLater = false;         // updateSnapshotParams keeps the callback and says true
    std::vector<std::string> told;      // "commit <tx> <action>", "rollback <tx> <action>"
    FroCallbackIf* callback = nullptr;  // the last callback a probe kept
    fRO* lastFro = nullptr;
};
inline ProbeScript& script() {
    static ProbeScript s;
    return s;
}

/// The test's fRO class. Action "now" completes at once with two values, "fail" at once
/// with result 4, anything else waits for the test to complete it.
class ProbeFro : public fRO, public FroCtrlIf {
  public:
    std::string getSubjectName() const override { return "Probe"; }
    void performAction(const std::string& command, const Attributes& parameters,
                       FroCallbackIf* callback) override {
        script().callback = callback;
        script().lastFro = this;
        if (command == "now") {
            ActionResult result;
            result.actionName = command;
            result.attrNames = {"echo", "count"};
            result.attrTypes = {"STRING", "U32"};
            result.attrValues = {parameters.empty() ? "" : parameters[0].value,
                                 std::to_string(parameters.size())};
            callback->actionCompleted(this, result);
        } else if (command == "fail") {
            ActionResult result;
            result.result = 4;
            result.actionName = command;
            result.errorText = "probe refused";
            callback->actionCompleted(this, result);
        }
    }
    void notifyAfterActionCommit(uint32_t tx, const std::string& command) override {
        script().told.push_back("commit " + std::to_string(tx) + " " + command);
    }
    void notifyAfterActionRollback(uint32_t tx, const std::string& command) override {
        script().told.push_back("rollback " + std::to_string(tx) + " " + command);
    }
    bool updateSnapshotParams(FroCallbackIf* callback, const Attributes&) override {
        script().callback = callback;
        script().lastFro = this;
        return script().snapshotLater;
    }
};
inline fRO* makeProbe() {
    return new ProbeFro;
}

/// The handler with the age of its waiting gets in reach of the test.
class TestMaoFro : public MaoFroGenericBase {
  public:
    /// Makes every waiting get that many seconds old, as if the time had passed.
    void ageOutstandingGets(std::time_t seconds) {
        for (GetRequest& request : outstandingGetRequests)
            request.timestamp = std::time(nullptr) - seconds;
    }
    std::size_t pendingGets() const { return pendingGetRequests.size(); }
    std::size_t transactionActionCount() const { return transactionActions.size(); }
};

/// A confirm as the management layer reads it.
struct Confirm {
    SIGSELECT sigNo = 0;
    OSBUFSIZE size = 0;
    uint32_t transactionId = 0;
    uint32_t externalFroId = 0;  // create only
    uint32_t result = 0;
    uint32_t count = 0;
    uint32_t attribute = 0;  // the string attribute, when count is 1
    uint32_t value = 0;
    std::string text;
};

inline uint32_t word(const unsigned char* base, std::size_t offset) {
    uint32_t w;
    std::memcpy(&w, base + offset, 4);
    return w;
}

/// A request of that number with the text as its first attribute; the offsets follow the
/// request's layout.
inline union SIGNAL* request(SIGSELECT sigNo, uint32_t tx, uint32_t externalId,
                             const std::string& text, uint32_t attribute = maofro::kAttrXml,
                             uint32_t count = 2) {
    using namespace maofro;
    std::size_t froTypeAt = kObjReqFroType, countAt = kObjReqAttrCount, attrAt = kObjReqFirstAttr;
    if (sigNo == MAO_FRO_CREATE_REQ) {
        froTypeAt = kCreateReqFroType, countAt = kCreateReqAttrCount, attrAt = kCreateReqFirstAttr;
    } else if (sigNo == MAO_FRO_ACTION || sigNo == MAO_FRO_ACTION_REQ) {
        froTypeAt = kActionReqFroType, countAt = kActionReqAttrCount, attrAt = kActionReqFirstAttr;
    }
    const uint32_t value = stringAttrValue(text.size());
    union SIGNAL* sig = alloc(static_cast<OSBUFSIZE>(attrAt + kAttrDataOffset + value), sigNo);
    unsigned char* p = reinterpret_cast<unsigned char*>(sig);
    std::memset(p + 4, 0, attrAt + kAttrDataOffset + value - 4);
    const uint32_t words[][2] = {
        {kReqTransactionId, tx}, {uint32_t(froTypeAt), kProbeType}, {uint32_t(countAt), count}};
    for (const auto& w : words)
        std::memcpy(p + w[0], &w[1], 4);
    if (sigNo != MAO_FRO_CREATE_REQ && sigNo != MAO_FRO_ACTION && sigNo != MAO_FRO_ACTION_REQ)
        std::memcpy(p + kObjReqExternalFroId, &externalId, 4);
    const MaoFroAttrHead head{attribute, kTypeString, 0, value};
    std::memcpy(p + attrAt, &head, sizeof head);
    std::memcpy(p + attrAt + kAttrDataOffset, text.c_str(), text.size() + 1);
    return sig;
}

inline std::string classXml(const std::string& ldn, const std::string& body,
                            const std::string& version = "v1") {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<mim version=\"" + version +
           "\"><class ldn=\"" + ldn + "\">" + body + "</class></mim>";
}
inline std::string attrXml(const std::string& name, const std::string& type,
                           const std::string& value) {
    return "<attr name=\"" + name + "\" type=\"" + type + "\" value=\"" + value + "\"/>";
}

inline const SIGSELECT kConfirms[] = {6,
                                      maofro::MAO_FRO_CREATE_CFM,
                                      maofro::MAO_FRO_SET_CFM,
                                      maofro::MAO_FRO_GET_CFM,
                                      maofro::MAO_FRO_DELETE_CFM,
                                      maofro::MAO_FRO_ACTION_CFM,
                                      maofro::MAOFRO_INITIATE_SERVICE_CFM};

/// The main process's objects, made and ended inside the body.
struct Stack {
    TestMaoFro mao;
    MaoFroSignalDispatcher maoDispatcher{mao};
    TraniGenericBase trani;
    TraniSignalDispatcher traniDispatcher{&trani, &mao};

    Stack() {
        script() = ProbeScript();
        froMgr::instance().regMOType("Probe", &makeProbe);
        FroDatabase::instance()->initialize("", {{kProbeType, "Probe"}});
        maoDispatcher.init("CLIB_FRO_ULSA_MGMT_SERVICE_NAME");
        traniDispatcher.init();
    }

    /// Sends the request to this process and hands every request and indication that is
    /// queued to the distributor.
    void send(union SIGNAL* sig) {
        ::send(&sig, current_process());
        pump();
    }
    void pump() {
        static const SIGSELECT selected[] = {10,
                                             maofro::MAO_FRO_CREATE_REQ,
                                             maofro::MAO_FRO_SET_REQ,
                                             maofro::MAO_FRO_GET_REQ,
                                             maofro::MAO_FRO_DELETE_REQ,
                                             maofro::MAO_FRO_ACTION,
                                             maofro::MAO_FRO_ACTION_REQ,
                                             maofro::MAOFRO_INITIATE_SERVICE_REQ,
                                             TARVO_TRANS_COMMIT_IND,
                                             TARVO_TRANS_ROLLBACK_IND,
                                             TARVO_TRANS_SERVER_DOWN_IND};
        while (union SIGNAL* sig = receive_w_tmo(0, selected)) {
            getSignalDistributorAPI()->handleMessage(
                std::make_shared<plab::messaging::MessageOse>(sig));
        }
    }

    /// The next confirm of that number; sigNo 0 in the result when none came.
    Confirm confirm(SIGSELECT sigNo, OSTIME waitMs = kWaitMs) {
        const SIGSELECT selected[] = {1, sigNo};
        union SIGNAL* sig = receive_w_tmo(waitMs, selected);
        Confirm c;
        if (sig == nullptr)
            return c;
        const unsigned char* p = reinterpret_cast<const unsigned char*>(sig);
        c.sigNo = sigNo;
        c.size = sigsize(&sig);
        c.transactionId = word(p, 4);
        std::size_t at = 8;
        if (sigNo == maofro::MAO_FRO_CREATE_CFM)
            c.externalFroId = word(p, at), at += 4;
        c.result = word(p, at);
        c.count = word(p, at + 4);
        if (c.count == 1) {
            c.attribute = word(p, at + 8);
            c.value = word(p, at + 16);
            c.text = reinterpret_cast<const char*>(p + at + 20);
        }
        free_buf(&sig);
        return c;
    }
    /// Takes every queued confirm; false when one was not well formed: a count other than
    /// 0 or 1, or a string attribute that does not lie inside the signal with its NUL and
    /// the `value` of its length.
    bool drainConfirms() {
        bool good = true;
        while (union SIGNAL* sig = receive_w_tmo(0, kConfirms)) {
            const auto* p = reinterpret_cast<const unsigned char*>(sig);
            const OSBUFSIZE size = sigsize(&sig);
            SIGSELECT sigNo = word(p, 0);
            std::size_t countAt = sigNo == maofro::MAO_FRO_CREATE_CFM ? 16 : 12;
            if (sigNo == maofro::MAOFRO_INITIATE_SERVICE_CFM)
                countAt = 24;  // its string head
            const uint32_t count =
                sigNo == maofro::MAOFRO_INITIATE_SERVICE_CFM ? 1 : word(p, countAt);
            const std::size_t at = countAt + 4;
            if (count > 1 || (count == 1 && size < at + 12)) {
                good = false;
            } else if (count == 1) {
                const void* nul = std::memchr(p + at + 12, 0, size - at - 12);
                const std::size_t length =
                    nul == nullptr ? 0 : static_cast<const unsigned char*>(nul) - (p + at + 12);
                good = good && nul != nullptr &&
                       word(p, at + 8) == maofro::stringAttrValue(length) &&
                       at + 12 + word(p, at + 8) <= size;
            }
            free_buf(&sig);
        }
        return good;
    }
    /// Whether any confirm is queued; takes it.
    bool anyConfirm() {
        union SIGNAL* sig = receive_w_tmo(0, kConfirms);
        if (sig == nullptr)
            return false;
        free_buf(&sig);
        return true;
    }

    /// A new transaction of the transaction server.
    static uint32_t begin() {
        uint32_t tx = 0;
        EXPECT_EQ(TarvoTransaction_create_e(1, &tx, 1), TARVO_TRANI_OK);
        return tx;
    }
    /// Commits or rolls back and hands the indication to the process.
    void end(uint32_t tx, bool commit) {
        EXPECT_EQ(commit ? TarvoTransaction_commit_e(tx, 1) : TarvoTransaction_rollBack_e(tx, 1),
                  TARVO_TRANI_OK);
        const SIGSELECT selected[] = {1,
                                      commit ? TARVO_TRANS_COMMIT_IND : TARVO_TRANS_ROLLBACK_IND};
        union SIGNAL* sig = receive_w_tmo(kWaitMs, selected);
        ASSERT_NE(sig, nullptr) << "no indication of the transaction's end";
        getSignalDistributorAPI()->handleMessage(
            std::make_shared<plab::messaging::MessageOse>(sig));
    }
};

/// The services on SQLite in a folder of the test's own; run() is the main process.
class MaoFroNode {
  public:
    MaoFroNode() {
        tarvotx::forgetServer();
        m_config.stateDir = m_folder.path();
        EXPECT_NE(hostns::startNameServer(), 0u);
        EXPECT_NE(hostdb::startDatabaseAgent(m_config), 0u);
        EXPECT_NE(hostdb::startDatabase({m_config, 0, 100}), 0u);
        EXPECT_NE(hosttx::startTransactionServer({m_config, 4096, 64u << 20}), 0u);
        PROCESS name = create_process(OS_PRI_PROC, "VqDb_name_proc", VqDb_name_proc, 768, 14, 0, 0,
                                      nullptr, 0, 0);
        start(name);
    }
    // The transaction client keeps the server it found; this kernel's server ends here.
    ~MaoFroNode() {
        ose_shutdown();
        tarvotx::forgetServer();
    }
    MaoFroNode(const MaoFroNode&) = delete;
    MaoFroNode& operator=(const MaoFroNode&) = delete;

    /// Runs the body with a Stack as the main process, under a time limit.
    void run(const std::function<void(Stack&)>& body) {
        hostdbtest::runAsKernelProcess(std::chrono::seconds(120), "ulSpectrumAnalyzer_main_thread",
                                       [&] {
                                           ASSERT_TRUE(TarvoDbAgent_bind(5000));
                                           {
                                               Stack stack;
                                               body(stack);
                                           }
                                           transMgr::destroyInstance();
                                           froMgr::destroyInstance();
                                           FroDatabase::deleteInstance();
                                           plab::nameserver::v1::destroyNameServer();
                                           destroySignalDistributorAPI();
                                       });
        EXPECT_TRUE(hostdbtest::KernelErrors::take().empty());
    }

    /// The first column of every row of a query, on a session of the test's own.
    std::vector<std::string> column(const std::string& sql) const {
        hostdb::OdbcSession own(hostdb::resolveConnectString(m_config));
        hostdb::SqlRows rows;
        EXPECT_TRUE(own.connect() && own.query(sql, rows))
            << sql << ": " << hostdb::diagnosticsText(own.lastError());
        std::vector<std::string> values;
        for (const auto& row : rows)
            values.push_back(row.at(0).value_or("<null>"));
        return values;
    }

  private:
    hostdbtest::KernelErrors m_errors;
    hostdbtest::TempFolder m_folder;
    hostdb::DatabaseConfig m_config;
};

}  // namespace maofrotest

#endif  // MAO_FRO_NODE_H
