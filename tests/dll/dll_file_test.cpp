// The built file itself, taken apart byte by byte: what an administrator installs has to be complete,
// hardened and free of anything that the machine it goes to does not have.

#include <windows.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/dll/pe_image_helper.h"

namespace brivelnox::test {
namespace {

constexpr std::array kExportNames = std::to_array<std::string_view>({
    "TSPI_lineAccept",
    "TSPI_lineAddToConference",
    "TSPI_lineAnswer",
    "TSPI_lineBlindTransfer",
    "TSPI_lineClose",
    "TSPI_lineCloseCall",
    "TSPI_lineCompleteCall",
    "TSPI_lineCompleteTransfer",
    "TSPI_lineConditionalMediaDetection",
    "TSPI_lineDevSpecific",
    "TSPI_lineDevSpecificFeature",
    "TSPI_lineDial",
    "TSPI_lineDrop",
    "TSPI_lineForward",
    "TSPI_lineGatherDigits",
    "TSPI_lineGenerateDigits",
    "TSPI_lineGenerateTone",
    "TSPI_lineGetAddressCaps",
    "TSPI_lineGetAddressID",
    "TSPI_lineGetAddressStatus",
    "TSPI_lineGetCallInfo",
    "TSPI_lineGetCallStatus",
    "TSPI_lineGetDevCaps",
    "TSPI_lineGetDevConfig",
    "TSPI_lineGetExtensionID",
    "TSPI_lineGetID",
    "TSPI_lineGetIcon",
    "TSPI_lineGetLineDevStatus",
    "TSPI_lineGetNumAddressIDs",
    "TSPI_lineHold",
    "TSPI_lineMakeCall",
    "TSPI_lineMonitorDigits",
    "TSPI_lineMonitorMedia",
    "TSPI_lineMonitorTones",
    "TSPI_lineNegotiateExtVersion",
    "TSPI_lineNegotiateTSPIVersion",
    "TSPI_lineOpen",
    "TSPI_linePark",
    "TSPI_linePickup",
    "TSPI_linePrepareAddToConference",
    "TSPI_lineRedirect",
    "TSPI_lineReleaseUserUserInfo",
    "TSPI_lineRemoveFromConference",
    "TSPI_lineSecureCall",
    "TSPI_lineSelectExtVersion",
    "TSPI_lineSendUserUserInfo",
    "TSPI_lineSetAppSpecific",
    "TSPI_lineSetCallData",
    "TSPI_lineSetCallParams",
    "TSPI_lineSetCallQualityOfService",
    "TSPI_lineSetCallTreatment",
    "TSPI_lineSetDefaultMediaDetection",
    "TSPI_lineSetDevConfig",
    "TSPI_lineSetLineDevStatus",
    "TSPI_lineSetMediaControl",
    "TSPI_lineSetMediaMode",
    "TSPI_lineSetStatusMessages",
    "TSPI_lineSetTerminal",
    "TSPI_lineSetupConference",
    "TSPI_lineSetupTransfer",
    "TSPI_lineSwapHold",
    "TSPI_lineUncompleteCall",
    "TSPI_lineUnhold",
    "TSPI_lineUnpark",
    "TSPI_phoneClose",
    "TSPI_phoneDevSpecific",
    "TSPI_phoneGetButtonInfo",
    "TSPI_phoneGetData",
    "TSPI_phoneGetDevCaps",
    "TSPI_phoneGetDisplay",
    "TSPI_phoneGetExtensionID",
    "TSPI_phoneGetGain",
    "TSPI_phoneGetHookSwitch",
    "TSPI_phoneGetID",
    "TSPI_phoneGetIcon",
    "TSPI_phoneGetLamp",
    "TSPI_phoneGetRing",
    "TSPI_phoneGetStatus",
    "TSPI_phoneGetVolume",
    "TSPI_phoneNegotiateExtVersion",
    "TSPI_phoneNegotiateTSPIVersion",
    "TSPI_phoneOpen",
    "TSPI_phoneSelectExtVersion",
    "TSPI_phoneSetButtonInfo",
    "TSPI_phoneSetData",
    "TSPI_phoneSetDisplay",
    "TSPI_phoneSetGain",
    "TSPI_phoneSetHookSwitch",
    "TSPI_phoneSetLamp",
    "TSPI_phoneSetRing",
    "TSPI_phoneSetStatusMessages",
    "TSPI_phoneSetVolume",
    "TSPI_providerConfig",
    "TSPI_providerCreateLineDevice",
    "TSPI_providerCreatePhoneDevice",
    "TSPI_providerEnumDevices",
    "TSPI_providerFreeDialogInstance",
    "TSPI_providerGenericDialogData",
    "TSPI_providerInit",
    "TSPI_providerInstall",
    "TSPI_providerRemove",
    "TSPI_providerShutdown",
    "TSPI_providerUIIdentify",
    "TUISPI_lineConfigDialog",
    "TUISPI_lineConfigDialogEdit",
    "TUISPI_phoneConfigDialog",
    "TUISPI_providerConfig",
    "TUISPI_providerGenericDialog",
    "TUISPI_providerGenericDialogData",
    "TUISPI_providerInstall",
    "TUISPI_providerRemove",
});

// Modules that every Windows brings along.
constexpr std::array kWindowsModules = std::to_array<std::string_view>({
    "advapi32.dll",
    "kernel32.dll",
    "msvcrt.dll",
    "ole32.dll",
    "rpcrt4.dll",
    "shell32.dll",
    "shlwapi.dll",
    "user32.dll",
    "ws2_32.dll",
});

constexpr std::string_view kUniversalRuntimePrefix = "api-ms-win-crt-";

class dll_file : public testing::Test {
  protected:
    const std::filesystem::path path_ = BuiltProviderPath();
    const pe_image image_{path_};
};

// The version resource of the file, as Windows reads it.
class version_resource {
  public:
    explicit version_resource(const std::filesystem::path& path)
        : data_(GetFileVersionInfoSizeW(path.c_str(), nullptr)) {
        if (!data_.empty() &&
            GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(data_.size()), data_.data()) == FALSE) {
            data_.clear();
        }
    }

