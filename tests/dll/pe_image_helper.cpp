#include "tests/dll/pe_image_helper.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>

namespace brivelnox::test {

namespace {

constexpr std::size_t kLongestPath = 32768;

std::vector<std::byte> ReadFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("cannot open " + path.string());
    }
    std::vector<std::byte> bytes(static_cast<std::size_t>(std::filesystem::file_size(path)));
    if (!file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()))) {
        throw std::runtime_error("cannot read " + path.string());
    }
    return bytes;
}

std::string LowerCase(std::string text) {
    std::ranges::transform(text, text.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
    });
    return text;
}

}  // namespace

std::filesystem::path BuiltProviderPath() {
    std::wstring text(kLongestPath, L'\0');
    const DWORD from_environment =
        GetEnvironmentVariableW(L"BRIVELNOX_TSP", text.data(), static_cast<DWORD>(text.size()));
    if (from_environment > 0 && from_environment < text.size()) {
        text.resize(from_environment);
        return text;
    }
    const DWORD length = GetModuleFileNameW(nullptr, text.data(), static_cast<DWORD>(text.size()));
    text.resize(length);
    return std::filesystem::path(text).parent_path().parent_path() / L"Brivelnox.tsp";
}

pe_image::pe_image(const std::filesystem::path& path) : bytes_(ReadFile(path)) {
    const auto dos_header = ReadAt<IMAGE_DOS_HEADER>(0);
    if (dos_header.e_magic != IMAGE_DOS_SIGNATURE || dos_header.e_lfanew <= 0) {
        throw std::runtime_error("no executable file");
    }
    const auto start = static_cast<std::size_t>(dos_header.e_lfanew);
    headers_ = ReadAt<IMAGE_NT_HEADERS64>(start);
    if (headers_.Signature != IMAGE_NT_SIGNATURE ||
        headers_.OptionalHeader.Magic != IMAGE_NT_OPTIONAL_HDR64_MAGIC) {
        throw std::runtime_error("no 64-bit image");
    }
    std::size_t offset =
        start + offsetof(IMAGE_NT_HEADERS64, OptionalHeader) + headers_.FileHeader.SizeOfOptionalHeader;
    for (WORD index = 0; index < headers_.FileHeader.NumberOfSections; ++index) {
        sections_.push_back(ReadAt<IMAGE_SECTION_HEADER>(offset));
        offset += sizeof(IMAGE_SECTION_HEADER);
    }
}

template <class T>
T pe_image::ReadAt(std::size_t offset) const {
    if (offset > bytes_.size() || bytes_.size() - offset < sizeof(T)) {
        throw std::runtime_error("an offset points behind the end of the file");
    }
    T value;
    std::memcpy(&value, bytes_.data() + offset, sizeof(T));
    return value;
}

std::string pe_image::TextAt(std::size_t offset) const {
    std::string text;
    for (char character = ReadAt<char>(offset); character != '\0'; character = ReadAt<char>(++offset)) {
        text += character;
    }
    return text;
}

std::size_t pe_image::OffsetOf(DWORD rva) const {
    for (const IMAGE_SECTION_HEADER& section : sections_) {
        if (rva >= section.VirtualAddress && rva - section.VirtualAddress < section.SizeOfRawData) {
            return std::size_t{section.PointerToRawData} + (rva - section.VirtualAddress);
        }
    }
    throw std::runtime_error("an address lies in no section");
}

const IMAGE_DATA_DIRECTORY& pe_image::Directory(std::size_t index) const {
    static constexpr IMAGE_DATA_DIRECTORY kNone{};
    if (index >= headers_.OptionalHeader.NumberOfRvaAndSizes) {
        return kNone;
    }
    return headers_.OptionalHeader.DataDirectory[index];
}

std::string pe_image::SectionName(const IMAGE_SECTION_HEADER& section) const {
    std::array<char, IMAGE_SIZEOF_SHORT_NAME + 1> padded{};
    std::memcpy(padded.data(), section.Name, IMAGE_SIZEOF_SHORT_NAME);
    const std::string name(padded.data());
    if (!name.starts_with('/') || headers_.FileHeader.PointerToSymbolTable == 0) {
        return name;
    }
    const std::size_t strings = std::size_t{headers_.FileHeader.PointerToSymbolTable} +
                                std::size_t{headers_.FileHeader.NumberOfSymbols} * IMAGE_SIZEOF_SYMBOL;
    return TextAt(strings + std::strtoul(name.c_str() + 1, nullptr, 10));
}

std::vector<std::string> pe_image::SectionNames() const {
    std::vector<std::string> names;
    for (const IMAGE_SECTION_HEADER& section : sections_) {
        names.push_back(SectionName(section));
    }
    return names;
}

std::vector<std::byte> pe_image::SectionBytes(const std::string& name) const {
    for (const IMAGE_SECTION_HEADER& section : sections_) {
        if (SectionName(section) != name) {
            continue;
        }
        if (section.PointerToRawData > bytes_.size() ||
            bytes_.size() - section.PointerToRawData < section.SizeOfRawData) {
            throw std::runtime_error("a section ends behind the end of the file");
        }
        const std::byte* const first = bytes_.data() + section.PointerToRawData;
        return {first, first + section.SizeOfRawData};
    }
    return {};
}

std::vector<std::string> pe_image::ExportNames() const {
    const auto table =
        ReadAt<IMAGE_EXPORT_DIRECTORY>(OffsetOf(Directory(IMAGE_DIRECTORY_ENTRY_EXPORT).VirtualAddress));
    const std::size_t names_offset = OffsetOf(table.AddressOfNames);
    std::vector<std::string> names;
    for (std::size_t index = 0; index < table.NumberOfNames; ++index) {
        names.push_back(TextAt(OffsetOf(ReadAt<DWORD>(names_offset + index * sizeof(DWORD)))));
    }
    return names;
}

std::size_t pe_image::ExportCount() const {
    return ReadAt<IMAGE_EXPORT_DIRECTORY>(OffsetOf(Directory(IMAGE_DIRECTORY_ENTRY_EXPORT).VirtualAddress))
        .NumberOfFunctions;
}

std::set<std::string> pe_image::ImportedModules() const {
    std::set<std::string> modules;
    if (const DWORD rva = Directory(IMAGE_DIRECTORY_ENTRY_IMPORT).VirtualAddress; rva != 0) {
        std::size_t offset = OffsetOf(rva);
        for (auto entry = ReadAt<IMAGE_IMPORT_DESCRIPTOR>(offset); entry.Name != 0;
             entry = ReadAt<IMAGE_IMPORT_DESCRIPTOR>(offset += sizeof entry)) {
            modules.insert(LowerCase(TextAt(OffsetOf(entry.Name))));
        }
    }
    if (const DWORD rva = Directory(IMAGE_DIRECTORY_ENTRY_DELAY_IMPORT).VirtualAddress; rva != 0) {
        std::size_t offset = OffsetOf(rva);
        for (auto entry = ReadAt<IMAGE_DELAYLOAD_DESCRIPTOR>(offset); entry.DllNameRVA != 0;
             entry = ReadAt<IMAGE_DELAYLOAD_DESCRIPTOR>(offset += sizeof entry)) {
            modules.insert(LowerCase(TextAt(OffsetOf(entry.DllNameRVA))));
        }
    }
    return modules;
}

}  // namespace brivelnox::test
