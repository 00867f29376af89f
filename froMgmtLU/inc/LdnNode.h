// LdnNode: one name in the tree of LDNs. Nodes are owned by LdnManager and held
// through counted Ldn handles; a node with no fRO is a step on the way to names
// below it.
#ifndef LDN_NODE_H
#define LDN_NODE_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class fRO;
class TraceHandle;

class LdnNode {
  public:
    /// Appends itself to the parent's children; a node given itself as parent traces and stays
    /// unlinked.
    LdnNode(std::string nodeType, std::string nodeInstance, std::string nodeLdn,
            LdnNode* nodeParent);
    /// Leaves the parent's children and orphans its own children.
    ~LdnNode();
    LdnNode(const LdnNode&) = delete;
    LdnNode& operator=(const LdnNode&) = delete;

    /// MO type of the last part.
    const std::string& getType() const { return type; }
    /// Instance of the last part.
    const std::string& getInstance() const { return instance; }
    /// The whole text.
    const std::string& getLdn() const { return ldn; }
    /// Null at a root.
    LdnNode* getParent() const { return parent; }
    /// In order of creation.
    const std::vector<LdnNode*>& getChildren() const { return children; }
    /// Number of Ldn handles on this node.
    uint32_t getReferences() const { return references; }
    /// Position in the sorted order of all LDNs, from 1.
    uint32_t getOrderIndex() const { return orderIndex; }
    /// Standard string hash of the text.
    uint32_t getHash() const { return hash; }
    /// The fRO of this name; empty for a step on the way or after invalidation.
    std::weak_ptr<fRO> getFro() const { return fro; }
    /// Binds the node to a fRO.
    void setFro(const std::weak_ptr<fRO>& newFro) { fro = newFro; }
    /// Ends the binding to a fRO.
    void resetFro() { fro.reset(); }

  private:
    friend class LdnManager;
    friend class Ldn;

    std::string type;
    std::string instance;
    std::weak_ptr<fRO> fro;
    LdnNode* parent;
    std::vector<LdnNode*> children;
    std::string ldn;
    uint32_t references = 0;
    const TraceHandle* trace;
    uint32_t orderIndex = 0;
    uint32_t hash;
};

#endif  // LDN_NODE_H
