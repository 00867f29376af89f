// LdnManager: the tree of all LDNs that committed fROs use, with the names above
// them. It answers what a flat string cannot: parent, children, all names of one
// MO type, and a cheap total order (orderIndex, the position in plain text order,
// renumbered on every insert and delete). Process-wide, made on first use. No
// locks: used on the thread of the application loop only.
#ifndef LDN_MANAGER_H
#define LDN_MANAGER_H

#include "Ldn.h"

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <unordered_map>
#include <vector>

class fRO;
class LdnNode;
class TraceHandle;

class LdnManager {
  public:
    /// Finds the committed fRO of an LDN text for a node that is being created.
    using FroLookup = std::function<std::weak_ptr<fRO>(const std::string& ldn)>;

    /// The process-wide instance.
    static LdnManager& instance();
    /// False once the instance has been destroyed at exit; handles then release nothing.
    static bool isAlive();

    LdnManager(const LdnManager&) = delete;
    LdnManager& operator=(const LdnManager&) = delete;

    /// A handle on the node of that text, created with its ancestors where needed, bound to the
    /// fRO.
    Ldn insertLdn(const std::string& ldn, const std::shared_ptr<fRO>& fro);
    /// The node of that text, or null; creates nothing.
    LdnNode* findNode(const std::string& ldn) const;
    /// Whether a node of that text exists.
    bool exists(const std::string& ldn) const;
    /// Ends the node's binding to a fRO; the node stays.
    void invalidateNode(LdnNode* node);
    /// Ends the binding of the node of that text, if there is one.
    void invalidateNode(const std::string& ldn);
    /// Ends the binding of every node.
    void invalidateAll();
    /// Handles on all nodes of that MO type, in order of creation.
    std::vector<Ldn> getLdnsWithMoType(const std::string& moType) const;
    /// Removes the node from all maps and destroys it.
    void deleteNode(LdnNode* node);
    /// Destroys all nodes and empties the maps; no handle may be out.
    void clear();
    /// Writes the maps for a person to read.
    void dump(std::ostream& out) const;
    /// Number of nodes.
    std::size_t size() const { return ldnMap.size(); }
    /// All nodes in plain text order (orderIndex 1, 2, ...).
    std::vector<LdnNode*> getSortedNodes() const;
    /// How new nodes find the committed fRO of their text; froMgr sets it.
    void setFroLookup(FroLookup lookup) { froLookup = std::move(lookup); }

  private:
    friend class Ldn;

    LdnManager();
    ~LdnManager();

    LdnNode* findOrCreate(const std::string& ldn, const std::shared_ptr<fRO>& fro, bool bind);
    void insertInMaps(LdnNode* node);
    void release(LdnNode* node);

    std::unordered_map<std::string, LdnNode*> ldnMap;
    std::unordered_map<std::string, std::vector<LdnNode*>> moTypeMap;
    std::map<std::string, LdnNode*> sortedNodes;
    const TraceHandle* trace;
    FroLookup froLookup;
};

#endif  // LDN_MANAGER_H
