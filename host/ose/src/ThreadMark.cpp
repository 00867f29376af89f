#include "ThreadMark.h"

namespace ose {
namespace {

// Kept to this file: the accessors are the one way to it.
thread_local uint32_t t_threadMark = 0;

}  // namespace

uint32_t threadMark() {
    return t_threadMark;
}

void setThreadMark(uint32_t mark) {
    t_threadMark = mark;
}

}  // namespace ose
