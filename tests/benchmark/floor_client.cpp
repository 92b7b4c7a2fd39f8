#include "tests/benchmark/floor_client.h"

#include <span>
#include <stdexcept>
#include <utility>

#include <tinyxml2.h>

#include "tests/support/loopback_address.h"

namespace brivelnox::benchmark {

namespace {

// What the provider receives at a time.
constexpr int kChunkSize = 1047;
constexpr std::string_view kEndTag = "</msg>";

}  // namespace

floor_client::floor_client(std::wstring log_path, arrivals& done)
    : log_path_(std::move(log_path)), done_(done) {}

floor_client::~floor_client() {
    Disconnect();
}

void floor_client::Connect(std::uint16_t port) {
    socket_.reset(socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
    const sockaddr_in address = test::LoopbackAddress(port);
    if (connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        WSAEventSelect(socket_.get(), network_event_.get(), FD_READ | FD_CLOSE) != 0) {
        throw std::runtime_error("the floor cannot connect");
    }
    ending_ = false;
    reader_ = std::thread([this] { Run(); });
}

void floor_client::Disconnect() {
    if (!reader_.joinable()) {
        return;
    }
    ending_ = true;
    (void)SetEvent(network_event_.get());
    reader_.join();
    socket_.reset();
    held_.clear();
    end_from_ = 0;
}

void floor_client::Expect(const log_script& script, std::size_t messages) {
    script_ = &script;
    messages_ = messages;
    messages_done_ = 0;
    moments_done_ = 0;
    lines_done_ = 0;
    done_.Expect(script.moments.size());
}

/// An append is what it is for the provider: the file is opened, it is one on a disk, the line is written,
/// and the file is closed.
void floor_client::Append(const log_script& script, std::size_t from, std::size_t to) const {
    for (const std::string& line : std::span(script.lines).subspan(from, to - from)) {
        HANDLE const file = calls_->create(
            log_path_.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS,
            FILE_ATTRIBUTE_NORMAL | SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS, nullptr);
        DWORD written = 0;
        if (calls_->type(file) != FILE_TYPE_DISK ||
            !calls_->write(file, line.data(), static_cast<DWORD>(line.size()), &written, nullptr)) {
            throw std::runtime_error("the floor cannot write its log");
        }
        (void)calls_->close(file);
    }
}

void floor_client::Send(const std::string& request) const {
    (void)send(socket_.get(), request.data(), static_cast<int>(request.size()), 0);
}

void floor_client::Run() {
    while (WaitForSingleObject(network_event_.get(), INFINITE) == WAIT_OBJECT_0 && !ending_) {
        WSANETWORKEVENTS events = {};
        if (WSAEnumNetworkEvents(socket_.get(), network_event_.get(), &events) != 0 ||
            ((events.lNetworkEvents & FD_READ) != 0 && !ReadChunk()) ||
            (events.lNetworkEvents & FD_CLOSE) != 0) {
            return;
        }
        reader_mark_.SetBusy(false);
    }
}

bool floor_client::ReadChunk() {
    char chunk[kChunkSize];
    reader_mark_.SetBusy(true);
    const int received = recv(socket_.get(), chunk, kChunkSize, 0);
    if (received <= 0) {
        return received < 0 && WSAGetLastError() == WSAEWOULDBLOCK;
    }
    held_.append(chunk, static_cast<std::size_t>(received));
    DeliverMessages();
    return true;
}

void floor_client::DeliverMessages() {
    std::size_t begin = 0;
    for (std::size_t end = held_.find(kEndTag, end_from_); end != std::string::npos;
         end = held_.find(kEndTag, begin)) {
        end += kEndTag.size();
        OnMessage(std::string_view(held_).substr(begin, end - begin));
        begin = end;
    }
    held_.erase(0, begin);
    end_from_ = held_.size() < kEndTag.size() ? 0 : held_.size() - kEndTag.size() + 1;
}

void floor_client::OnMessage(std::string_view message) {
    tinyxml2::XMLDocument document(true, tinyxml2::PRESERVE_WHITESPACE);
    if (document.Parse(message.data(), message.size()) != tinyxml2::XML_SUCCESS ||
        messages_done_ == messages_) {
        throw std::runtime_error("the floor has received what it was not to receive");
    }
    ++messages_done_;
    const std::size_t share = script_->lines.size() * messages_done_ / messages_;
    while (moments_done_ < script_->moments.size() && script_->moments[moments_done_] <= share) {
        AppendUpTo(script_->moments[moments_done_++]);
        done_.Note();
    }
    AppendUpTo(share);
}

void floor_client::AppendUpTo(std::size_t line) {
    Append(*script_, lines_done_, line);
    lines_done_ = line;
}

}  // namespace brivelnox::benchmark
