// SignalNumber2Name: the process-wide table of signal numbers and names.
//
// Every client that subscribes signals hands in its pairs so that traces can print
// names. Created by the first getInstance(), which must run on a kernel process
// (the table registers its trace object "ncSignalNumber2Name"); ended by
// destroyInstance(). Used from the main process only: no lock.
#ifndef SIGNAL_NUMBER_2_NAME_H
#define SIGNAL_NUMBER_2_NAME_H

#include "SignalNumber2NameApi.h"
#include "dynTrace.h"

#include <map>
#include <string>

class SignalNumber2Name : public SignalNumber2NameApi {
  public:
    /// What name2SigNo() gives for an unknown name.
    static constexpr SIGSELECT unknownSigNo = 0xFFFFFFFFu;

    /// The table, made on first use.
    static SignalNumber2Name* getInstance();
    /// Deletes the table; the next getInstance() makes an empty one.
    static void destroyInstance();

    std::string sigNo2Name(SIGSELECT sigNo) const override;
    SIGSELECT name2SigNo(const std::string& name) const override;
    void insertSignalName(const SignalName& signal) override;
    void insertSignalNames(const SignalNameList& signals) override;
    virtual ~SignalNumber2Name();

    /// How many numbers the table holds.
    std::size_t size() const { return names.size(); }

    SignalNumber2Name(const SignalNumber2Name&) = delete;
    SignalNumber2Name& operator=(const SignalNumber2Name&) = delete;

  private:
    SignalNumber2Name() = default;

    std::map<SIGSELECT, std::string> names;
    TraceHandle trace{"ncSignalNumber2Name"};
};

#endif  // SIGNAL_NUMBER_2_NAME_H
