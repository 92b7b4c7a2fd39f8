#pragma once

#include <winsock2.h>
#include <windows.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <thread>

#include "platform/unique_handle.h"
#include "tests/benchmark/arrivals.h"
#include "tests/benchmark/file_calls.h"
#include "tests/benchmark/idle_mark.h"
#include "tests/benchmark/log_script.h"

namespace brivelnox::benchmark {

/// The least that anything in the provider's place would have to do: receive what the service sends, as soon
/// as the system tells that something is there, parse it, and append to a log what the provider appends. One
/// thread uses it, which waits for what its own thread has been given to do before it goes on.
class floor_client {
  public:
    /// The log is that of the floor alone. `done` is noted at each moment of a script.
    floor_client(std::wstring log_path, arrivals& done);
    ~floor_client();
    floor_client(const floor_client&) = delete;
    floor_client& operator=(const floor_client&) = delete;

    /// How lines are written; with the system's calls to begin with.
    void Use(const file_calls& calls) { calls_ = &calls; }

    /// Raises std::runtime_error when nobody listens at the port.
    void Connect(std::uint16_t port);
    void Disconnect();

    /// What is to be done with the next so many messages: each one's share of the lines is appended. Expects
    /// what `done` will be told. The script outlives the messages. Not before the reader has finished the
    /// ones before.
    void Expect(const log_script& script, std::size_t messages);
    /// Until the reader has finished what it received.
    void WaitUntilIdle() { reader_mark_.WaitUntilIdle(); }
    /// Appends the script's lines from one to another.
    void Append(const log_script& script, std::size_t from, std::size_t to) const;
    /// As the provider sends: with one call.
    void Send(const std::string& request) const;

  private:
    void Run();
    [[nodiscard]] bool ReadChunk();
    void DeliverMessages();
    void OnMessage(std::string_view message);
    void AppendUpTo(std::size_t line);

    const std::wstring log_path_;
    arrivals& done_;
    const file_calls* calls_ = &kSystemFileCalls;
    unique_socket socket_;
    unique_event network_event_{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    std::atomic<bool> ending_{false};
    idle_mark reader_mark_;

    // The reader's; changed by others while it is not busy.
    std::string held_;
    std::size_t end_from_ = 0;  // no end tag begins before it
    const log_script* script_ = nullptr;
    std::size_t messages_ = 0;
    std::size_t messages_done_ = 0;
    std::size_t moments_done_ = 0;
    std::size_t lines_done_ = 0;

    std::thread reader_;
};

}  // namespace brivelnox::benchmark
