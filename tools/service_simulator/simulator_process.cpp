#include "tools/service_simulator/simulator_process.h"

#include <charconv>
#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "tools/console/line_io.h"

namespace brivelnox::simulator {

namespace {

constexpr std::chrono::seconds kAnswerTime{20};
constexpr DWORD kEndTime = 10000;

struct pipe_ends {
    unique_pipe read;
    unique_pipe write;
};

/// A pipe of which only the end that the child gets can be inherited.
pipe_ends MakePipe(bool child_reads) {
    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    pipe_ends ends;
    if (CreatePipe(ends.read.put(), ends.write.put(), &inheritable, 0) == FALSE ||
        SetHandleInformation((child_reads ? ends.write : ends.read).get(), HANDLE_FLAG_INHERIT, 0) == FALSE) {
        throw std::runtime_error("no pipe for the service simulator");
    }
    return ends;
}

/// Takes the first word off the text.
std::string_view TakeWord(std::string_view& text) {
    const std::size_t blank = text.find(' ');
    const std::string_view word = text.substr(0, blank);
    text.remove_prefix(blank == std::string_view::npos ? text.size() : blank + 1);
    return word;
}

wire_report ParseWire(std::string_view rest) {
    wire_report report;
    const std::string_view time = TakeWord(rest);
    long long microseconds = 0;
    (void)std::from_chars(time.data(), time.data() + time.size(), microseconds);
    report.time = std::chrono::steady_clock::time_point(std::chrono::microseconds(microseconds));
    report.direction = TakeWord(rest);
    (void)TakeWord(rest);  // the connection
    report.text = console::UnescapeLine(rest);
    return report;
}

}  // namespace

simulator_process::simulator_process(const std::wstring& program, wire_handler on_wire)
    : on_wire_(std::move(on_wire)) {
    Start(program);
    reader_ = std::thread([this] { Read(); });
    std::unique_lock lock(mutex_);
    (void)changed_.wait_for(lock, kAnswerTime, [this] { return ended_ || !lines_.empty(); });
    const std::string first = lines_.empty() ? "" : lines_.front();
    lines_.clear();
    lock.unlock();
    std::string_view rest = first;
    const bool ready = TakeWord(rest) == "READY";
    port_ = static_cast<std::uint16_t>(console::ToNumber(rest).value_or(0));
    if (!ready) {
        input_.reset();
        (void)TerminateProcess(process_.get(), 1);
        reader_.join();
        throw std::runtime_error("the service simulator did not get ready: " + first);
    }
}

simulator_process::~simulator_process() {
    input_.reset();
    if (WaitForSingleObject(process_.get(), kEndTime) != WAIT_OBJECT_0) {
        (void)TerminateProcess(process_.get(), 1);
    }
    reader_.join();
}

void simulator_process::Start(const std::wstring& program) {
    pipe_ends to_child = MakePipe(true);
    pipe_ends from_child = MakePipe(false);
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = to_child.read.get();
    startup.hStdOutput = from_child.write.get();
    startup.hStdError = from_child.write.get();
    PROCESS_INFORMATION created{};
    std::wstring command_line = L"\"" + program + L"\"";
    if (CreateProcessW(program.c_str(), command_line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                       &startup, &created) == FALSE) {
        throw std::runtime_error("the service simulator cannot be started: " + console::ToUtf8(program));
    }
    process_.reset(created.hProcess);
    (void)CloseHandle(created.hThread);
    input_ = std::move(to_child.write);
    output_ = std::move(from_child.read);
}

void simulator_process::Read() {
    console::line_reader reader(output_.get());
    while (const std::optional<std::string> line = reader.Read()) {
        TakeLine(*line);
    }
    const std::lock_guard lock(mutex_);
    ended_ = true;
    changed_.notify_all();
}

void simulator_process::TakeLine(const std::string& line) {
    std::string_view rest = line;
    if (TakeWord(rest) == "WIRE") {
        on_wire_(ParseWire(rest));
        return;
    }
    const std::lock_guard lock(mutex_);
    lines_.push_back(line);
    changed_.notify_all();
}

simulator_reply simulator_process::Command(const std::string& line) {
    const std::lock_guard turn(command_mutex_);
    simulator_reply reply;
    if (!console::line_writer(input_.get()).Write(line)) {
        reply.text = "the service simulator has ended";
        return reply;
    }
    std::unique_lock lock(mutex_);
    for (;;) {
        if (!changed_.wait_for(lock, kAnswerTime, [this] { return ended_ || !lines_.empty(); }) ||
            lines_.empty()) {
            reply.text = "the service simulator does not answer";
            return reply;
        }
        const std::string answer = std::move(lines_.front());
        lines_.pop_front();
        std::string_view rest = answer;
        const std::string_view first = TakeWord(rest);
        if (first != "OK" && first != "ERR") {
            reply.lines.push_back(answer);
            continue;
        }
        reply.success = first == "OK";
        if (reply.success) {
            (void)TakeWord(rest);  // the command's name
        }
        reply.text = console::UnescapeLine(rest);
        return reply;
    }
}

simulator_reply simulator_process::Command(const console::words& line) {
    std::string text;
    for (const std::string& word : line) {
        const std::string ansi = console::ToAnsi(console::FromUtf8(word));
        text.append(text.empty() ? "" : " ").append(console::EscapeLine(console::QuoteWord(ansi)));
    }
    simulator_reply reply = Command(text);
    for (std::string& each : reply.lines) {
        each = console::ToUtf8(console::FromAnsi(console::UnescapeLine(each)));
    }
    return reply;
}

}  // namespace brivelnox::simulator
