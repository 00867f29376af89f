// The supervision on its own: the test's kernel process is both the client and the
// radio object, so every request comes back to its own queue and the test answers
// it, late, or not at all. The kernel's clock is manual: the supervisions have the
// clients' own times (30 s, 5 s) and the test moves the clock past them by hand.
#include "LevelTraceCapture.h"
#include "SignalNumber2Name.h"
#include "TimeLimit.h"
#include "ULSAtmo.h"
#include "oseHost.h"
#include "radioSignals.h"
#include "roSignalHandler.h"
#include "traceGroups.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

constexpr uint32_t kFroId = 4097;
constexpr uint32_t kRmci = 30000;  // the measurement client's supervision
constexpr uint32_t kRfti = 5000;   // the file-transfer client's supervision

class Supervision : public ::testing::Test {
  protected:
    void TearDown() override { ose_shutdown(); }

    // The body as a kernel process, under a time limit.
    template <class Body>
    void run(Body body) {
        runWithTimeLimit(std::chrono::seconds(20), [&] {
            ose_clock_set_manual(1);
            m_self = ose_adopt_thread("ulsa_main");
            traceGroups::registerTraceGroup("ulsaRoSigHndSwU", &traceGroups::ulsaRoSigHndSwU);
            m_trace =
                std::make_unique<LevelTraceCapture>(std::vector<std::string>{"ulsaRoSigHndSwU"});
            std::size_t count = 0;
            const radioSignals::SignalInfo* signals = radioSignals::catalogue(count);
            for (std::size_t i = 0; i < count; ++i) {
                SignalNumber2Name::getInstance()->insertSignalName(
                    {signals[i].number, signals[i].name});
            }
            body();
            ULSAtmo::getInstance()->clear();
            ULSAtmo::destroyInstance();
            SignalNumber2Name::destroyInstance();
            m_trace.reset();
            ose_leave_thread();
        });
    }

    static union SIGNAL* signal(SIGSELECT number) { return alloc(16, number); }

    // Takes the first signal of that number from the queue; null when there is none.
    static union SIGNAL* next(SIGSELECT number) {
        const SIGSELECT select[] = {1, number};
        return receive_w_tmo(0, select);
    }

    // Sends a request under supervision to this process and takes it off the queue.
    uint32_t sendRequest(roSignalHandler& handler, SIGSELECT number, uint32_t tmo,
                         std::vector<SIGSELECT> replies, uint32_t froId = kFroId) {
        union SIGNAL* request = signal(number);
        const uint32_t result = handler.send2RoWTmo(froId, m_self, tmo, &request, replies, m_self);
        if (result == roSignalHandlerApi::Supervised) {
            EXPECT_EQ(request, nullptr);
            union SIGNAL* arrived = next(number);
            EXPECT_NE(arrived, nullptr);
            if (arrived != nullptr) {
                EXPECT_EQ(sender(&arrived), m_self);
                free_buf(&arrived);
            }
        } else {
            EXPECT_NE(request, nullptr);  // refused: still ours
            free_buf(&request);
        }
        return result;
    }

    // Passes a signal through receiveFromRo and frees it.
    static uint32_t receive(roSignalHandler& handler, union SIGNAL* sig,
                            SIGSELECT& supervisedSigNo) {
        const uint32_t result = handler.receiveFromRo(sig, supervisedSigNo);
        free_buf(&sig);
        return result;
    }

    bool traced(unsigned level, const std::string& text) const { return m_trace->has(level, text); }

    PROCESS m_self = 0;
    std::unique_ptr<LevelTraceCapture> m_trace;
};

}  // namespace

TEST_F(Supervision, AReplyInTimeEndsTheSupervision) {
    run([&] {
        roSignalHandler handler("rmciClientHandler");
        ASSERT_EQ(sendRequest(handler, RMCI_CONFIG_REQ, kRmci, {RMCI_CONFIG_CFM, RMCI_CONFIG_REJ}),
                  roSignalHandlerApi::Supervised);
        EXPECT_TRUE(traced(8,
                           "rmciClientHandler::send2RoWTmo: supervise signal name = "
                           "RMCI_CONFIG_REQ, dest = " +
                               std::to_string(m_self)));
        EXPECT_TRUE(handler.isSupervised(RMCI_CONFIG_REQ));
        EXPECT_TRUE(ULSAtmo::getInstance()->contains(kFroId, RMCI_CONFIG_REQ, 0));
        ose_clock_advance(kRmci - 1);
        EXPECT_EQ(next(ULSA_TMO_SIG), nullptr);

        SIGSELECT supervisedSigNo = 0;
        EXPECT_EQ(receive(handler, signal(RMCI_CONFIG_REJ), supervisedSigNo),
                  roSignalHandlerApi::SupervisedReply);
        EXPECT_EQ(supervisedSigNo, RMCI_CONFIG_REQ);
        EXPECT_TRUE(traced(8,
                           "rmciClientHandler::receiveFromRo: received signal name = "
                           "RMCI_CONFIG_REJ"));
        EXPECT_TRUE(traced(8,
                           "rmciClientHandler::receiveFromRo: Cancel supervision of signal "
                           "name = RMCI_CONFIG_REJ"));
        EXPECT_FALSE(handler.isSupervised(RMCI_CONFIG_REQ));
        EXPECT_EQ(ULSAtmo::getInstance()->size(), 0u);
        ose_clock_advance(kRmci);
        EXPECT_EQ(next(ULSA_TMO_SIG), nullptr);
    });
}

