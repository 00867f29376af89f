#include "SignalNumber2Name.h"

#include "KernelFixture.h"

namespace {

constexpr char kObject[] = "ncSignalNumber2Name";

class SignalNumber2NameTest : public KernelFixture {
  protected:
    void TearDown() override {
        SignalNumber2Name::destroyInstance();
        KernelFixture::TearDown();
    }
};

}  // namespace

TEST_F(SignalNumber2NameTest, namesAndNumbersTranslateBothWays) {
    SignalNumber2Name* table = SignalNumber2Name::getInstance();
    EXPECT_EQ(SignalNumber2Name::getInstance(), table);
    table->insertSignalNames({{0xB0062, "MAO_FRO_CREATE_CFM"}, {0x300, "TWIN"}, {0x200, "TWIN"}});
    EXPECT_EQ(table->size(), 3u);
    EXPECT_EQ(table->sigNo2Name(0xB0062), "MAO_FRO_CREATE_CFM");
    EXPECT_EQ(table->name2SigNo("MAO_FRO_CREATE_CFM"), 0xB0062u);
    // Walked in number order: the lower number wins.
    EXPECT_EQ(table->name2SigNo("TWIN"), 0x200u);
    EXPECT_EQ(table->name2SigNo("twin"), SignalNumber2Name::unknownSigNo);
    EXPECT_TRUE(traced(
        kObject, "insertSignalName: Inserted signal MAO_FRO_CREATE_CFM <=> 0xb0062 (720994)"));

    // Through the interface, as users hold it.
    SignalNumber2NameApi& api = *table;
    EXPECT_EQ(api.sigNo2Name(0x300), "TWIN");
}

TEST_F(SignalNumber2NameTest, contradictionsAreRejectedAndReported) {
    SignalNumber2Name* table = SignalNumber2Name::getInstance();
    table->insertSignalName({0, "X"});
    EXPECT_EQ(table->size(), 0u);
    EXPECT_EQ(newProcessErrors(), 1u);
    EXPECT_EQ(nc::lastProcessError(),
              "insertSignalName: Signal not inserted: X[0] message: Invalid sigNo");

    table->insertSignalName({5, "FIRST"});
    table->insertSignalName({5, "SECOND"});
    EXPECT_EQ(newProcessErrors(), 2u);
    EXPECT_EQ(nc::lastProcessError(),
              "insertSignalName: Signal not inserted: SECOND[5] message: Requested update for same "
              "sigNo: FIRST -> SECOND");
    EXPECT_EQ(table->sigNo2Name(5), "FIRST");

    // The same pair again changes nothing and reports nothing; it is only traced.
    m_capture->clear();
    table->insertSignalName({5, "FIRST"});
    EXPECT_EQ(newProcessErrors(), 2u);
    EXPECT_EQ(table->size(), 1u);
    EXPECT_TRUE(traced(kObject, "insertSignalName: Inserted signal FIRST <=> 0x5 (5)"));

    // A list goes through pair by pair: the good ones get in around a bad one.
    table->insertSignalNames({{6, "SIX"}, {5, "FIVE"}, {7, "SEVEN"}});
    EXPECT_EQ(table->size(), 3u);
    EXPECT_EQ(newProcessErrors(), 3u);
}

TEST_F(SignalNumber2NameTest, unknownNumbersGetAMadeUpNameAndTheTableDoesNotGrow) {
    SignalNumber2Name* table = SignalNumber2Name::getInstance();
    table->insertSignalName({1, "ONE"});
    EXPECT_EQ(table->sigNo2Name(0xABC), "NO_TRANSLATION_FOR_0xabc");
    EXPECT_EQ(table->sigNo2Name(0xABC), "NO_TRANSLATION_FOR_0xabc");
    EXPECT_EQ(table->size(), 1u);
    EXPECT_TRUE(traced(kObject, "sigNo2Name: signal 0xabc (2748) not found!"));
    EXPECT_EQ(table->name2SigNo("NO_TRANSLATION_FOR_0xabc"), SignalNumber2Name::unknownSigNo);

    // A destroyed table starts again empty.
    SignalNumber2Name::destroyInstance();
    EXPECT_EQ(SignalNumber2Name::getInstance()->size(), 0u);
}
