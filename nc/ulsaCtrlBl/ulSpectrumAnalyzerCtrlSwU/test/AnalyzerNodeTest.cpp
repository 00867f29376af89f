// A whole node with the load module's own manager, driven through the management
// client: the analyzer is created and committed, its actions answer as the operator
// sees them, and after a restart (a new Linux process on the same database) it is back.
#include "KernelErrors.h"
#include "ManagementClient.h"
#include "NodeInChild.h"
#include "TempFolder.h"
#include "TimeLimit.h"
#include "ULSpectrumAnalyzerImpl.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr auto kLimit = std::chrono::seconds(60);
constexpr OSTIME kWait = 10000;
const mgmt::FroRef kAnalyzer{ULSpectrumAnalyzerImpl::kFroType,
                             "ManagedElement=1,UlSpectrumAnalyzer=1", 0};

class AnalyzerNode : public ::testing::Test {
  protected:
    /// Boots a node with the default manager on the test's folder in a child process (a
    /// restart is a new Linux process), runs the body with a connected client, stops.
    void bootInChild(const std::function<void(mgmt::ManagementClient&)>& body) {
        nodetest::inChildProcess([&] {
            ulsanode::NodeBootOptions options;
            options.stateDir = m_folder.path();
            nodetest::withNode(std::move(options), [&](const ulsanode::BootedNode&) {
                hostdbtest::runAsKernelProcess(kLimit, "analyzerNodeTest",
                                               [&] { nodetest::withClient(kWait, body); });
            });
        });
    }

    static mgmt::Confirm action(mgmt::ManagementClient& client, const std::string& name,
                                const Attributes& parameters) {
        return client.actionWithConfirm(0, kAnalyzer, name, parameters, kWait);
    }

    hostdbtest::KernelErrors m_kernelErrors;
    hostdbtest::TempFolder m_folder;
};

TEST_F(AnalyzerNode, theNodeServesTheAnalyzerAndBringsItBackAfterARestart) {
    bootInChild([](mgmt::ManagementClient& client) {
        const mgmt::Confirm transaction = client.createTransaction(kWait);
        ASSERT_TRUE(transaction.ok()) << transaction.describe();
        const mgmt::Confirm created =
            client.create(transaction.transactionId, kAnalyzer, {}, kWait);
        ASSERT_TRUE(created.ok()) << created.describe();
        ASSERT_TRUE(client.commit(transaction.transactionId, kWait).ok());
        mgmt::FroRef analyzer = kAnalyzer;
        analyzer.externalFroId = created.externalFroId;

        const mgmt::Confirm unknown = action(client, "calibrate", {});
        EXPECT_EQ(unknown.outcome, mgmt::Outcome::answered);
        EXPECT_EQ(unknown.result, 1u);
        EXPECT_EQ(unknown.errorText, "Action calibrate not supported!");

        const mgmt::Confirm stop = action(
            client, "stopUlsaSampling", {{"targetRfPort", "STRING", "ManagedElement=1,RfPort=A"}});
        EXPECT_TRUE(stop.ok()) << stop.describe();

        // Each change of the status and of info goes up as an indication.
        std::vector<std::string> changes;
        client.onIndication([&changes](const mgmt::Indication& indication) {
            for (const char* name : {"ulSpectrumSamplingStatus", "info"}) {
                if (!indication.value(name).empty()) {
                    changes.push_back(name + ("=" + indication.value(name)));
                }
            }
        });
        ASSERT_TRUE(client.subscribe(ULSpectrumAnalyzerImpl::kFroType).ok());
        const mgmt::Confirm start =
            action(client, "startUlsaSampling",
                   {{"samplingType", "S32", "0"}, {"ipAddress", "STRING", ""}});
        EXPECT_EQ(start.result, ULSpectrumAnalyzerImpl::kResultFailed);
        EXPECT_EQ(start.errorText, "Invalid action parameter(s)");
        const mgmt::Confirm status =
            client.get(0, analyzer, {"ulSpectrumSamplingStatus", "info"}, kWait);
        ASSERT_TRUE(status.ok()) << status.describe();
        // The start is refused with status 3, then goes on as a run does and sets 1.
        EXPECT_EQ(status.value("ulSpectrumSamplingStatus"), "1");
        // The failed start goes on to make its client, which then waits for the status
        // service of a unit that the empty port names: the status stands at 1.
        client.dispatchIndications(1000);
        ASSERT_GE(changes.size(), 2u);
        EXPECT_EQ(std::vector<std::string>(changes.begin(), changes.begin() + 2),
                  (std::vector<std::string>{"ulSpectrumSamplingStatus=3",
                                            "ulSpectrumSamplingStatus=1"}));
    });

    bootInChild([](mgmt::ManagementClient& client) {
        const mgmt::Confirm back =
            client.get(0, kAnalyzer, {"ulSpectrumSamplingStatus", "targetRfPort"}, kWait);
        ASSERT_TRUE(back.ok()) << back.describe();
        // No run comes back: the attributes stand as the class gives them.
        EXPECT_EQ(back.value("ulSpectrumSamplingStatus"), "0");
        EXPECT_EQ(back.value("targetRfPort"), "0");
        EXPECT_EQ(hostdbtest::KernelErrors::take(), std::vector<std::string>{});
    });
}

}  // namespace
