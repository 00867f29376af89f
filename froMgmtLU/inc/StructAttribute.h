// StructAttribute: named members, owned. Members are looked up by name in a sorted
// map and written to XML in the order of their arrival (memberOrder). A copy files
// the clones in the map's order, so a copy writes its members sorted by name.
// Also used for "moref" values, whose element has the same form.
#ifndef STRUCT_ATTRIBUTE_H
#define STRUCT_ATTRIBUTE_H

#include "GenericAttribute.h"

#include <map>
#include <string>
#include <vector>

class StructAttribute : public GenericAttribute {
  public:
    StructAttribute();
    StructAttribute(std::string attrName, std::string attrType);
    /// Parses an XML text; a text that is no XML becomes the name of an empty "struct".
    explicit StructAttribute(const std::string& xmlText);
    /// Reads the element: its tag becomes the type, its children the members.
    explicit StructAttribute(const TiXmlElement& element);
    /// Deep copy.
    StructAttribute(const StructAttribute& other);
    /// Deep; nothing happens on self-assignment.
    StructAttribute& operator=(const StructAttribute& other);
    /// Deletes the members.
    ~StructAttribute() override;

    /// The member, or the null attribute (also for a member that is a null entry).
    GenericAttribute& getMember(const std::string& memberName) override;
    TiXmlElement* toXml() const override;
    AttrIterator begin() const override;
    AttrIterator end() const override;
    GenericAttribute* clone() const override;

    /// Takes ownership and files the member under its own name (the first stays on a clash).
    void addMember(GenericAttribute* member);
    /// The members by name; an element of unknown tag left a null entry.
    const std::map<std::string, GenericAttribute*>& getMembers() const { return members; }
    /// Names in order of arrival, repeated names included.
    const std::vector<std::string>& getMemberOrder() const { return memberOrder; }

  private:
    void readElement(const TiXmlElement& element);
    void deleteMembers();
    void fileMember(const std::string& memberName, GenericAttribute* member);

    std::map<std::string, GenericAttribute*> members;
    std::vector<std::string> memberOrder;
};

#endif  // STRUCT_ATTRIBUTE_H
