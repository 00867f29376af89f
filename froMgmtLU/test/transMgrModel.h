// A reference model of transactions over managed objects, written from the rules of
// the transaction manager and not from its code: plain maps of what is committed and
// of what each transaction holds, with ids derived from them. runModel() drives the
// real managers and the model with the same random calls and compares every answer,
// the pending lists after every step, and the whole store and the ids taken after
// every commit and rollback.
#ifndef TRANS_MGR_MODEL_H
#define TRANS_MGR_MODEL_H

#include "AttributeTypes.h"
#include "traceHost.h"
#include "transTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace transmodel {

struct Value {
    std::string type;
    std::string value;
};
using AttrList = std::vector<std::pair<std::string, Value>>;  // in order of addition

inline Value* find(AttrList& list, const std::string& name) {
    for (auto& entry : list) {
        if (entry.first == name) {
            return &entry.second;
        }
    }
    return nullptr;
}

inline void addIfNew(AttrList& list, const std::string& name, const Value& value) {
    if (find(list, name) == nullptr) {
        list.emplace_back(name, value);
    }
}

struct Object {
    uint32_t type = 0;
    uint32_t ext = 0;
    AttrList attrs;
};

struct Shadow {
    std::string state;  // CREATE, SET or DELETE; also the value of its "TransState"
    uint32_t type = 0;
    uint32_t ext = 0;
    bool ownId = false;  // a shadow made by a create holds an id of its own
    AttrList attrs;      // "TransState" first, as the shadow shows it
};

using Outcome = transtest::CommitLists;

class Reference {
  public:
    bool create(int32_t tx, const std::string& ldn, const AttrList& given, uint32_t type,
                int32_t& ext) {
        if (tx == 0 || ext > 4095) {
            return false;
        }
        int32_t holder = 0;
        Shadow* shadow = findShadow(ldn, holder);
        if (shadow == nullptr) {
            return committed.count(ldn) == 0 && makeCreate(tx, ldn, given, type, ext);
        }
        if (shadow->state != "DELETE" || holder != tx) {
            return false;
        }
        transactions[tx].erase(ldn);  // the delete goes, even when the create fails
        return makeCreate(tx, ldn, given, type, ext);
    }

    bool set(int32_t tx, const std::string& ldn, const std::string& name,
             const std::string& value) {
        if (tx == 0) {
            return false;
        }
        int32_t holder = 0;
        Shadow* shadow = findShadow(ldn, holder);
        auto real = committed.find(ldn);
        Value* realValue = real != committed.end() ? find(real->second.attrs, name) : nullptr;
        if (shadow == nullptr) {
            if (realValue == nullptr) {
                return false;
            }
            Shadow made{"SET", real->second.type, real->second.ext, false, {}};
            made.attrs.emplace_back("TransState", Value{attrType::STRING, "SET"});
            made.attrs.emplace_back(name, Value{realValue->type, value});
            transactions[tx][ldn] = made;
            return true;
        }
        if (holder != tx || shadow->state == "DELETE") {
            return false;
        }
        if (Value* own = find(shadow->attrs, name)) {
            own->value = value;
            return true;
        }
        if (realValue == nullptr) {
            return false;
        }
        shadow->attrs.emplace_back(name, Value{realValue->type, value});
        return true;
    }

    bool remove(int32_t tx, const std::string& ldn) {
        if (tx == 0) {
            return false;
        }
        int32_t holder = 0;
        Shadow* shadow = findShadow(ldn, holder);
        auto real = committed.find(ldn);
        if (shadow == nullptr) {
            if (real == committed.end()) {
                return false;
            }
            Shadow made{"DELETE", real->second.type, real->second.ext, false, {}};
            made.attrs.emplace_back("TransState", Value{attrType::STRING, "DELETE"});
            transactions[tx][ldn] = made;
            return true;
        }
        if (holder != tx || shadow->state == "DELETE") {
            return false;
        }
        if (shadow->state == "CREATE" && real == committed.end()) {
            transactions[tx].erase(ldn);  // the creation is cancelled
            return true;
        }
        setState(*shadow, "DELETE");
        return true;
    }

