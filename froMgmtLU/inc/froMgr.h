// froMgr: the store of committed fROs, the objects as they stand outside any
// transaction. It finds them by LDN or id, creates and deletes them together with
// their LDN nodes, and tells subscribers of creations. It is itself a subject, so
// that an observer can hear of any change in the store (state 2 created, 3 deleted,
// 1 an attribute set). Requests of the management layer reach a committed fRO only
// by way of transMgr's commit.
//
// The store is keyed by Ldn handles, which compare by their place in text order: a
// lookup by LDN text is one hash lookup of the text and a map search on integers.
// Beside the store an index from complete id to its entries is kept with every
// insertion and erasure, so that lookups by complete id (getLdn of an id, getFro of
// a type and external id) are one hash lookup; where two fROs share a complete id
// (types that differ only above their low 19 bits) the first in LDN order answers,
// as a walk over the store would. The lookups by MO type and external id are walks.
//
// No locks: everything runs on the thread of the application loop. Subscribers and
// observers run synchronously and may call back into the store.
#ifndef FRO_MGR_H
#define FRO_MGR_H

#include "Attribute.h"
#include "Ldn.h"
#include "MOCRegistrationItem.h"
#include "ReadOnlyAttribute.h"
#include "listener.h"
#include "traceAndError.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

class AttrNameValue;
class LdnNode;
class TraceHandle;
class fRO;

class froMgr : public listener::Subject {
  public:
    /// Told with each fRO that createMO has made.
    using CreationCallback = std::function<void(std::weak_ptr<fRO>)>;
    /// The database's attribute write: transaction id, external id, fRO type, the
    /// attributes, whether only the persistent ones are written. The database unit
    /// installs it; it opens and closes the database around the write itself.
    using AttributeWriter =
        std::function<bool(uint32_t transactionId, uint32_t froId, uint32_t froType,
                           const Attributes& attributes, bool onlyPersistent)>;

    /// The process-wide instance, made on first use.
    static froMgr& instance();
    /// Ends the instance (clear, then the factory); the next instance() makes a new one.
    static void destroyInstance();

    froMgr(const froMgr&) = delete;
    froMgr& operator=(const froMgr&) = delete;

    /// "froMgr".
    std::string getSubjectName() const override;

    // ---- The store ----

    /// Makes and stores the committed fRO (negative external id: a new one); null on failure.
    fRO* createMO(const std::string& ldn, uint32_t fROType, int32_t fROId);
    /// Deletes the committed fRO and frees its id; false when there is none.
    bool deleteMO(const std::string& ldn);
    /// Writes the fRO's attributes to the database; false when there was nothing to write.
    bool saveMO(const std::string& ldn);
    /// Whether a committed fRO of that LDN exists.
    bool exists(const std::string& ldn) const;
    /// Deletes every fRO; all listeners hear of all deletions before the first object goes.
    void clear();
    /// The later notification pass: clearChanges on every fRO, then on the store itself.
    void observer_update();
    /// Writes the count of fROs and the LDN tree for a person to read.
    void dump(std::ostream& out) const;
    /// Number of committed fROs.
    std::size_t size() const { return fros.size(); }

    // ---- Lookups; every form gives null or empty when not found ----

    /// By LDN.
    fRO* getFro(const std::string& ldn) const;
    std::weak_ptr<fRO> getFroWeak(const std::string& ldn) const;
    std::shared_ptr<fRO> getFroShared(const std::string& ldn) const;
    /// By fRO type and external id (the id index; the first in LDN order of equal ids).
    fRO* getFro(uint32_t froType, int32_t externalId) const;
    std::weak_ptr<fRO> getFroWeak(uint32_t froType, int32_t externalId) const;
    std::shared_ptr<fRO> getFroShared(uint32_t froType, int32_t externalId) const;
    /// By MO type and external id (a walk comparing the LDN's MO type and the external id).
    fRO* getFro(const std::string& moType, int32_t externalId) const;
    std::weak_ptr<fRO> getFroWeak(const std::string& moType, int32_t externalId) const;
    std::shared_ptr<fRO> getFroShared(const std::string& moType, int32_t externalId) const;
    /// By LDN, as an interface the fRO's class implements (for example FroCtrlIf); empty
    /// where the fRO is none.
    template <class Interface>
    std::shared_ptr<Interface> getFroAs(const std::string& ldn) const {
        return std::dynamic_pointer_cast<Interface>(getFroShared(ldn));
    }
    /// By fRO type and external id, as an interface the fRO's class implements.
    template <class Interface>
    std::shared_ptr<Interface> getFroAs(uint32_t froType, int32_t externalId) const {
        return std::dynamic_pointer_cast<Interface>(getFroShared(froType, externalId));
    }

