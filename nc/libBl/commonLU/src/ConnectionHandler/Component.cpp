#include "Component.h"

#include "connectionTrace.h"
#include "dynTrace.h"

#include <cstdio>

Component::~Component() = default;

bool Component::add(uint32_t /*key*/, Component* /*component*/) {
    return false;
}

void Component::remove(uint32_t /*key*/) {}

bool Component::contains(uint32_t /*key*/) const {
    return false;
}

Component* Component::child(uint32_t /*key*/) const {
    return nullptr;
}

void Component::setValue(uint32_t value) {
    TRACE(connectionTraceObject(), 1, "Invalid call to Component::setValue(%d);",
          static_cast<int>(value));
}

uint32_t Component::getValue() const {
    TRACE(connectionTraceObject(), 1, "Invalid call to Component::getValue();");
    return 0;
}

void Component::dump(int indent) const {
    std::printf("%*s  Component(%08llx)\n", indent, "", addressOf(this));
}
