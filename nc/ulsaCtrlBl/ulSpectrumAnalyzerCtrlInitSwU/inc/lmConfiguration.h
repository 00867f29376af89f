// The load module's configuration block and, on the host, the loader's reading of it.
//
// The block is the text "OSE Configuration", then one line key=value per setting in
// a fixed order, padded with zero bytes to kLmConfigurationSize. The build
// identification lines (LM_PATH, LM_VERS, LM_CMINFO) stand behind the what-string
// marker "@(#)", so that `what` finds them in the binary.
#ifndef LM_CONFIGURATION_H
#define LM_CONFIGURATION_H

#include <cstddef>

/// Size of the configuration block in bytes.
inline constexpr std::size_t kLmConfigurationSize = 2048;

/// Product number and revision of this load module, as a literal for the block's text.
#define ULSA_LM_PRODUCT "CXP 901 0001/1 R1A"
inline constexpr const char* kLmProductIdentity = ULSA_LM_PRODUCT;

/// The block itself.
extern const char ulsaLmConfiguration[kLmConfigurationSize];

/// What the node's loader does with the block: every key=value line becomes a text
/// value of the block's environment (set_env on process 0), the marker "@(#)" taken
/// off. Reads at most size bytes and stops at the first zero byte. Returns the number
/// of values set, or -1 when the block does not start with its heading. Lines without
/// '=' or with an empty key are skipped.
int lmLoadConfiguration(const char* block, std::size_t size);

#endif  // LM_CONFIGURATION_H
