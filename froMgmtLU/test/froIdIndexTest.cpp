// The indexes against the plain walks they stand in for. FroIdHandler answers from a
// count and a bitmap of the ids in use, froMgr finds a complete id through a hash
// index; here long random sequences of allocation, reservation, freeing, exhaustion
// and clearing must give every answer, every trace and every list of ids that a walk
// over the list in order of taking (or over the store in LDN order) gives.
#include "FroIdHandler.h"
#include "LevelTraceCapture.h"
#include "transTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using transtest::FroFrameworkTest;
using Trace = std::pair<unsigned, std::string>;

constexpr uint32_t kHighestSearched = 4094;

uint32_t completeId(uint32_t froType, uint32_t external) {
    return ((froType << 12) & 0x7FFFF000u) | (external & 0xFFFu);
}

// The ids as a plain walk keeps them: per type in order of first use, the list in
// order of taking, searched from the front for every question. It writes down the
// lines that the handler is to trace.
class PlainIdWalk {
  public:
    uint32_t getNewFroId(uint32_t froType) {
        const uint32_t external = findLowestFreeFroId(froType);
        allocateFroId(froType, external);
        const uint32_t complete = completeId(froType, external);
        note(8,
             "generateCompleteFroId: generated completeFroId (internalId): 0x%08x from "
             "froType: 0x%08x and external froId: 0x%08x",
             complete, froType, external);
        return complete;
    }

    uint32_t findLowestFreeFroId(uint32_t froType) {
        const std::vector<uint32_t>* used = listOf(froType);
        if (used == nullptr) {
            return 0;
        }
        for (uint32_t candidate = 0; candidate <= kHighestSearched; ++candidate) {
            if (std::find(used->begin(), used->end(), candidate) == used->end()) {
                note(8, "findLowestFreeFroId: found lowest froId: %u for froType: 0x%08x",
                     candidate, froType);
                return candidate;
            }
        }
        return 0;
    }

    void allocateFroId(uint32_t froType, uint32_t external) {
        createNewFroTypeList(froType).push_back(external);
        note(8, "allocateFroId: allocated froId: %u for froType: 0x%08x", external, froType);
    }

    bool reserveFroId(uint32_t froType, uint32_t external) {
        createNewFroTypeList(froType);
        if (isUsed(froType, external)) {
            note(1, "Failed to reserve froId: %u for froType: 0x%08x (already taken)", external,
                 froType);
            return false;
        }
        allocateFroId(froType, external);
        note(8, "reserveFroId: reserved froId: %u for froType: 0x%08x", external, froType);
        return true;
    }

    bool freeFroId(uint32_t froType, uint32_t complete) {
        return erase("freeFroId", froType, complete & 0xFFFu);
    }

    bool freeExternalFroId(uint32_t froType, uint32_t external) {
        return erase("freeExternalFroId", froType, external);
    }

    bool isUsed(uint32_t froType, uint32_t external) const {
        const std::vector<uint32_t>* used = listOf(froType);
        return used != nullptr && std::find(used->begin(), used->end(), external) != used->end();
    }

    std::vector<uint32_t> usedIds(uint32_t froType) const {
        const std::vector<uint32_t>* used = listOf(froType);
        return used != nullptr ? *used : std::vector<uint32_t>();
    }

    void clear() { types.clear(); }

    std::vector<Trace> takeTraces() { return std::exchange(traces, {}); }

  private:
    // One line as the handler's trace writes it.
    __attribute__((format(printf, 3, 4))) void note(unsigned level, const char* pattern, ...) {
        char text[200];
        va_list arguments;
        va_start(arguments, pattern);
        std::vsnprintf(text, sizeof text, pattern, arguments);
        va_end(arguments);
        traces.emplace_back(level, text);
    }

    std::vector<uint32_t>& createNewFroTypeList(uint32_t froType) {
        if (std::vector<uint32_t>* used = listOf(froType)) {
            return *used;
        }
        types.emplace_back(froType, std::vector<uint32_t>());
        note(8, "createNewFroTypeList: created new type vector, froType: 0x%08x", froType);
        return types.back().second;
    }

    // Frees the id and traces it under the name of the caller.
    bool erase(const char* caller, uint32_t froType, uint32_t external) {
        std::vector<uint32_t>* used = listOf(froType);
        if (used == nullptr) {
            return false;
        }
        auto found = std::find(used->begin(), used->end(), external);
        if (found == used->end()) {
            return false;
        }
        used->erase(found);
        note(8, "%s: freed froId: %u for froType: 0x%08x ", caller, external, froType);
        return true;
    }

