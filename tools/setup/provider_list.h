#pragma once

#include <windows.h>

#include <cstddef>
#include <string>
#include <vector>

#include "tools/setup/transaction.h"

namespace brivelnox::setup {

/// The provider's file, as the list of providers knows it.
inline constexpr wchar_t kProviderFile[] = L"Brivelnox.tsp";

struct listed_provider {
    DWORD id = 0;  ///< permanent, given by TAPI
    std::wstring file;
};

/// TAPI's list of the providers that the telephony service loads. Each operation throws a failure when TAPI
/// refuses it.
class provider_list {
  public:
    provider_list() = default;
    virtual ~provider_list() = default;
    provider_list(const provider_list&) = delete;
    provider_list& operator=(const provider_list&) = delete;

    [[nodiscard]] virtual std::vector<listed_provider> Read() = 0;
    /// Adds an entry, also where there is one already, and returns its identifier.
    virtual DWORD Add(const std::wstring& file) = 0;
    virtual void Remove(DWORD id) = 0;
};

/// The list of this machine. TAPI starts the telephony service when it is asked.
class tapi_provider_list : public provider_list {
  public:
    [[nodiscard]] std::vector<listed_provider> Read() override;
    DWORD Add(const std::wstring& file) override;
    void Remove(DWORD id) override;
};

/// The identifiers of the provider's own entries.
[[nodiscard]] std::vector<DWORD> OwnEntries(provider_list& providers);

/// Enters the provider in the list, unless it is there: TAPI would make its lines twice.
class enter_in_list : public step {
  public:
    explicit enter_in_list(provider_list& providers) : providers_(providers) {}

    [[nodiscard]] std::string Title() const override { return "Enter Brivelnox.tsp in the provider list"; }
    std::string Do() override;
    bool Undo() override;

  private:
    provider_list& providers_;
    bool has_added_ = false;
    DWORD added_ = 0;
};

/// Takes every entry of the provider out of the list.
class take_out_of_list : public step {
  public:
    explicit take_out_of_list(provider_list& providers) : providers_(providers) {}

    [[nodiscard]] std::string Title() const override { return "Take Brivelnox.tsp out of the provider list"; }
    std::string Do() override;
    /// The entries come back with new identifiers.
    bool Undo() override;

  private:
    provider_list& providers_;
    std::size_t taken_ = 0;
};

}  // namespace brivelnox::setup