TEST_F(Supervision, NoReplyGivesTheTimeoutAndALateReplyIsNotSupervised) {
    run([&] {
        roSignalHandler handler("rftiClientHandler");
        ASSERT_EQ(sendRequest(handler, RFTI_GET_RESULT_REQ, kRfti,
                              {RFTI_GET_RESULT_DATA, RFTI_GET_RESULT_REJ}),
                  roSignalHandlerApi::Supervised);
        ose_clock_advance(kRfti - 1);
        EXPECT_EQ(next(ULSA_TMO_SIG), nullptr);
        ose_clock_advance(1);
        union SIGNAL* timeout = next(ULSA_TMO_SIG);
        ASSERT_NE(timeout, nullptr);
        const UlsaTmoSig* tmo = reinterpret_cast<const UlsaTmoSig*>(timeout);
        EXPECT_EQ(tmo->id, kFroId);
        EXPECT_EQ(tmo->tmo_type, 0u);
        EXPECT_EQ(tmo->preload, RFTI_GET_RESULT_REQ);

        SIGSELECT supervisedSigNo = 0;
        EXPECT_EQ(receive(handler, timeout, supervisedSigNo), roSignalHandlerApi::Timeout);
        EXPECT_EQ(supervisedSigNo, RFTI_GET_RESULT_REQ);
        EXPECT_TRUE(traced(4,
                           "rftiClientHandler::receiveFromRo: Timeout received: ULSA_TMO_SIG, "
                           "for signal: RFTI_GET_RESULT_REQ, froId = 4097, preload: " +
                               std::to_string(RFTI_GET_RESULT_REQ)));
        EXPECT_TRUE(traced(8, "ULSAtmo::remove_Tmo: Removing MEMORY for id:4097, preload: " +
                                  std::to_string(RFTI_GET_RESULT_REQ) + " and tmo_type: 0"));
        EXPECT_FALSE(handler.isSupervised(RFTI_GET_RESULT_REQ));
        EXPECT_EQ(ULSAtmo::getInstance()->size(), 0u);

        EXPECT_EQ(receive(handler, signal(RFTI_GET_RESULT_DATA), supervisedSigNo),
                  roSignalHandlerApi::NotSupervised);
        EXPECT_TRUE(traced(4,
                           "rftiClientHandler::receiveFromRo: signal name = "
                           "RFTI_GET_RESULT_DATA is not supervised or received late!"));

        // The number can be supervised again once its time-out has come.
        EXPECT_EQ(sendRequest(handler, RFTI_GET_RESULT_REQ, kRmci, {RFTI_GET_RESULT_DATA}),
                  roSignalHandlerApi::Supervised);
    });
}

TEST_F(Supervision, AReplyWhileItsTimeoutIsInFlightLeavesTheTimeoutUnsupervised) {
    run([&] {
        roSignalHandler handler("rmciClientHandler");
        ASSERT_EQ(handler.prep4ToSup(kFroId, kRmci, ULSA_RMCI_SERVER_HUNT_IND,
                                     {ULSA_RMCI_SERVER_HUNT_IND}),
                  roSignalHandlerApi::Supervised);
        EXPECT_TRUE(traced(8,
                           "rmciClientHandler::prep4ToSup: supervise signal name = "
                           "ULSA_RMCI_SERVER_HUNT_IND (no preload)"));
        ose_clock_advance(kRmci);
        union SIGNAL* timeout = next(ULSA_TMO_SIG);  // fired, not yet handled
        ASSERT_NE(timeout, nullptr);

        SIGSELECT supervisedSigNo = 0;
        EXPECT_EQ(receive(handler, signal(ULSA_RMCI_SERVER_HUNT_IND), supervisedSigNo),
                  roSignalHandlerApi::SupervisedReply);
        EXPECT_EQ(supervisedSigNo, ULSA_RMCI_SERVER_HUNT_IND);
        EXPECT_EQ(receive(handler, timeout, supervisedSigNo), roSignalHandlerApi::HandlingError);
        EXPECT_EQ(supervisedSigNo, roSignalHandlerApi::noSupervisedSigNo);
        EXPECT_TRUE(traced(4,
                           "rmciClientHandler::receiveFromRo: Timeout for not supervised "
                           "signal received.  name: = ULSA_RMCI_SERVER_HUNT_IND, froId = 4097, "
                           "preload: " +
                               std::to_string(ULSA_RMCI_SERVER_HUNT_IND)));
    });
}

