// Addresses that TAPI hands over and that the provider has no use for: they may point anywhere.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstdint>

#include "tests/dll/raw_provider_helper.h"
#include "tests/support/as_handle.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;

// Nobody may read or write here.
constexpr std::uintptr_t kNowhere = 0x10;

class unread_arguments : public raw_provider {
  protected:
    void SetUp() override {
        raw_provider::SetUp();
        ASSERT_EQ(Enumerate(), 0);
        ASSERT_EQ(Init(5), 0);
        ASSERT_EQ(MakeCall(1, &call_), 1);
    }

    /// A call on the first line, which needs no open line, with call parameters at that place.
    LONG MakeCall(DRV_REQUESTID id, HDRVCALL* call) {
        return module_.TSPI_lineMakeCall(id, AsHandle<HDRVLINE>(1), nullptr, call, L"4711", 0,
                                         AsHandle<LPLINECALLPARAMS>(kNowhere));
    }

    HDRVCALL call_ = nullptr;
};

TEST_F(unread_arguments, are_the_call_parameters_of_a_call) {
    EXPECT_EQ(call_, AsHandle<HDRVCALL>(1));
    EXPECT_THAT(completions_.Completions(), ElementsAre(completion{1, 0}));
}

TEST_F(unread_arguments, are_the_call_parameters_of_a_consultation_call) {
    HDRVCALL consultation = nullptr;
    EXPECT_EQ(module_.TSPI_lineSetupTransfer(2, call_, nullptr, &consultation,
                                             AsHandle<LPLINECALLPARAMS>(kNowhere)),
              2);
    EXPECT_EQ(consultation, AsHandle<HDRVCALL>(2));
    EXPECT_THAT(completions_.Completions(), ElementsAre(completion{1, 0}, completion{2, 0}));
}

TEST_F(unread_arguments, are_the_user_user_information_of_answering_and_dropping) {
    const auto* const information = AsHandle<LPCSTR>(kNowhere);
    EXPECT_EQ(module_.TSPI_lineAnswer(2, call_, information, 0xFFFFFFFF), 2);
    EXPECT_EQ(module_.TSPI_lineDrop(3, call_, information, 0xFFFFFFFF), 3);
    EXPECT_THAT(completions_.Completions(),
                ElementsAre(completion{1, 0}, completion{2, 0}, completion{3, 0}));
}

TEST_F(unread_arguments, is_the_place_for_the_handle_of_a_conference) {
    auto* const place = AsHandle<LPHDRVCALL>(kNowhere);
    for (const DWORD mode : {DWORD{LINETRANSFERMODE_TRANSFER}, DWORD{0}, DWORD{0xFFFFFFFF}}) {
        EXPECT_EQ(module_.TSPI_lineCompleteTransfer(2, call_, call_, nullptr, place, mode), 2)
            << "no other mode than that of a conference is refused: " << std::hex << mode;
    }
    EXPECT_EQ(module_.TSPI_lineCompleteTransfer(2, call_, call_, nullptr, place, LINETRANSFERMODE_CONFERENCE),
              kOperationUnavailable);
}

TEST_F(unread_arguments, are_the_extension_version_and_the_options_of_the_initialisation) {
    EXPECT_EQ(module_.TSPI_lineNegotiateExtVersion(1, kVersion, 0, 0, AsHandle<LPDWORD>(kNowhere)), 0);
    EXPECT_EQ(module_.TSPI_providerInit(kVersion, 7, 5, 20, 3, 0, completions_.Procedure(),
                                        AsHandle<LPDWORD>(kNowhere)),
              0);
}

}  // namespace
}  // namespace brivelnox::test