    Outcome commit(int32_t tx) {
        Outcome outcome;
        auto found = transactions.find(tx);
        if (found == transactions.end()) {
            return outcome;
        }
        for (auto& [ldn, shadow] : found->second) {
            if (shadow.state == "CREATE") {
                Object made{shadow.type, shadow.ext, {}};
                for (const auto& entry : shadow.attrs) {
                    if (entry.first != "TransState") {
                        addIfNew(made.attrs, entry.first, entry.second);
                    }
                }
                committed[ldn] = made;  // replaces an old one of the same LDN
                outcome.created.push_back(ldn);
            } else if (shadow.state == "SET") {
                Object& real = committed.at(ldn);
                for (const auto& entry : shadow.attrs) {
                    if (Value* target =
                            entry.first != "TransState" ? find(real.attrs, entry.first) : nullptr) {
                        target->value = entry.second.value;
                    }
                }
                outcome.set.push_back(ldn);
            } else {
                committed.erase(ldn);
                outcome.deleted.push_back(ldn);
            }
        }
        transactions.erase(found);
        return outcome;
    }

    void rollback(int32_t tx) { transactions.erase(tx); }

    /// The answer of getMoAttributes for all names: the result, and the list (which is
    /// the caller's own when nothing was read).
    bool read(int32_t tx, const std::string& ldn, bool onlyInTx, AttrList& out) const {
        auto real = committed.find(ldn);
        const bool hasReal = real != committed.end();
        int32_t holder = 0;
        const Shadow* shadow = findShadow(ldn, holder);
        if (tx == 0 || shadow == nullptr || holder != tx) {
            if (tx != 0 && shadow != nullptr && onlyInTx) {
                return true;  // another transaction's: nothing read
            }
            if (onlyInTx || !hasReal) {
                return false;
            }
            out = real->second.attrs;
            return true;
        }
        if (shadow->state == "DELETE") {
            return false;
        }
        if (shadow->state == "CREATE" || onlyInTx) {
            out = shadow->attrs;
            return true;
        }
        out = real->second.attrs;
        for (auto& entry : out) {
            for (const auto& own : shadow->attrs) {
                if (own.first == entry.first) {
                    entry.second = own.second;
                }
            }
        }
        return true;
    }

    std::vector<std::string> pending(int32_t tx, const std::string& state) const {
        std::vector<std::string> ldns;
        auto found = transactions.find(tx);
        if (found != transactions.end()) {
            for (const auto& [ldn, shadow] : found->second) {
                if (shadow.state == state) {
                    ldns.push_back(ldn);
                }
            }
        }
        if (state == "DELETE") {
            std::reverse(ldns.begin(), ldns.end());
        }
        return ldns;
    }

    int32_t holderOf(const std::string& ldn) const {
        int32_t holder = 0;
        return findShadow(ldn, holder) != nullptr ? holder : 0;
    }

    /// The ids taken for the type: every committed object's and every own id of a shadow.
    std::vector<uint32_t> used(uint32_t type) const {
        std::vector<uint32_t> ids;
        for (const auto& entry : committed) {
            if (entry.second.type == type) {
                ids.push_back(entry.second.ext);
            }
        }
        for (const auto& transaction : transactions) {
            for (const auto& entry : transaction.second) {
                if (entry.second.ownId && entry.second.type == type) {
                    ids.push_back(entry.second.ext);
                }
            }
        }
        std::sort(ids.begin(), ids.end());
        return ids;
    }

    const std::map<std::string, Object>& getCommitted() const { return committed; }

  private:
    Shadow* findShadow(const std::string& ldn, int32_t& holder) {
        for (auto& transaction : transactions) {
            auto found = transaction.second.find(ldn);
            if (found != transaction.second.end()) {
                holder = transaction.first;
                return &found->second;
            }
        }
        return nullptr;
    }
    const Shadow* findShadow(const std::string& ldn, int32_t& holder) const {
        return const_cast<Reference*>(this)->findShadow(ldn, holder);
    }

    static void setState(Shadow& shadow, const std::string& state) {
        shadow.state = state;
        find(shadow.attrs, "TransState")->value = state;
    }

    bool makeCreate(int32_t tx, const std::string& ldn, const AttrList& given, uint32_t type,
                    int32_t& ext) {
        const std::vector<uint32_t> taken = used(type);
        uint32_t id = 0;
        if (ext < 0) {
            while (std::find(taken.begin(), taken.end(), id) != taken.end()) {
                ++id;
            }
        } else {
            id = static_cast<uint32_t>(ext);
            if (std::find(taken.begin(), taken.end(), id) != taken.end()) {
                return false;
            }
        }
        Shadow made{"CREATE", type, id, true, {}};
        made.attrs.emplace_back("TransState", Value{attrType::STRING, "CREATE"});
        for (const auto& entry : given) {
            addIfNew(made.attrs, entry.first, entry.second);
        }
        transactions[tx][ldn] = made;
        ext = static_cast<int32_t>(id);
        return true;
    }

