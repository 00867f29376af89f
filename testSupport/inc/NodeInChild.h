// Tests of a whole node: each boot in a child process of its own, since a restart of
// the node is a new Linux process (the load module's state outlives stopNode).
// The including test links ulsaNodeBoot and mgmtClient.
#ifndef TEST_SUPPORT_NODE_IN_CHILD_H
#define TEST_SUPPORT_NODE_IN_CHILD_H

#include "ManagementClient.h"
#include "NodeBoot.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

namespace nodetest {

/// Runs body in a child process. The child's failures go to stderr, where the parent
/// shows them, and make its exit code, which the test expects to be 0.
inline void inChildProcess(const std::function<void()>& body) {
    const auto result = [] {
        return ::testing::UnitTest::GetInstance()->current_test_info()->result();
    };
    EXPECT_EXIT(
        {
            const int before = result()->total_part_count();
            body();
            int failed = 0;
            for (int i = before; i < result()->total_part_count(); ++i) {
                const ::testing::TestPartResult& part = result()->GetTestPartResult(i);
                if (part.failed()) {
                    ++failed;
                    std::fprintf(stderr, "%s:%d: %s\n", part.file_name() ? part.file_name() : "?",
                                 part.line_number(), part.message());
                }
            }
            std::exit(failed == 0 ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

/// Boots a node with options and runs body; stops the node at the end, also when an
/// assertion ends body early. The factory in options is dropped after the boot, so
/// that a manager it owns ends with the node's copy.
inline void withNode(ulsanode::NodeBootOptions options,
                     const std::function<void(const ulsanode::BootedNode&)>& body) {
    ulsanode::BootedNode node;
    std::string problem;
    ASSERT_TRUE(ulsanode::startNode(options, node, problem)) << problem;
    options.managerFactory = nullptr;
    struct StopAtEnd {
        ~StopAtEnd() { ulsanode::stopNode(); }
    } stopAtEnd;
    body(node);
}

/// On a kernel process: a management client connected and initiated for body.
inline void withClient(OSTIME wait, const std::function<void(mgmt::ManagementClient&)>& body) {
    mgmt::ManagementClient client;
    const mgmt::Sent connected = client.connect(wait);
    ASSERT_TRUE(connected.ok()) << connected.errorText;
    ASSERT_TRUE(client.initiate("R1A", wait).ok());
    body(client);
    client.close();
}

}  // namespace nodetest

#endif  // TEST_SUPPORT_NODE_IN_CHILD_H
