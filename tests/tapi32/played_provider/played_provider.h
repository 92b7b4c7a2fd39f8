#pragma once

// A provider with one line that does what a test says, in a DLL of its own: for what the built one does not
// do.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

namespace brivelnox::test {

/// What the provider was told, and what it is to answer. Filled while it is loaded, so a test that wants to
/// see more than one request keeps it loaded.
struct played_provider {
    // How it takes part in its installation and its dialogs.
    LONG install_result = 0;
    LONG config_result = 0;
    HWND owner = nullptr;  ///< as it came with the last of these
    DWORD id = 0;          ///< the provider's or the line's, likewise

    // Its line.
    HTAPILINE line = nullptr;
    LINEEVENT tell = nullptr;
    ASYNC_COMPLETION complete = nullptr;

    // The call that it was asked for last. It accepts the request, says PROCEEDING, and completes nothing by
    // itself.
    DRV_REQUESTID request_id = 0;
    HTAPICALL call = nullptr;
};

/// The DLL's own export, through which a test gets at it.
using get_played_provider = played_provider& (*)();

}  // namespace brivelnox::test
