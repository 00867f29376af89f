#include "LdnNode.h"

#include "froMgmtTrace.h"

#include <algorithm>
#include <functional>

LdnNode::LdnNode(std::string nodeType, std::string nodeInstance, std::string nodeLdn,
                 LdnNode* nodeParent)
    : type(std::move(nodeType)),
      instance(std::move(nodeInstance)),
      parent(nodeParent),
      ldn(std::move(nodeLdn)),
      trace(&froMgmtTrace()),
      hash(static_cast<uint32_t>(std::hash<std::string>()(ldn))) {
    if (parent == nullptr) {
        return;
    }
    if (parent == this || parent->ldn == ldn) {
        TRACE(*trace, 1,
              "LdnNode::LdnNode(type=%s, instance=%s, ldn=%s, parentLdn=%s): Error when "
              "creating new LdnNode; ldn == parentLdn",
              type.c_str(), instance.c_str(), ldn.c_str(), parent->ldn.c_str());
        // Linked to nothing, so that no walk can loop through it.
        parent = nullptr;
        return;
    }
    parent->children.push_back(this);
}

LdnNode::~LdnNode() {
    if (parent != nullptr) {
        auto& siblings = parent->children;
        siblings.erase(std::remove(siblings.begin(), siblings.end(), this), siblings.end());
    }
    for (LdnNode* child : children) {
        child->parent = nullptr;
    }
    fro.reset();
}
