// fro_bench: the fRO store and the transaction manager at their largest: 4,095 fROs
// of one type, every external id of 0..4094.
//
//   transmgr_create_commit_4095_ms   median ms of one transaction that creates 4,095
//                                    fROs with four attributes each with new ids, as
//                                    create requests ask, then commits; beside it the
//                                    same with the ids given
//   transmgr_rollback_ids_left       ids still taken after a rollback of the same
//                                    transaction (must be 0)
//   fromgr_lookup_ns                 median ns of froMgr::getFro by LDN text with the
//                                    4,095 fROs stored
//
// References, measured interleaved in the same run: the same 4,095 objects with their
// four attributes put into a std::map keyed by LDN text (the bare data work of a
// commit), and a find in that std::map (the obvious store by text).
//
// Times are the CPU time of the measuring thread, so that other work on a shared
// machine does not count; the wall time of the whole run is printed beside them.
#include "Attribute.h"
#include "AttributeTypes.h"
#include "FroIdHandler.h"
#include "fRO.h"
#include "froMgr.h"
#include "oseHost.h"
#include "transMgr.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <cstdio>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

// The CPU time of this thread.
struct Clock {
    using time_point = std::chrono::nanoseconds;
    static time_point now() {
        timespec now{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
    }
};

constexpr int kCount = 4095;
constexpr uint32_t kType = 0x42;
// Every round measures each case once. A new id costs about what a given one does:
// the lowest free id comes from a bitmap of the ids in use, not from a search of the
// list of them.
constexpr int kRounds = 5;
constexpr int kLookups = 200000;
constexpr int kLookupBatches = 20;

double msSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

std::vector<std::string> makeLdns() {
    std::vector<std::string> ldns;
    for (int n = 0; n < kCount; ++n) {
        ldns.push_back("ManagedElement=1,Equipment=1,Unit=" + std::to_string(n));
    }
    return ldns;
}

Attributes attributesOf(int n) {
    return {Attribute("operationalState", attrType::S32, std::to_string(n % 2)),
            Attribute("userLabel", attrType::STRING, "unit " + std::to_string(n)),
            Attribute("position", attrType::U32, std::to_string(n)),
            Attribute("productName", attrType::STRING, "RRU 22")};
}

void reset() {
    transMgr::destroyInstance();
    froMgr::destroyInstance();
    FroIdHandler::instance().clear();
}

// Creates the 4,095 in one transaction; false when any create fails.
bool createAll(const std::vector<std::string>& ldns, int32_t transactionId, bool newIds) {
    transMgr& manager = transMgr::instance();
    for (int n = 0; n < kCount; ++n) {
        int32_t id = newIds ? -1 : n;
        if (!manager.createMO(transactionId, ldns[static_cast<std::size_t>(n)], attributesOf(n),
                              kType, id)) {
            return false;
        }
    }
    return true;
}

bool commitAll(int32_t transactionId) {
    std::vector<std::string> created, set, deleted;
    return transMgr::instance().commit(transactionId, created, set, deleted) &&
           created.size() == static_cast<std::size_t>(kCount);
}

struct Plain {
    uint32_t id;
    Attributes attributes;
};

double referenceCommitMs(const std::vector<std::string>& ldns) {
    const Clock::time_point start = Clock::now();
    std::map<std::string, Plain> store;
    for (int n = 0; n < kCount; ++n) {
        store.emplace(ldns[static_cast<std::size_t>(n)],
                      Plain{static_cast<uint32_t>(n), attributesOf(n)});
    }
    const double ms = msSince(start);
    if (store.size() != static_cast<std::size_t>(kCount)) {
        std::fprintf(stderr, "reference store incomplete\n");
    }
    return ms;
}

}  // namespace

