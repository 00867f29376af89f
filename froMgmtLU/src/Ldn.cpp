#include "Ldn.h"

#include "AttributeTypes.h"
#include "LdnIterator.h"
#include "LdnManager.h"
#include "LdnNode.h"
#include "fRO.h"
#include "xmlTree.h"

namespace {
// What the empty handle answers for its number and hash.
const uint32_t kZero = 0;
}  // namespace

Ldn::Ldn(LdnNode* ldnNode) : node(ldnNode) {
    acquire();
}

Ldn::Ldn(const std::string& text) : node(LdnManager::instance().findNode(text)) {
    acquire();
}

Ldn::Ldn(const Ldn& other) : node(other.node) {
    acquire();
}

Ldn::Ldn(Ldn&& other) noexcept : node(other.node) {
    other.node = nullptr;
}

Ldn& Ldn::operator=(const Ldn& other) {
    if (node != other.node) {
        LdnNode* previous = node;
        node = other.node;
        acquire();
        // Released last: the release may remove the old node and its ancestors.
        Ldn old;
        old.node = previous;
    }
    return *this;
}

Ldn& Ldn::operator=(Ldn&& other) noexcept {
    if (this != &other) {
        Ldn old(std::move(*this));
        node = other.node;
        other.node = nullptr;
    }
    return *this;
}

Ldn::~Ldn() {
    release();
}

void Ldn::acquire() {
    if (node != nullptr) {
        ++node->references;
    }
}

void Ldn::release() {
    // At exit the manager may be gone, and its nodes with it.
    if (node != nullptr && LdnManager::isAlive()) {
        LdnManager::instance().release(node);
    }
    node = nullptr;
}

std::string Ldn::getLdnText() const {
    return node != nullptr ? node->ldn : std::string();
}

std::string Ldn::getType() const {
    return node != nullptr ? node->type : std::string();
}

std::string Ldn::getInstance() const {
    return node != nullptr ? node->instance : std::string();
}

bool Ldn::isType(const std::string& moType) const {
    return node != nullptr && node->type == moType;
}

bool Ldn::hasParent() const {
    return node != nullptr && node->parent != nullptr;
}

Ldn Ldn::getParent() const {
    return node != nullptr ? Ldn(node->parent) : Ldn();
}

uint32_t Ldn::getOrderIndex() const {
    return node != nullptr ? node->orderIndex : kZero;
}

uint32_t Ldn::getHash() const {
    return node != nullptr ? node->hash : kZero;
}

Ldn Ldn::getAncestor(const std::string& moType) const {
    for (LdnNode* step = node; step != nullptr; step = step->parent) {
        if (moType.empty() || step->type == moType) {
            return Ldn(step);
        }
    }
    return Ldn();
}

bool Ldn::hasAncestor(const std::string& moType) const {
    return !getAncestor(moType).isEmpty();
}

std::vector<Ldn> Ldn::getChildren(const std::string& moType) const {
    std::vector<Ldn> found;
    for (LdnIterator walk(node, moType); !walk.atEnd(); ++walk) {
        found.push_back(*walk);
    }
    return found;
}

bool Ldn::hasChildren(const std::string& moType) const {
    return !LdnIterator(node, moType).atEnd();
}

bool Ldn::hasFro() const {
    return node != nullptr && !node->fro.expired();
}

std::shared_ptr<fRO> Ldn::getFro() const {
    return node != nullptr ? node->fro.lock() : std::shared_ptr<fRO>();
}

Ldn Ldn::getMoRef(const std::string& attrName) const {
    const std::shared_ptr<fRO> fro = getFro();
    if (!fro) {
        return Ldn();
    }
    const std::string moref = fro->getMoRefAttrValue(attrName);
    if (moref.empty()) {
        return Ldn();
    }
    const xmlTree tree(attrName, attrType::MOREF, moref);
    std::string target;
    if (!tree.getValue(target, "ldn") || target.empty()) {
        return Ldn();
    }
    return Ldn(target);
}
