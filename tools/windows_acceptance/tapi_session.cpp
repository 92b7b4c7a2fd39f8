#include "tools/windows_acceptance/tapi_session.h"

#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/unique_handle.h"
#include "tools/setup/provider_list.h"
#include "tools/setup/tapi_library.h"
#include "tools/windows_acceptance/step.h"

namespace brivelnox::acceptance {

namespace {

constexpr DWORD kTapiVersion = 0x00020002;
constexpr char kCaption[] = "Brivelnox TAPI Service Provider";
constexpr std::chrono::seconds kBoxPatience{30};
constexpr DWORD kLookAgain = 20;  // milliseconds

/// A desktop that nobody looks at, so that the box can be shown without a screen, and disturbs nobody.
class own_desktop {
  public:
    own_desktop() : desktop_(CreateDesktopW(kName, nullptr, nullptr, 0, GENERIC_ALL, nullptr)) {}

    /// The calling thread's windows are made and found there from now on. Returns whether they can be.
    [[nodiscard]] static bool Use() {
        // A handle of its own, given to the thread: Wine closes it when the thread ends.
        return SetThreadDesktop(OpenDesktopW(kName, 0, FALSE, GENERIC_ALL)) != FALSE;
    }

  private:
    static constexpr wchar_t kName[] = L"brivelnox_acceptance";
    unique_handle<handle_traits<HDESK, &CloseDesktop>> desktop_;
};

HWND MakeOwner() {
    return CreateWindowExW(0, L"STATIC", L"", WS_OVERLAPPED, 0, 0, 10, 10, nullptr, nullptr, nullptr,
                           nullptr);
}

/// Closes the box of this process with the provider's caption. Returns whether there was one in time.
bool CloseBox(const std::atomic<bool>& is_configured) {
    const auto begun = std::chrono::steady_clock::now();
    bool was_there = false;
    // It may be found before it takes messages, so it is told until it has gone.
    while (!is_configured && std::chrono::steady_clock::now() - begun < kBoxPatience) {
        const HWND box = FindWindowA(nullptr, kCaption);
        if (box != nullptr) {
            was_there = true;
            // The only button of a box has the number of Cancel in Windows, and its own in Wine.
            const int button = GetDlgItem(box, IDOK) != nullptr ? IDOK : IDCANCEL;
            (void)PostMessageA(box, WM_COMMAND, static_cast<WPARAM>(button), 0);
        }
        Sleep(kLookAgain);
    }
    return was_there;
}

}  // namespace

tapi_session::tapi_session()
    : tapi_(setup::LoadTapi()), shut_down_(setup::FindInTapi<decltype(lineShutdown)>(tapi_, "lineShutdown")) {
    LINEINITIALIZEEXPARAMS parameters = {};
    parameters.dwTotalSize = sizeof parameters;
    parameters.dwOptions = LINEINITIALIZEEXOPTION_USEEVENT;
    DWORD devices = 0;
    DWORD version = kTapiVersion;
    const LONG result = setup::FindInTapi<decltype(lineInitializeExW)>(tapi_, "lineInitializeExW")(
        &app_, nullptr, nullptr, L"windows_acceptance", &devices, &version, &parameters);
    Require(result == 0, "TAPI cannot be initialised: " + std::to_string(result));
}

tapi_session::~tapi_session() {
    (void)shut_down_(app_);
}

void tapi_session::RequireProviderInService() {
    if (GetModuleHandleW(setup::kProviderFile) != nullptr) {
        throw left_out("this system loads the provider into applications, not into the telephony service");
    }
}

void ConfigureProvider() {
    setup::tapi_provider_list providers;
    const std::vector<DWORD> entries = setup::OwnEntries(providers);
    Require(entries.size() == 1, "the provider is not in TAPI's list");
    const unique_module tapi = setup::LoadTapi();
    auto* const configure = setup::FindInTapi<decltype(lineConfigProvider)>(tapi, "lineConfigProvider");
    const own_desktop desktop;
    std::atomic<bool> is_configured = false;
    bool was_there = false;
    std::optional<LONG> result;
    std::thread closing([&] { was_there = own_desktop::Use() && CloseBox(is_configured); });
    std::thread configuring([&] {
        const HWND owner = own_desktop::Use() ? MakeOwner() : nullptr;
        if (owner != nullptr) {
            result = configure(owner, entries[0]);
            (void)DestroyWindow(owner);
        }
        is_configured = true;
    });
    configuring.join();
    closing.join();
    if (!result) {
        throw left_out("this system makes no windows");
    }
    Require(result == 0, "lineConfigProvider: " + std::to_string(*result));
    Require(was_there, "no box was shown");
}

}  // namespace brivelnox::acceptance
