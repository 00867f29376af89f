#include "TimestampedSignalList.h"

#include "SignalNumber2Name.h"

#include <algorithm>

TimestampedSignalList::TimestampedSignalList(uint32_t maxRows, Now clock)
    : TimestampedList<SignalEvent>(maxRows, &TimestampedSignalList::formatEvent, std::move(clock)) {
}

std::string TimestampedSignalList::formatEvent(const SignalEvent& event) {
    const char* direction = event.direction == SignalEvent::Received ? "Received: "
                            : event.direction == SignalEvent::Sent   ? "Sent:     "
                                                                     : "Unknown:  ";
    return direction + SignalNumber2Name::getInstance()->sigNo2Name(event.signalNumber);
}

uint32_t TimestampedSignalList::groupOf(SIGSELECT number, uint32_t direction) const {
    const auto it = groups.find(SignalKind(number, direction));
    return it != groups.end() ? it->second : 0;
}

void TimestampedSignalList::addGroup(const std::vector<SignalKind>& kinds) {
    for (const SignalKind& kind : kinds) {
        groups[kind] = nextGroupId;
    }
    ++nextGroupId;
}

std::vector<TimestampedSignalList::Row> TimestampedSignalList::pendingByTime() const {
    std::vector<Row> records;
    for (const auto& entry : pending) {
        records.push_back(entry.second);
    }
    std::stable_sort(records.begin(), records.end(),
                     [](const Row& a, const Row& b) { return a.first < b.first; });
    return records;
}

void TimestampedSignalList::flushPending() {
    for (const Row& record : pendingByTime()) {
        append(record);
    }
    pending.clear();
    currentGroupId = 0;
}

void TimestampedSignalList::add(const SignalEvent& event) {
    const uint32_t group = groupOf(event.signalNumber, event.direction);
    if (currentGroupId != 0 && currentGroupId != group) {
        flushPending();
    }
    if (group == 0) {
        TimestampedList<SignalEvent>::add(event);
        return;
    }
    const TimePoint time = now();
    const auto inserted =
        pending.emplace(SignalKind(event.signalNumber, event.direction), Row{event, time, time, 0});
    Row& record = inserted.first->second;
    ++record.count;
    record.last = time;
    currentGroupId = group;
}

std::string TimestampedSignalList::dump() const {
    if (rows.empty() && pending.empty()) {
        return "( empty )\n";
    }
    std::string text = truncationLine();
    for (const Row& row : rows) {
        text += rowText(row);
    }
    for (const Row& record : pendingByTime()) {
        text += rowText(record);
    }
    return text;
}

void TimestampedSignalList::clear() {
    TimestampedList<SignalEvent>::clear();
    pending.clear();
    currentGroupId = 0;
}
