// The node around the transaction participant, the restore and FroHandler in the tests:
// the host's real services (froDbLU's LoadModuleNode), a small fRO class that records
// what it is told, and the framework's writes as the request handler makes them.
#ifndef TRANI_TEST_NODE_H
#define TRANI_TEST_NODE_H

#include "FroCtrlIf.h"
#include "FroDatabase.h"
#include "LoadModuleNode.h"
#include "MaoFroGenericBase.h"
#include "TempFolder.h"
#include "TraniGenericBase.h"
#include "TraniSignalDispatcher.h"
#include "fRO.h"
#include "froMgr.h"
#include "tarvo_transaction.h"
#include "transMgr.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tranitest {

constexpr uint32_t kProbeType = 0x2001;
constexpr uint32_t kOtherType = 0x2002;

/// What the fROs and the handlers were told, in order.
inline std::vector<std::string>& events() {
    static std::vector<std::string> list;
    return list;
}

inline std::string ldnOf(const fRO* fro) { return froMgr::instance().getLdn(fro->getFroId()); }

/// A fRO class of its own; records each notification with its LDN.
class ProbeFro : public fRO, public FroCtrlIf {
  public:
    static fRO* create() { return new ProbeFro(); }
    std::string getSubjectName() const override { return "Probe"; }
    void notifyAfterCreate() override {
        events().push_back(std::string("create ") + ldnOf(this) +
                           (TraniGenericBase::isCommitting() ? " committing" : ""));
    }
    void notifyAfterSet() override { events().push_back("set " + ldnOf(this)); }
    void notifyBeforeDelete() override { events().push_back("beforeDelete " + ldnOf(this)); }
    void notifyAfterRecreate() override {
        events().push_back("recreate " + ldnOf(this) + " of " +
                           std::to_string(froMgr::instance().size()));
    }
};

class RecordingTrani : public TraniGenericBase {
  public:
    void userCallbackHandleCommit_DeletedFro(uint32_t, std::string ldn) override {
        events().push_back("deleted " + ldn);
    }
    void userCallbackHandleCommit_BeforeCommit(uint32_t) override {
        events().push_back("beforeCommit");
    }
    void userCallbackHandleCommit_AfterCommit(uint32_t) override {
        events().push_back("afterCommit");
    }
    void userCallbackHandleRollback_AfterRollback(uint32_t) override {
        events().push_back("afterRollback");
    }
    void userCallbackHandleRollback_RollbackFailed(uint32_t) override {
        events().push_back("rollbackFailed");
    }
};

class RecordingMao : public MaoFroGenericBase {
  public:
    void handleTraniCommit(uint32_t transactionId) override {
        events().push_back("mao commit" + std::string(TraniGenericBase::isCommitting() ? " committing" : ""));
        MaoFroGenericBase::handleTraniCommit(transactionId);
    }
    void handleTraniRollback(uint32_t transactionId) override {
        events().push_back("mao rollback");
        MaoFroGenericBase::handleTraniRollback(transactionId);
    }
};

/// The classes as the application registers them: Probe of its own, Other plain.
inline void registerClasses(bool probeDeclaresName = true) {
    froMgr& store = froMgr::instance();
    store.regMOType("Probe", &ProbeFro::create);
    store.addReadOnlyAttribute("Probe", "level", "U32", "0");
    if (probeDeclaresName) {
        store.addReadOnlyAttribute("Probe", "name", "STRING", "none");
    }
    store.addReadOnlyAttribute("Other", "colour", "STRING", "grey");
}

inline const std::vector<FroTypeEntry> kTypes = {{kProbeType, "Probe"}, {kOtherType, "Other"}};

/// A transaction of the transaction server, written as the request handler writes.
class Tx {
  public:
    Tx() { EXPECT_EQ(TarvoTransaction_create_e(1, &m_id, 1), TARVO_TRANI_OK); }
    uint32_t id() const { return m_id; }

