#include "tools/setup/tapi_library.h"

namespace brivelnox::setup {

unique_module LoadTapi() {
    unique_module tapi(LoadLibraryExW(L"tapi32.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32));
    if (!tapi) {
        FailWithLastError("TAPI cannot be loaded");
    }
    return tapi;
}

}  // namespace brivelnox::setup
