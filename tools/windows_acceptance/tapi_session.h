#pragma once

#include <windows.h>
#include <tapi.h>

#include "platform/unique_handle.h"

namespace brivelnox::acceptance {

/// An application of TAPI's that does nothing: while there is one, the telephony service keeps its providers
/// loaded. Raises std::runtime_error when TAPI
/// refuses it.
class tapi_session {
  public:
    tapi_session();
    ~tapi_session();
    tapi_session(const tapi_session&) = delete;
    tapi_session& operator=(const tapi_session&) = delete;

    /// Raises left_out where this system loads the provider into the application, and not into the telephony
    /// service, so that what the service does to it cannot be seen.
    static void RequireProviderInService();

  private:
    const unique_module tapi_;
    decltype(lineShutdown)* const shut_down_;
    HLINEAPP app_ = 0;
};

/// Presses *Configure* for the provider in TAPI's list, and closes the box that it shows. Raises
/// std::runtime_error when there is none, and left_out where this system shows no windows.
void ConfigureProvider();

}  // namespace brivelnox::acceptance
