// attrReadService.h: the platform's attribute-read service, published as
// "DOVK_OMF_MAO_IMA_SERVICE_NAME".
//
// A kernel process that answers OMF_MAO_IMA_NC_READ_REQ with OMF_MAO_IMA_NC_READ_CFM
// (imaSignals.h) from the node's own managed-object data: a table of attribute values
// by LDN and attribute name that the node's configuration gives. A read names
// managed objects by LDN; the answer holds every attribute the table has for each.
#ifndef HOST_ATTR_READ_SERVICE_H
#define HOST_ATTR_READ_SERVICE_H

#include "ose.h"

#include <string>
#include <vector>

namespace hostima {

/// One attribute of one managed object, its value as text.
struct MoAttribute {
    std::string ldn;    // e.g. "ManagedElement=1,EquipmentSupportFunction=1"
    std::string name;   // e.g. "fullDistinguishedName"
    std::string value;  // e.g. "SubNetwork=1,MeContext=node1,ManagedElement=1,..."
};

/// The attributes that a node named networkDn in its network (for example
/// "SubNetwork=1,MeContext=node1") has of its own: the fullDistinguishedName of
/// "ManagedElement=1" and of "ManagedElement=1,EquipmentSupportFunction=1", each
/// networkDn, a comma and the LDN (the LDN alone for an empty networkDn).
std::vector<MoAttribute> nodeAttributes(const std::string& networkDn);

/// The service's data. Several values of one attribute: the first counts.
struct AttrReadConfig {
    std::vector<MoAttribute> attributes = nodeAttributes("SubNetwork=1,MeContext=node1");
};

/// Creates and starts the service process (named as its service), which publishes
/// its name through "ose_ns" (which must run) as its first step, or returns the one
/// running. Any thread may call it.
PROCESS startAttrReadService(const AttrReadConfig& config = AttrReadConfig());

/// Ends the service; the name server withdraws its publication.
void stopAttrReadService(PROCESS service);

}  // namespace hostima

#endif  // HOST_ATTR_READ_SERVICE_H
