#include "listener.h"

#include <algorithm>

namespace listener {

Observer::Observer(const Observer& other)
    : notifyLevel(other.notifyLevel), priority(other.priority) {}

Observer& Observer::operator=(const Observer& /*other*/) {
    return *this;
}

Observer::~Observer() {
    // The subject's call removes it from `subjects`, so take the list first.
    std::list<Subject*> attachedTo;
    attachedTo.swap(subjects);
    for (Subject* subject : attachedTo) {
        subject->forgetDestroyedObserver(this);
    }
}

void Observer::observer_update(Subject* /*subject*/) {}

Subject::Subject(const Subject& /*other*/) {}

Subject& Subject::operator=(const Subject& /*other*/) {
    return *this;
}

Subject::~Subject() {
    for (Observer* observer : observers) {
        observer->subjects.remove(this);
    }
}

void Subject::attach(Observer* observer, uint32_t level) {
    if (observer == nullptr ||
        std::find(observers.begin(), observers.end(), observer) != observers.end()) {
        return;
    }
    observers.push_back(observer);
    observer->notifyLevel = level;
    observer->subjects.push_back(this);
}

void Subject::detach(Observer* observer) {
    if (observer == nullptr) {
        return;
    }
    observers.remove(observer);
    observer->subjects.remove(this);
}

void Subject::notify(uint32_t level) {
    if (state == stateClean) {
        return;
    }
    bool leftOut = false;
    walk(level, false, leftOut);
    if (!leftOut) {
        state = stateClean;
    }
}

uint32_t Subject::getState() const {
    return state;
}

void Subject::notifyDeletion() {
    state = stateDeleted;
    bool leftOut = false;
    walk(0, true, leftOut);
}

void Subject::sortObservers() {
    // std::list::sort is a stable merge sort: equal priorities keep attach order.
    observers.sort([](const Observer* a, const Observer* b) { return a->priority > b->priority; });
}

void Subject::walk(uint32_t level, bool allLevels, bool& leftOut) {
    sortObservers();
    // Observers may attach and detach during the walk: walk a copy.
    std::vector<Observer*> copy(observers.begin(), observers.end());
    activeWalks.push_back(&copy);
    for (std::size_t i = 0; i < copy.size(); ++i) {
        Observer* observer = copy[i];
        if (observer == nullptr) {
            continue;  // destroyed during the walk
        }
        if (allLevels || observer->notifyLevel == level) {
            observer->observer_update(this);
        } else {
            leftOut = true;
        }
    }
    activeWalks.erase(std::find(activeWalks.begin(), activeWalks.end(), &copy));
}

void Subject::forgetDestroyedObserver(Observer* observer) {
    observers.remove(observer);
    for (std::vector<Observer*>* active : activeWalks) {
        std::replace(active->begin(), active->end(), observer, static_cast<Observer*>(nullptr));
    }
}

}  // namespace listener
