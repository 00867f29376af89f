// FtpListing: the names in a folder of an FTP server, to see which file a run put there.
// Apart from the kernel's header: libcurl brings the sockets' send().
#ifndef ULSACTL_FTP_LISTING_H
#define ULSACTL_FTP_LISTING_H

#include <set>
#include <string>

namespace ulsactl {

/// The names in `directory` (relative to the login folder) of the server at address
/// ("host" or "host:port"); false with why when the listing failed, e.g. because the
/// folder does not exist yet. Gives up after timeoutMs.
bool listFtpDirectory(const std::string& address, const std::string& username,
                      const std::string& password, const std::string& directory,
                      long timeoutMs, std::set<std::string>& names, std::string& why);

}  // namespace ulsactl

#endif  // ULSACTL_FTP_LISTING_H
