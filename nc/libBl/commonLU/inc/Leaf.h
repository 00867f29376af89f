// Leaf: the end of a path in the procedure-reference tree; holds one reference.
#ifndef LEAF_H
#define LEAF_H

#include "Component.h"

#include <cstdint>

class Leaf : public Component {
  public:
    Leaf() = default;
    explicit Leaf(uint32_t value) : m_value(value) {}

    void setValue(uint32_t value) override { m_value = value; }
    uint32_t getValue() const override { return m_value; }
    void dump(int indent) const override;

  private:
    uint32_t m_value = 0;
};

#endif  // LEAF_H
