// TimestampedList: a bounded history of events, each stamped with its time.
//
// When the list grows beyond maxSize the oldest row goes and the list remembers
// that it was truncated; the dump then opens with a line saying so. A row is
// either one event or a group of events of one kind, with the times of the first
// and the last and their count (count 0 marks a plain row).
#ifndef TIMESTAMPED_LIST_H
#define TIMESTAMPED_LIST_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <string>
#include <utility>

/// "YYYY-MM-DD hh:mm:ss.uuuuuu", in UTC: the text of a row's time.
std::string formatRowTime(std::chrono::system_clock::time_point time);

template <typename T>
class TimestampedList {
  public:
    using Clock = std::chrono::system_clock;
    using TimePoint = Clock::time_point;
    using Formatter = std::function<std::string(const T&)>;
    using Now = std::function<TimePoint()>;

    struct Row {
        T event;
        TimePoint first;
        TimePoint last;
        uint32_t count;  ///< 0 for a plain row, else the number of events grouped
    };

    /// now gives the time of each row; the system clock unless a test steps its own.
    TimestampedList(uint32_t maxRows, Formatter format, Now clock = &Clock::now)
        : maxSize(maxRows), formatter(std::move(format)), m_now(std::move(clock)) {}
    virtual ~TimestampedList() = default;

    /// Stamps the event with the current time and appends it.
    virtual void add(const T& event) {
        const TimePoint time = now();
        append(Row{event, time, time, 0});
    }

    /// The rows as text, oldest first; "( empty )\n" for none.
    virtual std::string dump() const {
        if (rows.empty()) {
            return "( empty )\n";
        }
        std::string text = truncationLine();
        for (const Row& row : rows) {
            text += rowText(row);
        }
        return text;
    }

    /// Forgets every row and the truncation.
    virtual void clear() {
        rows.clear();
        truncated = false;
    }

    /// Whether rows were dropped since the last clear().
    bool isTruncated() const { return truncated; }
    /// The rows held, oldest first.
    const std::list<Row>& getRows() const { return rows; }

  protected:
    TimePoint now() const { return m_now(); }

    void append(const Row& row) {
        rows.push_back(row);
        while (rows.size() > maxSize) {
            rows.pop_front();
            truncated = true;
        }
    }

    std::string truncationLine() const {
        return truncated ? "( List has been truncated due to size limit )\n" : "";
    }

    std::string rowText(const Row& row) const {
        const std::string what = formatter ? formatter(row.event) : std::string();
        if (row.count == 0) {
            return "[" + formatRowTime(row.first) + "] " + what + "\n";
        }
        return "[" + formatRowTime(row.first) + "] -> [" + formatRowTime(row.last) + "] " + what +
               " (" + std::to_string(row.count) + " signals)\n";
    }

    uint32_t maxSize;
    Formatter formatter;
    std::list<Row> rows;
    bool truncated = false;

  private:
    Now m_now;
};

#endif  // TIMESTAMPED_LIST_H
