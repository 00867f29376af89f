// Ldn: the counted handle by which everything holds a node of the LDN tree. The
// empty handle stands for an LDN that does not exist. When the last handle on a
// node without children goes, the node goes, and so do ancestors that are left
// without handles and children. Handles compare by the node's orderIndex, so a map
// keyed by Ldn is sorted by LDN text without comparing any text.
#ifndef LDN_H
#define LDN_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class fRO;
class LdnNode;

class Ldn {
  public:
    /// The empty handle.
    Ldn() = default;
    /// A handle on the node.
    explicit Ldn(LdnNode* ldnNode);
    /// A handle on the existing node of that text, or the empty handle; creates nothing.
    explicit Ldn(const std::string& text);
    Ldn(const Ldn& other);
    Ldn(Ldn&& other) noexcept;
    Ldn& operator=(const Ldn& other);
    Ldn& operator=(Ldn&& other) noexcept;
    ~Ldn();

    /// The text, empty for the empty handle.
    std::string getLdnText() const;
    /// The node's MO type, or empty.
    std::string getType() const;
    /// The node's instance, or empty.
    std::string getInstance() const;
    /// Whether the node's type equals the text.
    bool isType(const std::string& moType) const;
    /// Whether the node has a parent.
    bool hasParent() const;
    /// The parent, or the empty handle at a root.
    Ldn getParent() const;
    /// The node's position in text order; 0 for the empty handle.
    uint32_t getOrderIndex() const;
    /// The node's hash; 0 for the empty handle.
    uint32_t getHash() const;
    /// From this node upward, itself first: the first node of that type (empty type: itself).
    Ldn getAncestor(const std::string& moType) const;
    /// Whether getAncestor finds one.
    bool hasAncestor(const std::string& moType) const;
    /// All nodes below, breadth first, of that type unless the type is empty.
    std::vector<Ldn> getChildren(const std::string& moType) const;
    /// Whether getChildren finds any.
    bool hasChildren(const std::string& moType) const;
    /// Whether the node's fRO is still alive.
    bool hasFro() const;
    /// The node's fRO, empty when expired or none.
    std::shared_ptr<fRO> getFro() const;
    /// The Ldn that the fRO's moref attribute of that name points at, or the empty handle.
    Ldn getMoRef(const std::string& attrName) const;

    /// Whether this is the empty handle.
    bool isEmpty() const { return node == nullptr; }
    /// The node, null for the empty handle.
    LdnNode* getNode() const { return node; }

    bool operator<(const Ldn& other) const { return getOrderIndex() < other.getOrderIndex(); }
    bool operator==(const Ldn& other) const { return getOrderIndex() == other.getOrderIndex(); }
    bool operator!=(const Ldn& other) const { return !(*this == other); }

  private:
    void acquire();
    void release();

    LdnNode* node = nullptr;
};

#endif  // LDN_H
