// What the tests of the store, the transactions and the state handlers share: a
// fixture that starts and ends every test with nothing stored, nothing pending and
// no id taken, and the check that every id taken is held by a fRO.
#ifndef TRANS_TEST_SUPPORT_H
#define TRANS_TEST_SUPPORT_H

#include "FroIdHandler.h"
#include "fRO.h"
#include "froMgr.h"
#include "traceGroups.h"
#include "transMgr.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace transtest {

/// The store reports what happens to it in the node's group "Ft_CONFIG", which the
/// start-up code registers; a test program registers it once here.
inline void registerStoreTraceGroup() {
    static const bool registered = [] {
        traceGroups::registerTraceGroup("Ft_CONFIG", &traceGroups::Ft_CONFIG);
        return true;
    }();
    (void)registered;
}

/// Ends the managers and forgets every id, whatever a test left behind.
inline void resetFramework() {
    registerStoreTraceGroup();
    transMgr::destroyInstance();
    froMgr::destroyInstance();
    FroIdHandler::instance().clear();
}

/// The external ids of the committed fROs of the type, sorted.
inline std::vector<uint32_t> committedIds(uint32_t froType) {
    std::vector<std::string> ldns;
    froMgr::instance().getMOs(ldns);
    std::vector<uint32_t> ids;
    for (const std::string& ldn : ldns) {
        const fRO* fro = froMgr::instance().getFro(ldn);
        if (fro != nullptr && fro->getFroType() == froType) {
            ids.push_back(fro->getExternalFroId());
        }
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

/// The external ids taken for the type, sorted.
inline std::vector<uint32_t> takenIds(uint32_t froType) {
    std::vector<uint32_t> ids = FroIdHandler::instance().getUsedIds(froType);
    std::sort(ids.begin(), ids.end());
    return ids;
}

/// With no transaction open, exactly the committed fROs hold ids.
inline void expectIdsHeldByCommitted(const std::vector<uint32_t>& froTypes) {
    for (uint32_t froType : froTypes) {
        EXPECT_EQ(committedIds(froType), takenIds(froType)) << "fRO type " << froType;
    }
}

/// The state of the LDN's shadow in the transaction as its pending lists tell it; empty
/// when the transaction has none.
inline std::string pendingState(int32_t transactionId, const std::string& ldn) {
    transMgr& manager = transMgr::instance();
    auto has = [&ldn](const std::vector<std::string>& list) {
        return std::find(list.begin(), list.end(), ldn) != list.end();
    };
    std::string state;
    if (has(manager.getFrosPendingCreate(transactionId))) {
        state += "CREATE";
    }
    if (has(manager.getFrosPendingSet(transactionId))) {
        state += "SET";
    }
    if (has(manager.getFrosPendingDelete(transactionId))) {
        state += "DELETE";
    }
    return state;
}

/// The lists a commit fills: the LDNs created, set and deleted.
struct CommitLists {
    std::vector<std::string> created, set, deleted;
};

inline bool commit(int32_t transactionId, CommitLists& lists) {
    return transMgr::instance().commit(transactionId, lists.created, lists.set, lists.deleted);
}

inline bool commit(int32_t transactionId) {
    CommitLists lists;
    return commit(transactionId, lists);
}

/// An observer that writes down the state and the name of every subject that tells it.
class Recorder : public listener::Observer {
  public:
    void observer_update(listener::Subject* subject) override {
        states.push_back(subject->getState());
        names.push_back(subject->getSubjectName());
    }
    std::vector<uint32_t> states;
    std::vector<std::string> names;
};

/// Starts and ends each test with an empty framework; at the end, with every
/// transaction rolled back and the store cleared, no id may be left taken.
class FroFrameworkTest : public ::testing::Test {
  protected:
    void SetUp() override { resetFramework(); }
    void TearDown() override {
        transMgr::instance().clear();
        froMgr::instance().clear();
        for (uint32_t froType : typesUsed) {
            EXPECT_TRUE(takenIds(froType).empty())
                << "ids left taken without a fRO for type " << froType;
        }
        resetFramework();
    }

    /// The fRO types whose ids TearDown checks.
    std::vector<uint32_t> typesUsed{1, 2, 3, 7};
};

}  // namespace transtest

#endif  // TRANS_TEST_SUPPORT_H