    bool IsThere() const { return !data_.empty(); }

    VS_FIXEDFILEINFO Numbers() const {
        VS_FIXEDFILEINFO numbers{};
        void* found = nullptr;
        UINT length = 0;
        if (VerQueryValueW(data_.data(), L"\\", &found, &length) != FALSE && length >= sizeof numbers) {
            std::memcpy(&numbers, found, sizeof numbers);
        }
        return numbers;
    }

    // A text of the American English, Unicode table; empty if it is missing.
    std::wstring Text(const std::wstring& name) const {
        void* found = nullptr;
        UINT length = 0;
        const std::wstring where = L"\\StringFileInfo\\040904B0\\" + name;
        if (VerQueryValueW(data_.data(), where.c_str(), &found, &length) == FALSE || length == 0) {
            return {};
        }
        return static_cast<const wchar_t*>(found);
    }

  private:
    std::vector<std::byte> data_;
};

TEST_F(dll_file, is_a_64_bit_dll) {
    EXPECT_EQ(image_.FileHeader().Machine, IMAGE_FILE_MACHINE_AMD64);
    EXPECT_EQ(image_.OptionalHeader().Magic, IMAGE_NT_OPTIONAL_HDR64_MAGIC);
    EXPECT_NE(image_.FileHeader().Characteristics & IMAGE_FILE_DLL, 0);
}

TEST_F(dll_file, is_loaded_at_random_addresses_of_the_whole_address_space_and_runs_no_data) {
    const WORD characteristics = image_.OptionalHeader().DllCharacteristics;
    EXPECT_NE(characteristics & IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE, 0);
    EXPECT_NE(characteristics & IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA, 0);
    EXPECT_NE(characteristics & IMAGE_DLLCHARACTERISTICS_NX_COMPAT, 0);
    // Without relocations the loader could not move it, whatever the flags say.
    EXPECT_EQ(image_.FileHeader().Characteristics & IMAGE_FILE_RELOCS_STRIPPED, 0);
    EXPECT_GT(image_.OptionalHeader().DataDirectory[IMAGE_DIRECTORY_ENTRY_BASERELOC].Size, 0u);
}

TEST_F(dll_file, exports_exactly_the_entry_points) {
    const std::vector<std::string> names = image_.ExportNames();
    const std::set<std::string> actual(names.begin(), names.end());
    const std::set<std::string> expected(kExportNames.begin(), kExportNames.end());
    EXPECT_EQ(kExportNames.size(), 111u);
    EXPECT_EQ(actual, expected);
    EXPECT_EQ(names.size(), kExportNames.size()) << "a name is exported twice";
    EXPECT_EQ(image_.ExportCount(), kExportNames.size()) << "something is exported by number only";
}

TEST_F(dll_file, imports_only_from_windows) {
    const std::set<std::string_view> allowed(kWindowsModules.begin(), kWindowsModules.end());
    const std::set<std::string> imported = image_.ImportedModules();
    EXPECT_TRUE(imported.contains("kernel32.dll"));
    EXPECT_TRUE(imported.contains("ws2_32.dll"));
    for (const std::string& name : imported) {
        EXPECT_TRUE(allowed.contains(name) || name.starts_with(kUniversalRuntimePrefix)) << name;
    }
}

TEST_F(dll_file, carries_no_symbols) {
    EXPECT_EQ(image_.FileHeader().NumberOfSymbols, 0u);
    for (const std::string& name : image_.SectionNames()) {
        EXPECT_FALSE(name.starts_with(".debug")) << name;
    }
    if (const DWORD table = image_.FileHeader().PointerToSymbolTable; table != 0) {
        // An empty table is followed by the names that are too long for a section header (behind their
        // length): here that of the link to the symbol file alone.
        constexpr std::string_view kLinkName = ".gnu_debuglink";
        EXPECT_EQ(image_.Bytes().size() - table, sizeof(std::uint32_t) + kLinkName.size() + 1);
    }
}

#if defined(_MSC_VER)

TEST_F(dll_file, has_its_symbols_beside_it) {
    EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(path_).replace_extension(L".pdb")));
}

