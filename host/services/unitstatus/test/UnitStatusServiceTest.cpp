// The unit-status service against the name server, spoken to as the load module's
// client does: subscribe to the name, establish, hear the unit, close.
#include "LevelTraceCapture.h"
#include "NameServerSignals.h"
#include "TimeLimit.h"
#include "nameServerHost.h"
#include "oseHost.h"
#include "radioSignalReader.h"
#include "unitStatusService.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>

using namespace hostusi;
using namespace hostns;

namespace {

const std::string kLdn = "ManagedElement=1,Equipment=1,AuxPlugInUnit=RU-1";
constexpr OSTIME kWait = 2000;

class UnitStatusService : public ::testing::Test {
  protected:
    void TearDown() override { ose_shutdown(); }

    template <class Body>
    void run(Body body) {
        runWithTimeLimit(std::chrono::seconds(20), [&] {
            m_self = ose_adopt_thread("usiTestClient");
            m_trace = std::make_unique<LevelTraceCapture>(std::vector<std::string>{"unitStatus"});
            hostns::startNameServer();
            m_service = startUnitStatusService({kLdn, {"RU-1-link", 1, 0}});
            body();
            m_trace.reset();
            ose_leave_thread();
        });
    }

    static union SIGNAL* next(SIGSELECT number, OSTIME ms = kWait) {
        const SIGSELECT select[] = {1, number};
        return receive_w_tmo(ms, select);
    }

    static void sendTo(PROCESS to, union SIGNAL* signal) { send(&signal, to); }

    // Subscribes to the service name as the load module's client does; the provider.
    static PROCESS subscribe(const std::string& name) {
        union SIGNAL* request =
            alloc(static_cast<OSBUFSIZE>(8 + name.size() + 1), NS_SUBSCRIBE_SERVICE);
        std::memcpy(reinterpret_cast<uint8_t*>(request) + 8, name.c_str(), name.size() + 1);
        PROCESS nameServer = 0;
        hunt("ose_ns", 0, &nameServer, nullptr);
        send(&request, nameServer);
        union SIGNAL* added = next(NS_SUBSCRIBE_SERVICE_ADDED_PID);
        if (added == nullptr) {
            return 0;
        }
        PROCESS provider = 0;
        std::memcpy(&provider, reinterpret_cast<uint8_t*>(added) + 8, sizeof provider);
        free_buf(&added);
        return provider;
    }

    // Reads the next unit information; false when none comes within ms.
    static bool unitInfo(radioSignals::UnitInfo& info, OSTIME ms = kWait) {
        union SIGNAL* ind = next(KGM_IW_USI_UNIT_INFO_UPDATE_IND, ms);
        if (ind == nullptr) {
            return false;
        }
        const bool read = radioSignals::readUnitInfo(ind, sigsize(&ind), info);
        free_buf(&ind);
        return read;
    }

    // Establishes a connection for procedureRef; its connectionRef, 0 on failure.
    uint32_t establish(uint32_t procedureRef) {
        sendTo(m_service, radioSignals::makeUsiConnEstablishReq(procedureRef, 0, kLdn));
        union SIGNAL* cfm = next(KGM_IW_USI_CONN_ESTABLISH_CFM);
        if (cfm == nullptr) {
            return 0;
        }
        const UsiSignalHead head = *reinterpret_cast<const UsiSignalHead*>(cfm);
        free_buf(&cfm);
        EXPECT_EQ(head.procedureRef, procedureRef);
        return head.connectionRef;
    }

    PROCESS m_self = 0;
    PROCESS m_service = 0;
    std::unique_ptr<LevelTraceCapture> m_trace;
};

}  // namespace

