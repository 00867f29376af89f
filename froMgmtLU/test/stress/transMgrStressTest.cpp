// The random sequences of transMgrModelTest, many seeds and long: a stress run.
#include "transMgrModel.h"

#include <gtest/gtest.h>

namespace {

TEST(TransMgrModelStress, ManyLongRandomSequencesMatchTheReference) {
    for (uint32_t seed = 100; seed < 140; ++seed) {
        ASSERT_NO_FATAL_FAILURE(transmodel::runModel(seed, 50000));
        if (HasFailure()) {
            break;
        }
    }
    transtest::resetFramework();
}

}  // namespace
