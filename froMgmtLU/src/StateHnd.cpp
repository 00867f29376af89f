// The state handlers, and the operations of fRO that wire them between a parent and
// its children: the wiring needs froMgr to find the parent, which the handlers' own
// unit below fRO does not know.
#include "StateHnd.h"

#include "LdnText.h"
#include "fRO.h"
#include "froMgmtTrace.h"
#include "froMgr.h"

#include <vector>

namespace {

// Both directions deliver alike: only a subject that is a handler in state 1 (changed)
// reaches the callback, with that handler's record. A deleted subject is in state 3.
const StateHnd* changedHandler(listener::Subject* subject) {
    if (subject == nullptr || subject->getState() != listener::Subject::stateChanged) {
        return nullptr;
    }
    return dynamic_cast<const StateHnd*>(subject);
}

// Detaches the handler from every subject of the same kind that it observes.
template <class Kind>
void leaveHandlersOfKind(StateHnd& handler) {
    std::vector<listener::Subject*> heard(handler.getSubjects().begin(),
                                          handler.getSubjects().end());
    for (listener::Subject* subject : heard) {
        if (dynamic_cast<Kind*>(subject) != nullptr) {
            subject->detach(&handler);
        }
    }
}

}  // namespace

StateHnd::StateHnd() : trace(&froMgmtTrace()) {}

StateHnd::~StateHnd() = default;

void StateHnd::attachObserver(listener::Observer* observer) {
    if (observer == nullptr) {
        return;
    }
    attach(observer, 1);
    TRACE(*trace, 8, "Observer is attached.");
}

void StateHnd::detachObserver(listener::Observer* observer) {
    if (observer == nullptr) {
        return;
    }
    detach(observer);
}

void StateHnd::setUserData(const stateUserData& data) {
    if (&data != &userData) {
        userData = data;
    }
    // Unconditional: equal data notifies all the same.
    setState(listener::Subject::stateChanged);
    notify(1);
    TRACE(*trace, 8, "Observer is notified.");
}

StatePropagateHnd::StatePropagateHnd() = default;

StatePropagateHnd::~StatePropagateHnd() = default;

void StatePropagateHnd::observer_update(listener::Subject* subject) {
    if (callback == nullptr) {
        return;
    }
    if (const StateHnd* source = changedHandler(subject)) {
        callback->statePropagated(source->getUserData());
    }
}

std::string StatePropagateHnd::getSubjectName() const {
    return "StatePropagateHnd";
}

StateAggregateHnd::StateAggregateHnd() = default;

StateAggregateHnd::~StateAggregateHnd() = default;

void StateAggregateHnd::observer_update(listener::Subject* subject) {
    if (callback == nullptr) {
        return;
    }
    if (const StateHnd* source = changedHandler(subject)) {
        callback->stateAggregated(source->getUserData());
    }
}

std::string StateAggregateHnd::getSubjectName() const {
    return "StateAggregateHnd";
}

void fRO::connectToParent() {
    propagateHnd.setCallback(this);
    aggregateHnd.setCallback(this);
    froMgr& store = froMgr::instance();
    fRO* parent = store.getFro(getParentLdn(store.getLdn(froId)));
    if (parent == nullptr || parent == this) {
        return;
    }
    parent->propagateHnd.attachObserver(&propagateHnd);
    aggregateHnd.attachObserver(&parent->aggregateHnd);
}

void fRO::disconnectFromParent() {
    // Handlers attached to nothing have nothing to undo: a transaction's shadow, or a
    // fRO at the top. This spares them the lookup of their LDN in the store.
    if (propagateHnd.getSubjects().empty() && aggregateHnd.getObservers().empty() &&
        aggregateHnd.getSubjects().empty()) {
        return;
    }
    froMgr& store = froMgr::instance();
    const std::string ldn = store.getLdn(froId);
    if (fRO* parent = store.getFro(getParentLdn(ldn))) {
        if (parent != this) {
            parent->propagateHnd.detachObserver(&propagateHnd);
            aggregateHnd.detachObserver(&parent->aggregateHnd);
        }
        return;
    }
    if (!ldn.empty()) {
        return;  // in the store, at the top: there is no parent
    }
    // Out of the store already (froMgr::deleteMO and clear take it out before
    // prepareForDeletion), so the parent cannot be found by name. A fRO that is going
    // must hear nothing more from parent or children nor tell its parent anything,
    // whoever holds it a little longer: it leaves the handlers of the others.
    leaveHandlersOfKind<StatePropagateHnd>(propagateHnd);
    leaveHandlersOfKind<StateAggregateHnd>(aggregateHnd);
    std::vector<listener::Observer*> told(aggregateHnd.getObservers().begin(),
                                          aggregateHnd.getObservers().end());
    for (listener::Observer* observer : told) {
        if (dynamic_cast<StateAggregateHnd*>(observer) != nullptr) {
            aggregateHnd.detachObserver(observer);
        }
    }
}

void fRO::addClient(StateHnd* client) {
    if (client == nullptr) {
        return;
    }
    propagateHnd.attachObserver(client);
    TRACE(*trace, 8, "Client with froid: %d is added.", froId);
    stateUserData& record = client->getUserData();
    record.operationalState = getAttrValue("operationalState");
    record.availabilityStatus = getAttrValue("availabilityStatus");
    record.administrativeState = getAttrValue("administrativeState");
    record.froId = static_cast<uint32_t>(froId);
    // Through the ordinary path: every observer of propagateHnd hears it, the new client too.
    propagateHnd.setUserData(record);
}

void fRO::removeClient(StateHnd* client) {
    propagateHnd.detachObserver(client);
}

void fRO::propagateState(const stateUserData& userData) {
    propagateHnd.setUserData(userData);
}

void fRO::aggregateState(const stateUserData& userData) {
    aggregateHnd.setUserData(userData);
}
