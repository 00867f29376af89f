#include "lmConfiguration.h"

#include "ose.h"

#include <cstring>
#include <string>

namespace {

#define LM_WHAT "@(#)"

constexpr const char kHeading[] = "OSE Configuration";

}  // namespace

// A text longer than the block does not compile; the rest of the block is zero bytes.
const char ulsaLmConfiguration[kLmConfigurationSize] =
    "OSE Configuration\n"
    "OSE_LM_POOL_SIZE=2000000\n"
    "OSE_LM_SUPERVISOR_MODE=NO\n"
    "OSE_LM_SIGNAL_SIZES=31,63,127,255,1023,4095,16383,65535\n"
    "OSE_LM_MAIN_PRIORITY=28\n"
    "OSE_LM_STACK_SIZES=256,512,1024,2048,4096,8192,16384,65535\n"
    "OSE_LM_MAIN_NAME=kgmULSpectrumAnalzyerCtrlLm_lm\n"
    "HEAP_ALGO_TLSF=TRUE\n"
    "HEAP_SMALL_BUF_EXT_SIZE=2097152\n"
    "OSE_LM_PROGRAM_TYPE=APP_RAM\n"
    "HEAP_SHARED_MODE=TRUE\n"
    "OSE_LM_DATA_INIT=YES\n"
    "OSE_LM_MAIN_STACK=4000\n"
    "HEAP_MAX_SIZE=14680064\n"
    "OSE_LM_EXEC_MODEL=SHARED\n"
    "OSE_LM_MAIN_STACK_SIZE=4064\n"
    "HEAP_SMALL_BUF_INIT_SIZE=2097152\n"
    "OSE_LM_BSS_INIT=YES\n"
    "HEAP_ALGO_BUDDY=FALSE\n"
    "OSE_LM_IDENTITY=" ULSA_LM_PRODUCT "\n" LM_WHAT
    "LM_PATH=nc/ulsaCtrlBl/kgmULSpectrumAnalzyerCtrlLm\n" LM_WHAT "LM_VERS=" ULSA_LM_PRODUCT
    " " __DATE__ " " __TIME__ "\n" LM_WHAT "LM_CMINFO=host build\n";

int lmLoadConfiguration(const char* block, std::size_t size) {
    if (block == nullptr) {
        return -1;
    }
    const void* terminator = std::memchr(block, '\0', size);
    const std::size_t length =
        terminator != nullptr
            ? static_cast<std::size_t>(static_cast<const char*>(terminator) - block)
            : size;
    const std::string text(block, length);
    const std::size_t headingLength = sizeof kHeading - 1;
    if (text.compare(0, headingLength, kHeading) != 0 ||
        (text.size() > headingLength && text[headingLength] != '\n')) {
        return -1;
    }
    int count = 0;
    std::size_t position = headingLength;
    while (position < text.size()) {
        std::size_t end = text.find('\n', position);
        if (end == std::string::npos) {
            end = text.size();
        }
        std::string line = text.substr(position, end - position);
        position = end + 1;
        const std::string marker = LM_WHAT;
        if (line.compare(0, marker.size(), marker) == 0) {
            line.erase(0, marker.size());
        }
        const std::size_t equals = line.find('=');
        if (equals == std::string::npos || equals == 0) {
            continue;
        }
        const std::string key = line.substr(0, equals);
        const std::string value = line.substr(equals + 1);
        if (set_env(0, key.c_str(), value.c_str())) {
            ++count;
        }
    }
    return count;
}
