// Component: a node of the tree of procedure references kept per connection.
//
// A reference is stored under a path of keys: inner nodes are Composites, the end
// of a path is a Leaf holding the reference. Component itself is the neutral node:
// it holds nothing, and setValue/getValue on it (or on a Composite) are reported
// as invalid calls.
#ifndef COMPONENT_H
#define COMPONENT_H

#include <cstdint>

class Component {
  public:
    Component() = default;
    Component(const Component&) = delete;
    Component& operator=(const Component&) = delete;
    virtual ~Component();

    /// Takes ownership of component under key; false (ownership stays with the caller) if refused.
    virtual bool add(uint32_t key, Component* component);
    /// Deletes the child under key, if any.
    virtual void remove(uint32_t key);
    /// Whether a child is under key.
    virtual bool contains(uint32_t key) const;
    /// The child under key, or null.
    virtual Component* child(uint32_t key) const;
    /// Stores a value; only a Leaf holds one.
    virtual void setValue(uint32_t value);
    /// The stored value; 0 from a node that holds none.
    virtual uint32_t getValue() const;
    /// Prints the node to stdout, indented by indent blanks.
    virtual void dump(int indent) const;
};

#endif  // COMPONENT_H
