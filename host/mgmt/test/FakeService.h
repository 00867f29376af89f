// FakeService: a kernel process that publishes the load module's service name and
// answers MAO-FRO requests as the test tells it, byte for byte, so that a test can
// send the management client well-formed, malformed, late or no answers.
#ifndef MGMT_TEST_FAKE_SERVICE_H
#define MGMT_TEST_FAKE_SERVICE_H

#include "ManagementClient.h"
#include "maoFroSignals.h"
#include "nameServerHost.h"
#include "ose.h"
#include "oseHost.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <mutex>
#include <initializer_list>
#include <string>
#include <vector>

namespace mgmttest {

using Bytes = std::vector<unsigned char>;

/// A signal being written: words and texts appended in order.
class SignalWriter {
  public:
    explicit SignalWriter(SIGSELECT number) { word(number); }
    SignalWriter& word(uint32_t value) { return raw(&value, sizeof value); }
    SignalWriter& half(uint16_t value) { return raw(&value, sizeof value); }
    /// A string attribute: head (kind, 1, 0, value) and the text, NUL-padded to value.
    SignalWriter& stringAttr(uint32_t kind, const std::string& text) {
        const uint32_t value = maofro::stringAttrValue(text.size());
        word(kind).half(maofro::kTypeString).half(0).word(value);
        raw(text.data(), text.size());
        m_bytes.resize(m_bytes.size() + (value - text.size()), 0);
        return *this;
    }
    /// A text and its NUL, padded with zeros to whole words.
    SignalWriter& chars(const std::string& text) {
        raw(text.c_str(), text.size() + 1);
        m_bytes.resize((m_bytes.size() + 3) & ~std::size_t{3}, 0);
        return *this;
    }
    /// Cuts the signal to size bytes, or pads it with zeros.
    SignalWriter& size(std::size_t bytes) {
        m_bytes.resize(bytes, 0);
        return *this;
    }
    Bytes bytes() const { return m_bytes; }

  private:
    SignalWriter& raw(const void* data, std::size_t length) {
        const auto* p = static_cast<const unsigned char*>(data);
        m_bytes.insert(m_bytes.end(), p, p + length);
        return *this;
    }
    Bytes m_bytes;
};

/// A request as the fake service received it.
struct Received {
    SIGSELECT number = 0;
    PROCESS from = 0;
    Bytes bytes;
    uint32_t word(std::size_t offset) const {
        uint32_t value = 0;
        if (offset + 4 <= bytes.size())
            std::memcpy(&value, bytes.data() + offset, 4);
        return value;
    }
    /// The text of the string attribute whose head is at offset (unzipped for kind 22).
    std::string text(std::size_t offset) const {
        const std::size_t at = offset + maofro::kAttrDataOffset;
        if (at >= bytes.size())
            return {};
        std::string text(reinterpret_cast<const char*>(bytes.data() + at));
        std::string plain;
        if (word(offset) == maofro::kAttrZippedXml && mgmt::decodeAndUnzip(text, plain))
            return plain;
        return text;
    }
};

/// What the fake does with one request: the signals to send back to its sender, in
/// order, or ending itself instead.
struct Reply {
    std::vector<Bytes> signals;
    bool end = false;
};

class FakeService {
  public:
    using Script = std::function<Reply(const Received&)>;

    /// Creates and starts the process; it publishes the name before it serves.
    explicit FakeService(Script script, const char* serviceName = mgmt::kDefaultServiceName)
        : m_script(std::move(script)), m_name(serviceName) {
        current() = this;
        m_pid = create_process(OS_PRI_PROC, "fakeUlsaService", &FakeService::main, 16384, 20, 0,
                               0, nullptr, 0, 0);
        start(m_pid);
    }
    PROCESS pid() const { return m_pid; }
    /// Another script for the requests from now on.
    void script(Script next) {
        std::lock_guard<std::mutex> lock(m_lock);
        m_script = std::move(next);
    }
    /// Waits until the script has run for count requests. A request that got no
    /// answer (a time-out) is otherwise not ordered before what the test does next.
    bool waitHandled(std::size_t count) {
        std::unique_lock<std::mutex> lock(m_lock);
        return m_handledChanged.wait_for(lock, std::chrono::seconds(10),
                                         [&] { return m_handled >= count; });
    }
    /// Every request received so far; read after an answer, which orders the records
    /// before the read.
    const std::vector<Received>& received() const { return m_received; }

  private:
    static FakeService*& current() {
        static FakeService* fake = nullptr;
        return fake;
    }
    static OS_PROCESS(main) {
        FakeService& self = *current();
        EXPECT_TRUE(hostns::publishService(self.m_name.c_str()));
        static const SIGSELECT any[] = {0};
        for (;;) {
            union SIGNAL* signal = receive(any);
            if (signal == nullptr)
                continue;
            Received request;
            request.from = sender(&signal);
            const OSBUFSIZE size = sigsize(&signal);
            const auto* p = reinterpret_cast<const unsigned char*>(signal);
            request.bytes.assign(p, p + size);
            request.number = request.word(0);
            free_buf(&signal);
            Script script;
            {
                std::lock_guard<std::mutex> lock(self.m_lock);
                self.m_received.push_back(request);
                script = self.m_script;
            }
            const Reply reply = script(request);
            {
                std::lock_guard<std::mutex> lock(self.m_lock);
                ++self.m_handled;
            }
            self.m_handledChanged.notify_all();
            for (const Bytes& bytes : reply.signals) {
                SIGSELECT number;
                std::memcpy(&number, bytes.data(), sizeof number);
                union SIGNAL* answer = alloc(static_cast<OSBUFSIZE>(bytes.size()), number);
                std::memcpy(answer, bytes.data(), bytes.size());
                send(&answer, request.from);
            }
            if (reply.end)
                return;
        }
    }

    std::mutex m_lock;  // guards m_script, m_handled and the growth of m_received
    std::condition_variable m_handledChanged;
    Script m_script;
    std::size_t m_handled = 0;
    std::string m_name;
    PROCESS m_pid = 0;
    std::vector<Received> m_received;
};

}  // namespace mgmttest

#endif  // MGMT_TEST_FAKE_SERVICE_H
