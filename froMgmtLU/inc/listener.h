// listener: subjects and observers with two levels of notification.
//
// Level 1 is the pass at the moment of a change; level 0 is the later pass that
// the fRO manager runs for everything. A subject stays "changed" (state 1) until
// every observer has been told at its own level, so an observer attached at level 0
// hears of a change only in the later pass. Either side may be destroyed first:
// both sides unlink themselves on destruction. No locks: everything runs on the
// thread of the application loop.
#ifndef LISTENER_H
#define LISTENER_H

#include <cstdint>
#include <list>
#include <string>
#include <vector>

namespace listener {

class Subject;

class Observer {
  public:
    Observer() = default;
    /// A copy keeps level and priority but is attached to nothing.
    Observer(const Observer& other);
    /// Keeps this observer's own attachments.
    Observer& operator=(const Observer& other);
    /// Leaves every subject it is attached to.
    virtual ~Observer();

    /// Called by a subject that notifies at this observer's level.
    virtual void observer_update(Subject* subject);

    /// The level at which this observer wants to be told; set by Subject::attach.
    uint32_t getNotifyLevel() const { return notifyLevel; }
    /// Higher priorities are told earlier.
    uint32_t getPriority() const { return priority; }
    /// Changes the priority; it takes effect at the next notify of a subject.
    void setPriority(uint32_t newPriority) { priority = newPriority; }
    /// The subjects this observer is attached to.
    const std::list<Subject*>& getSubjects() const { return subjects; }

  private:
    friend class Subject;

    uint32_t notifyLevel = 0;
    uint32_t priority = 0;
    std::list<Subject*> subjects;
};

class Subject {
  public:
    /// Values of the state word.
    enum : uint32_t { stateClean = 0, stateChanged = 1, stateCreated = 2, stateDeleted = 3 };

    Subject() = default;
    /// A copy has no observers and state 0: observers stay with the original.
    Subject(const Subject& other);
    /// Keeps this subject's own observers and state.
    Subject& operator=(const Subject& other);
    /// Leaves every observer attached to it.
    virtual ~Subject();

    /// Names the subject's class.
    virtual std::string getSubjectName() const = 0;
    /// Appends the observer with its level; an observer already attached keeps its level.
    virtual void attach(Observer* observer, uint32_t level);
    /// Removes the observer from both sides.
    virtual void detach(Observer* observer);
    /// Tells the observers of that level, higher priority first; clean again once none was left
    /// out.
    virtual void notify(uint32_t level);
    /// The state word: 0 clean, 1 changed, 2 created, 3 deleted.
    virtual uint32_t getState() const;

    /// Sets the state word without telling anyone.
    void setState(uint32_t newState) { state = newState; }
    /// State 3, then every observer is told, whatever its level.
    void notifyDeletion();
    /// Whether any observer is attached.
    bool hasObservers() const { return !observers.empty(); }
    /// The observers in their present order (attach order, or priority order after a notify).
    const std::list<Observer*>& getObservers() const { return observers; }

  private:
    friend class Observer;

    void sortObservers();
    void walk(uint32_t level, bool allLevels, bool& leftOut);
    void forgetDestroyedObserver(Observer* observer);

    std::list<Observer*> observers;
    uint32_t state = stateClean;
    // Copies of the observer list that notify() is walking right now; an observer
    // destroyed during a walk is blanked out of them so that it is not called.
    std::vector<std::vector<Observer*>*> activeWalks;
};

}  // namespace listener

#endif  // LISTENER_H
