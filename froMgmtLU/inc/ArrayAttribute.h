// ArrayAttribute: elements in order, owned, reached by index.
#ifndef ARRAY_ATTRIBUTE_H
#define ARRAY_ATTRIBUTE_H

#include "GenericAttribute.h"

#include <string>
#include <vector>

class ArrayAttribute : public GenericAttribute {
  public:
    ArrayAttribute();
    ArrayAttribute(std::string attrName, std::string attrType);
    /// Parses an XML text; a text that is no XML becomes the name of an empty "array".
    explicit ArrayAttribute(const std::string& xmlText);
    /// Reads the element: its tag becomes the type, its children the elements.
    explicit ArrayAttribute(const TiXmlElement& element);
    /// Deep copy.
    ArrayAttribute(const ArrayAttribute& other);
    /// Deep; nothing happens on self-assignment.
    ArrayAttribute& operator=(const ArrayAttribute& other);
    /// Deletes the elements.
    ~ArrayAttribute() override;

    /// The element, or the null attribute with the trace "Array index out of bounds".
    GenericAttribute& getElement(uint32_t index) override;
    TiXmlElement* toXml() const override;
    AttrIterator begin() const override;
    AttrIterator end() const override;
    GenericAttribute* clone() const override;

    /// Appends and takes ownership.
    void addElement(GenericAttribute* element);
    /// The elements; an element of unknown tag left a null entry.
    const std::vector<GenericAttribute*>& getElements() const { return elements; }

  private:
    void readElement(const TiXmlElement& element);
    void deleteElements();

    std::vector<GenericAttribute*> elements;
};

#endif  // ARRAY_ATTRIBUTE_H
