#include "platform/module_pin.h"

#include <windows.h>

namespace brivelnox {

unique_module PinThisModule() {
    unique_module module;
    // Any address inside the module will do.
    (void)GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                             reinterpret_cast<const wchar_t*>(&PinThisModule), module.put());
    return module;
}

}  // namespace brivelnox
