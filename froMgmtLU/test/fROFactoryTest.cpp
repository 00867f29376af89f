// The factory: registrations, read-only attributes, ids, and ending fROs.
#include "FroIdHandler.h"
#include "LevelTraceCapture.h"
#include "dummy_fRO.h"
#include "fRO.h"
#include "fROFactory.h"

#include <gtest/gtest.h>

namespace {

class NamedFro : public fRO {
  public:
    explicit NamedFro(std::string className) : name(std::move(className)) { ++made; }
    std::string getSubjectName() const override { return name; }
    static int made;

  private:
    std::string name;
};
int NamedFro::made = 0;

fRO* makeFoo() {
    return new NamedFro("Foo");
}
fRO* makeOtherFoo() {
    return new NamedFro("OtherFoo");
}
fRO* makeNothing() {
    return nullptr;
}

class FactoryTest : public ::testing::Test {
  protected:
    void SetUp() override { reset(); }
    void TearDown() override { reset(); }
    static void reset() {
        fROFactory::instance().clearMOCRegistrations();
        fROFactory::instance().removeAllReadOnlyAttributes();
        FroIdHandler::instance().clear();
        NamedFro::made = 0;
    }
    fROFactory& factory = fROFactory::instance();
    FroIdHandler& ids = FroIdHandler::instance();
};

TEST_F(FactoryTest, UnregisteredTypesGetADummyAndBadLdnsNothing) {
    LevelTraceCapture traces({"FroMgmtLU"});
    auto fro = factory.createFRO("A=1,Bar=2", 0x12, 3, false, true, true);
    ASSERT_TRUE(fro);
    EXPECT_NE(nullptr, dynamic_cast<dummy_fRO*>(fro.get()));
    EXPECT_EQ("Bar", fro->getSubjectName());
    EXPECT_EQ(0x12u, fro->getFroType());
    EXPECT_EQ(0x00012003, fro->getFroId());
    EXPECT_EQ(3u, fro->getExternalFroId());
    EXPECT_TRUE(ids.isUsed(0x12, 3));
    EXPECT_TRUE(traces.has(2, "fROFactory::createFRO(ldn=A=1,Bar=2, fROType=18,externalFroId=3)"));
    EXPECT_TRUE(traces.has(8, "Creating dummy fRO"));
    EXPECT_TRUE(traces.has(8, "Internal ID is 73731"));

    EXPECT_FALSE(factory.createFRO("", 1, -1, false, true, true));
    EXPECT_TRUE(traces.has(8, "ldn is empty, cannot return new fro"));
    EXPECT_FALSE(factory.createFRO("A=1,=2", 1, -1, false, true, true));
    EXPECT_TRUE(traces.has(8, "ldn does not correspond to a known MO type, cannot return new fro"));

    // Ending the fRO gives its id back.
    factory.deleteFRO(fro);
    EXPECT_FALSE(fro);
    EXPECT_FALSE(ids.isUsed(0x12, 3));
}

TEST_F(FactoryTest, IdsAreNewReservedOrShared) {
    LevelTraceCapture traces({"FroMgmtLU"});
    auto first = factory.createFRO("A=1", 4, -1, false, false, true);
    auto second = factory.createFRO("A=2", 4, -1, false, false, true);
    EXPECT_EQ(0u, first->getExternalFroId());
    EXPECT_EQ(1u, second->getExternalFroId());
    EXPECT_TRUE(traces.has(8, "External ID is negative, generating new internal ID"));

    // A taken id cannot be reserved; the holder keeps it.
    EXPECT_FALSE(factory.createFRO("A=3", 4, 1, false, false, true));
    EXPECT_TRUE(traces.has(8, "Could not reserve ID, cancel creation of fRO"));
    EXPECT_TRUE(ids.isUsed(4, 1));

    // Without reservation the id is shared, as a transaction's shadow does it; the
    // shadow must give up the id before it goes, or it frees the holder's id.
    auto shadow = factory.createFRO("A=2", 4, 1, true, false, false);
    ASSERT_TRUE(shadow);
    EXPECT_EQ(second->getFroId(), shadow->getFroId());
    shadow->setFroId(-1);
    shadow.reset();
    EXPECT_TRUE(ids.isUsed(4, 1));
    auto careless = factory.createFRO("A=2", 4, 1, true, false, false);
    careless.reset();
    EXPECT_FALSE(ids.isUsed(4, 1));
    EXPECT_EQ(1u, ids.findLowestFreeFroId(4));
    traces.clear();
    second.reset();  // its id is already gone
    EXPECT_TRUE(traces.has(8, "Failed to free froId: 16385 for froType: 4"));
}

TEST_F(FactoryTest, RegistrationsChooseTheClass) {
    LevelTraceCapture traces({"FroMgmtLU"});
    factory.regMOType("Foo", makeFoo);
    factory.regMOType("Foo", makeOtherFoo);  // the first stays
    EXPECT_TRUE(traces.has(8, "TR: Could not register MO-type Foo"));
    EXPECT_TRUE(traces.has(8, "Registring MO-type Foo"));
    auto foo = factory.createFRO("A=1,Foo=2", 1, -1, false, false, true);
    EXPECT_EQ("Foo", foo->getSubjectName());
    EXPECT_TRUE(traces.has(8, "Calling derived allocation function for fro"));

    // One instance may have a class of its own.
    auto special = std::make_shared<fROAllocator>([] { return new NamedFro("Special"); });
    ASSERT_TRUE(factory.createMOTypeRegistration("Foo1", "SpecialFoo", 77, special));
    EXPECT_FALSE(factory.createMOTypeRegistration("Foo1", "Again", 78, special));
    EXPECT_EQ("Special",
              factory.createFRO("A=1,Foo=1", 1, -1, false, false, true)->getSubjectName());
    EXPECT_EQ("Foo", factory.createFRO("A=1,Foo=3", 1, -1, false, false, true)->getSubjectName());

    // createDummy never calls an allocation function.
    const int before = NamedFro::made;
    auto dummy = factory.createFRO("A=1,Foo=1", 1, -1, true, false, true);
    EXPECT_EQ(before, NamedFro::made);
    EXPECT_EQ("Foo", dummy->getSubjectName());
    EXPECT_NE(nullptr, dynamic_cast<dummy_fRO*>(dummy.get()));

    // A registration dies with the caller's allocator: the type gets a dummy again.
    auto registration = factory.findMOCRegistration(77);
    ASSERT_TRUE(registration);
    EXPECT_EQ("Foo1", registration->getMoType());
    EXPECT_EQ("SpecialFoo", registration->getFroTypeName());
    special.reset();
    EXPECT_FALSE(registration->hasAllocator());
    EXPECT_EQ(nullptr, registration->allocatefRO());
    EXPECT_TRUE(
        traces.has(0, "Registered fRO creation callback has expired. Unable to create fRO."));
    auto fallback = factory.createFRO("A=1,Foo=1", 1, -1, false, false, true);
    EXPECT_NE(nullptr, dynamic_cast<dummy_fRO*>(fallback.get()));

    // Allocators that give nothing, or are empty, make the creation fail.
    factory.regMOType("Null", makeNothing);
    EXPECT_FALSE(factory.createFRO("Null=1", 1, -1, false, false, true));
    factory.regMOType("Empty", nullptr);
    EXPECT_FALSE(factory.createFRO("Empty=1", 1, -1, false, false, true));
    EXPECT_TRUE(traces.has(0,
                           "Registered fRO creation callback is an empty function object. Unable "
                           "to create fRO."));
    EXPECT_EQ(-1, factory.findMOCRegistration("Null")->getFroTypeId());

    const auto all = factory.getMOCRegistrations();
    ASSERT_EQ(4u, all.size());
    EXPECT_EQ("Empty", all[0]->getMoType());
    EXPECT_EQ("Foo", all[1]->getMoType());
    EXPECT_EQ("Foo1", all[2]->getMoType());
    EXPECT_EQ("Null", all[3]->getMoType());

    factory.deleteMOCRegistration(77);
    EXPECT_TRUE(traces.has(8, "Remove registration of MO-type Foo1"));
    factory.deleteMOCRegistration(77);
    EXPECT_TRUE(traces.has(8, "TR: Could not find registration of MO-type with froTypeId=77"));
    factory.deleteMOCRegistration("Nope");
    EXPECT_TRUE(traces.has(8, "TR: Could not find registration of MO-type Nope"));
    factory.deleteMOCRegistration("Foo");
    EXPECT_FALSE(factory.findMOCRegistration("Foo"));
    EXPECT_FALSE(factory.findMOCRegistration(12345));
}

TEST_F(FactoryTest, ReadOnlyAttributesComeWithBirthByMoType) {
    ASSERT_TRUE(factory.addReadOnlyAttribute("Foo", "vendor", "STRING", "acme"));
    ASSERT_TRUE(factory.addReadOnlyAttribute("Foo", "maxPorts", "U32", "4"));
    EXPECT_FALSE(factory.addReadOnlyAttribute("Foo", "vendor", "STRING", "other"));
    ASSERT_TRUE(factory.addReadOnlyAttribute("Bar", "vendor", "STRING", "bar"));
    EXPECT_EQ("acme", factory.getReadOnlyAttribute("Foo", "vendor")->getValue());
    EXPECT_FALSE(factory.getReadOnlyAttribute("Foo", "nope"));

    auto fro = factory.createFRO("A=1,Foo=7", 1, -1, false, true, true);
    EXPECT_EQ((std::vector<std::string>{"vendor", "maxPorts"}), fro->getAttributeNames());
    EXPECT_EQ(4u, fro->getU32AttrValue("maxPorts"));
    EXPECT_EQ("acme", fro->getStringAttrValue("vendor"));
    auto without = factory.createFRO("A=1,Foo=8", 1, -1, false, false, true);
    EXPECT_TRUE(without->getAttributeNames().empty());

    factory.deleteReadOnlyAttribute("Foo", "vendor");
    factory.deleteReadOnlyAttribute("Foo", "unknown");
    const auto left = factory.getReadOnlyAttributes("Foo");
    ASSERT_EQ(1u, left.size());
    EXPECT_EQ("maxPorts", left[0]->getName());
    factory.removeAllReadOnlyAttributes();
    EXPECT_TRUE(factory.getReadOnlyAttributes("Bar").empty());
}

TEST_F(FactoryTest, DeleteRunsPrepareForDeletionOnce) {
    LevelTraceCapture traces({"FroMgmtLU"});
    auto fro = factory.createFRO("A=1", 2, -1, false, false, true);
    int told = 0;
    auto callback = std::make_shared<fRO::DeletionCallback>([&](std::weak_ptr<fRO>) { ++told; });
    fro->subscribeDeletion(callback);
    std::shared_ptr<fRO> otherHolder = fro;
    factory.deleteFRO(fro);
    EXPECT_EQ(1, told);
    EXPECT_FALSE(fro);
    EXPECT_TRUE(traces.has(8, "fRO instance not deleted when expected. froId: " +
                                  std::to_string(otherHolder->getFroId())));
    EXPECT_EQ(3u, otherHolder->getState());
    // Already in state 3: not prepared again.
    factory.deleteFRO(otherHolder);
    EXPECT_EQ(1, told);
    std::shared_ptr<fRO> none;
    factory.deleteFRO(none);
}

}  // namespace
