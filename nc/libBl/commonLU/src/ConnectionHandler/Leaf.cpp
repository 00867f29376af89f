#include "Leaf.h"

#include "connectionTrace.h"

#include <cstdio>

void Leaf::dump(int indent) const {
    std::printf("%*s  Leaf(%08llx) Value:%d\n", indent, "", addressOf(this),
                static_cast<int>(m_value));
}
