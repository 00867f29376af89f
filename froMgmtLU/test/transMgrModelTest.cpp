// Long random sequences of creates, sets, deletes, reads, commits and rollbacks over
// several transactions, against the reference model: fixed seeds, so that a failure
// names the seed and step that reproduce it.
#include "transMgrModel.h"

#include <gtest/gtest.h>

namespace {

TEST(TransMgrModel, RandomSequencesMatchTheReference) {
    for (uint32_t seed : {1u, 2u, 3u, 20240607u}) {
        ASSERT_NO_FATAL_FAILURE(transmodel::runModel(seed, 3000));
        if (HasFailure()) {
            break;
        }
    }
    transtest::resetFramework();
}

}  // namespace
