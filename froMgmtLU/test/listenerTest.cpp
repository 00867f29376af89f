// listener: levels, priorities, and either side going first.
#include "listener.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace {

class TestSubject : public listener::Subject {
  public:
    std::string getSubjectName() const override { return "TestSubject"; }
};

class RecordingObserver : public listener::Observer {
  public:
    RecordingObserver(std::string observerName, std::vector<std::string>& record)
        : name(std::move(observerName)), log(record) {}
    void observer_update(listener::Subject* subject) override {
        log.push_back(name + ":" + std::to_string(subject->getState()));
        if (onUpdate) {
            onUpdate();
        }
    }
    std::string name;
    std::vector<std::string>& log;
    std::function<void()> onUpdate;
};

TEST(Listener, HigherPriorityFirstAndEqualPrioritiesInAttachOrder) {
    std::vector<std::string> log;
    TestSubject subject;
    RecordingObserver low("low", log), high("high", log), second("second", log);
    high.setPriority(5);
    subject.attach(&low, 1);
    subject.attach(&second, 1);
    subject.attach(&high, 1);
    subject.setState(1);
    subject.notify(1);
    EXPECT_EQ((std::vector<std::string>{"high:1", "low:1", "second:1"}), log);
    EXPECT_EQ(0u, subject.getState());  // nobody left out: clean again

    log.clear();
    low.setPriority(9);
    subject.setState(1);
    subject.notify(1);
    EXPECT_EQ((std::vector<std::string>{"low:1", "high:1", "second:1"}), log);
}

TEST(Listener, TwoLevelsOfNotification) {
    std::vector<std::string> log;
    TestSubject subject;
    RecordingObserver later("later", log), now("now", log);
    subject.attach(&later, 0);
    subject.attach(&now, 1);
    subject.attach(&now, 0);  // already attached: keeps level 1
    EXPECT_EQ(1u, now.getNotifyLevel());
    EXPECT_EQ(2u, subject.getObservers().size());

    subject.notify(1);  // state 0: nothing to tell
    EXPECT_TRUE(log.empty());

    subject.setState(1);
    subject.notify(1);
    EXPECT_EQ((std::vector<std::string>{"now:1"}), log);
    EXPECT_EQ(1u, subject.getState());  // the level 0 observer is still to be told

    subject.notify(0);
    EXPECT_EQ((std::vector<std::string>{"now:1", "later:1"}), log);
    // This time the level 1 observer was left out: the state stays until reset.
    EXPECT_EQ(1u, subject.getState());

    // With observers of one level only, the subject is clean after their pass.
    TestSubject single;
    RecordingObserver only("only", log);
    single.attach(&only, 0);
    single.setState(1);
    single.notify(0);
    EXPECT_EQ(0u, single.getState());
    log.clear();
    subject.setState(0);

    subject.notifyDeletion();  // every level is told
    EXPECT_EQ((std::vector<std::string>{"later:3", "now:3"}), log);
    EXPECT_EQ(3u, subject.getState());
}

TEST(Listener, ObserversMayDetachOrDieDuringTheWalk) {
    std::vector<std::string> log;
    TestSubject subject;
    RecordingObserver first("first", log), third("third", log);
    auto second = std::make_unique<RecordingObserver>("second", log);
    first.onUpdate = [&] { subject.detach(&first); };
    subject.attach(&first, 1);
    subject.attach(second.get(), 1);
    subject.attach(&third, 1);
    subject.setState(1);
    subject.notify(1);
    EXPECT_EQ((std::vector<std::string>{"first:1", "second:1", "third:1"}), log);
    EXPECT_EQ(2u, subject.getObservers().size());
    EXPECT_TRUE(first.getSubjects().empty());

    // An observer destroyed by another during the walk is not called.
    log.clear();
    third.onUpdate = nullptr;
    RecordingObserver killer("killer", log);
    killer.setPriority(10);
    killer.onUpdate = [&] { second.reset(); };
    subject.attach(&killer, 1);
    subject.setState(1);
    subject.notify(1);
    EXPECT_EQ((std::vector<std::string>{"killer:1", "third:1"}), log);
    EXPECT_EQ(2u, subject.getObservers().size());
}

TEST(Listener, EitherSideMayBeDestroyedFirst) {
    std::vector<std::string> log;
    RecordingObserver observer("o", log);
    {
        TestSubject a;
        TestSubject b;
        a.attach(&observer, 1);
        b.attach(&observer, 0);
        EXPECT_EQ(2u, observer.getSubjects().size());
    }
    EXPECT_TRUE(observer.getSubjects().empty());

    TestSubject subject;
    {
        RecordingObserver shortLived("s", log);
        subject.attach(&shortLived, 1);
        EXPECT_TRUE(subject.hasObservers());
    }
    EXPECT_FALSE(subject.hasObservers());
    subject.setState(1);
    subject.notify(1);
    EXPECT_TRUE(log.empty());

    subject.attach(&observer, 1);
    subject.detach(&observer);
    EXPECT_FALSE(subject.hasObservers());
    EXPECT_TRUE(observer.getSubjects().empty());
}

}  // namespace
