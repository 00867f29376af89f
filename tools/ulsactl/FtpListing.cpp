#include "FtpListing.h"

#include <curl/curl.h>

#include <memory>

namespace ulsactl {

namespace {

size_t collect(char* data, size_t size, size_t count, void* text) {
    static_cast<std::string*>(text)->append(data, size * count);
    return size * count;
}

}  // namespace

bool listFtpDirectory(const std::string& address, const std::string& username,
                      const std::string& password, const std::string& directory,
                      long timeoutMs, std::set<std::string>& names, std::string& why) {
    std::unique_ptr<CURL, void (*)(CURL*)> curl(curl_easy_init(), curl_easy_cleanup);
    if (!curl) {
        why = "libcurl did not start";
        return false;
    }
    std::string path;
    std::size_t at = 0;
    while (at <= directory.size()) {
        const std::size_t slash = directory.find('/', at);
        const std::string part = directory.substr(at, slash == std::string::npos ? slash : slash - at);
        if (!part.empty()) {
            char* escaped = curl_easy_escape(curl.get(), part.c_str(), static_cast<int>(part.size()));
            path += std::string(escaped ? escaped : "") + "/";
            curl_free(escaped);
        }
        if (slash == std::string::npos)
            break;
        at = slash + 1;
    }
    const std::string url = "ftp://" + address + "/" + path;
    const std::string login = username + ":" + password;
    std::string listing;
    curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_USERPWD, login.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_DIRLISTONLY, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_TIMEOUT_MS, timeoutMs);
    curl_easy_setopt(curl.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, collect);
    curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &listing);
    const CURLcode code = curl_easy_perform(curl.get());
    if (code != CURLE_OK) {
        why = curl_easy_strerror(code);
        return false;
    }
    std::size_t start = 0;
    while (start < listing.size()) {
        std::size_t end = listing.find('\n', start);
        if (end == std::string::npos)
            end = listing.size();
        std::string name = listing.substr(start, end - start);
        if (!name.empty() && name.back() == '\r')
            name.pop_back();
        if (!name.empty())
            names.insert(name);
        start = end + 1;
    }
    return true;
}

}  // namespace ulsactl
