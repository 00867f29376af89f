// The framework runs on a kernel process (trace registration asks for the calling
// process), so the test program's thread becomes one for the whole run. Fixtures
// of this program must not adopt or shut the kernel down themselves.
#include "oseHost.h"

#include <gtest/gtest.h>

namespace {

class KernelProcessEnvironment : public ::testing::Environment {
  public:
    void SetUp() override { ose_adopt_thread("froMgmt_test"); }
    void TearDown() override { ose_leave_thread(); }
};

::testing::Environment* const kernelProcess =
    ::testing::AddGlobalTestEnvironment(new KernelProcessEnvironment);

}  // namespace