    /// The LDN of the fRO with that complete id; empty when there is none.
    std::string getLdn(int32_t fROId) const;
    /// The LDN of the fRO of that type and external id; empty when there is none.
    std::string getLdn(uint32_t froType, int32_t fROId) const;
    /// The LDN of the fRO of that MO type and external id; empty when there is none.
    std::string getLdn(const std::string& moType, int32_t fROId) const;

    // ---- Lists ----

    /// All LDNs in text order; the count.
    std::size_t getMOs(std::vector<std::string>& out) const;
    /// LDNs of that MO type, and the nearest ancestors of that type of the others; the count.
    std::size_t getSpecificMOs(std::vector<std::string>& out, const std::string& moType) const;
    /// The LDN itself (with an empty moType) and the nodes below it that hold a fRO, breadth first.
    bool getChildren(const std::string& ldn, std::vector<Ldn>& out,
                     const std::string& moType) const;
    /// The same as texts; aScope is traced and plays no other part.
    bool getChildren(const std::string& ldn, std::vector<std::string>& out, int aScope,
                     const std::string& moType) const;
    /// All fROs of the MO type, in LDN order.
    std::vector<fRO*> findFro(const std::string& moType) const;
    std::vector<std::shared_ptr<fRO>> findFroShared(const std::string& moType) const;
    /// The fROs of the MO type whose attribute has that text.
    std::vector<fRO*> findFro(const std::string& moType, const std::string& attributeName,
                              const std::string& attributeValue) const;
    std::vector<std::shared_ptr<fRO>> findFroShared(const std::string& moType,
                                                    const std::string& attributeName,
                                                    const std::string& attributeValue) const;
    /// The fROs with a moref (alone or in an array) to that LDN; a fRO with two arrays
    /// that hold it comes twice.
    std::vector<fRO*> findSpMoRef(const std::string& ldn) const;
    std::vector<std::shared_ptr<fRO>> findSpMoRefShared(const std::string& ldn) const;

    // ---- Attribute access by LDN; a missing fRO gives false, 0 or empty ----

    /// The value, empty when there is no such fRO or attribute.
    std::string getMoAttribute(const std::string& ldn, const std::string& AttrName) const;
    /// Sets the value and tells the fRO (attributeChanged) and the store's observers.
    bool setMoAttribute(const std::string& ldn, const std::string& AttrName,
                        const std::string& AttrValue);
    /// The attribute as a triple, the empty one when there is none.
    Attribute getAttribute(const std::string& ldn, const std::string& name) const;
    /// fRO::setAttrValue on the fRO of that LDN.
    bool setAttrValue(const std::string& ldn, const std::string& name, const std::string& value);
    bool setAttrValue(const std::string& ldn, const std::string& name, const char* value);
    /// The stored attribute to attach an observer to; null when absent.
    AttrNameValue* getAttributeToBeObserved(const std::string& ldn, const std::string& AttrName);

    /// The typed setters and getters of fRO, on the fRO of that LDN.
    bool setS32AttrValue(const std::string& ldn, const std::string& name, int32_t value);
    bool setS64AttrValue(const std::string& ldn, const std::string& name, int64_t value);
    bool setU32AttrValue(const std::string& ldn, const std::string& name, uint32_t value);
    bool setStringAttrValue(const std::string& ldn, const std::string& name,
                            const std::string& value);
    bool setMoRefAttrValue(const std::string& ldn, const std::string& name,
                           const std::string& value);
    bool setStructAttrValue(const std::string& ldn, const std::string& name,
                            const std::string& value);
    bool setArrayAttrValue(const std::string& ldn, const std::string& name,
                           const std::string& value);
    int32_t getS32AttrValue(const std::string& ldn, const std::string& name) const;
    int64_t getS64AttrValue(const std::string& ldn, const std::string& name) const;
    uint32_t getU32AttrValue(const std::string& ldn, const std::string& name) const;
    std::string getStringAttrValue(const std::string& ldn, const std::string& name) const;
    std::string getMoRefAttrValue(const std::string& ldn, const std::string& name) const;
    std::string getStructAttrValue(const std::string& ldn, const std::string& name) const;
    std::string getArrayAttrValue(const std::string& ldn, const std::string& name) const;

