// SimpleAttribute: a leaf of the typed attribute tree, one value as text. Its XML is
// <attr name="..." type="..." value="..."/>, each XML attribute written only when
// there is something to write.
#ifndef SIMPLE_ATTRIBUTE_H
#define SIMPLE_ATTRIBUTE_H

#include "GenericAttribute.h"

class SimpleAttribute : public GenericAttribute {
  public:
    /// All empty, no value.
    SimpleAttribute();
    /// With a value.
    SimpleAttribute(std::string attrName, std::string attrType, std::string attrValue);
    /// A "STRING" with a value.
    SimpleAttribute(std::string attrName, std::string attrValue);
    /// A "S32" with a value.
    SimpleAttribute(std::string attrName, int32_t attrValue);
    /// A "U32" with a value.
    SimpleAttribute(std::string attrName, uint32_t attrValue);
    /// Parses an XML text; a text that is no XML traces "Failed to parse xml" and leaves it empty.
    explicit SimpleAttribute(const std::string& xmlText);
    /// Reads "name", "type" and "value" of the element; the tag is not looked at.
    explicit SimpleAttribute(const TiXmlElement& element);
    SimpleAttribute(const SimpleAttribute& other) = default;
    SimpleAttribute& operator=(const SimpleAttribute& other) = default;
    ~SimpleAttribute() override;

    bool setS32(int32_t newValue) override;
    bool setU32(uint32_t newValue) override;
    bool setString(const std::string& newValue) override;
    /// 0 with the trace "Attribute \"%s\" is not a valid S32" when the text is no S32.
    int32_t getS32() const override;
    /// 0 with the trace "Attribute \"%s\" is not a valid U32" when the text is no U32.
    uint32_t getU32() const override;
    std::string getString() const override;
    TiXmlElement* toXml() const override;
    /// Built from name, type and value, so the clone always has a value.
    GenericAttribute* clone() const override;

    /// Whether a value was ever given.
    bool getHasValue() const { return hasValue; }

  private:
    void readElement(const TiXmlElement& element);

    std::string value;
    bool hasValue = false;
};

#endif  // SIMPLE_ATTRIBUTE_H
