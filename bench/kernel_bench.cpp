// kernel_bench: what a signal costs in the host kernel, against bare std::thread code.
//
// On a machine of two unpinned vCPUs a wake-up costs about 2.5 us when both threads
// share a vCPU and about 30 us when they do not, and a run flips between the two.
// So every kernel figure is measured in many short batches interleaved with batches
// of a bare reference in the same run, on the same pair of threads, and medians are
// compared.
//
//   round trip: alloc, send, receive, send back, receive, free, between two kernel
//       processes; reference: a std::mutex + std::condition_variable ping-pong.
//   1 to 1: one process sends 64-byte signals to another as fast as it can;
//       reference: a mutex-guarded std::deque of 64-byte heap messages whose
//       consumer takes the whole queue at once.
//   4 to 1: four processes send 64-byte signals to one.
#include "ose.h"
#include "oseHost.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

union SIGNAL {
    SIGSELECT sigNo;
};

namespace {

using Clock = std::chrono::steady_clock;

constexpr SIGSELECT kPing = 1;
constexpr SIGSELECT kData = 2;
constexpr SIGSELECT kMode = 3;
constexpr SIGSELECT kReady = 4;
constexpr OSBUFSIZE kMessageSize = 64;

constexpr int kRoundTripBatches = 300;
constexpr int kRoundTripsPerBatch = 50;
constexpr int kStreamRounds = 9;
constexpr uint32_t kStreamSignals = 200000;
constexpr int kProducers = 4;

const SIGSELECT kAnySig[] = {0};
const SIGSELECT kPingSig[] = {1, kPing};
const SIGSELECT kModeSig[] = {1, kMode};
const SIGSELECT kReadySig[] = {1, kReady};

// What the partner thread does next; the same thread serves the kernel and the
// reference, so that where the scheduler puts it weighs on both alike.
enum class Mode : uint32_t { Echo, EchoTmo, ReferenceEcho, Stream, ReferenceStream, Stop };

struct ModeSignal {
    SIGSELECT sigNo;
    Mode mode;
};

double seconds(Clock::duration d) {
    return std::chrono::duration<double>(d).count();
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    const std::size_t n = v.size();
    return n % 2 == 1 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

// The bare reference of the round trip: two threads handing a ball back and forth.
class ReferencePingPong {
  public:
    double pingBatch() {
        const auto t0 = Clock::now();
        for (int i = 0; i < kRoundTripsPerBatch; ++i) {
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                m_ball = 1;
            }
            m_toPong.notify_one();
            std::unique_lock<std::mutex> lock(m_mutex);
            m_toPing.wait(lock, [this] { return m_ball == 0; });
        }
        return seconds(Clock::now() - t0) / kRoundTripsPerBatch;
    }

    void pongBatch() {
        for (int i = 0; i < kRoundTripsPerBatch; ++i) {
            {
                std::unique_lock<std::mutex> lock(m_mutex);
                m_toPong.wait(lock, [this] { return m_ball == 1; });
                m_ball = 0;
            }
            m_toPing.notify_one();
        }
    }

  private:
    std::mutex m_mutex;
    std::condition_variable m_toPong;
    std::condition_variable m_toPing;
    int m_ball = 0;
};

// The bare reference of the stream: a mutex-guarded deque of 64-byte heap messages,
// whose consumer takes the whole queue at once.
class ReferenceQueue {
  public:
    struct Message {
        char bytes[kMessageSize];
    };

    void produce(uint32_t count) {
        for (uint32_t i = 0; i < count; ++i) {
            auto* m = new Message;
            m->bytes[0] = static_cast<char>(i);
            bool wake = false;
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                m_queue.push_back(m);
                wake = m_consumerWaiting;
            }
            if (wake) {
                m_ready.notify_one();
            }
        }
    }

    void consume(uint32_t count) {
        std::deque<Message*> mine;
        uint32_t got = 0;
        while (got < count) {
            {
                std::unique_lock<std::mutex> lock(m_mutex);
                while (m_queue.empty()) {
                    m_consumerWaiting = true;
                    m_ready.wait(lock);
                    m_consumerWaiting = false;
                }
                mine.swap(m_queue);
            }
            for (Message* m : mine) {
                delete m;
            }
            got += static_cast<uint32_t>(mine.size());
            mine.clear();
        }
    }

  private:
    std::mutex m_mutex;
    std::condition_variable m_ready;
    std::deque<Message*> m_queue;
    bool m_consumerWaiting = false;
};

struct Shared {
    PROCESS main = 0;
    ReferencePingPong pingPong;
    ReferenceQueue queue;
};

// A partner thread, adopted as a kernel process: does what each mode signal says,
// after telling the main thread it is ready.
void partner(const char* name, std::atomic<PROCESS>& self, Shared& shared) {
    self = ose_adopt_thread(name);
    for (;;) {
        union SIGNAL* m = receive(kModeSig);
        const Mode mode = reinterpret_cast<ModeSignal*>(m)->mode;
        free_buf(&m);
        union SIGNAL* ready = alloc(sizeof(SIGSELECT), kReady);
        send(&ready, shared.main);
        switch (mode) {
            case Mode::Echo:
            case Mode::EchoTmo:
                for (int i = 0; i < kRoundTripsPerBatch; ++i) {
                    union SIGNAL* s =
                        mode == Mode::Echo ? receive(kPingSig) : receive_w_tmo(10000, kPingSig);
                    const PROCESS from = sender(&s);
                    send(&s, from);
                }
                break;
            case Mode::ReferenceEcho:
                shared.pingPong.pongBatch();
                break;
            case Mode::Stream:
                for (uint32_t i = 0; i < kStreamSignals; ++i) {
                    union SIGNAL* s = alloc(kMessageSize, kData);
                    send(&s, shared.main);
                }
                break;
            case Mode::ReferenceStream:
                shared.queue.produce(kStreamSignals);
                break;
            case Mode::Stop:
                ose_leave_thread();
                return;
        }
    }
}

