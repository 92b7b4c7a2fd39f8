#include "tools/telephony_host/provider_module.h"

#include <system_error>

namespace brivelnox::host {

provider_module::provider_module(const std::wstring& path) : module_(LoadLibraryW(path.c_str())) {
    if (!module_) {
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category(),
                                "the provider cannot be loaded");
    }
#define BRIVELNOX_HOST_RESOLVE(name) this->name = Find<decltype(&::name)>(#name);
    BRIVELNOX_HOST_ENTRY_POINTS(BRIVELNOX_HOST_RESOLVE)
#undef BRIVELNOX_HOST_RESOLVE
}

FARPROC provider_module::Find(const char* name) const {
    return module_ ? GetProcAddress(module_.get(), name) : nullptr;
}

std::string provider_module::Missing() const {
    std::string missing;
#define BRIVELNOX_HOST_CHECK(name) \
    if (this->name == nullptr) {   \
        missing.append(#name " "); \
    }
    BRIVELNOX_HOST_ENTRY_POINTS(BRIVELNOX_HOST_CHECK)
#undef BRIVELNOX_HOST_CHECK
    return missing;
}

}  // namespace brivelnox::host
