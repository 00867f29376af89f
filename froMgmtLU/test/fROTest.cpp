// fRO: typed attribute access, notification of changes, subscribers, deletion.
#include "AttributeTypes.h"
#include "FroIdHandler.h"
#include "LevelTraceCapture.h"
#include "fRO.h"
#include "fROFactory.h"
#include "transTestSupport.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

using transtest::Recorder;

class FroTest : public ::testing::Test {
  protected:
    void SetUp() override {
        FroIdHandler::instance().clear();
        fro = fROFactory::instance().createFRO("A=1,Unit=1", 9, 5, true, false, true);
        ASSERT_TRUE(fro);
        fro->addAttribute("s32", "-7", attrType::S32);
        fro->addAttribute("s64", "-8589934592", attrType::S64);
        fro->addAttribute("u32", "4000000000", attrType::U32);
        fro->addAttribute("text", "hello", attrType::STRING);
        fro->addAttribute("ref", "<moref/>", attrType::MOREF);
        fro->addAttribute("rec", "<struct/>", attrType::STRUCT);
        fro->addAttribute("list", "<array/>", attrType::ARRAY);
        fro->addAttribute("bad", "abc", attrType::S32);
    }
    void TearDown() override {
        fro.reset();
        FroIdHandler::instance().clear();
    }
    std::shared_ptr<fRO> fro;
};

TEST_F(FroTest, TypedGettersCheckTypeAndText) {
    LevelTraceCapture traces({"FroMgmtLU"});
    EXPECT_EQ(-7, fro->getS32AttrValue("s32"));
    EXPECT_EQ(-8589934592LL, fro->getS64AttrValue("s64"));
    EXPECT_EQ(4000000000u, fro->getU32AttrValue("u32"));
    EXPECT_EQ("hello", fro->getStringAttrValue("text"));
    EXPECT_EQ("<moref/>", fro->getMoRefAttrValue("ref"));
    EXPECT_EQ("<struct/>", fro->getStructAttrValue("rec"));
    EXPECT_EQ("<array/>", fro->getArrayAttrValue("list"));
    EXPECT_EQ(0u, traces.size());

    EXPECT_EQ(0, fro->getS32AttrValue("text"));
    EXPECT_TRUE(traces.has(0, "Attribute \"text\" is not of expected S32 type"));
    EXPECT_EQ(0, fro->getS32AttrValue("bad"));
    EXPECT_TRUE(traces.has(0, "Attribute \"bad\" is not a valid S32"));
    EXPECT_EQ(0u, fro->getU32AttrValue("s32"));
    EXPECT_TRUE(traces.has(0, "Attribute \"s32\" is not of expected U32 type"));
    EXPECT_EQ("", fro->getStringAttrValue("ref"));
    EXPECT_TRUE(traces.has(0, "Attribute \"ref\" is not of expected STRING type"));
    EXPECT_EQ("", fro->getArrayAttrValue("rec"));
    EXPECT_TRUE(traces.has(0, "Attribute \"rec\" is not of expected array type"));
    EXPECT_EQ(0, fro->getS64AttrValue("nope"));
    EXPECT_TRUE(traces.has(0, "Attribute \"nope\" does not exist on fRO (frotype=9)."));
    EXPECT_EQ("", fro->getStringAttrValue("nope"));
    EXPECT_TRUE(traces.has(0, "Attribute \"nope\" does not exist on fRO(frotype=9)."));

    traces.clear();
    EXPECT_EQ("", fro->getAttrValue("nope"));  // the plain read traces nothing
    EXPECT_EQ(0u, traces.size());
    EXPECT_TRUE(fro->getAttribute("nope").isEmpty());
    EXPECT_EQ(Attribute("u32", "U32", "4000000000"), fro->getAttribute("u32"));
    EXPECT_EQ("S64", fro->getAttrType("s64"));
    std::string value;
    EXPECT_EQ(3, fro->findAttributeIndex("text", value));
    EXPECT_EQ("hello", value);
    EXPECT_EQ(-1, fro->findAttributeIndex("nope", value));
    EXPECT_EQ((std::vector<std::string>{"s32", "s64", "u32", "text", "ref", "rec", "list", "bad"}),
              fro->getAttributeNames());
}

