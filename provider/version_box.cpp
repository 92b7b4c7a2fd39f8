#include "provider/version_box.h"

#include <string>

#include "platform/version.h"
#include "provider/provider_log.h"

namespace brivelnox {

namespace {

constexpr char kCaption[] = "Brivelnox TAPI Service Provider";
constexpr char kNotice[] = "Copyright Brivelnox. All rights reserved.";

}  // namespace

void ShowVersionBox(HWND owner) noexcept {
    try {
        ProviderLog(L"Show version info");
        const std::string text =
            std::string(kCaption) + "\n" + kNotice + "\n" + "Version " + kProviderVersionAnsi;
        (void)MessageBoxA(owner, text.c_str(), kCaption, MB_OK);
    } catch (...) {
        // No memory for the text: no box.
    }
}

}  // namespace brivelnox
