// The timer API and the name-server client as the application brings them up: made
// through a registered factory, held under their keys.
#include "applicationServices.h"
#include "oseHost.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace applsupp::application;

std::vector<std::string> g_events;

// Stands for the timer API: records what is done to it.
struct CountingTimer {
    CountingTimer() { g_events.push_back("timer made"); }
    ~CountingTimer() { g_events.push_back("timer deleted"); }
    void startinitialize() { g_events.push_back("timer started"); }
};

struct CountingNameServer {
    CountingNameServer() { g_events.push_back("name server made"); }
    ~CountingNameServer() { g_events.push_back("name server deleted"); }
};

class ApplicationServicesTest : public ::testing::Test {
  protected:
    ApplicationServicesTest() {
        g_events.clear();
        ose_adopt_thread("servicesTest");
    }
    ~ApplicationServicesTest() override {
        registerTimerApi<CountingTimer>();
        registerNameServer<CountingNameServer>();
        destroyTimerApi();
        destroyNameServer();
        setTimerApiFactory({});
        setNameServerFactory({});
        ose_leave_thread();
        ose_shutdown();
    }
};

TEST_F(ApplicationServicesTest, withoutAFactoryThereIsNoService) {
    EXPECT_EQ(getTimerApi(), nullptr);
    EXPECT_FALSE(startTimerApi());
    EXPECT_EQ(getNameServer(), nullptr);
    EXPECT_TRUE(destroyTimerApi());  // nothing stored
    EXPECT_EQ(get_envp(0, kTimerApiKey), 0u);

    // A factory without a destroyer is no registration.
    setTimerApiFactory(
        ServiceFactory{[] { return static_cast<void*>(new CountingTimer); }, {}, {}});
    EXPECT_EQ(getTimerApi(), nullptr);
    EXPECT_TRUE(g_events.empty());
}

TEST_F(ApplicationServicesTest, gettersMakeOnceAndDestroyersEndByKey) {
    registerTimerApi<CountingTimer>();
    destroyTimerApi();  // nothing stored: nothing happens
    EXPECT_TRUE(g_events.empty());

    void* timer = getTimerApi();
    ASSERT_NE(timer, nullptr);
    EXPECT_EQ(getTimerApi(), timer);
    EXPECT_EQ(get_envp(0, kTimerApiKey), reinterpret_cast<OSADDRESS>(timer));
    EXPECT_TRUE(startTimerApi());
    EXPECT_EQ(g_events, (std::vector<std::string>{"timer made", "timer started"}));

    EXPECT_TRUE(destroyTimerApi());
    EXPECT_EQ(get_envp(0, kTimerApiKey), 0u);
    EXPECT_TRUE(destroyTimerApi());
    EXPECT_NE(getTimerApi(), nullptr);
    EXPECT_EQ(g_events, (std::vector<std::string>{"timer made", "timer started", "timer deleted",
                                                  "timer made"}));

    registerNameServer<CountingNameServer>();
    void* nameServer = getNameServer();
    ASSERT_NE(nameServer, nullptr);
    EXPECT_NE(nameServer, getTimerApi());
    EXPECT_EQ(get_envp(0, kNameServerKey), reinterpret_cast<OSADDRESS>(nameServer));
}

TEST_F(ApplicationServicesTest, anObjectStoredByOthersIsFoundAndNotDeletedBlindly) {
    CountingTimer stored;
    set_envp(0, kTimerApiKey, reinterpret_cast<OSADDRESS>(&stored));
    EXPECT_EQ(getTimerApi(), &stored);  // no factory needed to find it
    EXPECT_FALSE(destroyTimerApi());    // but none to delete it either
    EXPECT_EQ(get_envp(0, kTimerApiKey), reinterpret_cast<OSADDRESS>(&stored));
    set_envp(0, kTimerApiKey, 0);
}

}  // namespace
