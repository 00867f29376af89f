// Composite: an inner node of the procedure-reference tree; owns its children.
#ifndef COMPOSITE_H
#define COMPOSITE_H

#include "Component.h"

#include <cstdint>
#include <map>

class Composite : public Component {
  public:
    Composite() = default;
    ~Composite() override;

    /// A key in use is a process-level error; the map stays as it was.
    bool add(uint32_t key, Component* component) override;
    void remove(uint32_t key) override;
    bool contains(uint32_t key) const override;
    Component* child(uint32_t key) const override;
    void dump(int indent) const override;

  private:
    std::map<uint32_t, Component*> m_componentMapT;
};

#endif  // COMPOSITE_H