#else

// The functions of the section .text from the table by which exceptions find them.
std::vector<RUNTIME_FUNCTION> Functions(const pe_image& image) {
    const std::vector<std::byte> table = image.SectionBytes(".pdata");
    std::vector<RUNTIME_FUNCTION> functions(table.size() / sizeof(RUNTIME_FUNCTION));
    std::memcpy(functions.data(), table.data(), functions.size() * sizeof(RUNTIME_FUNCTION));
    return functions;
}

TEST_F(dll_file, ends_the_process_when_a_function_has_written_beyond_its_buffer) {
    const std::vector<std::byte> code = image_.SectionBytes(".text");
    const auto value_at = [&](std::size_t offset) {
        std::uint32_t value = 0;
        std::memcpy(&value, code.data() + offset, sizeof value);
        return value;
    };
    const DWORD start = image_.OptionalHeader().BaseOfCode;

    // The one function that knows the code of that end.
    std::set<DWORD> ends;
    for (const RUNTIME_FUNCTION& function : Functions(image_)) {
        for (DWORD at = function.BeginAddress; at + sizeof(std::uint32_t) <= function.EndAddress; ++at) {
            if (value_at(at - start) == STATUS_STACK_BUFFER_OVERRUN) {
                ends.insert(function.BeginAddress);
            }
        }
    }
    ASSERT_EQ(ends.size(), 1u);

    // Each function with a buffer calls it: a byte for the call, and the distance from behind it.
    constexpr std::byte kCall{0xE8};
    constexpr std::size_t kCallSize = 1 + sizeof(std::uint32_t);
    std::size_t calls = 0;
    for (std::size_t at = 0; at + kCallSize <= code.size(); ++at) {
        if (code[at] == kCall &&
            start + static_cast<DWORD>(at + kCallSize) + value_at(at + 1) == *ends.begin()) {
            ++calls;
        }
    }
    EXPECT_GT(calls, 100u);
}

// The checksum by which debuggers tell that a symbol file belongs to a program (CRC-32, as in zip files).
std::uint32_t Checksum(const std::vector<std::byte>& bytes) {
    std::uint32_t value = 0xFFFFFFFFu;
    for (const std::byte byte : bytes) {
        value ^= std::to_integer<std::uint32_t>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            value = (value >> 1) ^ ((value & 1u) != 0 ? 0xEDB88320u : 0u);
        }
    }
    return ~value;
}

TEST_F(dll_file, has_its_symbols_beside_it) {
    const std::vector<std::byte> link = image_.SectionBytes(".gnu_debuglink");
    ASSERT_GT(link.size(), sizeof(std::uint32_t));
    const std::string link_name(reinterpret_cast<const char*>(link.data()));
    EXPECT_EQ(link_name, "Brivelnox.tsp.debug");

    // The link ends in the checksum of the symbol file, at the next multiple of four behind the name.
    const pe_image symbols(path_.parent_path() / link_name);
    const std::size_t checksum_offset = (link_name.size() + 1 + 3) & ~std::size_t{3};
    ASSERT_LE(checksum_offset + sizeof(std::uint32_t), link.size());
    std::uint32_t checksum = 0;
    std::memcpy(&checksum, link.data() + checksum_offset, sizeof checksum);
    EXPECT_EQ(checksum, Checksum(symbols.Bytes()));

    EXPECT_GT(symbols.FileHeader().NumberOfSymbols, 0u);
    const std::vector<std::string> sections = symbols.SectionNames();
    EXPECT_TRUE(std::ranges::find(sections, ".debug_info") != sections.end());
    EXPECT_TRUE(std::ranges::find(sections, ".debug_line") != sections.end());
}

#endif

TEST_F(dll_file, says_its_version) {
    const version_resource resource(path_);
    ASSERT_TRUE(resource.IsThere());

    // The one place beside the build itself that says it, so that no release is numbered by mistake.
    EXPECT_EQ(resource.Text(L"FileVersion"), L"1.0.0.57");
    EXPECT_EQ(resource.Text(L"ProductVersion"), L"1.0.0.57");
    const VS_FIXEDFILEINFO numbers = resource.Numbers();
    EXPECT_EQ(numbers.dwFileVersionMS, DWORD{MAKELONG(0, 1)});
    EXPECT_EQ(numbers.dwFileVersionLS, DWORD{MAKELONG(57, 0)});
    EXPECT_EQ(numbers.dwProductVersionMS, numbers.dwFileVersionMS);
    EXPECT_EQ(numbers.dwProductVersionLS, numbers.dwFileVersionLS);
    EXPECT_EQ(numbers.dwFileType, DWORD{VFT_DLL});

    EXPECT_EQ(resource.Text(L"CompanyName"), L"Brivelnox");
    EXPECT_EQ(resource.Text(L"ProductName"), L"Brivelnox TAPI Service Provider");
    EXPECT_EQ(resource.Text(L"OriginalFilename"), L"Brivelnox.tsp");
}

}  // namespace
}  // namespace brivelnox::test