    std::map<std::string, Object> committed;
    std::map<int32_t, std::map<std::string, Shadow>> transactions;
};

// ---- Driving both ----

const std::vector<std::string> kLdns = {"Root=1",        "Root=1,Leaf=1",        "Root=1,Leaf=2",
                                        "Root=1,Leaf=3", "Root=1,Leaf=2,Port=1", "Other=1",
                                        "Other=1,Leaf=1"};
const std::vector<uint32_t> kTypes = {1, 2, 3};

inline uint32_t typeOf(const std::string& ldn) {
    const std::string last =
        ldn.substr(ldn.rfind(',') == std::string::npos ? 0 : ldn.rfind(',') + 1);
    return last.compare(0, 4, "Root") == 0 ? 1 : last.compare(0, 4, "Leaf") == 0 ? 2 : 3;
}

inline Attributes toAttributes(const AttrList& list) {
    Attributes attributes;
    for (const auto& entry : list) {
        attributes.emplace_back(entry.first, entry.second.type, entry.second.value);
    }
    return attributes;
}

/// The store against the model: LDNs in order, each fRO's type, id and attributes,
/// and the ids taken for every type.
inline void expectSameStore(const Reference& reference, const std::string& where) {
    SCOPED_TRACE(where);
    froMgr& store = froMgr::instance();
    std::vector<std::string> ldns;
    store.getMOs(ldns);
    std::vector<std::string> expectedLdns;
    for (const auto& entry : reference.getCommitted()) {
        expectedLdns.push_back(entry.first);
    }
    ASSERT_EQ(expectedLdns, ldns);
    for (const auto& [ldn, object] : reference.getCommitted()) {
        const fRO* fro = store.getFro(ldn);
        ASSERT_NE(nullptr, fro) << ldn;
        EXPECT_EQ(object.type, fro->getFroType()) << ldn;
        EXPECT_EQ(object.ext, fro->getExternalFroId()) << ldn;
        Attributes actual;
        for (const std::string& name : fro->getAttributeNames()) {
            actual.push_back(fro->getAttribute(name));
        }
        EXPECT_EQ(toAttributes(object.attrs), actual) << ldn;
        EXPECT_EQ(static_cast<uint32_t>(reference.holderOf(ldn)), fro->getTransactionId()) << ldn;
    }
    for (uint32_t type : kTypes) {
        EXPECT_EQ(reference.used(type), transtest::takenIds(type)) << "ids of type " << type;
    }
}

inline void expectSamePending(const Reference& reference, const std::string& where) {
    SCOPED_TRACE(where);
    transMgr& manager = transMgr::instance();
    for (int32_t tx : {1, 2, 3}) {
        ASSERT_EQ(reference.pending(tx, "CREATE"), manager.getFrosPendingCreate(tx)) << "tx " << tx;
        ASSERT_EQ(reference.pending(tx, "SET"), manager.getFrosPendingSet(tx)) << "tx " << tx;
        ASSERT_EQ(reference.pending(tx, "DELETE"), manager.getFrosPendingDelete(tx)) << "tx " << tx;
    }
    for (const std::string& ldn : kLdns) {
        ASSERT_EQ(reference.holderOf(ldn), manager.getTransactionId(ldn)) << ldn;
    }
}

/// Silences the framework's traces while it lives: the refusals that the random calls
/// provoke by the thousand would fill the output.
class QuietTrace {
  public:
    QuietTrace() { setMasks(0); }
    ~QuietTrace() { setMasks(kTraceUnnamedMask); }
    QuietTrace(const QuietTrace&) = delete;
    QuietTrace& operator=(const QuietTrace&) = delete;

  private:
    static void setMasks(uint32_t mask) {
        traceSetMask("FroMgmtLU", mask);
        traceSetMask("Ft_CONFIG", mask);
    }
};

