#include "tools/demonstration/merged_print.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>
#include <utility>

namespace brivelnox::demonstration {

namespace {

constexpr std::size_t kTimeWidth = 8;
constexpr std::array<std::size_t, 3> kWidths{42, 50, 50};
constexpr std::array<std::string_view, 3> kTitles{"application", "wire (> to the service, < from it)",
                                                  "TAPI"};
constexpr std::string_view kDivider = " | ";

bool IsContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

std::size_t Characters(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return !IsContinuation(c); }));
}

/// How many bytes the first `count` characters take.
std::size_t BytesOf(std::string_view text, std::size_t count) {
    std::size_t position = 0;
    for (; position < text.size(); ++position) {
        if (!IsContinuation(text[position])) {
            if (count == 0) {
                break;
            }
            --count;
        }
    }
    return position;
}

std::string Padded(const std::string& text, std::size_t width) {
    const std::size_t length = Characters(text);
    return length < width ? text + std::string(width - length, ' ') : text;
}

/// One printed line with a text in one of the columns.
std::string Row(const std::string& time, std::size_t column, const std::string& text) {
    std::string row = Padded(time, kTimeWidth);
    for (std::size_t i = 0; i < kWidths.size(); ++i) {
        row.append(kDivider).append(Padded(i == column ? text : "", kWidths[i]));
    }
    row.erase(row.find_last_not_of(' ') + 1);
    return row;
}

}  // namespace

std::vector<std::string> ColumnHeading() {
    std::string titles = Padded(" seconds", kTimeWidth);
    std::string rule(kTimeWidth, '-');
    for (std::size_t i = 0; i < kWidths.size(); ++i) {
        titles.append(kDivider).append(Padded(std::string(kTitles[i]), kWidths[i]));
        rule.append("-+-").append(std::string(kWidths[i], '-'));
    }
    titles.erase(titles.find_last_not_of(' ') + 1);
    return {titles, rule};
}

std::vector<std::string> WrapText(const std::string& text, std::size_t width) {
    std::vector<std::string> lines;
    std::string_view rest = text;
    do {
        std::size_t end = BytesOf(rest, width);
        std::size_t next = end;
        if (end < rest.size()) {
            // At a blank, which is left out, or behind a bar.
            const std::size_t place = rest[end] == ' ' ? end : rest.substr(0, end).find_last_of(" |");
            if (place != std::string_view::npos && place != 0) {
                end = rest[place] == ' ' ? place : place + 1;
                next = place + 1;
            }
        }
        lines.emplace_back(rest.substr(0, end));
        rest.remove_prefix(next);
    } while (!rest.empty());
    return lines;
}

merged_print::merged_print(clock::time_point start, std::function<void(const std::string&)> write)
    : start_(start), write_(std::move(write)), thread_([this] { Run(); }) {}

merged_print::~merged_print() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
        changed_.notify_all();
    }
    thread_.join();
}

void merged_print::Add(print_column column, clock::time_point time, const std::string& text) {
    std::array<char, 32> stamp{};
    (void)std::snprintf(stamp.data(), stamp.size(), "%8.3f",
                        std::chrono::duration<double>(time - start_).count());
    std::vector<std::string> lines;
    for (const std::string& part : WrapText(text, kWidths[static_cast<std::size_t>(column)] - 2)) {
        // What does not fit on the first line goes on a little further in.
        lines.push_back(Row(lines.empty() ? stamp.data() : "", static_cast<std::size_t>(column),
                            lines.empty() ? part : "  " + part));
    }
    Enqueue(time, std::move(lines));
}

void merged_print::AddLine(const std::string& text) {
    Enqueue(clock::now(), {text});
}

void merged_print::Enqueue(clock::time_point time, std::vector<std::string> lines) {
    const std::lock_guard lock(mutex_);
    waiting_.emplace(time, std::move(lines));
    changed_.notify_all();
}

void merged_print::Flush() {
    std::unique_lock lock(mutex_);
    ++flushing_;
    changed_.notify_all();
    changed_.wait(lock, [this] { return waiting_.empty() && printing_ == 0; });
    --flushing_;
}

void merged_print::Run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        if (waiting_.empty()) {
            if (ending_) {
                return;
            }
            changed_.wait(lock, [this] { return ending_ || !waiting_.empty(); });
            continue;
        }
        const auto first = waiting_.begin();
        const clock::time_point due = std::max(first->first, start_) + kHold;
        if (!ending_ && flushing_ == 0 && clock::now() < due) {
            (void)changed_.wait_until(lock, due);
            continue;
        }
        const std::vector<std::string> lines = std::move(first->second);
        waiting_.erase(first);
        ++printing_;
        lock.unlock();
        for (const std::string& line : lines) {
            write_(line);
        }
        lock.lock();
        --printing_;
        changed_.notify_all();
    }
}

}  // namespace brivelnox::demonstration
