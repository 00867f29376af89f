// AttrReadTable: the service's data, and the answer document to a request document.
#ifndef HOST_ATTR_READ_TABLE_H
#define HOST_ATTR_READ_TABLE_H

#include "attrReadService.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace hostima {

class AttrReadTable {
  public:
    explicit AttrReadTable(const std::vector<MoAttribute>& attributes);

    /// The answer to a request text: one "class" element with every attribute of each
    /// requested object that the table has, in the request's order, and an "error"
    /// element for each it does not have; for a text that is no request, or an answer
    /// too long for a signal, an "error" element alone.
    std::string answer(const std::string& request) const;

    /// The answer of a request whose text could not be read from its signal.
    static std::string malformed();

  private:
    // By LDN, the attributes (name, value) in the order of the configuration.
    std::map<std::string, std::vector<std::pair<std::string, std::string>>> m_objects;
};

}  // namespace hostima

#endif  // HOST_ATTR_READ_TABLE_H
