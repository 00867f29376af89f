// A node booted by ulsaNodeBoot with a manager of the test that registers a small fRO
// class through FroHandler, driven through the management client: create and commit
// (the row in the database), set and get, delete, and a restart on the same database
// that brings the fRO back.
#include "FroDatabase.h"
#include "FroHandler.h"
#include "KernelErrors.h"
#include "ManagementClient.h"
#include "MaoFroGenericBase.h"
#include "NodeInChild.h"
#include "OdbcSession.h"
#include "RestoreHandlerGenericBase.h"
#include "TempFolder.h"
#include "TimeLimit.h"
#include "TraniGenericBase.h"
#include "froMgr.h"
#include "transMgr.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>

namespace {

constexpr auto kLimit = std::chrono::seconds(60);
constexpr OSTIME kWait = 10000;
constexpr uint32_t kProbeType = 0x2001;

// The application's part as a manager: the service layer on one fRO class, "Probe",
// stored in the database under the prefix "e2e". It ends on the main process when the
// application drops its factory, and takes the framework's instances with it, as a
// restart of the node does.
class ProbeManager : public ULSpectrumAnalyzerManager {
  public:
    ~ProbeManager() override {
        handler.reset();
        FroDatabase::deleteInstance();
        transMgr::destroyInstance();
        froMgr::destroyInstance();
    }
    bool init() override {
        handler = std::make_unique<FroHandler>(&mao, &trani, &restorer);
        // Every fRO of the class has these from its birth, at their defaults unless the
        // create gives a value.
        handler->startFroFramework(
            "e2e", mgmt::kDefaultServiceName,
            {{"Probe",
              kProbeType,
              nullptr,
              {{"level", "U32", "0"}, {"name", "STRING", "none"}, {"info", "S32", "0"}},
              0}});
        return true;
    }

  private:
    MaoFroGenericBase mao;
    TraniGenericBase trani;
    RestoreHandlerGenericBase restorer;
    std::unique_ptr<FroHandler> handler;
};

class EndToEnd : public ::testing::Test {
  protected:
    /// Boots a node on the test's folder in a child process of its own, as a restart
    /// of the node is a new Linux process; runs the body there as a kernel process of
    /// the test with a connected client, then stops the node. The child's failures are
    /// its exit code.
    void bootInChild(const std::function<void(mgmt::ManagementClient&)>& body) {
        nodetest::inChildProcess([&] {
            ulsanode::NodeBootOptions options;
            options.stateDir = folder.path();
            // The manager belongs to the factory, which the main process holds.
            auto owner = std::make_shared<std::unique_ptr<ProbeManager>>();
            options.managerFactory = [owner]() -> ULSpectrumAnalyzerManager* {
                *owner = std::make_unique<ProbeManager>();
                return owner->get();
            };
            owner.reset();
            nodetest::withNode(std::move(options), [&](const ulsanode::BootedNode& node) {
                database = node.database;
                hostdbtest::runAsKernelProcess(kLimit, "mgmtTest",
                                               [&] { nodetest::withClient(kWait, body); });
            });
        });
    }

    /// One transaction with the request in it, committed; the request's confirm.
    static mgmt::Confirm committed(mgmt::ManagementClient& client,
                                   const std::function<mgmt::Confirm(uint32_t)>& request) {
        const mgmt::Confirm transaction = client.createTransaction(kWait);
        EXPECT_TRUE(transaction.ok()) << transaction.describe();
        const mgmt::Confirm confirm = request(transaction.transactionId);
        EXPECT_TRUE(confirm.ok()) << confirm.describe();
        const mgmt::Confirm commit = client.commit(transaction.transactionId, kWait);
        EXPECT_TRUE(commit.ok()) << commit.describe();
        return confirm;
    }

    std::size_t rows(const std::string& sql) {
        hostdb::OdbcSession session(database);
        hostdb::SqlRows found;
        EXPECT_TRUE(session.connect() && session.query(sql, found)) << sql;
        return found.size();
    }

    hostdbtest::KernelErrors kernelErrors;
    hostdbtest::TempFolder folder;
    std::string database;
};

TEST_F(EndToEnd, create_commit_set_get_delete_and_the_fro_is_back_after_a_restart) {
    const mgmt::FroRef probe{kProbeType, "Top=1,Probe=1", 0};
    const mgmt::FroRef gone{kProbeType, "Top=1,Probe=2", 0};
    const mgmt::FroRef rolledBack{kProbeType, "Top=1,Probe=3", 0};
    bootInChild([&](mgmt::ManagementClient& client) {
        mgmt::FroRef first = probe;
        mgmt::FroRef second = gone;
        first.externalFroId =
            committed(client, [&](uint32_t t) {
                return client.create(t, probe, {{"level", "U32", "3"}, {"name", "STRING", "a"}},
                                     kWait);
            }).externalFroId;
        // Fewer attributes than the first: the others keep their defaults.
        second.externalFroId = committed(client, [&](uint32_t t) {
                                   return client.create(t, gone, {{"level", "U32", "1"}}, kWait);
                               }).externalFroId;
        EXPECT_NE(first.externalFroId, second.externalFroId);
        EXPECT_EQ(rows("select * from e2e_frodata_probe_initial"), 2u);
        const mgmt::Confirm created = client.get(0, first, {"level", "name", "info"}, kWait);
        EXPECT_EQ(created.value("level"), "3");
        EXPECT_EQ(created.value("name"), "a");
        EXPECT_EQ(created.value("info"), "0");
        EXPECT_EQ(client.get(0, second, {"name"}, kWait).value("name"), "none");

        // A set of one that no create gave.
        committed(client, [&](uint32_t t) {
            return client.set(
                t, first, {{"level", "U32", "5"}, {"name", "STRING", "it's"}, {"info", "S32", "2"}},
                kWait);
        });
        const mgmt::Confirm got = client.get(0, first, {"level", "name", "info"}, kWait);
        EXPECT_EQ(got.value("level"), "5");
        EXPECT_EQ(got.value("name"), "it's");
        EXPECT_EQ(got.value("info"), "2");

        committed(client, [&](uint32_t t) { return client.remove(t, second, kWait); });
        const mgmt::Confirm missing = client.get(0, second, {"level"}, kWait);
        EXPECT_EQ(missing.outcome, mgmt::Outcome::answered);
        EXPECT_EQ(missing.result, 1u);
        EXPECT_EQ(missing.errorText, "fRO not found.");

        // A create that is rolled back leaves nothing.
        const mgmt::Confirm transaction = client.createTransaction(kWait);
        EXPECT_TRUE(client.create(transaction.transactionId, rolledBack,
                                  {{"level", "U32", "9"}, {"name", "STRING", "c"}}, kWait)
                        .ok());
        EXPECT_TRUE(client.rollback(transaction.transactionId, kWait).ok());
        EXPECT_EQ(rows("select * from e2e_frodata_probe_initial"), 1u);
    });

    bootInChild([&](mgmt::ManagementClient& client) {
        const mgmt::Confirm back = client.get(0, probe, {"level", "name", "info"}, kWait);
        ASSERT_TRUE(back.ok()) << back.describe();
        EXPECT_EQ(back.value("level"), "5");
        EXPECT_EQ(back.value("name"), "it's");
        EXPECT_EQ(back.value("info"), "2");
        EXPECT_EQ(client.get(0, gone, {"level"}, kWait).result, 1u);
        EXPECT_EQ(client.get(0, rolledBack, {"level"}, kWait).result, 1u);
        EXPECT_EQ(hostdbtest::KernelErrors::take(), std::vector<std::string>{});
    });
}

}  // namespace