TEST_F(FroTest, TypedSettersChangeNothingOnFailure) {
    LevelTraceCapture traces({"FroMgmtLU"});
    EXPECT_TRUE(fro->setS32AttrValue("s32", -2147483647 - 1));
    EXPECT_EQ("-2147483648", fro->getAttrValue("s32"));
    EXPECT_TRUE(fro->setS64AttrValue("s64", 1LL << 40));
    EXPECT_EQ("1099511627776", fro->getAttrValue("s64"));
    EXPECT_TRUE(fro->setU32AttrValue("u32", 4294967295u));
    EXPECT_EQ(4294967295u, fro->getU32AttrValue("u32"));
    EXPECT_TRUE(fro->setStringAttrValue("text", "bye"));
    EXPECT_TRUE(fro->setMoRefAttrValue("ref", "<moref name=\"r\"/>"));
    EXPECT_TRUE(fro->setStructAttrValue("rec", "<struct name=\"s\"/>"));
    EXPECT_TRUE(fro->setArrayAttrValue("list", "<array name=\"l\"/>"));
    EXPECT_EQ("<array name=\"l\"/>", fro->getAttrValue("list"));

    EXPECT_FALSE(fro->setU32AttrValue("text", 1));
    EXPECT_TRUE(traces.has(0, "Attribute \"text\" is not of expected U32 type"));
    EXPECT_EQ("bye", fro->getAttrValue("text"));
    EXPECT_FALSE(fro->setStructAttrValue("list", "<struct/>"));
    EXPECT_TRUE(traces.has(0, "Attribute \"list\" is not of expected struct type"));
    EXPECT_FALSE(fro->setU32AttrValue("nope", 1));
    EXPECT_TRUE(traces.has(0, "Attribute \"nope\" does not exist on fRO (frotype=9)."));
    EXPECT_FALSE(fro->setStringAttrValue("nope", "x"));
    EXPECT_FALSE(fro->hasAttribute("nope"));
    EXPECT_FALSE(fro->setAttrValue("nope", "x"));
    EXPECT_FALSE(fro->setAttrValue("nope", static_cast<const char*>(nullptr)));
    EXPECT_TRUE(fro->setAttrValue("text", static_cast<const char*>(nullptr)));
    EXPECT_EQ("", fro->getAttrValue("text"));
}

TEST_F(FroTest, ChangesReachObserversAtTheirLevel) {
    Recorder now, later, whole;
    AttrNameValue* text = fro->findAttribute("text");
    ASSERT_NE(nullptr, text);
    text->attach(&now, 1);
    text->attach(&later, 0);
    fro->attach(&whole, 1);

    // The same value again reaches nobody and leaves everything clean.
    EXPECT_TRUE(fro->setAttrValue("text", "hello"));
    EXPECT_TRUE(now.states.empty());
    EXPECT_TRUE(whole.states.empty());
    EXPECT_EQ(0u, text->getState());
    EXPECT_EQ(0u, fro->getState());

    EXPECT_TRUE(fro->setAttrValue("text", "changed"));
    EXPECT_EQ((std::vector<uint32_t>{1}), now.states);
    EXPECT_EQ((std::vector<std::string>{"AttrNameValue"}), now.names);
    EXPECT_EQ((std::vector<std::string>{"Unit"}), whole.names);
    EXPECT_TRUE(later.states.empty());
    EXPECT_EQ(1u, text->getState());  // the level 0 observer is still to be told
    EXPECT_EQ(0u, fro->getState());   // the fRO's only observer was told

    fro->clearChanges();
    EXPECT_EQ((std::vector<uint32_t>{1}), later.states);
    EXPECT_EQ(0u, text->getState());
    EXPECT_EQ(1u, now.states.size());

    // Assigning the string directly tells nobody.
    text->value = "quiet";
    EXPECT_EQ("quiet", fro->getAttrValue("text"));
    EXPECT_EQ(1u, now.states.size());

    // The pointer an observer holds survives many later additions.
    for (int n = 0; n < 200; ++n) {
        fro->addAttribute("extra" + std::to_string(n), "0", attrType::S32);
    }
    EXPECT_EQ(text, fro->findAttribute("text"));
    EXPECT_TRUE(fro->setStringAttrValue("text", "again"));
    EXPECT_EQ(2u, now.states.size());
}

