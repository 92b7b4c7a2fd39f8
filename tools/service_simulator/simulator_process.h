#pragma once

// The service simulator as a child process, driven through pipes.

#include <windows.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/unique_handle.h"
#include "tools/console/command_words.h"

namespace brivelnox::simulator {

/// What a command of the simulator brought.
struct simulator_reply {
    bool success = false;
    std::string text;                ///< the result after "OK name", or what is wrong
    std::vector<std::string> lines;  ///< what it printed before (PHONE, CALL and HELP lines)
};

/// One wire line that the simulator printed.
struct wire_report {
    std::chrono::steady_clock::time_point time;
    std::string direction;  ///< "in", "out" or "note"
    std::string text;       ///< exact bytes
};

class simulator_process {
  public:
    using wire_handler = std::function<void(const wire_report&)>;

    /// Starts the program and waits until it is ready. `on_wire` is called on a thread of this object. Raises
    /// std::runtime_error when the program does not start or is not ready in time.
    simulator_process(const std::wstring& program, wire_handler on_wire);
    /// Ends the program by closing its input, and waits for it; kills it if it does not end.
    ~simulator_process();
    simulator_process(const simulator_process&) = delete;
    simulator_process& operator=(const simulator_process&) = delete;

    /// Sends a command and waits for its answer. One command at a time; other threads wait for their turn.
    simulator_reply Command(const std::string& line);
    /// The same for the words of a prompt, which speaks UTF-8 while the service speaks the ANSI code page. So
    /// does the reply's `lines`.
    simulator_reply Command(const console::words& line);
    /// The port that it listens on.
    [[nodiscard]] std::uint16_t Port() const { return port_; }

  private:
    void Start(const std::wstring& program);
    void Read();
    void TakeLine(const std::string& line);

    const wire_handler on_wire_;
    unique_process process_;
    unique_pipe input_;   // what the child reads
    unique_pipe output_;  // what it writes
    std::uint16_t port_ = 0;

    std::mutex command_mutex_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::string> lines_;
    bool ended_ = false;
    std::thread reader_;
};

}  // namespace brivelnox::simulator
