// TimestampedSignalList: a history of signal events in a compressed form.
//
// Signal kinds (number and direction) can be put in groups. While events of one
// group follow each other they are counted, one record per kind, and written as
// rows only when an event of another group, or of none, arrives: a long exchange
// of a few kinds takes a few rows however many signals it had. Rows name signals
// through SignalNumber2Name.
#ifndef TIMESTAMPED_SIGNAL_LIST_H
#define TIMESTAMPED_SIGNAL_LIST_H

#include "SignalEvent.h"
#include "TimestampedList.h"
#include "ose.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

class TimestampedSignalList : public TimestampedList<SignalEvent> {
  public:
    /// A signal kind: number and direction.
    typedef std::pair<SIGSELECT, uint32_t> SignalKind;

    explicit TimestampedSignalList(uint32_t maxRows, Now clock = &Clock::now);

    void add(const SignalEvent& event) override;
    std::string dump() const override;
    void clear() override;

    /// Puts every kind of the list in one new group, taking it out of any earlier one.
    void addGroup(const std::vector<SignalKind>& kinds);
    /// The group of a kind, or 0 for none.
    uint32_t groupOf(SIGSELECT number, uint32_t direction) const;

    /// "Received: ", "Sent:     " or "Unknown:  ", then the signal's name.
    static std::string formatEvent(const SignalEvent& event);

  private:
    void flushPending();
    std::vector<Row> pendingByTime() const;

    uint32_t nextGroupId = 1;
    uint32_t currentGroupId = 0;
    std::map<SignalKind, Row> pending;
    std::map<SignalKind, uint32_t> groups;
};

#endif  // TIMESTAMPED_SIGNAL_LIST_H