TEST_F(UnitStatusService, AClientFindsTheUnitHearsItsChangesAndCloses) {
    run([&] {
        ASSERT_EQ(subscribe("KGM_IW_USI:" + kLdn), m_service);
        const uint32_t connectionRef = establish(77);
        ASSERT_NE(connectionRef, 0u);
        radioSignals::UnitInfo info;
        ASSERT_TRUE(unitInfo(info));
        EXPECT_EQ(info.procedureRef, 77u);
        EXPECT_EQ(info.connectionRef, connectionRef);
        EXPECT_EQ(info.dcControllerName, "RU-1-link");
        EXPECT_EQ(info.operationalState, 1u);

        EXPECT_EQ(setUnitStatus(m_service, {"RU-1-other", 0, 544}), 1);
        ASSERT_TRUE(unitInfo(info));
        EXPECT_EQ(info.dcControllerName, "RU-1-other");
        EXPECT_EQ(info.operationalState, 0u);
        EXPECT_EQ(info.unitStatusBits, 544u);

        sendTo(m_service, alloc(sizeof(UsiSignalHead), KGM_IW_USI_CONN_CLOSE_REQ));
        union SIGNAL* close = alloc(sizeof(UsiSignalHead), KGM_IW_USI_CONN_CLOSE_REQ);
        reinterpret_cast<UsiSignalHead*>(close)->procedureRef = 77;
        reinterpret_cast<UsiSignalHead*>(close)->connectionRef = connectionRef;
        sendTo(m_service, close);
        for (int i = 0; i < 2; ++i) {  // the unknown connection is confirmed as well
            union SIGNAL* cfm = next(KGM_IW_USI_CONN_CLOSE_CFM);
            ASSERT_NE(cfm, nullptr);
            free_buf(&cfm);
        }
        EXPECT_EQ(setUnitStatus(m_service, {"RU-1-link", 1, 0}), 0);
        EXPECT_FALSE(unitInfo(info, 0));  // the confirmation came after anything sent

        // The name goes with the service.
        stopUnitStatusService(m_service);
        union SIGNAL* removed = next(NS_SUBSCRIBE_SERVICE_REMOVED_PID);
        ASSERT_NE(removed, nullptr);
        free_buf(&removed);
    });
}

TEST_F(UnitStatusService, BadRequestsAreRejectedOrDroppedAndTheServiceGoesOn) {
    run([&] {
        struct Case {
            const char* what;
            std::size_t offset;  // a word to change in a good request
            uint32_t value;
            uint32_t errorCode;
        };
        const Case cases[] = {
            {"an LDN longer than the signal", 20, 1000, kUsiRejectMalformed},
            {"a length that wraps", 20, 0xFFFFFFFFu, kUsiRejectMalformed},
            {"another unit", 24, 0x41414141u, kUsiRejectUnknownUnit},
            {"a fixed word of 2", 16, 2, kUsiRejectUnsupported},
        };
        for (const Case& c : cases) {
            union SIGNAL* request = radioSignals::makeUsiConnEstablishReq(5, 0, kLdn);
            std::memcpy(reinterpret_cast<uint8_t*>(request) + c.offset, &c.value, 4);
            sendTo(m_service, request);
            union SIGNAL* rej = next(KGM_IW_USI_CONN_ESTABLISH_REJ);
            ASSERT_NE(rej, nullptr) << c.what;
            radioSignals::RejectInfo reject;
            EXPECT_TRUE(radioSignals::readReject(rej, sigsize(&rej), reject));
            EXPECT_EQ(reject.errorCode, c.errorCode) << c.what;
            EXPECT_EQ(reinterpret_cast<const UsiSignalHead*>(rej)->procedureRef, 5u);
            free_buf(&rej);
        }
        // Too short to answer, and numbers the service does not speak: dropped.
        sendTo(m_service, alloc(6, KGM_IW_USI_CONN_ESTABLISH_REQ));
        sendTo(m_service, alloc(4, KGM_IW_USI_CONN_CLOSE_REQ));
        sendTo(m_service, alloc(4, USI_HOST_SET_STATUS_REQ));
        union SIGNAL* cfm = next(USI_HOST_SET_STATUS_CFM);
        ASSERT_NE(cfm, nullptr);
        EXPECT_EQ(reinterpret_cast<const int32_t*>(cfm)[1], -1);
        free_buf(&cfm);
        sendTo(m_service, alloc(32, 0x1234));
        EXPECT_NE(establish(6), 0u);
        EXPECT_TRUE(m_trace->hasPrefix(1, kLdn + ": KGM_IW_USI_CONN_ESTABLISH_REQ of 6 bytes"));
    });
}

TEST_F(UnitStatusService, AClientThatEndsLosesItsConnections) {
    run([&] {
        std::thread client([&] {
            ose_adopt_thread("usiShortClient");
            EXPECT_NE(establish(1), 0u);
            EXPECT_NE(establish(2), 0u);
            ose_leave_thread();
        });
        client.join();
        const uint32_t mine = establish(3);
        ASSERT_NE(mine, 0u);
        // Only this process's connection is told; the two of the ended client are gone.
        int told = -1;
        for (int i = 0; i < 100 && told != 1; ++i) {
            told = setUnitStatus(m_service, {"RU-1-link", 1, 0});
        }
        EXPECT_EQ(told, 1);
    });
}
