#pragma once

// One print of what happens in three places: what the application asked, what went over the wire, what TAPI
// was told.

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace brivelnox::demonstration {

enum class print_column { kApplication, kWire, kTapi };

/// Prints in the order of the times given, in three columns behind a time in seconds. The wire's lines come
/// from another process and a little late, so each line is held back for a moment before it is printed.
/// Thread-safe.
class merged_print {
  public:
    using clock = std::chrono::steady_clock;
    /// How long a line is held back.
    static constexpr std::chrono::milliseconds kHold{30};

    /// `write` takes each finished line, on the printer's own thread. Times are shown from `start` on.
    merged_print(clock::time_point start, std::function<void(const std::string&)> write);
    /// Prints what is left.
    ~merged_print();
    merged_print(const merged_print&) = delete;
    merged_print& operator=(const merged_print&) = delete;

    /// A text in one of the columns, wrapped there.
    void Add(print_column column, clock::time_point time, const std::string& text);
    /// A line across all columns, without a time.
    void AddLine(const std::string& text);

    /// Returns once everything added before has been printed. Not for the thread that prints.
    void Flush();

  private:
    void Run();
    void Enqueue(clock::time_point time, std::vector<std::string> lines);

    const clock::time_point start_;
    const std::function<void(const std::string&)> write_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::multimap<clock::time_point, std::vector<std::string>> waiting_;
    std::size_t printing_ = 0;
    std::size_t flushing_ = 0;
    bool ending_ = false;
    std::thread thread_;  // last: it uses everything above
};

/// The heading of the columns and the line below it.
std::vector<std::string> ColumnHeading();

/// The text cut into lines of at most `width` characters, at blanks where possible. At least one line. UTF-8
/// counts by characters.
std::vector<std::string> WrapText(const std::string& text, std::size_t width);

}  // namespace brivelnox::demonstration