TEST_F(FroTest, AdditionSubscribers) {
    LevelTraceCapture traces({"FroMgmtLU"});
    std::vector<std::string> added;
    auto callback = std::make_shared<fRO::AttrAdditionCallback>(
        [&](std::weak_ptr<fRO>, const std::string& name) { added.push_back(name); });
    auto shortLived = std::make_shared<fRO::AttrAdditionCallback>(
        [&](std::weak_ptr<fRO>, const std::string& name) { added.push_back("short:" + name); });
    fro->subscribeAttrAddition(callback);
    fro->subscribeAttrAddition(callback);  // the same callback once
    fro->subscribeAttrAddition(shortLived);
    EXPECT_EQ(2u, fro->attrAdditionSubscriberCount());

    fro->addAttribute(Attribute("fresh", "STRING", "v"));
    EXPECT_EQ(2u, added.size());
    EXPECT_EQ(Attribute("fresh", "STRING", "v"), fro->getAttribute("fresh"));

    // An existing name changes nothing and tells nobody.
    fro->addAttribute("fresh", "other", "U32");
    EXPECT_EQ(Attribute("fresh", "STRING", "v"), fro->getAttribute("fresh"));
    EXPECT_EQ(2u, added.size());

    // An expired subscriber is dropped by the next addition.
    std::weak_ptr<fRO::AttrAdditionCallback> expired = shortLived;
    shortLived.reset();
    fro->addAttribute("second", "1", "S32");
    EXPECT_EQ(1u, fro->attrAdditionSubscriberCount());
    EXPECT_EQ("second", added.back());

    fro->subscribeAttrAddition(expired);
    EXPECT_TRUE(traces.has(0,
                           "Subscribe to attribute addition failed because the provided callback "
                           "has expired. froId: " +
                               std::to_string(fro->getFroId()) + " for froType: 9"));
    fro->unsubscribeAttrAddition(expired);
    EXPECT_TRUE(traces.hasPrefix(0, "Unsubscribe to attribute addition failed because"));
    fro->unsubscribeAttrAddition(callback);
    fro->addAttribute("third", "1", "S32");
    EXPECT_EQ("second", added.back());
}

TEST_F(FroTest, PrepareForDeletionTellsSubscribersThenObservers) {
    LevelTraceCapture traces({"FroMgmtLU"});
    std::vector<std::string> order;
    class OrderObserver : public listener::Observer {
      public:
        explicit OrderObserver(std::vector<std::string>& log) : record(log) {}
        void observer_update(listener::Subject* subject) override {
            record.push_back(subject->getSubjectName() + ":" + std::to_string(subject->getState()));
        }
        std::vector<std::string>& record;
    } observer(order);
    fro->findAttribute("s32")->attach(&observer, 0);
    fro->attach(&observer, 0);
    fro->setSelf(fro);

    auto subscriber = std::make_shared<fRO::DeletionCallback>([&](std::weak_ptr<fRO> self) {
        auto alive = self.lock();
        order.push_back(alive ? "subscriber:" + std::to_string(alive->getState()) : "no self");
    });
    auto gone = std::make_shared<fRO::DeletionCallback>(
        [&](std::weak_ptr<fRO>) { order.push_back("gone"); });
    fro->subscribeDeletion(subscriber);
    fro->subscribeDeletion(gone);
    gone.reset();
    fro->prepareForDeletion();
    EXPECT_EQ((std::vector<std::string>{"subscriber:0", "AttrNameValue:3", "Unit:3"}), order);
    // An expired deletion subscriber stays in its map until the fRO goes.
    EXPECT_EQ(2u, fro->deletionSubscriberCount());

    fro->unsubscribeDeletion(subscriber);
    EXPECT_EQ(1u, fro->deletionSubscriberCount());
    std::weak_ptr<fRO::DeletionCallback> expired;
    fro->subscribeDeletion(expired);
    EXPECT_TRUE(traces.has(0,
                           "Subscribe to fRO deletion failed because the provided callback has "
                           "expired. froId: " +
                               std::to_string(fro->getFroId()) + " for froType: 9"));

    std::ostringstream dump;
    fro->dump(dump);
    EXPECT_EQ("Dump interface not implemented.", dump.str());
}

TEST_F(FroTest, TheDestructorFreesTheIdUnlessGivenUp) {
    EXPECT_TRUE(FroIdHandler::instance().isUsed(9, 5));
    EXPECT_EQ(5u, fro->getExternalFroId());
    EXPECT_EQ(0u, fro->getTransactionId());
    fro.reset();
    EXPECT_FALSE(FroIdHandler::instance().isUsed(9, 5));

    auto kept = fROFactory::instance().createFRO("A=1,Unit=2", 9, 6, true, false, true);
    kept->setFroId(-1);
    kept.reset();
    EXPECT_TRUE(FroIdHandler::instance().isUsed(9, 6));
}

}  // namespace
