// SignalNumber2NameApi: translation between OSE signal numbers and their names,
// for traces.
#ifndef SIGNAL_NUMBER_2_NAME_API_H
#define SIGNAL_NUMBER_2_NAME_API_H

#include "ose.h"

#include <string>
#include <utility>
#include <vector>

/// A signal number and its name.
typedef std::pair<SIGSELECT, std::string> SignalName;
/// Pairs in the order they are handed in.
typedef std::vector<SignalName> SignalNameList;

class SignalNumber2NameApi {
  public:
    /// The name of a signal; "NO_TRANSLATION_FOR_0x" and the number in hex when unknown.
    virtual std::string sigNo2Name(SIGSELECT sigNo) const = 0;
    /// The number of the first signal of that name, in number order; -1 (0xFFFFFFFF) if none.
    virtual SIGSELECT name2SigNo(const std::string& name) const = 0;
    /// Enters a pair; number 0 and a known number with another name are refused.
    virtual void insertSignalName(const SignalName& signal) = 0;
    /// Enters the pairs in order, each as insertSignalName() does.
    virtual void insertSignalNames(const SignalNameList& signals) = 0;

  protected:
    // Not deleted through the interface: the table's owner is its singleton.
    ~SignalNumber2NameApi() = default;
};

#endif  // SIGNAL_NUMBER_2_NAME_API_H
