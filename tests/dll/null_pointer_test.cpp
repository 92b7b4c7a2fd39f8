// TAPI hands over null where it should not: nothing crashes, and each entry point has its answer.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "tests/dll/raw_provider_helper.h"
#include "tests/support/as_handle.h"
#include "tests/support/looked_up.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr LONG kRequest = 77;

struct null_case {
    const char* name;
    std::function<LONG(const host::provider_module&)> call;
    LONG result;
    /// The last line of the provider interface's log; null: none.
    const char* logged;
};

const HDRVLINE kLine = AsHandle<HDRVLINE>(1);
const HDRVCALL kCall = AsHandle<HDRVCALL>(1);

class null_pointer : public raw_provider {
  protected:
    void SetUp() override {
        raw_provider::SetUp();
        ASSERT_EQ(Enumerate(), 0);
        ASSERT_EQ(Init(5), 0);
        // Call 1 proceeds, call 2 has dial tone.
        HDRVCALL call = nullptr;
        ASSERT_EQ(module_.TSPI_lineMakeCall(1, kLine, nullptr, &call, L"4711", 0, nullptr), 1);
        ASSERT_EQ(module_.TSPI_lineSetupTransfer(2, call, nullptr, &call, nullptr), 2);
    }

    void Expect(const std::vector<null_case>& cases) {
        for (const null_case& each : cases) {
            SCOPED_TRACE(each.name);
            log_.Skip();
            const std::size_t completed = completions_.Completions().size();
            EXPECT_EQ(each.call(module_), each.result);
            const std::vector<std::string> texts = ManagerLog();
            if (each.logged == nullptr) {
                EXPECT_THAT(texts, IsEmpty());
            } else if (texts.empty()) {
                ADD_FAILURE() << "nothing logged";
            } else {
                EXPECT_EQ(texts.back(), each.logged);
            }
            EXPECT_EQ(completions_.Completions().size(), completed + (each.result == kRequest ? 1 : 0));
        }
    }
};

TEST_F(null_pointer, for_what_a_request_writes_or_reads_makes_it_fail) {
    using m = const host::provider_module&;
    Expect({
        {"MakeCall without a place for the handle",
         [](m p) { return p.TSPI_lineMakeCall(kRequest, kLine, nullptr, nullptr, L"4711", 0, nullptr); },
         kOperationFailed, "LineMakeCallAsync: Caught Exception!"},
        {"MakeCall without a destination",
         [](m p) { return p.TSPI_lineMakeCall(kRequest, kLine, nullptr, nullptr, nullptr, 0, nullptr); },
         kInvalidAddress, "LineMakeCallAsync: Invalid destination address was given."},
        {"Dial without a destination",
         [](m p) { return p.TSPI_lineDial(kRequest, AsHandle<HDRVCALL>(2), nullptr, 0); }, kInvalidAddress,
         "LineMakeCallAsync: Invalid destination address was given."},
        {"BlindTransfer without a destination",
         [](m p) { return p.TSPI_lineBlindTransfer(kRequest, kCall, nullptr, 0); }, kOperationFailed,
         "LineBlindTransfer: Caught Exception!"},
        {"Redirect without a destination",
         [](m p) { return p.TSPI_lineRedirect(kRequest, kCall, nullptr, 0); }, kOperationFailed,
         "LineRedirect: Caught Exception!"},
        {"SetupTransfer without a place for the handle",
         [](m p) { return p.TSPI_lineSetupTransfer(kRequest, kCall, nullptr, nullptr, nullptr); },
         kOperationFailed, "LineSetupTransfer: Caught Exception!"},
        {"GenerateDigits without digits",
         [](m p) { return p.TSPI_lineGenerateDigits(kCall, 0, LINEDIGITMODE_DTMF, nullptr, 0); },
         kOperationFailed, "LineGenerateDigits: Caught Exception!"},
        {"lineOpen without a place for the handle",
         [](m p) { return p.TSPI_lineOpen(5, nullptr, nullptr, kVersion, nullptr); }, kInvalidPointer,
         "TSPI_lineOpen called with invalid lphdLine: 0x00000000. "},
    });
}

TEST_F(null_pointer, for_what_a_request_does_not_look_at_is_no_matter) {
    using m = const host::provider_module&;
    constexpr char kCompleted[] = "AsyncCompletionProc: (dwRequestID: 0x0000004D, lResult: 0x00000000)";
    Expect({
        {"Answer", [](m p) { return p.TSPI_lineAnswer(kRequest, nullptr, nullptr, 100); }, kRequest,
         kCompleted},
        {"Hold", [](m p) { return p.TSPI_lineHold(kRequest, nullptr); }, kRequest, kCompleted},
        {"Unhold", [](m p) { return p.TSPI_lineUnhold(kRequest, nullptr); }, kRequest, kCompleted},
        {"SwapHold", [](m p) { return p.TSPI_lineSwapHold(kRequest, nullptr, nullptr); }, kRequest,
         kCompleted},
        {"CompleteTransfer",
         [](m p) {
             return p.TSPI_lineCompleteTransfer(kRequest, nullptr, nullptr, nullptr, nullptr,
                                                LINETRANSFERMODE_TRANSFER);
         },
         kRequest, kCompleted},
        {"Drop", [](m p) { return p.TSPI_lineDrop(kRequest, nullptr, nullptr, 100); }, kRequest, kCompleted},
        {"CloseCall", [](m p) { return p.TSPI_lineCloseCall(nullptr); }, 0, nullptr},
        {"lineClose", [](m p) { return p.TSPI_lineClose(nullptr); }, 0,
         "TSPI_lineClose driverLineHandle: 0x00000000"},
        {"lineSetDefaultMediaDetection", [](m p) { return p.TSPI_lineSetDefaultMediaDetection(nullptr, 0); },
         0, nullptr},
        {"lineNegotiateExtVersion", [](m p) { return p.TSPI_lineNegotiateExtVersion(0, 0, 0, 0, nullptr); },
         0, "TSPI_lineNegotiateExtVersion"},
    });
}

