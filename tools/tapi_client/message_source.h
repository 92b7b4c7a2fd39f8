#pragma once

// The three ways in which TAPI notifies an application, behind one: the next message, on the thread that asks
// for it.

#include <windows.h>
#include <tapi.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string_view>

namespace brivelnox::tapi_client {

/// For one thread, the one that calls lineInitializeEx: a hidden window's messages come to no other.
class message_source {
  public:
    using milliseconds = std::chrono::milliseconds;

    virtual ~message_source() = default;

    /// What has to be told to lineInitializeEx.
    [[nodiscard]] virtual LINEINITIALIZEEXPARAMS Parameters() const = 0;
    [[nodiscard]] virtual LINECALLBACK Callback() const { return nullptr; }
    /// To be called when it has succeeded, with what it wrote.
    virtual void Begin(HLINEAPP, const LINEINITIALIZEEXPARAMS&) {}
    /// The next message; nothing if none comes within the time.
    virtual std::optional<LINEMESSAGE> Next(milliseconds timeout) = 0;
};

/// The source by its name: "window", "event" or "port"; null for any other.
std::unique_ptr<message_source> MakeMessageSource(std::string_view name);

}  // namespace brivelnox::tapi_client
