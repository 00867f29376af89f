// The random sequences of transMgrModelTest, many seeds and long: a stress run.
#include "traceHost.h"
#include "transMgrModel.h"

#include <gtest/gtest.h>

namespace {

TEST(TransMgrModelStress, ManyLongRandomSequencesMatchTheReference) {
    traceSetMask("FroMgmtLU", 0);
    traceSetMask("Ft_CONFIG", 0);
    for (uint32_t seed = 100; seed < 140; ++seed) {
        ASSERT_NO_FATAL_FAILURE(transmodel::runModel(seed, 50000));
        if (HasFailure()) {
            break;
        }
    }
    traceSetMask("FroMgmtLU", kTraceUnnamedMask);
    traceSetMask("Ft_CONFIG", kTraceUnnamedMask);
    transtest::resetFramework();
}

}  // namespace