    // ---- Creation subscribers ----

    /// Keeps a weak reference to the callback, keyed by its address.
    void subscribeCreation(const std::weak_ptr<CreationCallback>& callback);
    /// Removes the callback's entry.
    void unsubscribeCreation(const std::weak_ptr<CreationCallback>& callback);
    /// Number of entries, live or expired.
    std::size_t creationSubscriberCount() const { return creationSubscribers.size(); }

    // ---- Registrations, forwarded to fROFactory ----

    /// See fROFactory.
    void regMOType(const std::string& motype, fRO* (*allocate)());
    std::shared_ptr<MOCRegistrationItem> createMOTypeRegistration(
        const std::string& motype, const std::string& froTypeName, int32_t froTypeId,
        const std::weak_ptr<fROAllocator>& allocator);
    void deleteMOCRegistration(const std::string& motype);
    void deleteMOCRegistration(int32_t fROTypeId);
    std::shared_ptr<MOCRegistrationItem> findMOCRegistration(const std::string& motype) const;
    std::shared_ptr<MOCRegistrationItem> findMOCRegistration(int32_t fROTypeId) const;
    std::vector<std::shared_ptr<MOCRegistrationItem>> getMOCRegistrations() const;
    void clearMOCRegistrations();
    std::shared_ptr<ReadOnlyAttribute> addReadOnlyAttribute(const std::string& froName,
                                                            const std::string& name,
                                                            const std::string& type,
                                                            const std::string& value);
    void deleteReadOnlyAttribute(const std::string& froName, const std::string& name);
    std::shared_ptr<ReadOnlyAttribute> getReadOnlyAttribute(const std::string& froName,
                                                            const std::string& name) const;
    std::vector<std::shared_ptr<ReadOnlyAttribute>> getReadOnlyAttributes(
        const std::string& froName) const;
    void removeAllReadOnlyAttributes();

    // ---- Database ----

    /// Writes attributes outside any transaction (transaction id 0); false without a writer.
    bool saveAttributes(uint32_t froId, uint32_t froType, const Attributes& attributes,
                        bool onlyPersistent);
    /// Installs the database's attribute write; an empty function removes it.
    void setAttributeWriter(AttributeWriter writer) { attributeWriter = std::move(writer); }

  private:
    // Orders the store by the nodes' places in text order. A bare node can be looked
    // up too, without taking a handle on it.
    struct LdnOrder {
        using is_transparent = void;
        bool operator()(const Ldn& left, const Ldn& right) const { return left < right; }
        bool operator()(const Ldn& left, const LdnNode* right) const;
        bool operator()(const LdnNode* left, const Ldn& right) const;
    };
    using Store = std::map<Ldn, std::shared_ptr<fRO>, LdnOrder>;

    froMgr();
    ~froMgr() override;

    Store::const_iterator findEntry(const std::string& ldn) const;
    // The first entry in LDN order whose fRO has that complete id; end() when none.
    Store::const_iterator findById(uint32_t completeId) const;
    // Puts a stored entry into the id index, or takes it out before it leaves the store.
    void indexById(Store::const_iterator entry);
    void unindexById(Store::const_iterator entry);
    Store::const_iterator findByMoType(const std::string& moType, int32_t externalId) const;
    template <class Result>
    std::vector<Result> collectFros(const std::string& moType, const std::string* attributeName,
                                    const std::string& attributeValue) const;
    template <class Result>
    std::vector<Result> collectMoRefs(const std::string& ldn) const;

    Store fros;
    // Complete id (as the fRO held it when stored) to the entries of the store with it;
    // more than one only where types share their low 19 bits. A committed fRO's id does
    // not change while it is stored.
    std::unordered_multimap<uint32_t, Store::const_iterator> idIndex;
    // first: group "FroMgmtLU" (entry and exit); second: the node's group "Ft_CONFIG"
    // (what happens to the store), through its global reference, which start-up fills.
    std::pair<const TraceHandle*, const TraceRef*> traces;
    std::map<std::uintptr_t, std::weak_ptr<CreationCallback>> creationSubscribers;
    AttributeWriter attributeWriter;
};

#endif  // FRO_MGR_H