    std::vector<uint32_t>* listOf(uint32_t froType) {
        for (auto& type : types) {
            if (type.first == froType) {
                return &type.second;
            }
        }
        return nullptr;
    }
    const std::vector<uint32_t>* listOf(uint32_t froType) const {
        return const_cast<PlainIdWalk*>(this)->listOf(froType);
    }

    std::vector<std::pair<uint32_t, std::vector<uint32_t>>> types;
    std::vector<Trace> traces;
};

enum class Op { newId, reserve, allocate, free, freeExternal, lowest, used, clear };

const char* nameOf(Op op) {
    static const char* const names[] = {
        "getNewFroId",       "reserveFroId",        "allocateFroId", "freeFroId",
        "freeExternalFroId", "findLowestFreeFroId", "isUsed",        "clear"};
    return names[static_cast<int>(op)];
}

// Types 1 and 0x80001 share their complete ids; 0xFFFFFFFF loses its high bits.
const uint32_t kTypes[] = {1, 2, 0x80001, 0xFFFFFFFFu};

class FroIdIndexTest : public ::testing::Test {
  protected:
    void SetUp() override { ids.clear(); }
    void TearDown() override { ids.clear(); }

    // One operation on both; whether they answered and traced alike.
    ::testing::AssertionResult step(Op op, uint32_t froType, uint32_t id) {
        // The handler and the walk have the same calls.
        auto call = [&](auto& on) -> uint32_t {
            switch (op) {
                case Op::newId:
                    return on.getNewFroId(froType);
                case Op::reserve:
                    return on.reserveFroId(froType, id);
                case Op::allocate:
                    on.allocateFroId(froType, id);
                    return 0;
                case Op::free:
                    return on.freeFroId(froType, completeId(froType, id));
                case Op::freeExternal:
                    return on.freeExternalFroId(froType, id);
                case Op::lowest:
                    return on.findLowestFreeFroId(froType);
                case Op::used:
                    return on.isUsed(froType, id);
                case Op::clear:
                    on.clear();
                    return 0;
            }
            return 0;
        };
        const uint32_t got = call(ids);
        const uint32_t want = call(plain);
        auto failure = [&]() {
            return ::testing::AssertionFailure() << nameOf(op) << "(froType=0x" << std::hex
                                                 << froType << ", id=" << std::dec << id << "): ";
        };
        if (got != want) {
            return failure() << "answered " << got << ", the walk " << want;
        }
        const std::vector<Trace> expected = plain.takeTraces();
        if (traces.size() != expected.size()) {
            return failure() << traces.size() << " trace lines, the walk " << expected.size();
        }
        for (const Trace& line : expected) {
            const auto times = std::count(expected.begin(), expected.end(), line);
            if (traces.count(line.first, line.second) != static_cast<std::size_t>(times)) {
                return failure() << "missing trace L" << line.first << " \"" << line.second << "\"";
            }
        }
        traces.clear();
        return ::testing::AssertionSuccess();
    }

    ::testing::AssertionResult sameLists() {
        for (uint32_t froType : kTypes) {
            const std::vector<uint32_t> want = plain.usedIds(froType);
            if (ids.getUsedIds(froType) != want || ids.usedIdCount(froType) != want.size()) {
                return ::testing::AssertionFailure() << "the ids of type 0x" << std::hex << froType
                                                     << " differ from the walk's list";
            }
        }
        return ::testing::AssertionSuccess();
    }

    // Mostly a few low ids, so that they collide; sometimes one in use, any of
    // 0..4095, or one beyond (kept unmasked, freed by complete id as its low bits).
    uint32_t pickId(uint32_t froType) {
        const int kind = std::uniform_int_distribution<int>(0, 99)(random);
        const std::vector<uint32_t> used = plain.usedIds(froType);
        if (kind < 20 && !used.empty()) {
            return used[std::uniform_int_distribution<std::size_t>(0, used.size() - 1)(random)];
        }
        if (kind < 90) {
            return std::uniform_int_distribution<uint32_t>(0, 47)(random);
        }
        if (kind < 97) {
            return std::uniform_int_distribution<uint32_t>(0, 4095)(random);
        }
        const uint32_t beyond[] = {4094, 4095, 4096, 4097, 8191, 0xFFFFFFFFu};
        return beyond[std::uniform_int_distribution<std::size_t>(0, 5)(random)];
    }

