// GenericAttribute: the typed view of an attribute value, built from XML and
// written back to XML, so that a struct or array value stored as XML text can be
// handled as objects. Lookups that find nothing give the process-wide null
// attribute, which answers every question with "nothing", so chains of lookups
// need no test in between.
#ifndef GENERIC_ATTRIBUTE_H
#define GENERIC_ATTRIBUTE_H

#include <cstdint>
#include <string>

class TiXmlElement;
class TraceHandle;

/// A position in a struct's members (kind 0) or an array's elements (kind 1).
struct AttrIterator {
    uint32_t kind = 0;
    uint32_t vectorPosition = 0;
    uint32_t mapPosition = 0;

    bool operator==(const AttrIterator& other) const {
        return kind == other.kind && vectorPosition == other.vectorPosition &&
               mapPosition == other.mapPosition;
    }
    bool operator!=(const AttrIterator& other) const { return !(*this == other); }
};

class GenericAttribute {
  public:
    GenericAttribute();
    GenericAttribute(std::string attrName, std::string attrType);
    virtual ~GenericAttribute();

    /// Stores the number as decimal text; the base does nothing and answers true.
    virtual bool setS32(int32_t newValue);
    /// Stores the number as decimal text; the base does nothing and answers true.
    virtual bool setU32(uint32_t newValue);
    /// Stores the text; the base does nothing and answers true.
    virtual bool setString(const std::string& newValue);
    /// The value as S32, 0 when it is none.
    virtual int32_t getS32() const;
    /// The value as U32, 0 when it is none.
    virtual uint32_t getU32() const;
    /// The value as text, empty when it is none.
    virtual std::string getString() const;
    /// The struct member of that name, or the null attribute.
    virtual GenericAttribute& getMember(const std::string& memberName);
    /// The array element at that index, or the null attribute.
    virtual GenericAttribute& getElement(uint32_t index);
    /// A new element for this attribute, owned by the caller; null for the base.
    virtual TiXmlElement* toXml() const;
    /// Start of the children; an empty range for a leaf.
    virtual AttrIterator begin() const;
    /// End of the children; an empty range for a leaf.
    virtual AttrIterator end() const;
    /// A deep copy owned by the caller; null for the base.
    virtual GenericAttribute* clone() const;

    /// A copy of the name.
    std::string getName() const { return name; }
    /// A copy of the type word.
    std::string getType() const { return type; }
    /// toXml() printed with an indent of four blanks and "\n" line breaks.
    std::string toXmlText() const;
    /// Whether this is the process-wide null attribute.
    bool isNull() const { return this == &nullAttribute(); }

    /// The process-wide null attribute: both strings empty.
    static GenericAttribute& nullAttribute();

  protected:
    // Only the deep assignments of the derived classes copy name and type; the null
    // attribute must never be assigned through a reference a lookup gave out.
    GenericAttribute(const GenericAttribute& other) = default;
    GenericAttribute& operator=(const GenericAttribute& other) = default;

    std::string name;
    std::string type;
    const TraceHandle* trace;
};

#endif  // GENERIC_ATTRIBUTE_H
