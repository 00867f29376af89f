// The trigger time of a conditional run: "hh:mm:ss.mmm", or "ff:ff:ff.fff" for none,
// in which case a power trigger starts the sampling.
#ifndef ULSA_TRIGGER_TIME_H
#define ULSA_TRIGGER_TIME_H

#include <string>

/// The trigger text that means "no time of day".
constexpr const char* kUlsaNoTriggerTime = "ff:ff:ff.fff";

/// Compares text with pattern case-insensitively over the length of text, stopping
/// where pattern ends: an empty text, and any beginning of the pattern, match.
bool ulsaTriggerTextMatches(const std::string& text, const char* pattern);

/// Whether the trigger text means "no time of day" by that rule.
inline bool ulsaIsPowerTrigger(const std::string& triggerTimeOfDay) {
    return ulsaTriggerTextMatches(triggerTimeOfDay, kUlsaNoTriggerTime);
}

#endif  // ULSA_TRIGGER_TIME_H
