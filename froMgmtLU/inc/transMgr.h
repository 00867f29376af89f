// transMgr: everything that a platform transaction has done to managed objects and
// not yet committed.
//
// Nothing of a transaction touches a committed fRO in froMgr before commit: each
// object a transaction touches gets a shadow, a dummy_fRO in that transaction's
// dictionary, whose STRING attribute "TransState" says what is to become of it:
//
//   CREATE  a new fRO is made from the shadow; the shadow holds a reserved id
//   SET     the shadow's attributes are copied to the committed fRO; shared id
//   DELETE  the committed fRO is deleted; shared id
//
// A rollback is the dropping of the shadows: there is nothing to undo. An LDN can be
// in one transaction at a time, which is the whole locking between transactions: a
// second transaction that touches it is refused. Transaction id 0 means no
// transaction. No locks: everything runs on the thread of the application loop.
#ifndef TRANS_MGR_H
#define TRANS_MGR_H

#include "Attribute.h"

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

class TraceHandle;
class fRO;

/// The shadows of one transaction, by LDN text in plain text order.
using LdnDictionary = std::map<std::string, std::shared_ptr<fRO>>;

class transMgr {
  public:
    /// The process-wide instance, made on first use.
    static transMgr& instance();
    /// Ends the instance (clear first); the next instance() makes a new one.
    static void destroyInstance();

    transMgr(const transMgr&) = delete;
    transMgr& operator=(const transMgr&) = delete;

    /// A shadow in CREATE; externalId in: the wanted id (negative: a new one), out: the id given.
    bool createMO(int32_t transactionId, const std::string& ldn, const Attributes& attributes,
                  uint32_t froType, int32_t& externalId);
    /// A shadow in DELETE, or the cancellation of a creation in this transaction.
    bool deleteMO(int32_t transactionId, const std::string& ldn);
    /// Sets an attribute that the fRO has, on a shadow (a SET one when there is none yet).
    bool setMoAttribute(int32_t transactionId, const std::string& ldn, const std::string& name,
                        const std::string& value);
    bool setMoAttribute(int32_t transactionId, const std::string& ldn, const std::string& name,
                        const char* value);
    /// Numbers are set as decimal text.
    bool setMoAttribute(int32_t transactionId, const std::string& ldn, const std::string& name,
                        int32_t value);
    bool setMoAttribute(int32_t transactionId, const std::string& ldn, const std::string& name,
                        uint32_t value);
    /// The attributes as this transaction sees them (names empty: all); the list is only
    /// replaced when every name was found. onlyInTx: do not fall back on the committed fRO.
    bool getMoAttributes(int32_t transactionId, const std::string& ldn,
                         const std::vector<std::string>& names, Attributes& attributes,
                         bool onlyInTx);
    /// One attribute's value as this transaction sees it.
    bool getAttrValue(int32_t txId, const std::string& ldn, const std::string& name,
                      std::string& value, bool onlyInTx);
    /// Only for an attribute of type "U32"; no test for "-", so "-1" reads as 4294967295.
    bool getAttrValue(int32_t txId, const std::string& ldn, const std::string& name,
                      uint32_t& value, bool onlyInTx);
    /// Only for an attribute of type "S32".
    bool getAttrValue(int32_t txId, const std::string& ldn, const std::string& name, int32_t& value,
                      bool onlyInTx);
    /// The shadow in exactly this transaction (even in DELETE), else the committed fRO, else null.
    fRO* getfRO(int32_t transactionId, const std::string& ldn);
    /// The LDN of the fRO of that complete id as this transaction sees it; empty when there
    /// is none, or when it is deleted in this transaction.
    std::string getLdn(int32_t transactionId, int32_t internalfROId);

    /// Makes the transaction's changes real, parents before children; the dictionary goes in
    /// any case. False when any item failed; the items before it stay committed.
    bool commit(int32_t transactionId, std::vector<std::string>& created,
                std::vector<std::string>& set, std::vector<std::string>& deleted);
    /// Drops the transaction's shadows; ids reserved for creations become free.
    void rollback(int32_t transactionId);

    /// LDNs in DELETE, children before parents (descending text order).
    std::vector<std::string> getFrosPendingDelete(int32_t transactionId);
    /// LDNs in CREATE, in ascending text order.
    std::vector<std::string> getFrosPendingCreate(int32_t transactionId);
    /// LDNs in SET, in ascending text order.
    std::vector<std::string> getFrosPendingSet(int32_t transactionId);
    /// Whether a shadow not in DELETE has that MO type in its last part or in an ancestor.
    bool getFrosPendingCreate(int32_t transactionId, const std::string& moType);

    /// The transaction that holds the LDN, 0 for none.
    int32_t getTransactionId(const std::string& ldn);
    /// The transaction that holds a shadow of that complete id, 0 for none.
    int32_t getTransactionId(int32_t internalFROId);

    /// Writes attributes through froMgr's database write, with transaction id 0 (txId is
    /// traced only).
    bool saveAttributes(int32_t txId, uint32_t froId, uint32_t froType,
                        const Attributes& attributes);

    /// Removes every dictionary, as a rollback of each.
    void clear();
    /// Number of transactions that hold a dictionary.
    std::size_t getTransactionCount() const { return transactions.size(); }

  private:
    transMgr();
    ~transMgr();

    LdnDictionary* getLdnDictionary(int32_t transactionId);
    LdnDictionary* createLdnDictionary(int32_t transactionId);
    bool removeLdnDictionary(int32_t transactionId);
    std::shared_ptr<fRO> getTransactionFRO(const std::string& ldn, int32_t& transactionId);
    bool insertFRO(int32_t transactionId, const std::string& ldn, const std::shared_ptr<fRO>& fro);
    bool removeFRO(int32_t transactionId, const std::string& ldn);
    void deleteDummyfRO(std::shared_ptr<fRO>& fro, const std::string& ldn);
    bool copyAttributes(const fRO& source, fRO& goal, bool withAdding);
    void setTransState(fRO* fro, const std::string& state);
    std::string getTransState(const fRO* fro);
    void addfROAttributes(fRO& fro, const Attributes& attributes);
    bool createAndInsertFRO(int32_t transactionId, const std::string& ldn,
                            const Attributes& attributes, uint32_t froType, int32_t& externalId,
                            const std::string& state);
    bool getMoAttributesForFRO(const fRO* primary, const fRO* secondary,
                               const std::vector<std::string>& names, Attributes& attributes);
    bool findAttributeAndPushBack(const fRO* fro, const std::string& name,
                                  std::vector<std::string>& types,
                                  std::vector<std::string>& values);
    void fillListOfAttributeNames(const fRO* primary, const fRO* secondary,
                                  std::vector<std::string>& names);
    bool setMoAttributeText(int32_t transactionId, const std::string& ldn, const std::string& name,
                            const std::string& value);
    std::vector<std::string> getFrosInState(int32_t transactionId, const std::string& state);

    std::map<int32_t, std::unique_ptr<LdnDictionary>> transactions;
    // Shadows made in CREATE, which hold an id reserved for them alone. Every other
    // shadow shares the id of its committed fRO and must not free it when it goes,
    // whatever has happened to the committed fRO in the meantime.
    std::set<const fRO*> ownIdShadows;
    std::string stateCreate;
    std::string stateSet;
    std::string stateDelete;
    const TraceHandle* trace;
};

#endif  // TRANS_MGR_H
