// KernelErrors: records kernel errors instead of ending the test program, so that a
// test can say that none happened.
#ifndef HOSTDB_TEST_KERNEL_ERRORS_H
#define HOSTDB_TEST_KERNEL_ERRORS_H

#include "oseHost.h"

#include <mutex>
#include <string>
#include <vector>

namespace hostdbtest {

class KernelErrors {
  public:
    KernelErrors() {
        m_previous = ose_set_error_handler(&record);
        take();
    }
    ~KernelErrors() { ose_set_error_handler(m_previous); }
    KernelErrors(const KernelErrors&) = delete;
    KernelErrors& operator=(const KernelErrors&) = delete;

    /// The failed calls since the last take, and forgets them.
    static std::vector<std::string> take() {
        std::lock_guard<std::mutex> lock(mutex());
        std::vector<std::string> taken;
        taken.swap(log());
        return taken;
    }

  private:
    static void record(const char* call, uint32_t, const char* detail) {
        std::lock_guard<std::mutex> lock(mutex());
        log().push_back(std::string(call) + ": " + detail);
    }
    static std::mutex& mutex() {
        static std::mutex m;
        return m;
    }
    static std::vector<std::string>& log() {
        static std::vector<std::string> l;
        return l;
    }

    OseErrorHandler m_previous = nullptr;
};

}  // namespace hostdbtest

#endif  // HOSTDB_TEST_KERNEL_ERRORS_H