    /// Registers the process and makes the fRO in transMgr and the database.
    void create(const std::string& ldn, uint32_t type, const Attributes& attributes) {
        enter();
        int32_t externalId = -1;
        ASSERT_TRUE(transMgr::instance().createMO(txId(), ldn, attributes, type, externalId));
        FroDatabase& db = *FroDatabase::instance();
        db.open();
        EXPECT_TRUE(db.saveFRO(m_id, static_cast<uint32_t>(externalId), type, ldn, attributes));
        db.close();
    }
    void set(const std::string& ldn, const Attribute& attribute) {
        enter();
        ASSERT_TRUE(transMgr::instance().setMoAttribute(txId(), ldn, attribute.name,
                                                        attribute.value));
        const fRO* fro = froMgr::instance().getFro(ldn);
        ASSERT_NE(fro, nullptr);
        FroDatabase& db = *FroDatabase::instance();
        db.open();
        EXPECT_TRUE(db.saveAttributes(m_id, fro->getExternalFroId(), fro->getFroType(),
                                      {attribute}, false));
        db.close();
    }
    void remove(const std::string& ldn) {
        enter();
        const fRO* fro = froMgr::instance().getFro(ldn);
        ASSERT_NE(fro, nullptr);
        const uint32_t externalId = fro->getExternalFroId();
        const uint32_t type = fro->getFroType();
        ASSERT_TRUE(transMgr::instance().deleteMO(txId(), ldn));
        FroDatabase& db = *FroDatabase::instance();
        db.open();
        db.deleteFRO(m_id, externalId, type);
        db.close();
    }

    /// Commits or rolls back at the server and hands the indication to the dispatcher;
    /// false when the server did not answer as asked.
    bool end(TraniSignalDispatcher& dispatcher, bool commit) {
        const uint32_t answer =
            commit ? TarvoTransaction_commit_e(m_id, 1) : TarvoTransaction_rollBack_e(m_id, 1);
        static const SIGSELECT wanted[] = {2, TARVO_TRANS_COMMIT_IND, TARVO_TRANS_ROLLBACK_IND};
        union SIGNAL* indication = receive_w_tmo(5000, wanted);
        if (indication == nullptr) {
            return false;
        }
        SIGSELECT number = 0;
        std::memcpy(&number, indication, sizeof number);
        const bool asked = number == (commit ? TARVO_TRANS_COMMIT_IND : TARVO_TRANS_ROLLBACK_IND);
        dispatcher.handleSignal(&indication);
        if (indication != nullptr) {
            free_buf(&indication);
        }
        return answer == TARVO_TRANI_OK && asked;
    }

  private:
    int32_t txId() const { return static_cast<int32_t>(m_id); }
    void enter() {
        std::string errorText;
        EXPECT_TRUE(TraniGenericBase::registerResource(m_id, errorText, m_trace)) << errorText;
    }

    uint32_t m_id = 0;
    TraceHandle m_trace{"MaoFroIfLU"};
};

/// A node on an SQLite file in a folder of the test's own; the framework's singletons
/// end between the test's starts, as they do at a restart.
class TraniNode : public ::testing::Test {
  protected:
    TraniNode() {
        config.stateDir = folder.path();
        node = std::make_unique<frodbtest::LoadModuleNode>(config);
        traceConfigure("MaoFroIfLU=0-16,Ft_RESTART=0-16,FroDbLU=0-16");
        events().clear();
    }
    ~TraniNode() override {
        node.reset();
        transMgr::destroyInstance();
        froMgr::destroyInstance();
    }

    /// One start of the load module's main process: the body runs there.
    void start(const std::function<void()>& body) {
        node->runMain(body);
        transMgr::destroyInstance();
        froMgr::destroyInstance();
    }

    /// The LDNs in froMgr.
    static std::vector<std::string> fros() {
        std::vector<std::string> ldns;
        froMgr::instance().getMOs(ldns);
        return ldns;
    }

    std::size_t rows(const std::string& sql) const { return node->query(sql).size(); }

    hostdbtest::KernelErrors kernelErrors;
    hostdbtest::TempFolder folder;
    hostdb::DatabaseConfig config;
    std::unique_ptr<frodbtest::LoadModuleNode> node;
    TraceCapture trace;
};

}  // namespace tranitest

#endif  // TRANI_TEST_NODE_H
