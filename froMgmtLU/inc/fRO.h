// fRO: the in-memory form of one managed object: a numeric type, a 32-bit id, a flat
// list of attributes kept as text with their type words, and the wiring for
// observers and for the state handlers between parent and child.
//
// A fRO lives in a shared_ptr with fRODeleter and is made and ended by fROFactory
// alone. The committed one belongs to froMgr; during a transaction transMgr holds a
// shadow copy (a dummy_fRO) that shares the committed one's id. The destructor
// gives the id back to FroIdHandler unless froId was set to -1 first, which is how
// a shadow leaves an id that belongs to another fRO alone.
#ifndef FRO_H
#define FRO_H

#include "AggregateCallback.h"
#include "AttrNameValue.h"
#include "Attribute.h"
#include "PropagateCallback.h"
#include "StateHnd.h"
#include "listener.h"
#include "stateUserData.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

class TraceHandle;

class fRO : public listener::Observer,
            public listener::Subject,
            public PropagateCallback,
            public AggregateCallback {
  public:
    /// The deleter of every shared_ptr<fRO>: deletes through the virtual destructor.
    struct fRODeleter {
        void operator()(fRO* fro) const;
    };
    /// Told with the fRO before it goes.
    using DeletionCallback = std::function<void(std::weak_ptr<fRO>)>;
    /// Told with the fRO and the name of an attribute that was added.
    using AttrAdditionCallback = std::function<void(std::weak_ptr<fRO>, const std::string&)>;

    fRO(const fRO&) = delete;
    fRO& operator=(const fRO&) = delete;

    /// Empty by default.
    void observer_update(listener::Subject* subject) override;
    /// Names the fRO's class; a dummy_fRO gives its MO type.
    std::string getSubjectName() const override = 0;

    // Wiring of the state handlers between parent and child; defined beside the
    // handlers (StateHnd.cpp), since it needs froMgr to find the parent.
    /// Attaches the state handlers to the parent's; called by froMgr::createMO.
    virtual void connectToParent();
    /// Undoes connectToParent; called at the end of prepareForDeletion.
    virtual void disconnectFromParent();

    /// Told by froMgr::setMoAttribute after every set, changed or not; empty by default.
    virtual void attributeChanged(const std::string& name, const std::string& oldValue,
                                  const std::string& newValue);

    /// Sets an "S32" attribute; false with a trace when missing or of another type.
    virtual bool setS32AttrValue(const std::string& name, int32_t value);
    /// Sets an "S64" attribute; false with a trace when missing or of another type.
    virtual bool setS64AttrValue(const std::string& name, int64_t value);
    /// Sets a "U32" attribute; false with a trace when missing or of another type.
    virtual bool setU32AttrValue(const std::string& name, uint32_t value);
    /// Sets a "STRING" attribute; false with a trace when missing or of another type.
    virtual bool setStringAttrValue(const std::string& name, const std::string& value);
    /// Sets a "moref" attribute (XML text); false with a trace when missing or of another type.
    virtual bool setMoRefAttrValue(const std::string& name, const std::string& value);
    /// Sets a "struct" attribute (XML text); false with a trace when missing or of another type.
    virtual bool setStructAttrValue(const std::string& name, const std::string& value);
    /// Sets an "array" attribute (XML text); false with a trace when missing or of another type.
    virtual bool setArrayAttrValue(const std::string& name, const std::string& value);

    /// The "S32" value; 0 with a trace when missing, of another type or not a number.
    virtual int32_t getS32AttrValue(const std::string& name) const;
    /// The "S64" value; 0 with a trace when missing, of another type or not a number.
    virtual int64_t getS64AttrValue(const std::string& name) const;
    /// The "U32" value; 0 with a trace when missing, of another type or not a number.
    virtual uint32_t getU32AttrValue(const std::string& name) const;
    /// The "STRING" value; empty with a trace when missing or of another type.
    virtual std::string getStringAttrValue(const std::string& name) const;
    /// The "moref" value; empty with a trace when missing or of another type.
    virtual std::string getMoRefAttrValue(const std::string& name) const;
    /// The "struct" value; empty with a trace when missing or of another type.
    virtual std::string getStructAttrValue(const std::string& name) const;
    /// The "array" value; empty with a trace when missing or of another type.
    virtual std::string getArrayAttrValue(const std::string& name) const;

    /// The value, or empty when there is no such attribute (no trace).
    virtual std::string getAttrValue(const std::string& name) const;
    /// Stores the value; a changed value marks attribute and fRO changed and notifies at level 1.
    virtual bool setAttrValue(const std::string& name, const std::string& value);
    /// Forwards to the string form.
    virtual bool setAttrValue(const std::string& name, const char* value);
    /// Appends the attribute unless the name exists, and tells the addition subscribers.
    virtual void addAttribute(const std::string& name, const std::string& value,
                              const std::string& type);
    /// The same from a triple.
    virtual void addAttribute(const Attribute& attribute);

    /// Empty by default.
    int statePropagated(const stateUserData& userData) override;
    /// Empty by default.
    int stateAggregated(const stateUserData& userData) override;

    /// Writes "Dump interface not implemented."
    virtual void dump(std::ostream& out) const;

    /// The complete (internal) id, -1 when the fRO holds none.
    int32_t getFroId() const { return froId; }
    /// Sets the complete id; -1 keeps the destructor from freeing an id held elsewhere.
    void setFroId(int32_t newFroId) { froId = newFroId; }
    /// The low 12 bits of the id, as signals and the database carry it.
    uint32_t getExternalFroId() const;
    /// The numeric fRO type, 0 until set by the factory.
    uint32_t getFroType() const { return froType; }
    /// Set by the factory.
    void setFroType(uint32_t newFroType) { froType = newFroType; }
    /// The transaction that has this fRO, 0 for none.
    uint32_t getTransactionId() const { return transactionId; }
    void setTransactionId(uint32_t newTransactionId) { transactionId = newTransactionId; }
    /// Set by froMgr::createMO; empty on a transaction's shadow.
    void setSelf(std::weak_ptr<fRO> newSelf) { self = std::move(newSelf); }
    std::weak_ptr<fRO> getSelf() const { return self; }

    /// Whether an attribute of that name exists.
    bool hasAttribute(const std::string& name) const;
    /// The stored attribute, for observers to attach to; null when there is none.
    /// The pointer stays valid while the fRO lives: attributes are never moved.
    AttrNameValue* findAttribute(const std::string& name);
    /// The position and value of the attribute, or -1.
    int findAttributeIndex(const std::string& name, std::string& value) const;
    /// The type word, or empty.
    std::string getAttrType(const std::string& name) const;
    /// The attribute as a triple, or the empty one.
    Attribute getAttribute(const std::string& name) const;
    /// Names in order of addition.
    std::vector<std::string> getAttributeNames() const;
    /// The later notification pass: notify(0) and state 0 on each attribute, then on the fRO.
    void clearChanges();
    /// Tells deletion subscribers and observers, then disconnectFromParent(); called once, at the
    /// end.
    void prepareForDeletion();

    /// Keeps a weak reference to the callback, keyed by its address.
    void subscribeDeletion(const std::weak_ptr<DeletionCallback>& callback);
    /// Removes the callback's entry.
    void unsubscribeDeletion(const std::weak_ptr<DeletionCallback>& callback);
    /// Keeps a weak reference to the callback, keyed by its address.
    void subscribeAttrAddition(const std::weak_ptr<AttrAdditionCallback>& callback);
    /// Removes the callback's entry.
    void unsubscribeAttrAddition(const std::weak_ptr<AttrAdditionCallback>& callback);
    /// Number of entries, live or expired, in the subscriber maps.
    std::size_t deletionSubscriberCount() const { return deletionSubscribers.size(); }
    std::size_t attrAdditionSubscriberCount() const { return attrAdditionSubscribers.size(); }

    // State operations; defined beside the handlers (StateHnd.cpp).
    /// Attaches a foreign handler to propagateHnd and tells it the present state at once.
    void addClient(StateHnd* client);
    /// Detaches the handler from propagateHnd.
    void removeClient(StateHnd* client);
    /// Downward: propagateHnd.setUserData.
    void propagateState(const stateUserData& userData);
    /// Upward: aggregateHnd.setUserData.
    void aggregateState(const stateUserData& userData);
    /// The handler of states coming down from the parent.
    StatePropagateHnd& getPropagateHnd() { return propagateHnd; }
    /// The handler of states going up to the parent.
    StateAggregateHnd& getAggregateHnd() { return aggregateHnd; }

  protected:
    fRO();
    /// Frees the id unless froId is negative.
    ~fRO() override;

    StatePropagateHnd propagateHnd;
    StateAggregateHnd aggregateHnd;
    int32_t froId = -1;
    uint32_t froType = 0;
    uint32_t transactionId = 0;
    // A deque: findAttribute hands out pointers that must survive later additions.
    std::deque<AttrNameValue> attributes;
    const TraceHandle* trace;
    std::weak_ptr<fRO> self;
    std::map<std::uintptr_t, std::weak_ptr<DeletionCallback>> deletionSubscribers;
    std::map<std::uintptr_t, std::weak_ptr<AttrAdditionCallback>> attrAdditionSubscribers;

  private:
    const AttrNameValue* findStored(const std::string& name) const;
    bool setTyped(const std::string& name, const char* expectedType, const std::string& text,
                  int missingText);
    bool getTyped(const std::string& name, const char* expectedType, int missingText,
                  std::string& value) const;
};

#endif  // FRO_H
