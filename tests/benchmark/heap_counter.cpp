#include "tests/benchmark/heap_counter.h"

#include <malloc.h>
#include <string.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <stdexcept>

namespace brivelnox::benchmark {

namespace {

std::atomic<std::int64_t> allocations{0};
std::atomic<std::int64_t> bytes_kept{0};

/// The C library's own function, also where the module of this program is the one that is counted.
template <class Function>
Function* Library(const char* name) {
    return reinterpret_cast<Function*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"msvcrt.dll"), name)));
}

std::int64_t SizeOf(void* block) {
    return block != nullptr ? static_cast<std::int64_t>(_msize(block)) : 0;
}

template <class Block>
Block* Taken(Block* block) {
    ++allocations;
    bytes_kept += SizeOf(block);
    return block;
}

void* Malloc(std::size_t size) {
    static const auto library = Library<decltype(std::malloc)>("malloc");
    return Taken(library(size));
}

void* Calloc(std::size_t count, std::size_t size) {
    static const auto library = Library<decltype(std::calloc)>("calloc");
    return Taken(library(count, size));
}

void* Realloc(void* block, std::size_t size) {
    static const auto library = Library<decltype(std::realloc)>("realloc");
    bytes_kept -= SizeOf(block);
    return Taken(library(block, size));
}

char* Strdup(const char* text) {
    static const auto library = Library<decltype(_strdup)>("_strdup");
    return Taken(library(text));
}

void Free(void* block) {
    static const auto library = Library<decltype(std::free)>("free");
    bytes_kept -= SizeOf(block);
    library(block);
}

}  // namespace

heap_counter::heap_counter(HMODULE module)
    : malloc_(module, "malloc", reinterpret_cast<void*>(&Malloc)),
      calloc_(module, "calloc", reinterpret_cast<void*>(&Calloc)),
      realloc_(module, "realloc", reinterpret_cast<void*>(&Realloc)),
      strdup_(module, "_strdup", reinterpret_cast<void*>(&Strdup)),
      free_(module, "free", reinterpret_cast<void*>(&Free)) {
    if (!malloc_.IsInPlace() || !free_.IsInPlace()) {
        throw std::runtime_error("the module takes its memory by other calls than expected");
    }
    allocations = 0;
    bytes_kept = 0;
}

heap_use heap_counter::Use() const {
    return {allocations, bytes_kept};
}

}  // namespace brivelnox::benchmark
