// The provider's whole user interface: a box with its version.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <chrono>
#include <cstdio>
#include <functional>
#include <future>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/version_numbers.h"
#include "tests/dll/provider_fixture_helper.h"

namespace brivelnox::test {
namespace {

using testing::ElementsAre;

constexpr char kCaption[] = "Brivelnox TAPI Service Provider";
// The identifier of a message box's text among its controls.
constexpr int kTextControl = 0xFFFF;
constexpr wchar_t kDesktop[] = L"BrivelnoxTests";
constexpr wchar_t kWineDrivers[] = L"Software\\Wine\\Drivers";

/// A desktop for the box that needs no screen. Wine makes windows on a machine without a display only if it
/// is told to use its null driver, and only on desktops that are made afterwards. Elsewhere the registry
/// value means nothing.
class hidden_desktop {
  public:
    hidden_desktop() {
        wchar_t driver[64] = {};
        DWORD size = sizeof driver;
        had_driver_ = RegGetValueW(HKEY_CURRENT_USER, kWineDrivers, L"Graphics", RRF_RT_REG_SZ, nullptr,
                                   driver, &size) == ERROR_SUCCESS;
        if (!had_driver_) {
            (void)RegSetKeyValueW(HKEY_CURRENT_USER, kWineDrivers, L"Graphics", REG_SZ, L"null",
                                  sizeof L"null");
        }
        desktop_ = CreateDesktopW(kDesktop, nullptr, nullptr, 0, GENERIC_ALL, nullptr);
    }
    ~hidden_desktop() {
        (void)CloseDesktop(desktop_);
        if (!had_driver_) {
            (void)RegDeleteKeyValueW(HKEY_CURRENT_USER, kWineDrivers, L"Graphics");
        }
    }
    hidden_desktop(const hidden_desktop&) = delete;
    hidden_desktop& operator=(const hidden_desktop&) = delete;

    /// The calling thread's windows are made and found here from now on.
    [[nodiscard]] static bool Use() {
        // A handle of its own, given to the thread: Wine closes it when the thread ends.
        return SetThreadDesktop(OpenDesktopW(kDesktop, 0, FALSE, GENERIC_ALL)) != FALSE;
    }

  private:
    bool had_driver_ = false;
    HDESK desktop_ = nullptr;
};

struct seen_box {
    bool found = false;
    std::string caption;
    std::string text;
    HWND owner = nullptr;
    LONG_PTR style = 0;
    std::vector<std::string> log;  // what had been logged by then
    LONG returned = -1;
};

class version_box : public loaded_provider {
  protected:
    /// Runs the entry point on a thread of its own, looks at the box that it shows, and closes it. The entry
    /// point gets the window that is to own the box.
    seen_box Show(const std::function<LONG(HWND owner)>& entry_point) {
        seen_box seen;
        std::promise<HWND> made;
        std::promise<LONG> returned;
        std::thread showing([&] {
            HWND owner = nullptr;
            if (hidden_desktop::Use()) {
                owner = CreateWindowExW(0, L"STATIC", L"owner", WS_OVERLAPPED, 0, 0, 10, 10, nullptr, nullptr,
                                        nullptr, nullptr);
            }
            made.set_value(owner);
            returned.set_value(entry_point(owner));
            (void)DestroyWindow(owner);
        });
        owner_ = made.get_future().get();
        std::future<LONG> result = returned.get_future();
        std::thread watching([&] {
            if (hidden_desktop::Use()) {
                Watch(result, seen);
            }
        });
        watching.join();
        if (result.wait_for(kSoon) != std::future_status::ready) {
            std::fputs("the version box cannot be closed\n", stderr);
            (void)TerminateProcess(GetCurrentProcess(), 3);
        }
        seen.returned = result.get();
        showing.join();
        return seen;
    }

    hidden_desktop desktop_;
    HWND owner_ = nullptr;