void tell(PROCESS to, Mode mode) {
    union SIGNAL* s = alloc(sizeof(ModeSignal), kMode);
    reinterpret_cast<ModeSignal*>(s)->mode = mode;
    send(&s, to);
}

void awaitReady(int count) {
    for (int i = 0; i < count; ++i) {
        union SIGNAL* s = receive(kReadySig);
        free_buf(&s);
    }
}

// Seconds per round trip of one batch with the partner in the given mode.
double roundTrips(PROCESS partnerPid, Mode mode, Shared& shared) {
    tell(partnerPid, mode);
    awaitReady(1);
    if (mode == Mode::ReferenceEcho) {
        return shared.pingPong.pingBatch();
    }
    const auto t0 = Clock::now();
    for (int i = 0; i < kRoundTripsPerBatch; ++i) {
        union SIGNAL* s = alloc(kMessageSize, kPing);
        send(&s, partnerPid);
        s = mode == Mode::Echo ? receive(kPingSig) : receive_w_tmo(10000, kPingSig);
        free_buf(&s);
    }
    return seconds(Clock::now() - t0) / kRoundTripsPerBatch;
}

// Signals (or messages) per second into the main thread from the given producers.
double stream(const std::vector<PROCESS>& producers, Mode mode, Shared& shared) {
    const uint32_t total = kStreamSignals * static_cast<uint32_t>(producers.size());
    // From before the producers are told: they start as soon as they have answered.
    const auto t0 = Clock::now();
    for (PROCESS p : producers) {
        tell(p, mode);
    }
    awaitReady(static_cast<int>(producers.size()));
    if (mode == Mode::ReferenceStream) {
        shared.queue.consume(total);
    } else {
        for (uint32_t n = 0; n < total; ++n) {
            union SIGNAL* s = receive(kAnySig);
            free_buf(&s);
        }
    }
    return total / seconds(Clock::now() - t0);
}

}  // namespace

int main() {
    Shared shared;
    shared.main = ose_adopt_thread("kernel_bench");

    std::vector<std::thread> threads;
    std::vector<std::atomic<PROCESS>> partnerPids(kProducers);
    for (int i = 0; i < kProducers; ++i) {
        partnerPids[i] = 0;
        const std::string name = "partner" + std::to_string(i);
        threads.emplace_back(
            [name, &partnerPids, i, &shared] { partner(name.c_str(), partnerPids[i], shared); });
    }
    std::vector<PROCESS> partners;
    for (auto& p : partnerPids) {
        while (p.load() == 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        partners.push_back(p.load());
    }

    // Round trips with one partner: kernel, reference, kernel with time-out, in turn.
    std::vector<double> kernelRt, kernelTmoRt, referenceRt;
    for (int b = 0; b < kRoundTripBatches; ++b) {
        kernelRt.push_back(roundTrips(partners[0], Mode::Echo, shared));
        referenceRt.push_back(roundTrips(partners[0], Mode::ReferenceEcho, shared));
        kernelTmoRt.push_back(roundTrips(partners[0], Mode::EchoTmo, shared));
    }
    // Streams: 1 to 1 in turn with the reference, then 4 to 1.
    std::vector<double> kernel1to1, reference1to1, kernel4to1;
    for (int r = 0; r < kStreamRounds; ++r) {
        kernel1to1.push_back(stream({partners[0]}, Mode::Stream, shared));
        reference1to1.push_back(stream({partners[0]}, Mode::ReferenceStream, shared));
    }
    for (int r = 0; r < kStreamRounds; ++r) {
        kernel4to1.push_back(stream(partners, Mode::Stream, shared));
    }
    for (PROCESS p : partners) {
        tell(p, Mode::Stop);
    }
    awaitReady(kProducers);
    for (auto& t : threads) {
        t.join();
    }
    ose_leave_thread();
    ose_shutdown();

    std::vector<double> pairRatio, pairRatioTmo;
    for (std::size_t i = 0; i < kernelRt.size(); ++i) {
        pairRatio.push_back(kernelRt[i] / referenceRt[i]);
        pairRatioTmo.push_back(kernelTmoRt[i] / referenceRt[i]);
    }
    std::printf("kernel_round_trip_ratio_of_neighbours %.3f\n", median(pairRatio));
    std::printf("kernel_round_trip_tmo_ratio_of_neighbours %.3f\n", median(pairRatioTmo));
    const double rt = median(kernelRt);
    const double rtTmo = median(kernelTmoRt);
    const double rtRef = median(referenceRt);
    const double rate1 = median(kernel1to1);
    const double rateRef = median(reference1to1);
    const double rate4 = median(kernel4to1);
    std::printf("kernel_round_trip_us %.3f\n", rt * 1e6);
    std::printf("kernel_round_trip_tmo_us %.3f\n", rtTmo * 1e6);
    std::printf("reference_round_trip_us %.3f\n", rtRef * 1e6);
    std::printf("kernel_signals_per_s_1to1_median %.0f\n", rate1);
    std::printf("reference_messages_per_s_1to1_median %.0f\n", rateRef);
    std::printf("figure kernel_round_trip_ratio %.3f\n", rt / rtRef);
    std::printf("figure kernel_round_trip_tmo_ratio %.3f\n", rtTmo / rtRef);
    std::printf("figure kernel_signals_per_s_1to1 %.0f\n", rate1);
    std::printf("figure kernel_queue_fraction_1to1 %.3f\n", rate1 / rateRef);
    std::printf("figure kernel_signals_per_s_4to1 %.0f\n", rate4);
    return 0;
}
