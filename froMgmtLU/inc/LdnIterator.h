// LdnIterator: walks the nodes below a start node, breadth first, children before
// grandchildren, optionally only those of one MO type.
#ifndef LDN_ITERATOR_H
#define LDN_ITERATOR_H

#include "Ldn.h"

#include <cstddef>
#include <deque>
#include <string>

class LdnNode;

class LdnIterator {
  public:
    /// Stands at the first node below start (of that type when moType is not empty).
    LdnIterator(LdnNode* startNode, const std::string& filterType);

    /// Whether the walk is over.
    bool atEnd() const { return queue.empty(); }
    /// The node the walk stands at; the empty handle at the end.
    Ldn operator*() const;
    /// Moves to the next node.
    LdnIterator& operator++();

  private:
    LdnNode* currentNode() const;
    void step();
    void skipToMatch();

    std::size_t current = 0;
    std::deque<LdnNode*> queue;
    std::string moType;
    LdnNode* start;
    bool filtering;
};

#endif  // LDN_ITERATOR_H
