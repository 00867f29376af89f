// ns_bench: how long a subscription takes to reach the subscriber.
//
//   ns_subscribe_ratio  median time from subscribeToService, for a service whose
//                       provider is up, to the subscriber's publish callback in the
//                       main loop, over the median bare kernel round trip between the
//                       same two processes (a status request to "ose_ns" and its answer),
//                       measured interleaved in the same run (goal <= 1.5)
// The reference goes to the same peer thread as the subscription: which vCPUs two
// threads share stays put for a run, so a round trip to another peer (printed too)
// may land on another placement and differ tenfold.
// Each subscription is the first of its name, so it goes to "ose_ns" and back; it is
// cancelled, and the cancel answered, before the next one.
#include "SignalDistributorAPI.h"
#include "SignalSubscriber.h"
#include "NameServerSignals.h"
#include "nameServerHost.h"
#include "oseHost.h"
#include "plab/messaging/MessagingHandlerOse.h"
#include "plab/nameserver/v1/NameServerOse.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using plab::nameserver::v1::ServiceCallback;

constexpr SIGSELECT kPing = 0x7E5A01;
constexpr SIGSELECT kReady = 0x7E5A02;
constexpr const char* kService = "benchService";
constexpr int kRounds = 2000;

double microseconds(Clock::duration d) {
    return std::chrono::duration<double, std::micro>(d).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

OS_PROCESS(echoMain) {
    static const SIGSELECT any[] = {0};
    for (;;) {
        union SIGNAL* signal = receive(any);
        if (signal != nullptr)  // null: killed while about to wait
            send(&signal, sender(&signal));
    }
}

OS_PROCESS(providerMain) {
    static const SIGSELECT any[] = {0};
    union SIGNAL* ready = alloc(8, kReady);
    const uint32_t published = hostns::publishService(kService) ? 1 : 0;
    std::memcpy(reinterpret_cast<unsigned char*>(ready) + 4, &published, sizeof published);
    union SIGNAL* first = receive(any);  // the bench's hello tells where to answer
    send(&ready, sender(&first));
    free_buf(&first);
    for (;;) {
        union SIGNAL* signal = receive(any);
        if (signal != nullptr)
            free_buf(&signal);
    }
}

// Counts the name server's answers to cancels, after the client has seen them.
struct CancelReplies : SignalSubscriber {
    void handleSignal(union SIGNAL**) override { ++count; }
    int count = 0;
};

PROCESS startProcess(const char* name, OSENTRYPOINT* entry) {
    PROCESS pid = create_process(OS_PRI_PROC, name, entry, 16384, 20, 0, 0, nullptr, 0, 0);
    start(pid);
    return pid;
}

}  // namespace

int main() {
    ose_adopt_thread("benchMain");
    const PROCESS nameServer = hostns::startNameServer();
    const PROCESS echo = startProcess("echo", echoMain);
    const PROCESS provider = startProcess("provider", providerMain);
    union SIGNAL* hello = alloc(4, kPing);
    send(&hello, provider);
    static const SIGSELECT readySelect[] = {1, kReady};
    union SIGNAL* ready = receive(readySelect);
    uint32_t published = 0;
    std::memcpy(&published, reinterpret_cast<unsigned char*>(ready) + 4, sizeof published);
    free_buf(&ready);
    if (published == 0) {
        std::printf("the provider could not publish %s\n", kService);
        return 1;
    }

    plab::messaging::MessagingHandlerOse messaging;
    plab::nameserver::v1::NameServer* client = plab::nameserver::v1::getNameServer();
    CancelReplies cancelReplies;
    getSignalDistributorAPI()->subscribe(plab::nameserver::v1::NS_CANCEL_SERVICE_SUBSCRIPTION_REPLY,
                                         &cancelReplies);
    bool told = false;
    auto onPublish =
        std::make_shared<ServiceCallback>([&](const std::string&, PROCESS) { told = true; });
    auto onUnpublish = std::make_shared<ServiceCallback>([](const std::string&, PROCESS) {});
    auto dispatchUntil = [&](auto done) {
        while (!done()) {
            auto message = messaging.receive();
            getSignalDistributorAPI()->handleMessage(message);
        }
    };
    static const SIGSELECT pingSelect[] = {1, kPing};

    static const SIGSELECT statusSelect[] = {1, hostns::NS_STATUS_CFM};

    std::vector<double> subscribe, roundTrip, otherPeer;
    for (int round = 0; round < kRounds; ++round) {
        const auto statusStart = Clock::now();
        union SIGNAL* request = alloc(4, hostns::NS_STATUS_REQ);
        send(&request, nameServer);
        union SIGNAL* answer = receive(statusSelect);
        roundTrip.push_back(microseconds(Clock::now() - statusStart));
        free_buf(&answer);

        const auto pingStart = Clock::now();
        union SIGNAL* ping = alloc(16, kPing);
        send(&ping, echo);
        union SIGNAL* pong = receive(pingSelect);
        otherPeer.push_back(microseconds(Clock::now() - pingStart));
        free_buf(&pong);

        told = false;
        const auto start = Clock::now();
        client->subscribeToService(kService, onPublish, onUnpublish);
        dispatchUntil([&] { return told; });
        subscribe.push_back(microseconds(Clock::now() - start));

        client->unsubscribeToService(kService, onPublish, onUnpublish);
        dispatchUntil([&] { return cancelReplies.count == round + 1; });
    }
    const double subscribeMedian = median(subscribe);
    const double roundTripMedian = median(roundTrip);
    std::printf("subscription to a provided service, to its callback: median %.2f us over %d\n",
                subscribeMedian, kRounds);
    std::printf("bare kernel round trip to ose_ns (status request): median %.2f us over %d\n",
                roundTripMedian, kRounds);
    std::printf("bare kernel round trip to another process: median %.2f us over %d\n",
                median(otherPeer), kRounds);
    std::printf("figure ns_subscribe_ratio %.2f\n", subscribeMedian / roundTripMedian);

    getSignalDistributorAPI()->unsubscribe(
        plab::nameserver::v1::NS_CANCEL_SERVICE_SUBSCRIPTION_REPLY, &cancelReplies);
    plab::nameserver::v1::destroyNameServer();
    destroySignalDistributorAPI();
    ose_leave_thread();
    ose_shutdown();
    return 0;
}
