#include "TimestampedList.h"

#include <cstdio>
#include <ctime>

std::string formatRowTime(std::chrono::system_clock::time_point time) {
    using namespace std::chrono;
    const auto sinceEpoch = duration_cast<microseconds>(time.time_since_epoch());
    auto seconds = duration_cast<std::chrono::seconds>(sinceEpoch);
    auto micros = sinceEpoch - seconds;
    if (micros.count() < 0) {
        seconds -= std::chrono::seconds(1);
        micros += std::chrono::seconds(1);
    }
    const std::time_t whole = static_cast<std::time_t>(seconds.count());
    std::tm parts{};
    gmtime_r(&whole, &parts);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%06ld", parts.tm_year + 1900,
                  parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec,
                  static_cast<long>(micros.count()));
    return text;
}
