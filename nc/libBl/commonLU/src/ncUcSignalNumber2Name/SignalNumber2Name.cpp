#include "SignalNumber2Name.h"

#include "numberConversion.h"
#include "processError.h"

namespace {

SignalNumber2Name* instance = nullptr;

std::string hexText(SIGSELECT number) {
    std::string text;
    applsupp::comm::numberToString(number, text, applsupp::comm::HexBase);
    return text;
}

}  // namespace

SignalNumber2Name* SignalNumber2Name::getInstance() {
    if (instance == nullptr) {
        instance = new SignalNumber2Name;
    }
    return instance;
}

void SignalNumber2Name::destroyInstance() {
    delete instance;
    instance = nullptr;
}

SignalNumber2Name::~SignalNumber2Name() = default;

std::string SignalNumber2Name::sigNo2Name(SIGSELECT sigNo) const {
    const auto it = names.find(sigNo);
    if (it != names.end()) {
        return it->second;
    }
    const std::string hex = hexText(sigNo);
    TRACE(trace, 4, "sigNo2Name: signal 0x%s (%d) not found!", hex.c_str(),
          static_cast<int>(sigNo));
    return "NO_TRANSLATION_FOR_0x" + hex;
}

SIGSELECT SignalNumber2Name::name2SigNo(const std::string& name) const {
    for (const auto& entry : names) {
        if (entry.second == name) {
            return entry.first;
        }
    }
    return unknownSigNo;
}

void SignalNumber2Name::insertSignalName(const SignalName& signal) {
    const SIGSELECT number = signal.first;
    const std::string& name = signal.second;
    std::string message;
    if (number == 0) {
        message = "Invalid sigNo";
    } else {
        const auto it = names.find(number);
        if (it != names.end() && it->second != name) {
            message = "Requested update for same sigNo: " + it->second + " -> " + name;
        }
    }
    if (!message.empty()) {
        const std::string text =
            traceFormat("insertSignalName: Signal not inserted: %s[%d] message: %s", name.c_str(),
                        static_cast<int>(number), message.c_str());
        TRACE(trace, 1, "%s", text.c_str());
        nc::reportProcessError(trace.get(), text);
        return;
    }
    names.emplace(number, name);
    TRACE(trace, 8, "insertSignalName: Inserted signal %s <=> 0x%s (%d)", name.c_str(),
          hexText(number).c_str(), static_cast<int>(number));
}

void SignalNumber2Name::insertSignalNames(const SignalNameList& signals) {
    for (const SignalName& signal : signals) {
        insertSignalName(signal);
    }
}
