// The requests of an application driver that are wrong in themselves: unknown handles, handles of calls that
// are gone, null pointers, structures that are too small, what the provider does not offer.

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "tests/stress/application_driver.h"

namespace brivelnox::stress {

namespace {

// Far from every handle and identifier that the provider or the host gives out.
constexpr std::uintptr_t kWildHandle = 0x70000000;
constexpr DWORD kWildDevice = 0x00700000;
constexpr DWORD kWildRange = 1000;
constexpr DWORD kSmallest = 3 * sizeof(DWORD);

template <class Handle>
Handle Wild(random_source& random) {
    const std::uintptr_t value = kWildHandle + random.Below(kWildRange);
    return reinterpret_cast<Handle>(random.Chance(20) ? std::uintptr_t{0} : value);
}

/// The result of a request without a completion as one that has been answered or refused.
LONG FromUnsigned(unsigned long value) {
    return static_cast<LONG>(value);
}

}  // namespace

void application_driver::WildDevice(random_source& random) {
    const DWORD device = kWildDevice + random.Below(kWildRange);
    if (random.Chance(50)) {
        LONG result = 0;
        (void)host_.OpenLine(device, &result);
        Count(result);
    } else {
        Count(host_.GetDevCaps(device));
        Count(host_.GetAddressCallFeatures(device));
    }
}

void application_driver::WildLine(random_source& random) {
    const auto& provider = host_.Module();
    auto* const line = Wild<HDRVLINE>(random);
    std::array<DWORD, 64> status{};
    status[0] = sizeof status;
    switch (random.Below(4)) {
        case 0:
            Count(provider.TSPI_lineClose(line));
            break;
        case 1:
            Count(provider.TSPI_lineGetLineDevStatus(line, reinterpret_cast<LINEDEVSTATUS*>(status.data())));
            break;
        case 2:
            Count(provider.TSPI_lineGetAddressStatus(line, 0,
                                                     reinterpret_cast<LINEADDRESSSTATUS*>(status.data())));
            break;
        default:
            Count(host_.Request("MakeCall, unknown line", [&](DRV_REQUESTID id) {
                HDRVCALL call = nullptr;
                return provider.TSPI_lineMakeCall(id, line, Wild<HTAPICALL>(random), &call, AnyNumber(random),
                                                  0, nullptr);
            }));
    }
}

void application_driver::WildCall(random_source& random) {
    const auto& provider = host_.Module();
    auto* const call = Wild<HDRVCALL>(random);
    std::array<DWORD, 256> information{};
    information[0] = sizeof information;
    switch (random.Below(4)) {
        case 0:
            Count(provider.TSPI_lineCloseCall(call));
            break;
        case 1:
            Count(provider.TSPI_lineGetCallInfo(call, reinterpret_cast<LINECALLINFO*>(information.data())));
            break;
        case 2:
            Count(
                provider.TSPI_lineGetCallStatus(call, reinterpret_cast<LINECALLSTATUS*>(information.data())));
            break;
        default:
            Count(provider.TSPI_lineGenerateDigits(call, 0, LINEDIGITMODE_DTMF, L"1", 0));
    }
}

host::request_result application_driver::RawRequest(random_source& random, HDRVCALL call) {
    const auto& provider = host_.Module();
    const wchar_t* const number = AnyNumber(random);
    const std::uint32_t which = random.Below(9);
    return host_.Request("with a handle that is no call's", [&](DRV_REQUESTID id) -> LONG {
        HDRVCALL made = nullptr;
        switch (which) {
            case 0:
                return provider.TSPI_lineDial(id, call, number, 0);
            case 1:
                return provider.TSPI_lineAnswer(id, call, nullptr, 0);
            case 2:
                return provider.TSPI_lineHold(id, call);
            case 3:
                return provider.TSPI_lineUnhold(id, call);
            case 4:
                return provider.TSPI_lineSwapHold(id, call, call);
            case 5:
                return provider.TSPI_lineCompleteTransfer(id, call, call, nullptr, &made,
                                                          LINETRANSFERMODE_TRANSFER);
            case 6:
                return provider.TSPI_lineBlindTransfer(id, call, number, 0);
            case 7:
                return provider.TSPI_lineRedirect(id, call, number, 0);
            default:
                return provider.TSPI_lineDrop(id, call, nullptr, 0);
        }
    });
}

void application_driver::WildRequest(random_source& random) {
    auto* const call = Wild<HDRVCALL>(random);
    Count(RawRequest(random, call));
}

void application_driver::StaleRequest(random_source& random) {
    HDRVCALL const call = context_.board.AnyStale(random);
    Count(RawRequest(random, call));
}

void application_driver::NullPointer(random_source& random) {
    const auto& provider = host_.Module();
    HDRVLINE const line = host_.Driver(context_.board.AnyLine(random));
    HDRVCALL const call = host_.Driver(context_.board.AnyCall(random));
    HTAPICALL const unknown = Wild<HTAPICALL>(random);
    const auto request = [this](const std::function<LONG(DRV_REQUESTID)>& invoke) {
        Count(host_.Request("with a null pointer", invoke));
    };
    HDRVCALL made = nullptr;
    switch (random.Below(12)) {
        case 0:
            return request([&](DRV_REQUESTID id) {
                return provider.TSPI_lineMakeCall(id, line, unknown, nullptr, L"1", 0, nullptr);
            });
        case 1:
            return request([&](DRV_REQUESTID id) {
                return provider.TSPI_lineMakeCall(id, line, unknown, &made, nullptr, 0, nullptr);
            });
        case 2:
            return request([&](DRV_REQUESTID id) {
                return provider.TSPI_lineSetupTransfer(id, call, unknown, nullptr, nullptr);
            });
        case 3:
            return request([&](DRV_REQUESTID id) { return provider.TSPI_lineDial(id, call, nullptr, 0); });
        case 4:
            return request(
                [&](DRV_REQUESTID id) { return provider.TSPI_lineBlindTransfer(id, call, nullptr, 0); });
        case 5:
            return request(
                [&](DRV_REQUESTID id) { return provider.TSPI_lineRedirect(id, call, nullptr, 0); });
        case 6:
            return Count(provider.TSPI_lineGenerateDigits(call, 0, LINEDIGITMODE_DTMF, nullptr, 0));
        case 7:
            return Count(provider.TSPI_lineGetCallInfo(call, nullptr));
        case 8:
            return Count(provider.TSPI_lineGetCallStatus(call, nullptr));
        case 9:
            return Count(provider.TSPI_lineGetLineDevStatus(line, nullptr));
        case 10:
            return Count(provider.TSPI_lineOpen(kWildDevice, nullptr, nullptr, host_.Version(), nullptr));
        default:
            return Count(provider.TSPI_lineGetDevCaps(1, host_.Version(), 0, nullptr));
    }
}

void application_driver::SmallStructure(random_source& random) {
    const auto& provider = host_.Module();
    HDRVLINE const line = host_.Driver(context_.board.AnyLine(random));
    HDRVCALL const call = host_.Driver(context_.board.AnyCall(random));
    // Nothing behind the size that is told may be touched. The status of a call is not among them: the
    // provider deliberately takes it for granted that there is room for that.
    std::array<DWORD, 256> bytes;
    bytes.fill(0xCDCDCDCD);
    bytes[0] = kSmallest + random.Below(40) * static_cast<DWORD>(sizeof(DWORD));
    const std::size_t first_foreign = bytes[0] / sizeof(DWORD);
    LONG result = 0;
    switch (random.Below(4)) {
        case 0:
            result = provider.TSPI_lineGetCallInfo(call, reinterpret_cast<LINECALLINFO*>(bytes.data()));
            break;
        case 1:
            result = provider.TSPI_lineGetLineDevStatus(line, reinterpret_cast<LINEDEVSTATUS*>(bytes.data()));
            break;
        case 2:
            result = provider.TSPI_lineGetAddressStatus(line, 0,
                                                        reinterpret_cast<LINEADDRESSSTATUS*>(bytes.data()));
            break;
        default:
            result = provider.TSPI_lineGetDevCaps(1, host_.Version(), 0,
                                                  reinterpret_cast<LINEDEVCAPS*>(bytes.data()));
    }
    for (std::size_t i = first_foreign; i < bytes.size(); ++i) {
        if (bytes[i] != 0xCDCDCDCD) {
            context_.report.Fail("the provider wrote behind the size that it was given, at DWORD " +
                                 std::to_string(i) + " of " + std::to_string(first_foreign));
            break;
        }
    }
    Count(result);
}

void application_driver::Unsupported(random_source& random) {
    const auto& provider = host_.Module();
    const auto forward = provider.Find<LONG(TSPIAPI*)()>("TSPI_lineForward");
    DWORD version = 0;
    switch (random.Below(3)) {
        case 0:
            Count(forward == nullptr ? FromUnsigned(LINEERR_OPERATIONUNAVAIL) : forward());
            break;
        case 1:
            Count(provider.TSPI_lineNegotiateTSPIVersion(random.Below(kWildRange), 0x00030000, 0x00030001,
                                                         &version));
            break;
        default:
            Count(provider.TSPI_providerCreateLineDevice(kWildDevice, kWildDevice + 1));
    }
}

}  // namespace brivelnox::stress