/// Runs steps random calls of the given seed against the managers and the model, with
/// the traces silenced.
inline void runModel(uint32_t seed, int steps) {
    QuietTrace quiet;
    transtest::resetFramework();
    std::mt19937 random(seed);
    auto pick = [&random](int count) {
        return static_cast<int>(std::uniform_int_distribution<int>(0, count - 1)(random));
    };
    auto chance = [&pick](int percent) { return pick(100) < percent; };
    auto transaction = [&pick, &chance]() { return chance(3) ? 0 : 1 + pick(3); };
    const std::vector<std::string> words = {"alpha", "beta", "", "a b", "<&>"};

    transMgr& manager = transMgr::instance();
    Reference reference;
    for (int step = 0; step < steps; ++step) {
        std::ostringstream what;
        what << "seed " << seed << " step " << step << ": ";
        const int kind = pick(100);
        const std::string ldn =
            kLdns[static_cast<std::size_t>(pick(static_cast<int>(kLdns.size())))];
        const int32_t tx = transaction();
        if (kind < 25) {
            AttrList given;
            const int count = pick(4);
            for (int i = 0; i < count; ++i) {
                if (chance(50)) {
                    given.emplace_back("a", Value{attrType::S32, std::to_string(pick(10))});
                } else {
                    given.emplace_back(
                        "b", Value{attrType::STRING, words[static_cast<std::size_t>(pick(5))]});
                }
            }
            int32_t ext = chance(70) ? -1 : chance(90) ? pick(6) : 4096 + pick(3);
            int32_t expectedExt = ext;
            const uint32_t type = typeOf(ldn);
            what << "createMO(" << tx << ", " << ldn << ", ext " << ext << ")";
            const bool expected = reference.create(tx, ldn, given, type, expectedExt);
            const bool actual = manager.createMO(tx, ldn, toAttributes(given), type, ext);
            ASSERT_EQ(expected, actual) << what.str();
            if (expected) {
                ASSERT_EQ(expectedExt, ext) << what.str();
            }
        } else if (kind < 50) {
            const std::string name = chance(45) ? "a" : chance(80) ? "b" : "c";
            const std::string value =
                name == "a" ? std::to_string(pick(10)) : words[static_cast<std::size_t>(pick(5))];
            what << "setMoAttribute(" << tx << ", " << ldn << ", " << name << ")";
            ASSERT_EQ(reference.set(tx, ldn, name, value),
                      manager.setMoAttribute(tx, ldn, name, value))
                << what.str();
        } else if (kind < 70) {
            what << "deleteMO(" << tx << ", " << ldn << ")";
            ASSERT_EQ(reference.remove(tx, ldn), manager.deleteMO(tx, ldn)) << what.str();
        } else if (kind < 80) {
            const bool onlyInTx = chance(50);
            what << "getMoAttributes(" << tx << ", " << ldn << ", onlyInTx " << onlyInTx << ")";
            AttrList expectedList{{"untouched", Value{attrType::STRING, "?"}}};
            Attributes actual = toAttributes(expectedList);
            const bool expected = reference.read(tx, ldn, onlyInTx, expectedList);
            ASSERT_EQ(expected, manager.getMoAttributes(tx, ldn, {}, actual, onlyInTx))
                << what.str();
            ASSERT_EQ(toAttributes(expectedList), actual) << what.str();
        } else if (kind < 92) {
            const int32_t ending = chance(5) ? 77 : tx;  // sometimes an unknown transaction
            what << "commit(" << ending << ")";
            const Outcome expected = reference.commit(ending);
            Outcome actual;
            ASSERT_TRUE(transtest::commit(ending, actual)) << what.str();
            ASSERT_EQ(expected.created, actual.created) << what.str();
            ASSERT_EQ(expected.set, actual.set) << what.str();
            ASSERT_EQ(expected.deleted, actual.deleted) << what.str();
            ASSERT_NO_FATAL_FAILURE(expectSameStore(reference, what.str()));
        } else {
            what << "rollback(" << tx << ")";
            reference.rollback(tx);
            manager.rollback(tx);
            ASSERT_NO_FATAL_FAILURE(expectSameStore(reference, what.str()));
        }
        ASSERT_NO_FATAL_FAILURE(expectSamePending(reference, what.str()));
        if (::testing::Test::HasFailure()) {
            return;
        }
    }
    for (int32_t tx : {1, 2, 3}) {
        reference.commit(tx);
        ASSERT_TRUE(transtest::commit(tx));
    }
    ASSERT_NO_FATAL_FAILURE(expectSameStore(reference, "after the final commits"));
    transtest::resetFramework();
}

}  // namespace transmodel

#endif  // TRANS_MGR_MODEL_H
