#pragma once

// A link whose messages a test sees.

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "registry_service/tcp_link.h"
#include "tests/support/settable_function.h"
#include "tests/support/signal.h"

namespace brivelnox::test {

/// Remembers what the reader thread has told, and lets a test act on that thread. Make it with Make: a link
/// has an owner that is shared, here itself.
class test_link : public tcp_link {
  public:
    static std::shared_ptr<test_link> Make();
    ~test_link() override;

    /// Called for each message after it was noted, on the thread that delivers it, with the name of the
    /// message's first child element.
    settable_function<const std::string&> on_message;
    /// Called when the link is destroyed.
    std::function<void()> on_destroyed;

    /// The names of the messages delivered so far, in order.
    [[nodiscard]] std::vector<std::string> Messages() const;
    /// Until as many messages have been delivered; returns them. What comes in time, when that is less.
    [[nodiscard]] std::vector<std::string> WaitForMessages(std::size_t count) const;
    /// The threads that have delivered messages, without repetition.
    [[nodiscard]] std::vector<std::thread::id> Threads() const;

    [[nodiscard]] bool WaitForDisconnected() const { return disconnected_.Wait(); }
    [[nodiscard]] bool HasDisconnected() const { return disconnected_.IsSet(); }
    [[nodiscard]] bool HasReceiveError() const { return receive_error_.IsSet(); }
    /// Until the reader has noticed that the connection is gone, one way or the other.
    [[nodiscard]] bool WaitForEnd() const { return ended_.Wait(); }

    using tcp_link::CloseForGood;

  protected:
    void OnMessage(const tinyxml2::XMLElement& message) override;
    void OnReceiveError() override;
    void OnDisconnected() override;

  private:
    mutable std::mutex lock_;
    mutable std::condition_variable more_;
    std::vector<std::string> messages_;
    std::vector<std::thread::id> threads_;
    signal disconnected_;
    signal receive_error_;
    signal ended_;
};

/// A message that test_link notes under the given name.
std::string Message(const std::string& name);

}  // namespace brivelnox::test
