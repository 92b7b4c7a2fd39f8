// What becomes of a provider's messages where the built one leaves nothing to see: completions that come late
// or with an error, and a provider that does not keep its contract.

#include "tests/tapi32/played_provider/played_provider.h"

#include "platform/unique_handle.h"
#include "tests/tapi32/tapi_application_helper.h"

namespace brivelnox::test {
namespace {

class other_provider : public provider_list {
  protected:
    void SetUp() override {
        (void)Add(PlayedProviderFile());
        DWORD devices = 0;
        ASSERT_EQ(InitializeByEvent(app_, devices), 0);
        ASSERT_EQ(devices, 1U);
        module_.reset(LoadLibraryW(PlayedProviderFile().c_str()));
        provider_ = &reinterpret_cast<get_played_provider>(
            reinterpret_cast<void*>(GetProcAddress(module_.get(), "PlayedProvider")))();
        ASSERT_EQ(lineOpenW(app_, 0, &line_, kVersion, 0, 0, LINECALLPRIVILEGE_NONE, 0, nullptr), 0);
    }

    void TellState(HTAPICALL call, DWORD state) {
        provider_->tell(provider_->line, call, static_cast<DWORD>(LINE_CALLSTATE), state, 0, kVoice);
    }

    LINEMESSAGE Next() {
        LINEMESSAGE message{};
        EXPECT_EQ(lineGetMessage(app_, &message, 0), 0);
        return message;
    }

    bool NothingWaits() {
        LINEMESSAGE message{};
        return lineGetMessage(app_, &message, 0) == kFailed;
    }

    unique_module module_;
    played_provider* provider_ = nullptr;
    HLINEAPP app_ = 0;
    HLINE line_ = 0;
};

TEST_F(other_provider, what_is_said_of_a_call_before_its_reply_waits_for_it) {
    HCALL call = 0;
    const LONG request = lineMakeCallW(line_, &call, L"1", 0, nullptr);
    ASSERT_GT(request, 0);
    TellState(provider_->call, LINECALLSTATE_RINGBACK);
    EXPECT_TRUE(NothingWaits());
    provider_->complete(provider_->request_id, 0);
    EXPECT_EQ(Next().dwMessageID, kReply);
    EXPECT_NE(call, 0U);
    EXPECT_EQ(Next().dwParam1, DWORD{LINECALLSTATE_PROCEEDING});
    EXPECT_EQ(Next().dwParam1, DWORD{LINECALLSTATE_RINGBACK});
    TellState(provider_->call, LINECALLSTATE_IDLE);
    EXPECT_EQ(Next().dwParam1, DWORD{LINECALLSTATE_IDLE});
    EXPECT_EQ(lineDeallocateCall(call), 0);
    EXPECT_EQ(lineShutdown(app_), 0);
}

TEST_F(other_provider, a_request_that_fails_brings_the_error_and_no_call) {
    HCALL call = 0;
    const LONG request = lineMakeCallW(line_, &call, L"1", 0, nullptr);
    ASSERT_GT(request, 0);
    provider_->complete(provider_->request_id, static_cast<LONG>(LINEERR_CALLUNAVAIL));
    const LINEMESSAGE reply = Next();
    EXPECT_EQ(reply.dwParam1, static_cast<DWORD_PTR>(request));
    EXPECT_EQ(static_cast<LONG>(reply.dwParam2), static_cast<LONG>(LINEERR_CALLUNAVAIL));
    EXPECT_EQ(call, 0U);
    EXPECT_TRUE(NothingWaits());
    // It had said PROCEEDING of a call that it has never ended.
    EXPECT_EQ(lineShutdown(app_), kFailed);
}

TEST_F(other_provider, the_dialog_of_a_line_is_its_own) {
    auto* const owner = reinterpret_cast<HWND>(0x4711);
    provider_->id = 99;
    provider_->config_result = kNotOwner;
    EXPECT_EQ(lineConfigDialogW(0, owner, L"tapi/line"), kNotOwner) << "whatever the dialog says";
    EXPECT_EQ(provider_->owner, owner);
    EXPECT_EQ(provider_->id, 0U) << "the line's identifier";
    EXPECT_EQ(lineShutdown(app_), 0);
}

TEST_F(other_provider, one_that_breaks_its_contract_is_reported_when_it_is_stopped) {
    TellState(reinterpret_cast<HTAPICALL>(0x4711), LINECALLSTATE_IDLE);
    EXPECT_TRUE(NothingWaits());
    testing::internal::CaptureStderr();
    EXPECT_EQ(lineShutdown(app_), kFailed);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::HasSubstr("tapi32: breach: for a call that was never announced"));
}

}  // namespace
}  // namespace brivelnox::test
