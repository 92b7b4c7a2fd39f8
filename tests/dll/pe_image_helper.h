#pragma once

#include <windows.h>

#include <cstddef>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace brivelnox::test {

/// The path of the built provider: what the environment variable BRIVELNOX_TSP names, else Brivelnox.tsp in
/// the folder above the one of the running test program.
std::filesystem::path BuiltProviderPath();

/// A 64-bit Windows image file, taken apart from its bytes alone (nothing of it is loaded or run). Everything
/// that does not fit the file's own size or format raises std::runtime_error.
class pe_image {
  public:
    /// Reads the whole file. Raises std::runtime_error if it cannot be read or is no 64-bit image.
    explicit pe_image(const std::filesystem::path& path);

    const IMAGE_FILE_HEADER& FileHeader() const { return headers_.FileHeader; }
    const IMAGE_OPTIONAL_HEADER64& OptionalHeader() const { return headers_.OptionalHeader; }

    /// The names of the sections. A name of more than 8 characters is looked up in the string table, if the
    /// file has one; without one the "/offset" of the header is returned as it stands.
    std::vector<std::string> SectionNames() const;

    /// The bytes of the section of that (short) name; empty if there is none.
    std::vector<std::byte> SectionBytes(const std::string& name) const;

    /// The names in the export directory, in its order. Exports without a name are counted by ExportCount
    /// alone.
    std::vector<std::string> ExportNames() const;

    /// The number of entries of the export address table.
    std::size_t ExportCount() const;

    /// The names of the modules that the image imports from, at load time or on first use, in lower case.
    std::set<std::string> ImportedModules() const;

    const std::vector<std::byte>& Bytes() const { return bytes_; }

  private:
    template <class T>
    T ReadAt(std::size_t offset) const;
    std::string TextAt(std::size_t offset) const;
    std::size_t OffsetOf(DWORD rva) const;
    const IMAGE_DATA_DIRECTORY& Directory(std::size_t index) const;
    std::string SectionName(const IMAGE_SECTION_HEADER& section) const;

    std::vector<std::byte> bytes_;
    IMAGE_NT_HEADERS64 headers_{};
    std::vector<IMAGE_SECTION_HEADER> sections_;
};

}  // namespace brivelnox::test
