#include "LdnIterator.h"

#include "LdnNode.h"

LdnIterator::LdnIterator(LdnNode* startNode, const std::string& filterType)
    : moType(filterType), start(startNode), filtering(!filterType.empty()) {
    if (start != nullptr && !start->getChildren().empty()) {
        queue.push_back(start);
        current = 0;
        skipToMatch();
    }
}

LdnNode* LdnIterator::currentNode() const {
    return atEnd() ? nullptr : queue.front()->getChildren()[current];
}

Ldn LdnIterator::operator*() const {
    return Ldn(currentNode());
}

LdnIterator& LdnIterator::operator++() {
    if (!atEnd()) {
        step();
        skipToMatch();
    }
    return *this;
}

void LdnIterator::step() {
    queue.push_back(currentNode());
    ++current;
    // Fronts whose children are used up, and fronts without children, are dropped.
    while (!queue.empty() && current >= queue.front()->getChildren().size()) {
        queue.pop_front();
        current = 0;
    }
}

void LdnIterator::skipToMatch() {
    if (!filtering) {
        return;
    }
    while (!atEnd() && currentNode()->getType() != moType) {
        step();
    }
}