TEST_F(null_pointer, for_a_structure_makes_the_question_fail) {
    using m = const host::provider_module&;
    static VARSTRING room = {};
    room.dwTotalSize = sizeof room;
    Expect({
        {"GetDevCaps", [](m p) { return p.TSPI_lineGetDevCaps(5, kVersion, 0, nullptr); }, kOperationFailed,
         "LineGetDevCaps: Caught Exception!"},
        {"GetAddressCaps", [](m p) { return p.TSPI_lineGetAddressCaps(5, 0, kVersion, 0, nullptr); },
         kOperationFailed, nullptr},
        {"GetLineDevStatus", [](m p) { return p.TSPI_lineGetLineDevStatus(kLine, nullptr); },
         kOperationFailed, "LineGetLineDevStatus: Caught Exception!"},
        {"GetAddressStatus", [](m p) { return p.TSPI_lineGetAddressStatus(kLine, 0, nullptr); },
         kOperationFailed, "LineGetAddressStatus: Caught Exception!"},
        {"GetID without a class",
         [](m p) { return p.TSPI_lineGetID(kLine, 0, nullptr, 1, &room, nullptr, nullptr); },
         kOperationFailed, "LineGetID: Caught Exception!"},
        {"GetID without a structure",
         [](m p) { return p.TSPI_lineGetID(kLine, 0, nullptr, 1, nullptr, L"tapi/line", nullptr); },
         kOperationFailed, "LineGetID: Caught Exception!"},
        {"GetNumAddressIDs", [](m p) { return p.TSPI_lineGetNumAddressIDs(kLine, nullptr); },
         kOperationFailed, nullptr},
        {"GetExtensionID", [](m p) { return p.TSPI_lineGetExtensionID(5, kVersion, nullptr); }, kNoMemory,
         nullptr},
        {"GetCallInfo", [](m p) { return p.TSPI_lineGetCallInfo(kCall, nullptr); }, kOperationFailed,
         "LineGetCallInfo: Caught Exception!"},
        {"GetCallStatus", [](m p) { return p.TSPI_lineGetCallStatus(kCall, nullptr); }, 0,
         "LineGetCallStatus: Caught Exception!"},
        {"GetCallStatus of an unknown call", [](m p) { return p.TSPI_lineGetCallStatus(nullptr, nullptr); },
         0, "LineGetCallStatus: Caught Exception!"},
        {"UIIdentify", [](m p) { return p.TSPI_providerUIIdentify(nullptr); }, kOperationFailed, nullptr},
    });
}

TEST_F(null_pointer, for_the_version_makes_a_negotiation_fail) {
    using m = const host::provider_module&;
    Expect({
        {"lines", [](m p) { return p.TSPI_lineNegotiateTSPIVersion(0, 0x00010003, 0x00030000, nullptr); },
         kOperationFailed, "TSPI_lineNegotiateTSPIVersion"},
        {"phones", [](m p) { return p.TSPI_phoneNegotiateTSPIVersion(0, 0x00010003, 0x00030000, nullptr); },
         kOperationFailed, "TSPI_phoneNegotiateTSPIVersion"},
        {"a refused version",
         [](m p) { return p.TSPI_lineNegotiateTSPIVersion(0, 0x00030000, 0x00030000, nullptr); },
         kIncompatibleVersion, "Incompatible TAPI version"},
    });
}

TEST_F(null_pointer, for_a_number_of_devices_ends_the_initialisation) {
    DWORD number = 0;
    EXPECT_EQ(module_.TSPI_providerEnumDevices(7, &number, nullptr, nullptr, tapi_.Procedure(), nullptr),
              kOperationFailed);
    EXPECT_EQ(Last(ManagerLog()), "Exception in TSPI_providerEnumDevices");
    EXPECT_FALSE(IsInitialised());
    // And it can be started again.
    ASSERT_EQ(Enumerate(), 0);
    EXPECT_EQ(lines_, 3u);
}

TEST_F(null_pointer, for_the_options_and_the_completion_procedure_is_no_matter) {
    EXPECT_EQ(module_.TSPI_providerInit(kVersion, 7, 5, 0, 0, 0, nullptr, nullptr), 0);
    EXPECT_TRUE(IsInitialised());
}

TEST_F(null_pointer, leaves_the_provider_as_usable_as_before) {
    HDRVCALL call = nullptr;
    EXPECT_EQ(module_.TSPI_lineMakeCall(kRequest, kLine, nullptr, &call, L"4711", 0, nullptr), kRequest);
    EXPECT_EQ(call, AsHandle<HDRVCALL>(3));
}

}  // namespace
}  // namespace brivelnox::test
