// Builds the typed attribute of a child element by its tag: "attr" gives a
// SimpleAttribute, "struct" and "moref" a StructAttribute, "array" an
// ArrayAttribute; any other tag gives null, which takes the child's place.
#ifndef ATTRIBUTE_FROM_ELEMENT_H
#define ATTRIBUTE_FROM_ELEMENT_H

class GenericAttribute;
class TiXmlElement;

GenericAttribute* attributeFromElement(const TiXmlElement& element);

#endif  // ATTRIBUTE_FROM_ELEMENT_H
