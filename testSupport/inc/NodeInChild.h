// Tests of a whole node: each boot in a child process of its own, since a restart of
// the node is a new Linux process (the load module's state outlives stopNode).
//
//   nodetest::inChildProcess([&] {
//       nodetest::withNode(options, [&](const ulsanode::BootedNode& node) {
//           hostdbtest::runAsKernelProcess(kLimit, "myTest", [&] {
//               nodetest::withClient(kWait, [&](mgmt::ManagementClient& client) { ... });
//           });
//       });
//   });
#ifndef TEST_SUPPORT_NODE_IN_CHILD_H
#define TEST_SUPPORT_NODE_IN_CHILD_H

#include "ManagementClient.h"
#include "NodeBoot.h"

#include <functional>

namespace nodetest {

/// Runs body in a child process. The child's failures are written to stderr, where
/// the parent shows them, and make its exit code, which the test expects to be 0.
void inChildProcess(const std::function<void()>& body);

/// Boots a node with options and runs body; stops the node at the end, also when an
/// assertion ends body early. A factory in options that owns the manager is dropped
/// after the boot, so that the node's copy is the only one.
void withNode(ulsanode::NodeBootOptions options,
              const std::function<void(const ulsanode::BootedNode&)>& body);

/// On a kernel process: a management client connected and initiated ("R1A") for body,
/// closed after it.
void withClient(OSTIME wait, const std::function<void(mgmt::ManagementClient&)>& body);

}  // namespace nodetest

#endif  // TEST_SUPPORT_NODE_IN_CHILD_H
