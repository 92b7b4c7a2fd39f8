#pragma once

// The provider's DLL and its entry points.

#include <windows.h>
#include <tapi.h>
#include <tspi.h>

#include <string>

#include "platform/unique_handle.h"

namespace brivelnox::host {

// Every entry point that has a typed member below.
#define BRIVELNOX_HOST_ENTRY_POINTS(X)   \
    X(TSPI_lineNegotiateTSPIVersion)     \
    X(TSPI_phoneNegotiateTSPIVersion)    \
    X(TSPI_lineNegotiateExtVersion)      \
    X(TSPI_providerEnumDevices)          \
    X(TSPI_providerInit)                 \
    X(TSPI_providerShutdown)             \
    X(TSPI_providerCreateLineDevice)     \
    X(TSPI_providerUIIdentify)           \
    X(TSPI_providerConfig)               \
    X(TSPI_lineOpen)                     \
    X(TSPI_lineClose)                    \
    X(TSPI_lineMakeCall)                 \
    X(TSPI_lineDial)                     \
    X(TSPI_lineAnswer)                   \
    X(TSPI_lineHold)                     \
    X(TSPI_lineUnhold)                   \
    X(TSPI_lineSwapHold)                 \
    X(TSPI_lineSetupTransfer)            \
    X(TSPI_lineCompleteTransfer)         \
    X(TSPI_lineBlindTransfer)            \
    X(TSPI_lineRedirect)                 \
    X(TSPI_lineDrop)                     \
    X(TSPI_lineCloseCall)                \
    X(TSPI_lineGenerateDigits)           \
    X(TSPI_lineSetDefaultMediaDetection) \
    X(TSPI_lineGetDevCaps)               \
    X(TSPI_lineGetAddressCaps)           \
    X(TSPI_lineGetLineDevStatus)         \
    X(TSPI_lineGetAddressStatus)         \
    X(TSPI_lineGetID)                    \
    X(TSPI_lineGetNumAddressIDs)         \
    X(TSPI_lineGetExtensionID)           \
    X(TSPI_lineGetCallInfo)              \
    X(TSPI_lineGetCallStatus)            \
    X(TUISPI_providerConfig)             \
    X(TUISPI_lineConfigDialog)           \
    X(TUISPI_lineConfigDialogEdit)       \
    X(TUISPI_phoneConfigDialog)

/// A loaded provider. The members named after the entry points are function pointers of the type that the
/// telephony headers declare; a name that the DLL does not export is null. All of it may be used from any
/// thread while the object lives.
class provider_module {
  public:
    /// Loads the DLL at the path. Raises std::system_error when it cannot be loaded.
    explicit provider_module(const std::wstring& path);
    /// A table of entry points without a DLL, all null, to be filled by the owner: for providers built into a
    /// test.
    provider_module() = default;
    /// Unloads the DLL. Nothing of it may be in use any more.
    ~provider_module() = default;
    provider_module(const provider_module&) = delete;
    provider_module& operator=(const provider_module&) = delete;

    /// The address of any export, null if there is none. Cast it to the type that the header declares.
    [[nodiscard]] FARPROC Find(const char* name) const;
    /// Any export as a function of the type T, for example
    /// Find<decltype(&TSPI_lineForward)>("TSPI_lineForward").
    template <class T>
    [[nodiscard]] T Find(const char* name) const {
        return reinterpret_cast<T>(reinterpret_cast<void*>(Find(name)));
    }
    /// The names of the typed members that the DLL does not export, each followed by a blank; empty if all
    /// are there.
    [[nodiscard]] std::string Missing() const;
    /// The DLL, null for a table without one.
    [[nodiscard]] HMODULE Module() const { return module_.get(); }

#define BRIVELNOX_HOST_MEMBER(name) decltype(&::name) name = nullptr;
    BRIVELNOX_HOST_ENTRY_POINTS(BRIVELNOX_HOST_MEMBER)
#undef BRIVELNOX_HOST_MEMBER

  private:
    unique_module module_;
};

}  // namespace brivelnox::host
