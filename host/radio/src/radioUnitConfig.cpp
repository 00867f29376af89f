#include "radioUnitConfig.h"

namespace hostradio {

RadioUnitConfig defaultRadioUnitConfig(const std::string& ldn,
                                       const std::string& dcControllerName) {
    RadioUnitConfig config;
    config.ldn = ldn;
    config.dcControllerName = dcControllerName;
    PortCapability port;
    port.ranges.push_back({1920000, 1980000, 60000, 61440, 4096});
    config.ports.assign(8, port);
    config.spectrum.carriers = {
        {1932500, 5000, -80.0}, {1950000, 10000, -75.0}, {1967500, 15000, -85.0}};
    return config;
}

std::string serverNamePrefix(const RadioUnitConfig& config) {
    return config.serverNamePrefix ? *config.serverNamePrefix : config.dcControllerName + "/";
}

std::string rfPortLdn(const RadioUnitConfig& config, uint32_t portId) {
    const char letter = static_cast<char>('A' + (portId >= 1 && portId <= 26 ? portId - 1 : 0));
    return config.ldn + ",DeviceGroup=ru,RfPort=" + letter;
}

}  // namespace hostradio
