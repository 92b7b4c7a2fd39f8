#include "tests/tapi32/tapi_application_helper.h"

#include <cstddef>
#include <cstring>

#include "tools/console/own_program.h"

namespace brivelnox::test {

namespace {

void RemoveAll() {
    for (const DWORD each : ListedIds()) {
        EXPECT_EQ(lineRemoveProvider(each, nullptr), 0);
    }
}

}  // namespace

std::wstring BuiltProvider() {
    return (console::OwnFolder().parent_path() / L"Brivelnox.tsp").wstring();
}

std::wstring PlayedProviderFile() {
    return (console::OwnFolder() / L"played_provider.tsp").wstring();
}

std::vector<DWORD> ListedIds() {
    std::vector<std::byte> bytes(65536);
    auto* const list = reinterpret_cast<LINEPROVIDERLIST*>(bytes.data());
    list->dwTotalSize = static_cast<DWORD>(bytes.size());
    EXPECT_EQ(lineGetProviderListW(kVersion, list), 0);
    std::vector<DWORD> ids;
    for (DWORD i = 0; i < list->dwNumProviders; ++i) {
        LINEPROVIDERENTRY entry;
        std::memcpy(&entry, bytes.data() + list->dwProviderListOffset + i * sizeof entry, sizeof entry);
        ids.push_back(entry.dwPermanentProviderID);
    }
    return ids;
}

provider_list::provider_list() {
    RemoveAll();
}

provider_list::~provider_list() {
    RemoveAll();
}

DWORD provider_list::Add(const std::wstring& file) {
    DWORD id = 0;
    EXPECT_EQ(lineAddProviderW(file.c_str(), nullptr, &id), 0);
    return id;
}

LONG InitializeByEvent(HLINEAPP& app, DWORD& devices) {
    LINEINITIALIZEEXPARAMS parameters{};
    parameters.dwTotalSize = sizeof parameters;
    parameters.dwOptions = LINEINITIALIZEEXOPTION_USEEVENT;
    DWORD version = kVersion;
    return lineInitializeExW(&app, nullptr, nullptr, nullptr, &devices, &version, &parameters);
}

void tapi_application::SetUp() {
    simulator::registration subject;
    subject.permanent_line_id = 1001;
    subject.tapi_line_name = "Desk 1001";
    phone_ = service_.AddSoftphone(subject);
    service_.Start();
    service_.Publish();
    (void)Add(BuiltProvider());
    ASSERT_EQ(InitializeByEvent(app_, devices_), 0);
    ASSERT_EQ(devices_, 1U);
}

void tapi_application::TearDown() {
    EXPECT_EQ(lineShutdown(app_), 0);
}

HLINE tapi_application::Open(DWORD privileges, DWORD_PTR instance, DWORD device) {
    HLINE line = 0;
    EXPECT_EQ(lineOpenW(app_, device, &line, kVersion, 0, instance, privileges, kVoice, nullptr), 0);
    return line;
}

LINEMESSAGE tapi_application::Next() {
    LINEMESSAGE message{};
    if (!passed_over_.empty()) {
        message = passed_over_.front();
        passed_over_.pop_front();
    } else {
        EXPECT_EQ(lineGetMessage(app_, &message, static_cast<DWORD>(kSoon.count())), 0);
    }
    return message;
}

LINEMESSAGE tapi_application::NextState() {
    LINEMESSAGE message = Next();
    while (message.dwMessageID != kCallState && !HasFailure()) {
        message = Next();
    }
    return message;
}

bool tapi_application::NothingWaits() {
    LINEMESSAGE message{};
    return passed_over_.empty() && lineGetMessage(app_, &message, 0) == kFailed;
}

HCALL tapi_application::IncomingCall() {
    (void)phone_->Ring({"4711", "Anna"});
    const LINEMESSAGE announced = Next();
    EXPECT_EQ(announced.dwMessageID, kNewCall);
    while (NextState().dwParam1 != LINECALLSTATE_ACCEPTED && !HasFailure()) {
    }
    return static_cast<HCALL>(announced.dwParam2);
}

HCALL tapi_application::ConnectedCall() {
    const HCALL call = IncomingCall();
    ExpectReply(lineAnswer(call, nullptr, 0));
    while (NextState().dwParam1 != LINECALLSTATE_CONNECTED && !HasFailure()) {
    }
    return call;
}

void tapi_application::ExpectReply(LONG request) {
    ASSERT_GT(request, 0);
    std::deque<LINEMESSAGE> others;
    LINEMESSAGE message = Next();
    while (message.dwMessageID != kReply && !HasFailure()) {
        others.push_back(message);
        message = Next();
    }
    EXPECT_EQ(message.dwParam1, static_cast<DWORD_PTR>(request));
    EXPECT_EQ(message.dwParam2, 0U);
    passed_over_.insert(passed_over_.begin(), others.begin(), others.end());
}

}  // namespace brivelnox::test
