#include "plab/messaging/MessageOse.h"

#include "oseCalls.h"

#include <cstring>

namespace plab::messaging {

MessageOse::MessageOse(OSBUFSIZE size, SIGSELECT sigNo)
    : m_signal(detail::guardedAlloc(size, sigNo)) {}

MessageOse::MessageOse(union SIGNAL* signal) : m_signal(signal) {}

MessageOse::~MessageOse() {
    detail::guardedFree(&m_signal);
}

PROCESS MessageOse::sender() const {
    if (m_signal == nullptr) {
        return 0;
    }
    union SIGNAL* signal = m_signal;
    return ::sender(&signal);
}

PROCESS MessageOse::addressee() const {
    if (m_signal == nullptr) {
        return 0;
    }
    union SIGNAL* signal = m_signal;
    return ::addressee(&signal);
}

OSBUFSIZE MessageOse::size() const {
    if (m_signal == nullptr) {
        return 0;
    }
    union SIGNAL* signal = m_signal;
    return ::sigsize(&signal);
}

SIGSELECT MessageOse::sigNo() const {
    if (m_signal == nullptr) {
        return 0;
    }
    SIGSELECT number;
    std::memcpy(&number, m_signal, sizeof number);
    return number;
}

bool MessageOse::isEmpty() const {
    return m_signal == nullptr;
}

union SIGNAL* MessageOse::release() {
    union SIGNAL* signal = m_signal;
    m_signal = nullptr;
    return signal;
}

union SIGNAL* MessageOse::raw() const {
    return m_signal;
}

}  // namespace plab::messaging