int main() {
    const auto wallStart = std::chrono::steady_clock::now();
    ose_adopt_thread("fro_bench");
    const std::vector<std::string> ldns = makeLdns();
    bool allOk = true;

    std::vector<double> newIdsMs, givenIdsMs, referenceMs, rollbackMs;
    std::size_t idsLeft = 0;
    for (int round = 0; round < kRounds; ++round) {
        reset();
        Clock::time_point start = Clock::now();
        allOk = createAll(ldns, 1, true) && commitAll(1) && allOk;
        newIdsMs.push_back(msSince(start));
        allOk = froMgr::instance().size() == static_cast<std::size_t>(kCount) && allOk;

        referenceMs.push_back(referenceCommitMs(ldns));

        reset();
        start = Clock::now();
        allOk = createAll(ldns, 2, false) && commitAll(2) && allOk;
        givenIdsMs.push_back(msSince(start));

        // The rollback of the same transaction, with new ids once, else with the ids given.
        reset();
        allOk = createAll(ldns, 3, round == 0) && allOk;
        start = Clock::now();
        transMgr::instance().rollback(3);
        rollbackMs.push_back(msSince(start));
        idsLeft += FroIdHandler::instance().getUsedIds(kType).size();
    }

    // Lookups by LDN in random order over the full store.
    reset();
    allOk = createAll(ldns, 4, false) && commitAll(4) && allOk;
    std::mt19937 random(7);
    std::vector<std::string> keys;
    keys.reserve(kLookups);
    for (int n = 0; n < kLookups; ++n) {
        keys.push_back(
            ldns[std::uniform_int_distribution<std::size_t>(0, ldns.size() - 1)(random)]);
    }
    std::map<std::string, std::shared_ptr<int>> referenceStore;
    for (const std::string& ldn : ldns) {
        referenceStore.emplace(ldn, std::make_shared<int>(0));
    }
    froMgr& store = froMgr::instance();
    std::vector<double> lookupNs, referenceLookupNs;
    std::size_t found = 0;
    const std::size_t perBatch = keys.size() / kLookupBatches;
    for (int batch = 0; batch < kLookupBatches; ++batch) {
        const std::size_t first = static_cast<std::size_t>(batch) * perBatch;
        Clock::time_point start = Clock::now();
        for (std::size_t n = first; n < first + perBatch; ++n) {
            found += store.getFro(keys[n]) != nullptr ? 1 : 0;
        }
        lookupNs.push_back(msSince(start) * 1e6 / static_cast<double>(perBatch));
        start = Clock::now();
        for (std::size_t n = first; n < first + perBatch; ++n) {
            found += referenceStore.find(keys[n]) != referenceStore.end() ? 1 : 0;
        }
        referenceLookupNs.push_back(msSince(start) * 1e6 / static_cast<double>(perBatch));
    }
    allOk = found == 2 * perBatch * kLookupBatches && allOk;
    reset();

    const double createCommit = median(newIdsMs);
    const double lookup = median(lookupNs);
    std::printf("transMgr create+commit of %d fROs, new ids: median %.2f ms (goal <= 50)\n", kCount,
                createCommit);
    std::printf("  the same with the ids given:       median %.2f ms\n", median(givenIdsMs));
    std::printf("  reference std::map of the objects: median %.2f ms\n", median(referenceMs));
    std::printf("  rollback of the creates:           median %.2f ms, ids left taken: %zu\n",
                median(rollbackMs), idsLeft);
    std::printf(
        "froMgr lookup by LDN among %d: median %.1f ns (goal <= 1000); std::map find %.1f ns\n",
        kCount, lookup, median(referenceLookupNs));
    std::printf(
        "(CPU time of the measuring thread; the whole run took %.1f s of wall time)\n",
        std::chrono::duration<double>(std::chrono::steady_clock::now() - wallStart).count());
    std::printf("figure transmgr_create_commit_4095_ms %.2f\n", createCommit);
    std::printf("figure transmgr_create_commit_4095_given_ids_ms %.2f\n", median(givenIdsMs));
    std::printf("figure transmgr_create_commit_4095_vs_std_map_ratio %.1f\n",
                createCommit / median(referenceMs));
    std::printf("figure transmgr_rollback_ids_left %zu\n", idsLeft);
    std::printf("figure fromgr_lookup_ns %.1f\n", lookup);
    std::printf("figure fromgr_lookup_vs_std_map_ratio %.2f\n", lookup / median(referenceLookupNs));
    if (!allOk) {
        std::printf("FAILED: a create, commit or lookup did not do what it should\n");
    }
    ose_leave_thread();
    return allOk && idsLeft == 0 ? 0 : 1;
}
