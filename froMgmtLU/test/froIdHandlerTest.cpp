// Ids: the layout of a complete id, reservation and reuse per type.
#include "FroIdHandler.h"
#include "LevelTraceCapture.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

class FroIdHandlerTest : public ::testing::Test {
  protected:
    void SetUp() override { FroIdHandler::instance().clear(); }
    void TearDown() override { FroIdHandler::instance().clear(); }
    FroIdHandler& ids = FroIdHandler::instance();
};

TEST_F(FroIdHandlerTest, CompleteIdLayout) {
    EXPECT_EQ(0x00012003u, ids.generateCompleteFroId(0x12, 3));
    EXPECT_EQ(3u, ids.getExternalFroId(0x00012003u));
    // Only the low 19 bits of the type fit, and bit 31 stays clear.
    EXPECT_EQ(ids.transformExternalFroIdToInternal(1, 5),
              ids.transformExternalFroIdToInternal(0x80001, 5));
    EXPECT_EQ(0x7FFFF000u, ids.transformExternalFroIdToInternal(0xFFFFFFFFu, 0));
    EXPECT_EQ(0x7FFFFFFFu, ids.transformExternalFroIdToInternal(0xFFFFFFFFu, 0xFFFFFFFFu));
    // The external part is cut to 12 bits.
    EXPECT_EQ(0x00001000u, ids.transformExternalFroIdToInternal(1, 4096));
    EXPECT_EQ(0x00001FFFu, ids.transformExternalFroIdToInternal(1, 4095));
}

TEST_F(FroIdHandlerTest, NewIdsAreTheLowestFreeOnesPerType) {
    EXPECT_EQ(ids.generateCompleteFroId(5, 0), ids.getNewFroId(5));
    EXPECT_EQ(ids.generateCompleteFroId(5, 1), ids.getNewFroId(5));
    EXPECT_EQ(ids.generateCompleteFroId(6, 0), ids.getNewFroId(6));  // types are apart
    EXPECT_TRUE(ids.freeFroId(5, ids.generateCompleteFroId(5, 0)));
    EXPECT_FALSE(ids.freeFroId(5, ids.generateCompleteFroId(5, 0)));  // already free
    EXPECT_EQ(ids.generateCompleteFroId(5, 0), ids.getNewFroId(5));
    EXPECT_EQ(ids.generateCompleteFroId(5, 2), ids.getNewFroId(5));
    EXPECT_FALSE(ids.freeFroId(99, 0));  // unknown type

    // A freed id in the middle is found again; the list keeps the order of taking.
    EXPECT_TRUE(ids.freeExternalFroId(5, 1));
    EXPECT_EQ((std::vector<uint32_t>{0, 2}), ids.getUsedIds(5));
    EXPECT_EQ(ids.generateCompleteFroId(5, 1), ids.getNewFroId(5));
    EXPECT_EQ((std::vector<uint32_t>{0, 2, 1}), ids.getUsedIds(5));
}

TEST_F(FroIdHandlerTest, ReservationsAndTheirFailures) {
    LevelTraceCapture traces({"FroMgmtLU"});
    EXPECT_TRUE(ids.reserveFroId(0x12, 3));
    EXPECT_TRUE(ids.isUsed(0x12, 3));
    EXPECT_FALSE(ids.reserveFroId(0x12, 3));
    EXPECT_TRUE(
        traces.has(1, "Failed to reserve froId: 3 for froType: 0x00000012 (already taken)"));
    EXPECT_TRUE(traces.has(8, "reserveFroId: reserved froId: 3 for froType: 0x00000012"));
    EXPECT_EQ(0u, ids.findLowestFreeFroId(0x12));
    EXPECT_TRUE(ids.freeFroId(0x12, 0x00012003u));
    EXPECT_TRUE(traces.has(8, "freeFroId: freed froId: 3 for froType: 0x00000012 "));

    // An external id of 4096 or more is kept as given but cut in the complete id,
    // so freeing by complete id cannot find it.
    EXPECT_TRUE(ids.reserveFroId(1, 4096));
    EXPECT_FALSE(ids.freeFroId(1, ids.transformExternalFroIdToInternal(1, 4096)));
    EXPECT_TRUE(ids.isUsed(1, 4096));
    EXPECT_TRUE(ids.freeExternalFroId(1, 4096));
    EXPECT_TRUE(traces.has(8, "freeExternalFroId: freed froId: 4096 for froType: 0x00000001 "));

    ids.clear();
    EXPECT_FALSE(ids.isUsed(1, 0));
    EXPECT_TRUE(ids.getUsedIds(0x12).empty());
}

TEST_F(FroIdHandlerTest, ExhaustionIsNotDetected) {
    for (uint32_t n = 0; n < 4094; ++n) {
        ids.allocateFroId(3, n);
    }
    EXPECT_EQ(ids.generateCompleteFroId(3, 4094), ids.getNewFroId(3));
    // 4095 is never handed out by the search; the next one is 0 again.
    EXPECT_EQ(0u, ids.findLowestFreeFroId(3));
    EXPECT_EQ(ids.generateCompleteFroId(3, 0), ids.getNewFroId(3));
    const std::vector<uint32_t> used = ids.getUsedIds(3);
    EXPECT_EQ(4096u, used.size());
    EXPECT_EQ(2, std::count(used.begin(), used.end(), 0u));
    EXPECT_TRUE(ids.reserveFroId(3, 4095));
}

}  // namespace
