// KernelFixture: each test runs as a kernel process of a fresh kernel, with the
// trace output captured and every level of the library's trace objects on.
#ifndef KERNEL_FIXTURE_H
#define KERNEL_FIXTURE_H

#include "TraceCapture.h"
#include "ose.h"
#include "oseHost.h"
#include "processError.h"
#include "traceHost.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

class KernelFixture : public ::testing::Test {
  protected:
    void SetUp() override {
        traceSetMask("nc*", 0xFFFFFFFFu);
        m_capture = std::make_unique<TraceCapture>();
        m_self = ose_adopt_thread("commonTest");
        m_errorsBefore = nc::processErrorCount();
    }

    void TearDown() override {
        ose_leave_thread();
        ose_shutdown();
        m_capture.reset();
    }

    /// Process-level errors reported since the test began.
    uint32_t newProcessErrors() const { return nc::processErrorCount() - m_errorsBefore; }

    /// Whether the object traced exactly this text.
    bool traced(const std::string& object, const std::string& text) const {
        const std::vector<std::string> texts = m_capture->texts(object);
        return std::find(texts.begin(), texts.end(), text) != texts.end();
    }

    std::unique_ptr<TraceCapture> m_capture;
    PROCESS m_self = 0;
    uint32_t m_errorsBefore = 0;
};

#endif  // KERNEL_FIXTURE_H
