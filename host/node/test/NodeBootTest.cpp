// A node booted by the library, with a manager of the test swapped in, driven from a
// management client.
#include "KernelErrors.h"
#include "ManagementClient.h"
#include "NodeBoot.h"
#include "TempFolder.h"
#include "TimeLimit.h"
#include "oseHost.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>

namespace {

constexpr auto kLimit = std::chrono::seconds(40);

// Tells the test on which process the application initialised it.
class RecordingManager : public ULSpectrumAnalyzerManager {
  public:
    explicit RecordingManager(std::promise<std::string>& ran) : m_ran(ran) {}
    bool init() override {
        char name[64] = {};
        ose_process_name(current_process(), name, sizeof name);
        m_ran.set_value(name);
        return true;
    }

  private:
    std::promise<std::string>& m_ran;
};

TEST(NodeBoot, boots_with_the_test_manager_and_serves_transactions_until_stopped) {
    hostdbtest::KernelErrors kernelErrors;
    hostdbtest::TempFolder folder;
    std::promise<std::string> ran;
    RecordingManager manager(ran);
    ulsanode::NodeBootOptions options;
    options.stateDir = folder.path();
    options.managerFactory = [&manager]() -> ULSpectrumAnalyzerManager* { return &manager; };
    ulsanode::BootedNode node;
    std::string problem;
    ASSERT_TRUE(ulsanode::startNode(options, node, problem)) << problem;
    struct StopAtEnd {
        ~StopAtEnd() { ulsanode::stopNode(); }  // also when an assertion returns early
    } stopAtEnd;
    EXPECT_NE(node.entry, 0u);
    EXPECT_NE(node.database.find(folder.path()), std::string::npos);
    ulsanode::BootedNode second;
    EXPECT_FALSE(ulsanode::startNode(options, second, problem));  // one node at a time
    EXPECT_EQ(second.entry, 0u);

    std::future<std::string> initialised = ran.get_future();
    ASSERT_EQ(initialised.wait_for(kLimit), std::future_status::ready);
    EXPECT_EQ(initialised.get(), "ulSpectrumAnalyzer_main_thread");
    hostdbtest::runAsKernelProcess(kLimit, "mgmtTest", [] {
        mgmt::ManagementClient client;
        const mgmt::Confirm created = client.createTransaction(5000);
        ASSERT_TRUE(created.ok()) << created.describe();
        EXPECT_TRUE(client.commit(created.transactionId, 5000).ok());
    });
    EXPECT_EQ(hostdbtest::KernelErrors::take(), std::vector<std::string>{});
}

TEST(NodeBoot, a_database_that_cannot_be_prepared_is_a_reason_not_a_half_node) {
    ulsanode::NodeBootOptions options;
    options.stateDir = "/proc/no-such-folder/node";
    ulsanode::BootedNode node;
    std::string problem;
    EXPECT_FALSE(ulsanode::startNode(options, node, problem));
    EXPECT_FALSE(problem.empty());
    EXPECT_EQ(ose_current_process_or_zero(), 0u);
}

}  // namespace
