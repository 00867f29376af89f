// xmlTree: the value of a struct or array attribute as a tree that can be read and
// changed by path. A path is up to five steps; each step is the name of a child or,
// where no child has that name, a decimal index into the children, so struct
// members are reached by name and array members by index. An empty first step is
// the node itself. Values read from XML are kept escaped, and toXml writes them as
// they are. Failures give false; the reason goes to the process's default trace
// object at level 1.
#ifndef XML_TREE_H
#define XML_TREE_H

#include <cstdint>
#include <string>
#include <vector>

class TiXmlElement;

class xmlTree {
  public:
    /// An invalid tree.
    xmlTree() = default;
    /// A leaf for a primitive type; for a derived type the value is parsed as XML.
    xmlTree(const std::string& name, const std::string& type, const std::string& value);
    /// Filled from the element and its children.
    explicit xmlTree(const TiXmlElement& element);

    /// False for a default-constructed or failed tree.
    bool isValid() const { return !invalid; }

    /// The name of the node at the path.
    bool getName(std::string& out, const std::string& p1 = "", const std::string& p2 = "",
                 const std::string& p3 = "", const std::string& p4 = "",
                 const std::string& p5 = "") const;
    /// The type word of the node at the path.
    bool getType(std::string& out, const std::string& p1 = "", const std::string& p2 = "",
                 const std::string& p3 = "", const std::string& p4 = "",
                 const std::string& p5 = "") const;
    /// The value of the node at the path (escaped as read; empty for a struct or array).
    bool getValue(std::string& out, const std::string& p1 = "", const std::string& p2 = "",
                  const std::string& p3 = "", const std::string& p4 = "",
                  const std::string& p5 = "") const;
    /// The value of an "S32" leaf.
    bool getS32(int32_t& out, const std::string& p1 = "", const std::string& p2 = "",
                const std::string& p3 = "", const std::string& p4 = "",
                const std::string& p5 = "") const;
    /// The value of a "U32" leaf; a negative text fails.
    bool getU32(uint32_t& out, const std::string& p1 = "", const std::string& p2 = "",
                const std::string& p3 = "", const std::string& p4 = "",
                const std::string& p5 = "") const;
    /// The members of an array of "S32"; out stays untouched on failure.
    bool getS32Array(std::vector<int32_t>& out, const std::string& p1 = "",
                     const std::string& p2 = "", const std::string& p3 = "",
                     const std::string& p4 = "", const std::string& p5 = "") const;
    /// The members of an array of "STRING"; out stays untouched on failure.
    bool getStringArray(std::vector<std::string>& out, const std::string& p1 = "",
                        const std::string& p2 = "", const std::string& p3 = "",
                        const std::string& p4 = "", const std::string& p5 = "") const;
    /// The number of children of the node at the path.
    bool getSize(uint32_t& out, const std::string& p1 = "", const std::string& p2 = "",
                 const std::string& p3 = "", const std::string& p4 = "",
                 const std::string& p5 = "") const;

    /// Replaces the value of a "STRING" leaf.
    bool setString(const std::string& value, const std::string& p1 = "", const std::string& p2 = "",
                   const std::string& p3 = "", const std::string& p4 = "",
                   const std::string& p5 = "");
    /// Replaces the value of an "S32" leaf.
    bool setS32(int32_t value, const std::string& p1 = "", const std::string& p2 = "",
                const std::string& p3 = "", const std::string& p4 = "", const std::string& p5 = "");
    /// Replaces the value of a "U32" leaf.
    bool setU32(uint32_t value, const std::string& p1 = "", const std::string& p2 = "",
                const std::string& p3 = "", const std::string& p4 = "", const std::string& p5 = "");

    /// Adds a "STRING" leaf below the node at the path.
    bool addString(const std::string& name, const std::string& value, const std::string& p1 = "",
                   const std::string& p2 = "", const std::string& p3 = "",
                   const std::string& p4 = "", const std::string& p5 = "");
    /// Adds an "S32" leaf below the node at the path.
    bool addS32(const std::string& name, int32_t value, const std::string& p1 = "",
                const std::string& p2 = "", const std::string& p3 = "", const std::string& p4 = "",
                const std::string& p5 = "");
    /// Adds a "U32" leaf below the node at the path.
    bool addU32(const std::string& name, uint32_t value, const std::string& p1 = "",
                const std::string& p2 = "", const std::string& p3 = "", const std::string& p4 = "",
                const std::string& p5 = "");
    /// Adds an empty struct below the node at the path.
    bool addStruct(const std::string& name, const std::string& p1 = "", const std::string& p2 = "",
                   const std::string& p3 = "", const std::string& p4 = "",
                   const std::string& p5 = "");
    /// Adds an empty array below the node at the path.
    bool addArray(const std::string& name, const std::string& p1 = "", const std::string& p2 = "",
                  const std::string& p3 = "", const std::string& p4 = "",
                  const std::string& p5 = "");
    /// Adds an unnamed "S32" below the node at the path: an array member.
    bool addS32Element(int32_t value, const std::string& p1 = "", const std::string& p2 = "",
                       const std::string& p3 = "", const std::string& p4 = "",
                       const std::string& p5 = "");

    /// The tree as XML text; empty for a node of unknown type.
    std::string toXml() const;

    const std::string& getTag() const { return tag; }
    const std::vector<xmlTree>& getChildren() const { return children; }

  private:
    struct Path;
    const xmlTree* find(const Path& path) const;
    xmlTree* find(const Path& path);
    bool addChild(const std::string& name, const std::string& type, const std::string& value,
                  const Path& path);
    bool setLeaf(const std::string& type, const std::string& value, const Path& path);
    void fill(const TiXmlElement& element);

    bool invalid = true;
    std::string tag;
    std::string name;
    std::string type;
    std::string value;
    std::vector<xmlTree> children;
};

#endif  // XML_TREE_H
