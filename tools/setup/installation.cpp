#include "tools/setup/installation.h"

#include <windows.h>
#include <shlobj.h>

#include <iterator>
#include <memory>
#include <utility>

#include "tools/setup/failure.h"
#include "tools/setup/files.h"
#include "tools/setup/log_folder.h"

namespace brivelnox::setup {

namespace {

namespace fs = std::filesystem;

template <class Step, class... Arguments>
void Append(step_list& steps, Arguments&&... arguments) {
    steps.push_back(std::make_unique<Step>(std::forward<Arguments>(arguments)...));
}

fs::path SystemPath(UINT(WINAPI* read)(LPWSTR, UINT)) {
    wchar_t path[MAX_PATH] = {};
    if (read(path, static_cast<UINT>(std::size(path))) == 0) {
        FailWithLastError("the folder of Windows is not known");
    }
    return path;
}

}  // namespace

places PlacesOfThisMachine() {
    wchar_t data[MAX_PATH] = {};
    const HRESULT found = SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, 0, data);
    if (found != S_OK) {
        FailWith(static_cast<DWORD>(found), "the folder for the data of all users is not known");
    }
    return {SystemPath(&GetSystemDirectoryW) / kProviderFile, fs::path(data) / L"Brivelnox",
            // Where administrators alone write, and which outlives the log folder.
            SystemPath(&GetSystemWindowsDirectoryW) / L"Logs" / L"brivelnox_setup.log"};
}

step_list InstallSteps(const machine& target, const fs::path& source) {
    const places& where = target.where;
    fs::path brought = where.provider;
    brought += L".new";
    step_list steps;
    Append<bring_file>(steps, source, brought);
    Append<stop_services>(steps, target.services);
    // From here to the last step but one nobody writes the log.
    Append<make_folder>(steps, where.maker_folder, folder_access::kInherited);
    Append<make_folder>(steps, where.OwnFolder(), folder_access::kLog);
    Append<make_folder>(steps, where.LogFolder(), folder_access::kLog);
    Append<look_through_folder>(steps, where.OwnFolder());
    Append<set_aside>(steps, where.provider);
    Append<put_in_place>(steps, brought, where.provider, target.services);
    Append<enter_in_list>(steps, target.providers);
    Append<start_services>(steps, target.services);
    return steps;
}

step_list RemoveSteps(const machine& target, const fs::path& source, bool with_log) {
    const places& where = target.where;
    step_list steps;
    // TAPI asks the provider's file when it takes it out.
    if (!IsThere(where.provider) && IsThere(source)) {
        Append<bring_file>(steps, source, where.provider);
    }
    Append<take_out_of_list>(steps, target.providers);
    Append<stop_services>(steps, target.services);
    Append<set_aside>(steps, where.provider);
    if (with_log) {
        Append<set_aside>(steps, where.OwnFolder());
    }
    Append<start_services>(steps, target.services);
    return steps;
}

}  // namespace brivelnox::setup
