#include "tests/dll/provider_fixture_helper.h"

#include <chrono>
#include <cstdarg>
#include <cstdio>

#include "tests/dll/pe_image_helper.h"

namespace brivelnox::test {

namespace {

constexpr std::size_t kTextSize = 2048;
constexpr char kClosingNumber[] = "999000999";

}  // namespace

std::string Text(const char* format, ...) {
    char text[kTextSize] = {};
    va_list arguments;
    va_start(arguments, format);
    (void)std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

std::string PlaceCallRequest(std::int32_t line, const std::string& number, const std::string& id) {
    return Text(
        "<msg><request><placeCall permanentLineId='%d' phoneNumber='%s' "
        "requestedClientCallId='%s'/></request></msg>",
        static_cast<int>(line), number.c_str(), id.c_str());
}

loaded_provider::loaded_provider() : module_(BuiltProviderPath().wstring()) {}

loaded_provider::~loaded_provider() {
    (void)module_.TSPI_providerShutdown(kVersion, 0);
}

bool loaded_provider::HasHandled(simulator::service_simulator& service, std::int32_t permanent_line_id) {
    // Events are handled in their order, and this one does nothing but leave a line in the log.
    const std::string marker = "marker-" + std::to_string(++markers_);
    simulator::call_state_event event;
    event.permanent_line_id = permanent_line_id;
    event.client_call_id = marker;
    event.call_state = "None";
    service.Send(simulator::CallStateEvent(event));
    const auto deadline = std::chrono::steady_clock::now() + kSoon;
    const std::string ending = "client_call_id: " + marker + ", client call state: None";
    while (std::chrono::steady_clock::now() < deadline) {
        for (const std::string& text : log_.Texts("Line")) {
            if (text.ends_with(ending)) {
                return true;
            }
        }
        Sleep(2);
    }
    return false;
}

void hosted_provider::TearDown() {
    if (host_.Running()) {
        EXPECT_EQ(host_.Shutdown(), 0);
    }
    EXPECT_THAT(host_.Checker().Breaches(), testing::IsEmpty());
    EXPECT_EQ(host::telephony_host::StrayCallbacks(), 0u);
}

std::shared_ptr<simulator::softphone> hosted_provider::AddPhone(std::int32_t permanent_line_id,
                                                                const std::string& name,
                                                                simulator::announcement how) {
    simulator::registration subject;
    subject.permanent_line_id = permanent_line_id;
    subject.tapi_line_name = name;
    auto phone = service_.AddSoftphone(subject, how);
    phone->SetAutomatic(false);
    return phone;
}

void hosted_provider::StartService() {
    service_.Start();
    service_.Publish();
}

void hosted_provider::StartAll() {
    StartService();
    ASSERT_EQ(host_.Start(), 0);
}

void open_line::SetUp() {
    phone_ = AddPhone(kPhone, "Desk 1001");
    StartAll();
    ASSERT_EQ(host_.Devices().size(), 1u);
    device_ = host_.Devices().front().device_id;
    line_ = host_.OpenLine(device_);
    ASSERT_NE(line_, nullptr);
}

std::vector<std::string> open_line::RequestsSince(std::size_t since) {
    const host::request_result closing = host_.MakeCall(line_, L"999000999");
    const auto is_closing = [](const simulator::received_message& message) {
        return message.parsed.phone_number == kClosingNumber;
    };
    const auto last = service_.WaitForMessage(is_closing, kSoon, since);
    std::vector<std::string> texts;
    for (const simulator::received_message& message : service_.Received(since)) {
        if (!last || message.index < last->index) {
            texts.push_back(message.text);
        }
    }
    (void)host_.Drop(closing.call);
    (void)host_.CloseCall(closing.call);
    if (last) {
        // What the closing call sends must not be taken for the test's own next request.
        const auto is_its_end = [&](const simulator::received_message& message) {
            return message.parsed.kind == simulator::request_kind::kHangupCall &&
                   message.parsed.client_call_id == last->parsed.client_call_id;
        };
        (void)service_.WaitForMessage(is_its_end, kSoon, since);
    }
    return texts;
}

void open_line::Play(const std::string& id, const std::string& state, bool is_caller, std::int32_t reason) {
    simulator::call_state_event event;
    event.permanent_line_id = kPhone;
    event.client_call_id = id;
    event.call_state = state;
    event.is_caller = is_caller;
    event.call_reason = reason;
    event.self = self_;
    event.peer = peer_;
    service_.Send(simulator::CallStateEvent(event));
}

HTAPICALL open_line::AcceptedCall(const std::string& id) {
    const std::uint64_t mark = host_.Mark();
    Play(id, "Ringing");
    HTAPICALL const call = host_.WaitForNewCall(line_, kSoon, mark);
    EXPECT_TRUE(Becomes(call, LINECALLSTATE_ACCEPTED));
    EXPECT_TRUE(Settled(kPhone));
    return call;
}

HTAPICALL open_line::ConnectedCall(const std::string& id) {
    HTAPICALL const call = AcceptedCall(id);
    Play(id, "Connected");
    EXPECT_TRUE(Becomes(call, LINECALLSTATE_CONNECTED));
    EXPECT_TRUE(Settled(kPhone));
    return call;
}

HTAPICALL open_line::HeldCall(const std::string& id) {
    HTAPICALL const call = ConnectedCall(id);
    Play(id, "Parked");
    EXPECT_TRUE(Becomes(call, LINECALLSTATE_ONHOLD));
    EXPECT_TRUE(Settled(kPhone));
    return call;
}

}  // namespace brivelnox::test
