// xmlHandler: reads MAO-FRO documents into plain records and writes them from
// attribute lists. Requests look like
//
//   <?xml version="1.0" encoding="UTF-8" ?>
//   <mim version="...">
//   <class ldn="...">
//   <attr name="..." type="S32" value="..."/>
//   <struct name="..."> ...members... </struct>
//   </class>
//   </mim>
//
// with an "action" or "fault" element below "class" holding the parameters of an
// action or fault. A value of type struct, array or moref is carried as the whole
// element in XML text. Values are decoded twice on the way in (once by the parser,
// once by unescapeXml), so "&amp;amp;" arrives as "&". Failures give false; the
// reason goes to the process's default trace object at level 1. No state, no locks.
#ifndef XML_HANDLER_H
#define XML_HANDLER_H

#include "Attribute.h"
#include "XmlClassData.h"

#include <string>
#include <vector>

class TiXmlElement;

class xmlHandler {
  public:
    /// The process-wide instance.
    static xmlHandler& instance();

    /// Reads a create, set, get or action request; false for no XML, a root other than
    /// "mim", no "class", or an element that is no attribute.
    bool parseXml(const std::string& text, XmlClassData& out);
    /// Reads a document whose root holds several "class" elements; false when there is none.
    bool parseClasses(const std::string& text, std::vector<XmlClassData>& out);
    /// Writes the answer document; false for an attribute of unknown type.
    bool createXml(const std::string& ldn, const std::string& version, const Attributes& attributes,
                   std::string& out);
    /// Writes an attribute element and its children as text; false for an unknown type.
    bool elementToXml(const TiXmlElement& element, std::string& out);

    /// "S32", "U32", "S64" or "STRING".
    static bool isPrimitiveType(const std::string& type);
    /// "array", "struct" or "moref".
    static bool isDerivedType(const std::string& type);

  private:
    bool appendElement(const TiXmlElement& element, std::string& out);
};

#endif  // XML_HANDLER_H
