#include "NodeInChild.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace nodetest {

namespace {

const ::testing::TestResult& currentResult() {
    return *::testing::UnitTest::GetInstance()->current_test_info()->result();
}

// The failures since `before` go to stderr; 1 when there were any.
int reportFailures(int before) {
    const ::testing::TestResult& result = currentResult();
    int failed = 0;
    for (int i = before; i < result.total_part_count(); ++i) {
        const ::testing::TestPartResult& part = result.GetTestPartResult(i);
        if (part.failed()) {
            ++failed;
            std::fprintf(stderr, "%s:%d: %s\n", part.file_name() ? part.file_name() : "?",
                         part.line_number(), part.message());
        }
    }
    return failed == 0 ? 0 : 1;
}

}  // namespace

void inChildProcess(const std::function<void()>& body) {
    EXPECT_EXIT(
        {
            const int before = currentResult().total_part_count();
            body();
            std::exit(reportFailures(before));
        },
        ::testing::ExitedWithCode(0), "");
}

void withNode(ulsanode::NodeBootOptions options,
              const std::function<void(const ulsanode::BootedNode&)>& body) {
    ulsanode::BootedNode node;
    std::string problem;
    ASSERT_TRUE(ulsanode::startNode(options, node, problem)) << problem;
    options.managerFactory = nullptr;  // the main process holds the only copy now
    struct StopAtEnd {
        ~StopAtEnd() { ulsanode::stopNode(); }  // also when an assertion returns early
    } stopAtEnd;
    body(node);
}

void withClient(OSTIME wait, const std::function<void(mgmt::ManagementClient&)>& body) {
    mgmt::ManagementClient client;
    const mgmt::Sent connected = client.connect(wait);
    ASSERT_TRUE(connected.ok()) << connected.errorText;
    ASSERT_TRUE(client.initiate("R1A", wait).ok());
    body(client);
    client.close();
}

}  // namespace nodetest
