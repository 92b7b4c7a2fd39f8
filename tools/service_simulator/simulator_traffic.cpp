// The simulator's messages: recording what comes, answering it, sending well and badly.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tools/service_simulator/service_simulator.h"

namespace brivelnox::simulator {

void service_simulator::OnMessage(connection& from, const std::string& text) {
    const auto time = std::chrono::steady_clock::now();
    request parsed = ParseRequest(text);
    // Whoever waits for the request finds the reaction to it already queued.
    if (parsed.kind == request_kind::kGetClientRegistrations || parsed.kind == request_kind::kKeepAlive) {
        HandleAnswered(from, parsed);
    } else if (parsed.kind != request_kind::kMalformed) {
        HandleCallRequest(parsed);
    }
    Record(from.Number(), text, std::move(parsed), time);
}

void service_simulator::HandleAnswered(connection& from, const request& asked) {
    const std::lock_guard lock(mutex_);
    const answer_rule& rule = asked.kind == request_kind::kKeepAlive ? keep_alive_answer_ : list_answer_;
    switch (rule.policy) {
        case answer_policy::kAtOnce:
            from.Send(AnswerTextLocked(asked), rule.delay);
            break;
        case answer_policy::kOnDemand:
            pending_.push_back({from.Number(), asked});
            break;
        case answer_policy::kNever:
            break;
    }
}

void service_simulator::HandleCallRequest(const request& asked) {
    const std::shared_ptr<softphone> phone = FindSoftphone(asked.permanent_line_id);
    if (phone) {
        phone->Handle(asked);
    }
}

std::string service_simulator::AnswerTextLocked(const request& asked) const {
    return asked.kind == request_kind::kKeepAlive ? KeepAliveResponse(asked.id)
                                                  : RegistrationListResponse(asked.id, RegistrationsLocked());
}

void service_simulator::Record(std::size_t connection_number, const std::string& text, request parsed,
                               std::chrono::steady_clock::time_point time) {
    const std::lock_guard lock(mutex_);
    received_.push_back({received_count_, connection_number, text, std::move(parsed), time});
    ++received_count_;
    if (received_limit_ != 0 && received_.size() > received_limit_) {
        received_.pop_front();
    }
    changed_.notify_all();
}

std::size_t service_simulator::ReceivedCount() const {
    const std::lock_guard lock(mutex_);
    return received_count_;
}

std::vector<received_message> service_simulator::Received(std::size_t since) const {
    const std::lock_guard lock(mutex_);
    std::vector<received_message> result;
    std::copy_if(received_.begin(), received_.end(), std::back_inserter(result),
                 [&](const received_message& each) { return each.index >= since; });
    return result;
}

std::vector<received_message> service_simulator::Received(request_kind kind, std::size_t since) const {
    std::vector<received_message> result = Received(since);
    std::erase_if(result, [&](const received_message& each) { return each.parsed.kind != kind; });
    return result;
}

std::optional<received_message> service_simulator::WaitForMessage(const message_predicate& predicate,
                                                                  milliseconds timeout, std::size_t since) {
    std::optional<received_message> result;
    std::size_t next = since;  // everything before it has been looked at
    WaitUntil(timeout, [&] {
        for (const received_message& each : received_) {
            if (each.index >= next && predicate(each)) {
                result = each;
                return true;
            }
        }
        next = std::max(next, received_count_);
        return false;
    });
    return result;
}

std::optional<received_message> service_simulator::WaitForRequest(request_kind kind, milliseconds timeout,
                                                                  std::size_t since) {
    return WaitForMessage([kind](const received_message& each) { return each.parsed.kind == kind; }, timeout,
                          since);
}

void service_simulator::LimitReceived(std::size_t count) {
    const std::lock_guard lock(mutex_);
    received_limit_ = count;
    while (count != 0 && received_.size() > count) {
        received_.pop_front();
    }
}

void service_simulator::SetListAnswer(answer_policy policy, milliseconds delay) {
    const std::lock_guard lock(mutex_);
    list_answer_ = {policy, delay};
}

void service_simulator::SetKeepAliveAnswer(answer_policy policy, milliseconds delay) {
    const std::lock_guard lock(mutex_);
    keep_alive_answer_ = {policy, delay};
}

std::size_t service_simulator::AnswerPending() {
    const std::lock_guard lock(mutex_);
    const std::size_t count = pending_.size();
    for (const pending_answer& each : pending_) {
        for (const auto& to : connections_) {
            if (to->Number() == each.connection) {
                to->Send(AnswerTextLocked(each.asked));
            }
        }
    }
    pending_.clear();
    return count;
}

std::size_t service_simulator::PendingCount() const {
    const std::lock_guard lock(mutex_);
    return pending_.size();
}

void service_simulator::Send(std::string bytes) {
    SendLater(std::move(bytes), {});
}

void service_simulator::SendLater(std::string bytes, milliseconds pause) {
    const std::lock_guard lock(mutex_);
    for (const auto& each : connections_) {
        each->Send(bytes, pause);
    }
}

void service_simulator::SendSplit(const std::string& bytes, const std::vector<std::size_t>& sizes,
                                  milliseconds pause) {
    const std::lock_guard lock(mutex_);  // held over all pieces: nothing gets in between them
    std::size_t piece = 0;
    for (std::size_t position = 0; position < bytes.size(); ++piece) {
        const std::size_t wanted = sizes.empty() ? bytes.size() : sizes[std::min(piece, sizes.size() - 1)];
        const std::size_t size = std::max<std::size_t>(wanted, 1);
        for (const auto& each : connections_) {
            each->Send(bytes.substr(position, size), piece == 0 ? milliseconds{} : pause);
        }
        position += size;
    }
}

void service_simulator::SendEndless(std::size_t size) {
    static constexpr std::size_t kPiece = 1024;
    SendSplit("<msg>" + std::string(size, 'x'), {kPiece});
}

void service_simulator::SendGarbage(std::size_t size, std::uint32_t seed) {
    std::mt19937 random(seed);
    std::string bytes(size, '\0');
    for (char& each : bytes) {
        const auto value = static_cast<char>(random() & 0xFFU);
        each = value == '<' ? '(' : value;
    }
    Send(std::move(bytes));
}

bool service_simulator::WaitUntilSent(milliseconds timeout) {
    return WaitUntil(timeout, [&] {
        return std::all_of(connections_.begin(), connections_.end(),
                           [](const auto& each) { return each->Drained(); });
    });
}

}  // namespace brivelnox::simulator
