#include "LdnManager.h"

#include "LdnNode.h"
#include "LdnText.h"
#include "fRO.h"
#include "froMgmtTrace.h"

#include <algorithm>

namespace {
// Constant-initialized, so that handles released after the manager's destruction
// at exit can still ask.
bool managerAlive = false;

const char kRule[] = "---------------------------------------------------";
}  // namespace

LdnManager& LdnManager::instance() {
    static LdnManager manager;
    return manager;
}

bool LdnManager::isAlive() {
    return managerAlive;
}

LdnManager::LdnManager() : trace(&froMgmtTrace()) {
    managerAlive = true;
}

LdnManager::~LdnManager() {
    managerAlive = false;
    clear();
}

Ldn LdnManager::insertLdn(const std::string& ldn, const std::shared_ptr<fRO>& fro) {
    if (fro) {
        TRACE(*trace, 2, "LdnManager::insertLdn(ldn=%s, froId=%d)", ldn.c_str(), fro->getFroId());
    }
    return Ldn(findOrCreate(ldn, fro, true));
}

LdnNode* LdnManager::findOrCreate(const std::string& ldn, const std::shared_ptr<fRO>& fro,
                                  bool bind) {
    if (ldn.empty()) {
        return nullptr;
    }
    auto found = ldnMap.find(ldn);
    if (found != ldnMap.end()) {
        if (bind) {
            found->second->fro = fro;
        }
        return found->second;
    }
    // The whole chain above comes into being first, top first.
    const std::string parentLdn = getParentLdn(ldn);
    LdnNode* parent = parentLdn.empty() ? nullptr : findOrCreate(parentLdn, nullptr, false);
    auto* node = new LdnNode(getMoType(ldn), getInstance(ldn), ldn, parent);
    if (froLookup) {
        node->fro = froLookup(ldn);
    }
    insertInMaps(node);
    if (bind) {
        node->fro = fro;
    }
    return node;
}

void LdnManager::insertInMaps(LdnNode* node) {
    if (!ldnMap.emplace(node->ldn, node).second) {
        TRACE(*trace, 1,
              "LdnManager::insert(node->ldn=%s): Attempting to insert Ldn already present in "
              "LdnManager.",
              node->ldn.c_str());
    } else {
        auto position = sortedNodes.emplace(node->ldn, node).first;
        uint32_t index = 1;
        if (position != sortedNodes.begin()) {
            index = std::prev(position)->second->orderIndex + 1;
        }
        for (; position != sortedNodes.end(); ++position) {
            position->second->orderIndex = index++;
        }
    }
    moTypeMap[getMoType(node->ldn)].push_back(node);
}

LdnNode* LdnManager::findNode(const std::string& ldn) const {
    auto found = ldnMap.find(ldn);
    return found != ldnMap.end() ? found->second : nullptr;
}

bool LdnManager::exists(const std::string& ldn) const {
    return findNode(ldn) != nullptr;
}

void LdnManager::invalidateNode(LdnNode* node) {
    if (node != nullptr) {
        node->fro.reset();
    }
}

void LdnManager::invalidateNode(const std::string& ldn) {
    invalidateNode(findNode(ldn));
}

void LdnManager::invalidateAll() {
    for (auto& entry : ldnMap) {
        invalidateNode(entry.second);
    }
}

std::vector<Ldn> LdnManager::getLdnsWithMoType(const std::string& moType) const {
    std::vector<Ldn> found;
    auto entry = moTypeMap.find(moType);
    if (entry != moTypeMap.end()) {
        for (LdnNode* node : entry->second) {
            found.emplace_back(node);
        }
    }
    return found;
}

void LdnManager::deleteNode(LdnNode* node) {
    if (node == nullptr) {
        return;
    }
    TRACE(*trace, 2, "LdnManager::deleteNode(node->ldn=%s)", node->ldn.c_str());
    auto typeEntry = moTypeMap.find(getMoType(node->ldn));
    if (typeEntry != moTypeMap.end()) {
        auto& nodes = typeEntry->second;
        nodes.erase(std::remove(nodes.begin(), nodes.end(), node), nodes.end());
        if (nodes.empty()) {
            moTypeMap.erase(typeEntry);
        }
    }
    auto found = ldnMap.find(node->ldn);
    if (found == ldnMap.end() || found->second != node) {
        TRACE(*trace, 1,
              "LdnManager::deleteNode(node->ldn=%s): Attempting to delete Ldn not present in "
              "LdnManager.",
              node->ldn.c_str());
        return;
    }
    auto position = sortedNodes.find(node->ldn);
    if (position != sortedNodes.end()) {
        for (auto behind = std::next(position); behind != sortedNodes.end(); ++behind) {
            --behind->second->orderIndex;
        }
        sortedNodes.erase(position);
    }
    ldnMap.erase(found);
    delete node;
}

void LdnManager::release(LdnNode* node) {
    if (node->references > 0) {
        --node->references;
    }
    if (node->references != 0) {
        return;
    }
    // A step on the way goes with its last child; a node held by a handle stays.
    while (node != nullptr && node->children.empty()) {
        LdnNode* parent = node->parent;
        deleteNode(node);
        node = (parent != nullptr && parent->references == 0) ? parent : nullptr;
    }
}

void LdnManager::clear() {
    std::vector<LdnNode*> nodes;
    nodes.reserve(ldnMap.size());
    for (auto& entry : ldnMap) {
        nodes.push_back(entry.second);
    }
    ldnMap.clear();
    moTypeMap.clear();
    // The sorted map goes too: left behind, its pointers would dangle for the next insert.
    sortedNodes.clear();
    for (LdnNode* node : nodes) {
        delete node;
    }
}

std::vector<LdnNode*> LdnManager::getSortedNodes() const {
    std::vector<LdnNode*> nodes;
    nodes.reserve(sortedNodes.size());
    for (const auto& entry : sortedNodes) {
        nodes.push_back(entry.second);
    }
    return nodes;
}

void LdnManager::dump(std::ostream& out) const {
    out << "\n";
    out << kRule << "\n------------- LdnManager DUMP ---------------------\n" << kRule << "\n";
    out << "Number of nodes = " << ldnMap.size() << "\n";
    out << "LdnMap contents:\n";
    for (const auto& entry : ldnMap) {
        const LdnNode* node = entry.second;
        out << " * " << entry.first << " -> " << static_cast<const void*>(node) << " ("
            << node->references << " references)\n";
        out << "   [parent = " << (node->parent != nullptr ? node->parent->ldn : "<No parent>")
            << "]\n";
    }
    out << "MoTypeMap contents:\n";
    for (const auto& entry : moTypeMap) {
        out << " * " << entry.first << "\n";
        for (const LdnNode* node : entry.second) {
            out << "   [" << node->ldn << "]\n";
        }
    }
    out << kRule << "\n------------- LdnManager DUMP END -----------------\n" << kRule << "\n";
}
