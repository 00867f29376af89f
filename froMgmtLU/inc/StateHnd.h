// State handlers: every fRO has one for each direction. A handler is both subject
// and observer: it stores a record of the state, tells the handlers attached to it
// when the record changes (level 1, at once), and passes what it hears to the
// callback of its fRO. One hop only: a callback that wants the state to go further
// calls fRO::propagateState or fRO::aggregateState itself.
#ifndef STATE_HND_H
#define STATE_HND_H

#include "AggregateCallback.h"
#include "PropagateCallback.h"
#include "listener.h"
#include "stateUserData.h"

#include <string>

class TraceHandle;

class StateHnd : public listener::Observer, public listener::Subject {
  public:
    StateHnd();
    ~StateHnd() override;
    StateHnd(const StateHnd&) = delete;
    StateHnd& operator=(const StateHnd&) = delete;

    /// Attaches at level 1, so the observer is told at the moment of a change.
    void attachObserver(listener::Observer* observer);
    /// Detaches the observer.
    void detachObserver(listener::Observer* observer);
    /// Takes the record (unless it is this handler's own), marks it changed and notifies.
    void setUserData(const stateUserData& data);
    /// The record this handler holds.
    const stateUserData& getUserData() const { return userData; }
    /// The record, to be filled in place before setUserData(getUserData()).
    stateUserData& getUserData() { return userData; }

  protected:
    stateUserData userData;
    const TraceHandle* trace;
};

class StatePropagateHnd : public StateHnd {
  public:
    StatePropagateHnd();
    ~StatePropagateHnd() override;

    /// Passes the subject handler's record to the callback when the subject is in state 1.
    void observer_update(listener::Subject* subject) override;
    /// "StatePropagateHnd".
    std::string getSubjectName() const override;

    /// The fRO that hears propagated states; null until connectToParent.
    void setCallback(PropagateCallback* newCallback) { callback = newCallback; }
    PropagateCallback* getCallback() const { return callback; }

  private:
    PropagateCallback* callback = nullptr;
};

class StateAggregateHnd : public StateHnd {
  public:
    StateAggregateHnd();
    ~StateAggregateHnd() override;

    /// Passes the subject handler's record to the callback when the subject is in state 1.
    void observer_update(listener::Subject* subject) override;
    /// "StateAggregateHnd".
    std::string getSubjectName() const override;

    /// The fRO that hears aggregated states; null until connectToParent.
    void setCallback(AggregateCallback* newCallback) { callback = newCallback; }
    AggregateCallback* getCallback() const { return callback; }

  private:
    AggregateCallback* callback = nullptr;
};

#endif  // STATE_HND_H