    void runRandom(int steps) {
        // Weights per Op, in the order of its values; a clear now and then.
        std::discrete_distribution<int> pickOp({20, 20, 3, 20, 15, 10, 10, 0.2});
        for (int n = 0; n < steps; ++n) {
            const Op op = static_cast<Op>(pickOp(random));
            const uint32_t froType =
                kTypes[std::uniform_int_distribution<std::size_t>(0, 3)(random)];
            ASSERT_TRUE(step(op, froType, pickId(froType))) << "random step " << n;
            if (n % 64 == 0) {
                ASSERT_TRUE(sameLists()) << "random step " << n;
            }
        }
        ASSERT_TRUE(sameLists());
    }

    // Every id of 0..4094 of one type taken in random order; then the search has
    // nothing to give and hands out 0 again, until a free opens a gap.
    void runExhaustion(uint32_t froType) {
        std::vector<uint32_t> all(kHighestSearched + 1);
        for (uint32_t id = 0; id < all.size(); ++id) {
            all[id] = id;
        }
        std::shuffle(all.begin(), all.end(), random);
        for (uint32_t id : all) {
            ASSERT_TRUE(step(Op::reserve, froType, id));
        }
        ASSERT_TRUE(sameLists());
        ASSERT_TRUE(step(Op::lowest, froType, 0));
        ASSERT_TRUE(step(Op::newId, froType, 0));
        ASSERT_TRUE(step(Op::newId, froType, 0));
        ASSERT_TRUE(step(Op::reserve, froType, 4095));
        ASSERT_TRUE(step(Op::freeExternal, froType, 0));
        ASSERT_TRUE(step(Op::lowest, froType, 0));
        for (int round = 0; round < 4; ++round) {
            const uint32_t gap =
                std::uniform_int_distribution<uint32_t>(0, kHighestSearched)(random);
            ASSERT_TRUE(step(Op::free, froType, gap));
            ASSERT_TRUE(step(Op::used, froType, gap));
            ASSERT_TRUE(step(Op::newId, froType, 0));
        }
        ASSERT_TRUE(sameLists());
    }

    FroIdHandler& ids = FroIdHandler::instance();
    PlainIdWalk plain;
    LevelTraceCapture traces{{"FroMgmtLU"}};
    std::mt19937 random;
};

TEST_F(FroIdIndexTest, AnswersAndTracesAsThePlainWalk) {
    for (unsigned seed : {1u, 2u, 3u}) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        random.seed(seed);
        ASSERT_NO_FATAL_FAILURE(runRandom(8000));
        ASSERT_NO_FATAL_FAILURE(runExhaustion(kTypes[seed % 4]));
        ASSERT_NO_FATAL_FAILURE(runRandom(500));  // beside the full type
        ASSERT_TRUE(step(Op::clear, 0, 0));
        ASSERT_NO_FATAL_FAILURE(runRandom(8000));
    }
}

// The store's lookups by complete id against a walk over the store in LDN order:
// creates with new and given ids, deletes, clears, with types 1 and 0x80001 sharing
// their complete ids so that two fROs answer to one.
TEST_F(FroFrameworkTest, FroMgrIdLookupsAnswerAsAWalkOverTheStore) {
    typesUsed = {1, 2, 0x80001};
    froMgr& store = froMgr::instance();
    auto walk = [&store](uint32_t complete) {
        std::vector<std::string> ldns;
        store.getMOs(ldns);
        for (const std::string& ldn : ldns) {
            if (static_cast<uint32_t>(store.getFro(ldn)->getFroId()) == complete) {
                return ldn;
            }
        }
        return std::string();
    };
    std::mt19937 random(11);
    auto pick = [&random](int highest) {
        return std::uniform_int_distribution<int>(0, highest)(random);
    };
    for (int n = 0; n < 3000; ++n) {
        std::string ldn = "A=1,B=" + std::to_string(pick(11));
        if (pick(3) == 0) {
            ldn += ",C=1";
        }
        const int kind = pick(99);
        if (kind < 55) {
            store.createMO(ldn, kTypes[pick(2)], pick(2) == 0 ? -1 : pick(5));
        } else if (kind < 99) {
            store.deleteMO(ldn);
        } else {
            store.clear();
        }
        for (uint32_t froType : {1u, 2u}) {
            for (uint32_t external = 0; external < 8; ++external) {
                const uint32_t complete = completeId(froType, external);
                const std::string want = walk(complete);
                ASSERT_EQ(want, store.getLdn(static_cast<int32_t>(complete))) << "step " << n;
                ASSERT_EQ(want, store.getLdn(froType, static_cast<int32_t>(external)));
                ASSERT_EQ(want, store.getLdn(froType | 0x80000u, static_cast<int32_t>(external)));
                ASSERT_EQ(want.empty() ? nullptr : store.getFro(want),
                          store.getFro(froType, static_cast<int32_t>(external)));
            }
        }
    }
}

}  // namespace
