// The transaction participant against the host's real transaction server and database:
// registration, commit and rollback on the framework and the database, and a server
// that goes down and comes back.
#include "TraniTestNode.h"

#include <algorithm>

using namespace tranitest;

namespace {

using Events = std::vector<std::string>;

TEST_F(TraniNode, commit_and_rollback_move_framework_fros_and_database_in_order) {
    start([&] {
        FroDatabase::instance()->initialize("", kTypes);
        registerClasses();
        RecordingTrani trani;
        RecordingMao mao;
        TraniSignalDispatcher dispatcher(&trani, &mao);
        dispatcher.init();
        TraceHandle traceHandle("MaoFroIfLU");

        // Two requests of one transaction make one registration.
        Tx first;
        first.create("Top=1,Probe=1", kProbeType, {{"level", "U32", "5"}, {"name", "STRING", "a"}});
        first.create("Top=1,Probe=2", kProbeType, {{"level", "U32", "6"}, {"name", "STRING", "b"}});
        EXPECT_TRUE(TraniGenericBase::isRegistered(first.id()));
        const auto texts = trace.texts("MaoFroIfLU");
        EXPECT_EQ(std::count(texts.begin(), texts.end(),
                             "Registration response: TARVO_TRANSACTION_OK"),
                  1);
        EXPECT_EQ(std::count(texts.begin(), texts.end(),
                             "Transaction " + std::to_string(first.id()) + " is already registered."),
                  1);
        EXPECT_TRUE(fros().empty()) << "nothing is committed before the server says so";
        ASSERT_TRUE(first.end(dispatcher, true));
        EXPECT_EQ(events(), (Events{"beforeCommit", "create Top=1,Probe=1 committing",
                                    "create Top=1,Probe=2 committing", "afterCommit",
                                    "mao commit committing"}));
        EXPECT_FALSE(TraniGenericBase::isCommitting());
        EXPECT_EQ(fros(), (Events{"Top=1,Probe=1", "Top=1,Probe=2"}));
        EXPECT_EQ(rows("select froid from frodata_Probe_INITIAL"), 2u);
        EXPECT_FALSE(FroDatabase::instance()->isConnected()) << "closed after the commit";

        // The ended transaction is no longer registered: a new registration is tried
        // and the server refuses it.
        std::string errorText;
        EXPECT_FALSE(TraniGenericBase::registerResource(first.id(), errorText, traceHandle));
        EXPECT_EQ(errorText, "Registration of transaction Id " + std::to_string(first.id()) +
                                 " to TRANI failed: TARVO_TRANI_ID_NOT_FOUND");

        // A set, a delete and a create in one commit: the deleted fRO hears of it before
        // the framework commits; then all created come before all set, all set before
        // all deleted.
        events().clear();
        Tx second;
        second.set("Top=1,Probe=1", {"level", "U32", "9"});
        second.remove("Top=1,Probe=2");
        second.create("Top=1,Probe=3", kProbeType, {{"level", "U32", "4"}, {"name", "STRING", "c"}});
        ASSERT_TRUE(second.end(dispatcher, true));
        EXPECT_EQ(events(), (Events{"beforeDelete Top=1,Probe=2", "beforeCommit",
                                    "create Top=1,Probe=3 committing", "set Top=1,Probe=1",
                                    "deleted Top=1,Probe=2", "afterCommit",
                                    "mao commit committing"}));
        EXPECT_EQ(fros(), (Events{"Top=1,Probe=1", "Top=1,Probe=3"}));
        EXPECT_EQ(froMgr::instance().getMoAttribute("Top=1,Probe=1", "level"), "9");
        EXPECT_EQ(rows("select froid from frodata_Probe_INITIAL where level = 9"), 1u);
        EXPECT_EQ(rows("select froid from frodata_Probe_INITIAL"), 2u);

        // A rollback drops the shadow and the text; one with nothing in it is told so.
        events().clear();
        Tx third;
        third.create("Top=1,Probe=4", kProbeType, {{"level", "U32", "1"}, {"name", "STRING", "c"}});
        ASSERT_TRUE(third.end(dispatcher, false));
        Tx empty;
        std::string ignored;
        ASSERT_TRUE(TraniGenericBase::registerResource(empty.id(), ignored, traceHandle));
        ASSERT_TRUE(empty.end(dispatcher, false));
        EXPECT_EQ(events(), (Events{"afterRollback", "mao rollback", "rollbackFailed",
                                    "mao rollback"}));
        EXPECT_EQ(fros(), (Events{"Top=1,Probe=1", "Top=1,Probe=3"}));
        EXPECT_EQ(rows("select froid from frodata_Probe_INITIAL"), 2u);
        EXPECT_EQ(transMgr::instance().getTransactionCount(), 0u);
    });
}

TEST_F(TraniNode, server_down_drops_open_transactions_and_a_new_server_takes_new_ones) {
    start([&] {
        FroDatabase::instance()->initialize("", kTypes);
        registerClasses();
        RecordingTrani trani;
        RecordingMao mao;
        TraniSignalDispatcher dispatcher(&trani, &mao);
        dispatcher.init();

        Tx lost;
        lost.create("Top=1,Probe=1", kProbeType, {{"level", "U32", "1"}, {"name", "STRING", "x"}});
        ASSERT_EQ(transMgr::instance().getTransactionCount(), 1u);

        const hosttx::TransactionServerConfig serverConfig{config, 4096, 64u << 20};
        kill_proc(hosttx::startTransactionServer(serverConfig));
        static const SIGSELECT down[] = {1, TARVO_TRANS_SERVER_DOWN_IND};
        union SIGNAL* indication = receive_w_tmo(5000, down);
        ASSERT_NE(indication, nullptr);
        ASSERT_NE(hosttx::startTransactionServer(serverConfig), 0u);
        // The dispatcher and the database each hear of it and attach to the new server.
        dispatcher.handleSignal(&indication);
        FroDatabase::instance()->handleSignal(&indication);
        free_buf(&indication);
        EXPECT_TRUE(trace.contains("Transaction server down, roll back all transactions"));
        EXPECT_EQ(transMgr::instance().getTransactionCount(), 0u);
        EXPECT_FALSE(TraniGenericBase::isRegistered(lost.id()));

        // The new server may give the lost transaction's id again: it registers anew.
        Tx fresh;
        fresh.create("Top=1,Probe=1", kProbeType, {{"level", "U32", "2"}, {"name", "STRING", "y"}});
        ASSERT_TRUE(fresh.end(dispatcher, true));
        EXPECT_EQ(fros(), (Events{"Top=1,Probe=1"}));
        EXPECT_EQ(rows("select froid from frodata_Probe_INITIAL where level = 2"), 1u);
        EXPECT_TRUE(std::find(events().begin(), events().end(),
                              "create Top=1,Probe=1 committing") != events().end());
    });
}

TEST_F(TraniNode, bad_signals_are_traced_and_passed_over) {
    start([&] {
        RecordingTrani trani;
        RecordingMao mao;
        TraniSignalDispatcher dispatcher(&trani, &mao);
        dispatcher.init();
        EXPECT_EQ(dispatcher.wantedSignals(),
                  (std::vector<SIGSELECT>{TARVO_TRANS_COMMIT_IND, TARVO_TRANS_SERVER_DOWN_IND,
                                          TARVO_TRANS_ROLLBACK_IND}));
        for (SIGSELECT number : {TARVO_TRANS_COMMIT_IND, SIGSELECT{0x4711}}) {
            union SIGNAL* signal = alloc(sizeof(SIGSELECT), number);
            dispatcher.handleSignal(&signal);
            ASSERT_NE(signal, nullptr) << "the buffer stays the caller's";
            free_buf(&signal);
        }
        EXPECT_TRUE(events().empty());
        EXPECT_TRUE(trace.contains("TARVO_TRANS_COMMIT_IND of 4 bytes has no transaction id"));
        EXPECT_TRUE(trace.contains("TraniSignalDispatcher: BAD SIGNAL RECEIVED, signo: 0x00004711"));
    });
}

}  // namespace
