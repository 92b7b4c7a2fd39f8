#include "provider/version_box.h"

#include "platform/version_numbers.h"
#include "provider/provider_log.h"

namespace brivelnox {

namespace {

constexpr char kCaption[] = "Brivelnox TAPI Service Provider";
constexpr char kText[] =
    "Brivelnox TAPI Service Provider\nCopyright Brivelnox. All rights reserved.\nVersion " BRIVELNOX_VERSION;

}  // namespace

void ShowVersionBox(HWND owner) noexcept {
    ProviderLog(L"Show version info");
    (void)MessageBoxA(owner, kText, kCaption, MB_OK);
}

}  // namespace brivelnox