TEST_F(Supervision, CancelledAndDestroyedSupervisionsNeverTimeOut) {
    run([&] {
        auto handler = std::make_unique<roSignalHandler>("rmciClientHandler");
        ASSERT_EQ(sendRequest(*handler, RMCI_MEASURE_REQ, kRmci, {RMCI_MEASURE_CFM}),
                  roSignalHandlerApi::Supervised);
        handler->cancelTimer(RMCI_MEASURE_REQ);
        EXPECT_TRUE(traced(8,
                           "rmciClientHandler::cancelTimer: Cancel supervision of signal name "
                           "= RMCI_MEASURE_REQ"));
        handler->cancelTimer(RMCI_MEASURE_REQ);
        EXPECT_TRUE(traced(4,
                           "rmciClientHandler::cancelTimer: Signal name = RMCI_MEASURE_REQ is "
                           "not supervised"));

        ASSERT_EQ(sendRequest(*handler, RMCI_MEASURE_STOP_REQ, kRmci, {RMCI_MEASURE_STOP_CFM}),
                  roSignalHandlerApi::Supervised);
        handler.reset();
        EXPECT_TRUE(traced(8, "Clear roSignalHandler"));
        EXPECT_TRUE(traced(8, "RoSignalHandler is destroyed, removing signals: " +
                                  std::to_string(RMCI_MEASURE_STOP_REQ)));
        EXPECT_EQ(ULSAtmo::getInstance()->size(), 0u);
        ose_clock_advance(2 * kRmci);
        EXPECT_EQ(next(ULSA_TMO_SIG), nullptr);
    });
}

TEST_F(Supervision, OneSupervisionPerNumberAndHandler) {
    run([&] {
        roSignalHandler rmci("rmciClientHandler");
        roSignalHandler other("rmciClientHandler");
        ASSERT_EQ(sendRequest(rmci, RMCI_GET_CAPABILITIES_REQ, kRmci, {RMCI_GET_CAPABILITIES_CFM}),
                  roSignalHandlerApi::Supervised);
        // The same number again in the same handler is refused; the signal stays ours.
        EXPECT_EQ(sendRequest(rmci, RMCI_GET_CAPABILITIES_REQ, kRmci, {RMCI_GET_CAPABILITIES_CFM}),
                  roSignalHandlerApi::Refused);
        EXPECT_TRUE(traced(1,
                           "rmciClientHandler::send2RoWTmo: Unable to register the signal to "
                           "supervise = RMCI_GET_CAPABILITIES_REQ, destination=" +
                               std::to_string(m_self)));
        EXPECT_EQ(rmci.prep4ToSup(kFroId, kRmci, RMCI_GET_CAPABILITIES_REQ, {}),
                  roSignalHandlerApi::Refused);
        EXPECT_TRUE(traced(1,
                           "rmciClientHandler::prep4ToSup: Unable to register the signal to "
                           "supervise = RMCI_GET_CAPABILITIES_REQ"));
        // Another handler supervises it for another client: two records, told apart by id.
        EXPECT_EQ(sendRequest(other, RMCI_GET_CAPABILITIES_REQ, kRmci, {RMCI_GET_CAPABILITIES_CFM},
                              kFroId + 1),
                  roSignalHandlerApi::Supervised);
        EXPECT_EQ(ULSAtmo::getInstance()->size(), 2u);
        // Yet another handler for the same client is refused by the list of time-outs.
        roSignalHandler third("rftiClientHandler");
        EXPECT_EQ(third.prep4ToSup(kFroId, kRmci, RMCI_GET_CAPABILITIES_REQ, {}),
                  roSignalHandlerApi::Refused);
        EXPECT_TRUE(traced(1,
                           "ulsa_set_Tmo Failed, old request still in list, please canceltmo  "
                           "id: 4097, preload: " +
                               std::to_string(RMCI_GET_CAPABILITIES_REQ) + " tmo_type: 0"));

        // A destination of 0: not sent, not supervised, still ours.
        union SIGNAL* request = signal(RMCI_MEASURE_REQ);
        EXPECT_EQ(rmci.send2RoWTmo(kFroId, m_self, kRmci, &request, {RMCI_MEASURE_CFM}, 0),
                  roSignalHandlerApi::Refused);
        ASSERT_NE(request, nullptr);
        free_buf(&request);
        EXPECT_FALSE(rmci.isSupervised(RMCI_MEASURE_REQ));
        EXPECT_EQ(ULSAtmo::getInstance()->size(), 2u);
    });
}

