#include "AgentConfiguration.h"

#include <cctype>

namespace hostdb {

AgentConfiguration& AgentConfiguration::instance() {
    static AgentConfiguration* const configuration = new AgentConfiguration;
    return *configuration;
}

void AgentConfiguration::set(const DatabaseConfig& config) {
    std::lock_guard<std::mutex> lock(m_lock);
    m_config = config;
    m_configured = true;
}

bool AgentConfiguration::connectStringFor(const std::string& serverName, std::string& connectString,
                                          std::string& reason) const {
    std::lock_guard<std::mutex> lock(m_lock);
    if (!m_configured) {
        reason = "the database agent has not been started";
        return false;
    }
    if (serverName != m_config.serverName) {
        reason = "unknown database server name \"" + serverName + "\"";
        return false;
    }
    connectString = resolveConnectString(m_config);
    return true;
}

std::string withoutPassword(const std::string& connectString) {
    std::string result;
    std::size_t start = 0;
    while (start < connectString.size()) {
        std::size_t end = connectString.find(';', start);
        if (end == std::string::npos)
            end = connectString.size();
        std::string item = connectString.substr(start, end - start);
        const std::size_t equals = item.find('=');
        std::string key = item.substr(0, equals);
        for (char& c : key)
            c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        if (equals != std::string::npos && (key == "PWD" || key == "PASSWORD"))
            item = item.substr(0, equals + 1) + "***";
        result += item;
        if (end < connectString.size())
            result += ';';
        start = end + 1;
    }
    return result;
}

}  // namespace hostdb