  private:
    /// Until the box is there, or the entry point has returned without one.
    void Watch(std::future<LONG>& result, seen_box& seen) const {
        HWND box = nullptr;
        while (box == nullptr &&
               result.wait_for(std::chrono::milliseconds(10)) != std::future_status::ready) {
            box = FindWindowA(nullptr, kCaption);
            // It is shown once its text is there.
            if (box != nullptr && GetDlgItem(box, kTextControl) == nullptr) {
                box = nullptr;
            }
        }
        if (box == nullptr) {
            return;
        }
        char text[512] = {};
        seen.found = true;
        seen.log = log_.Texts();
        (void)GetWindowTextA(box, text, sizeof text);
        seen.caption = text;
        (void)GetWindowTextA(GetDlgItem(box, kTextControl), text, sizeof text);
        seen.text = text;
        seen.owner = GetWindow(box, GW_OWNER);
        // A box with MB_OK has one button and no other. Windows gives it the number of Cancel, so that Esc
        // closes the box; Wine gives it its own.
        const bool has_ok = GetDlgItem(box, IDOK) != nullptr;
        seen.style = has_ok != (GetDlgItem(box, IDCANCEL) != nullptr) ? MB_OK : -1;
        while (result.wait_for(std::chrono::milliseconds(10)) != std::future_status::ready && IsWindow(box)) {
            (void)PostMessageA(box, WM_COMMAND, has_ok ? IDOK : IDCANCEL, 0);
        }
    }
};

TEST_F(version_box, shows_name_notice_and_version_and_is_owned_by_the_callers_window) {
    const seen_box seen = Show([&](HWND owner) { return module_.TSPI_providerConfig(owner, 7); });
    ASSERT_TRUE(seen.found) << "this machine cannot make windows";
    ASSERT_NE(owner_, nullptr);
    EXPECT_EQ(seen.returned, 0);
    EXPECT_EQ(seen.caption, kCaption);
    EXPECT_EQ(seen.owner, owner_);
    EXPECT_EQ(seen.style, MB_OK);
    // Three lines: the name, a notice, the version.
    constexpr std::string_view beginning = "Brivelnox TAPI Service Provider\n";
    constexpr std::string_view ending = "\nVersion " BRIVELNOX_VERSION;
    EXPECT_TRUE(seen.text.starts_with(beginning)) << seen.text;
    EXPECT_TRUE(seen.text.ends_with(ending)) << seen.text;
    ASSERT_GT(seen.text.size(), beginning.size() + ending.size()) << "the notice is missing";
    const std::string notice =
        seen.text.substr(beginning.size(), seen.text.size() - beginning.size() - ending.size());
    EXPECT_EQ(notice.find('\n'), std::string::npos);
}

TEST_F(version_box, is_logged_before_it_is_shown) {
    log_.Skip();
    const seen_box seen = Show([&](HWND owner) { return module_.TSPI_providerConfig(owner, 7); });
    EXPECT_TRUE(seen.found);
    EXPECT_THAT(seen.log, ElementsAre("Show version info"));
    EXPECT_THAT(log_.Texts(), ElementsAre("Show version info"));
    EXPECT_EQ(ManagerLog(), log_.Texts());
}

TEST_F(version_box, is_what_every_configuration_dialog_shows) {
    struct {
        const char* name;
        std::function<LONG(HWND)> show;
    } const dialogs[] = {
        {"TUISPI_providerConfig",
         [&](HWND owner) { return module_.TUISPI_providerConfig(nullptr, owner, 7); }},
        {"TUISPI_lineConfigDialog",
         [&](HWND owner) { return module_.TUISPI_lineConfigDialog(nullptr, 1, owner, L"tapi/line"); }},
        {"TUISPI_lineConfigDialogEdit",
         [&](HWND owner) {
             return module_.TUISPI_lineConfigDialogEdit(nullptr, 1, owner, L"tapi/line", nullptr, 0, nullptr);
         }},
        {"TUISPI_phoneConfigDialog",
         [&](HWND owner) { return module_.TUISPI_phoneConfigDialog(nullptr, 1, owner, L"tapi/phone"); }},
    };
    for (const auto& each : dialogs) {
        SCOPED_TRACE(each.name);
        log_.Skip();
        const seen_box seen = Show(each.show);
        EXPECT_TRUE(seen.found);
        EXPECT_EQ(seen.returned, 0);
        EXPECT_EQ(seen.owner, owner_);
        EXPECT_THAT(seen.text, testing::EndsWith("\nVersion " BRIVELNOX_VERSION));
        EXPECT_THAT(log_.Texts(), ElementsAre("Show version info"));
    }
}

TEST_F(version_box, needs_no_owner) {
    const seen_box seen = Show([&](HWND) { return module_.TSPI_providerConfig(nullptr, 7); });
    EXPECT_TRUE(seen.found);
    EXPECT_EQ(seen.returned, 0);
    EXPECT_EQ(seen.owner, nullptr);
}

}  // namespace
}  // namespace brivelnox::test