TEST_F(Supervision, AReplyExpectedTwiceEndsTheEntryWithTheHigherNumber) {
    run([&] {
        roSignalHandler handler("rmciClientHandler");
        ASSERT_EQ(
            sendRequest(handler, KGM_IW_USI_CONN_ESTABLISH_REQ, kRmci, {KGM_IW_USI_CONN_CLOSE_CFM}),
            roSignalHandlerApi::Supervised);
        ASSERT_EQ(
            sendRequest(handler, KGM_IW_USI_CONN_CLOSE_REQ, kRmci, {KGM_IW_USI_CONN_CLOSE_CFM}),
            roSignalHandlerApi::Supervised);
        SIGSELECT supervisedSigNo = 0;
        EXPECT_EQ(receive(handler, signal(KGM_IW_USI_CONN_CLOSE_CFM), supervisedSigNo),
                  roSignalHandlerApi::SupervisedReply);
        EXPECT_EQ(supervisedSigNo, KGM_IW_USI_CONN_CLOSE_REQ);
        EXPECT_TRUE(handler.isSupervised(KGM_IW_USI_CONN_ESTABLISH_REQ));
        EXPECT_FALSE(handler.isSupervised(KGM_IW_USI_CONN_CLOSE_REQ));

        // A ULSA_TMO_SIG too short to name its supervision is a handling error.
        union SIGNAL* shortTmo = alloc(8, ULSA_TMO_SIG);
        EXPECT_EQ(receive(handler, shortTmo, supervisedSigNo), roSignalHandlerApi::HandlingError);
        EXPECT_TRUE(handler.isSupervised(KGM_IW_USI_CONN_ESTABLISH_REQ));
    });
}

TEST_F(Supervision, TheListOfTimeouts) {
    run([&] {
        ULSAtmo* tmo = ULSAtmo::getInstance();
        EXPECT_EQ(tmo->ulsa_set_Tmo(7, 100, kRmci, 0), ULSAtmo::started);
        EXPECT_EQ(tmo->ulsa_set_Tmo(7, 100, kRmci, 0), ULSAtmo::refused);
        EXPECT_EQ(tmo->ulsa_set_Tmo(7, 100, kRmci, 1), ULSAtmo::started);
        EXPECT_EQ(tmo->ulsa_set_Tmo(7, 101, kRmci, 0), ULSAtmo::started);
        EXPECT_EQ(tmo->ulsa_set_Tmo(8, 100, kRfti, 0), ULSAtmo::started);
        tmo->list();
        EXPECT_TRUE(traced(8, " List MEMORY for id:7, preload:101, tmo_type:0"));

        tmo->cancelAllTMOtypes(7, 0);
        EXPECT_TRUE(traced(8, "ULSAtmo::cancelAllTMOtypes() called, tmoType:0, id:7"));
        EXPECT_FALSE(tmo->contains(7, 100, 0));
        EXPECT_FALSE(tmo->contains(7, 101, 0));
        EXPECT_TRUE(tmo->contains(7, 100, 1));
        EXPECT_EQ(tmo->cancel_Tmo(9, 9, 9), 1u);  // none: nothing happens

        // The removing form that takes the fired signal itself.
        ose_clock_advance(kRfti);
        union SIGNAL* fired = next(ULSA_TMO_SIG);
        ASSERT_NE(fired, nullptr);
        EXPECT_EQ(tmo->remove_Tmo(fired), 1u);
        EXPECT_TRUE(traced(8, " Removing MEMORY for id:8"));
        EXPECT_FALSE(tmo->contains(8, 100, 0));
        free_buf(&fired);
        EXPECT_EQ(tmo->remove_Tmo(nullptr), 1u);
        EXPECT_TRUE(traced(1, "Signal is empty! (rec_p == 0)"));
        union SIGNAL* other = signal(RMCI_MEASURE_IND);
        EXPECT_EQ(tmo->remove_Tmo(other), 1u);
        EXPECT_TRUE(
            traced(1, "Unknown signal to handle, sig_no:" + std::to_string(RMCI_MEASURE_IND)));
        free_buf(&other);

        tmo->clear();
        EXPECT_TRUE(traced(4, "ULSAtmo::clear() called. Cancel all outstanding TMO's"));
        EXPECT_EQ(tmo->size(), 0u);
        tmo->list();
        EXPECT_TRUE(traced(8, " List is empty ! "));
        ULSAtmo::destroyInstance();
        EXPECT_TRUE(traced(4, "------------  DELETEING tmo_OBJECT!!!!!"));
    });
}
