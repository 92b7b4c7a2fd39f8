// The exports that have no work behind them: what the provider does not offer and what it has nothing to do
// for.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <string>

#include "tests/dll/raw_provider_helper.h"

namespace brivelnox::test {
namespace {

constexpr const char* kNotSupported[] = {
    "TSPI_lineAccept",
    "TSPI_lineAddToConference",
    "TSPI_lineCompleteCall",
    "TSPI_lineConditionalMediaDetection",
    "TSPI_lineDevSpecific",
    "TSPI_lineDevSpecificFeature",
    "TSPI_lineForward",
    "TSPI_lineGatherDigits",
    "TSPI_lineGenerateTone",
    "TSPI_lineGetAddressID",
    "TSPI_lineMonitorDigits",
    "TSPI_lineMonitorMedia",
    "TSPI_lineMonitorTones",
    "TSPI_linePark",
    "TSPI_linePickup",
    "TSPI_linePrepareAddToConference",
    "TSPI_lineReleaseUserUserInfo",
    "TSPI_lineRemoveFromConference",
    "TSPI_lineSecureCall",
    "TSPI_lineSelectExtVersion",
    "TSPI_lineSendUserUserInfo",
    "TSPI_lineSetAppSpecific",
    "TSPI_lineSetCallData",
    "TSPI_lineSetCallParams",
    "TSPI_lineSetCallQualityOfService",
    "TSPI_lineSetCallTreatment",
    "TSPI_lineSetLineDevStatus",
    "TSPI_lineSetMediaControl",
    "TSPI_lineSetMediaMode",
    "TSPI_lineSetTerminal",
    "TSPI_lineSetupConference",
    "TSPI_lineUncompleteCall",
    "TSPI_lineUnpark",
    "TSPI_providerCreatePhoneDevice",
    "TSPI_phoneClose",
    "TSPI_phoneDevSpecific",
    "TSPI_phoneGetButtonInfo",
    "TSPI_phoneGetData",
    "TSPI_phoneGetDevCaps",
    "TSPI_phoneGetDisplay",
    "TSPI_phoneGetExtensionID",
    "TSPI_phoneGetGain",
    "TSPI_phoneGetHookSwitch",
    "TSPI_phoneGetID",
    "TSPI_phoneGetIcon",
    "TSPI_phoneGetLamp",
    "TSPI_phoneGetRing",
    "TSPI_phoneGetStatus",
    "TSPI_phoneGetVolume",
    "TSPI_phoneNegotiateExtVersion",
    "TSPI_phoneOpen",
    "TSPI_phoneSelectExtVersion",
    "TSPI_phoneSetButtonInfo",
    "TSPI_phoneSetData",
    "TSPI_phoneSetDisplay",
    "TSPI_phoneSetGain",
    "TSPI_phoneSetHookSwitch",
    "TSPI_phoneSetLamp",
    "TSPI_phoneSetRing",
    "TSPI_phoneSetStatusMessages",
    "TSPI_phoneSetVolume",
};

constexpr const char* kNoOperation[] = {
    "TSPI_lineGetDevConfig",
    "TSPI_lineGetIcon",
    "TSPI_lineSetDevConfig",
    "TSPI_lineSetStatusMessages",
    "TSPI_providerFreeDialogInstance",
    "TSPI_providerGenericDialogData",
    "TSPI_providerInstall",
    "TSPI_providerRemove",
    "TUISPI_providerGenericDialog",
    "TUISPI_providerGenericDialogData",
    "TUISPI_providerInstall",
    "TUISPI_providerRemove",
};

// More arguments than any entry point has. On x64 the caller provides for them, so too many do no harm.
using any_entry_point = LONG(WINAPI*)(void*, void*, void*, void*, void*, void*, void*, void*, void*, void*);

class export_table : public raw_provider {
  protected:
    /// Calls the export with addresses of memory in which it could write, and checks that it did not.
    LONG Call(const char* name) {
        const auto entry_point = module_.Find<any_entry_point>(name);
        if (entry_point == nullptr) {
            ADD_FAILURE() << name << " is missing";
            return -1;
        }
        std::array<std::byte, 512> memory;
        memory.fill(std::byte{0xA5});
        const std::array<std::byte, 512> before = memory;
        void* const at = memory.data();
        const LONG result = entry_point(at, at, at, at, at, at, at, at, at, at);
        EXPECT_EQ(std::memcmp(memory.data(), before.data(), memory.size()), 0) << name << " has written";
        return result;
    }

    void ExpectFixedResults() {
        log_.Skip();
        for (const char* const name : kNotSupported) {
            EXPECT_EQ(Call(name), kOperationUnavailable) << name;
        }
        for (const char* const name : kNoOperation) {
            EXPECT_EQ(Call(name), 0) << name;
        }
        EXPECT_THAT(log_.Lines(), testing::IsEmpty());
    }
};

TEST_F(export_table, unsupported_entry_points_and_no_operations_answer_silently_before_initialisation) {
    ExpectFixedResults();
    EXPECT_FALSE(IsInitialised());
}

TEST_F(export_table, unsupported_entry_points_and_no_operations_answer_the_same_while_running) {
    ASSERT_EQ(Enumerate(), 0);
    ASSERT_EQ(Init(5), 0);
    ExpectFixedResults();
    EXPECT_THAT(tapi_.Events(), testing::IsEmpty());
    EXPECT_THAT(completions_.Completions(), testing::IsEmpty());
}

TEST_F(export_table, unsupported_entry_points_and_no_operations_bear_null_arguments) {
    for (const char* const name : kNotSupported) {
        const auto entry_point = module_.Find<any_entry_point>(name);
        ASSERT_NE(entry_point, nullptr) << name;
        EXPECT_EQ(entry_point(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                              nullptr),
                  kOperationUnavailable)
            << name;
    }
    for (const char* const name : kNoOperation) {
        const auto entry_point = module_.Find<any_entry_point>(name);
        ASSERT_NE(entry_point, nullptr) << name;
        EXPECT_EQ(entry_point(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                              nullptr),
                  0)
            << name;
    }
}

TEST_F(export_table, forward_pickup_and_phones_return_the_line_error_code) {
    EXPECT_EQ(Call("TSPI_lineForward"), kOperationUnavailable);
    EXPECT_EQ(Call("TSPI_linePickup"), kOperationUnavailable);
    EXPECT_EQ(Call("TSPI_phoneOpen"), kOperationUnavailable);
    EXPECT_EQ(kOperationUnavailable, static_cast<LONG>(LINEERR_OPERATIONUNAVAIL));
}

TEST_F(export_table, every_entry_point_of_the_telephony_service_is_there) {
    EXPECT_EQ(module_.Missing(), "");
    EXPECT_EQ(std::size(kNotSupported) + std::size(kNoOperation), 73u);
}

}  // namespace
}  // namespace brivelnox::test
