#include "tests/stress/thread_stacks.h"

#include <windows.h>
#include <tlhelp32.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

#include "platform/unique_handle.h"

namespace brivelnox::stress {

namespace {

constexpr std::size_t kDeepest = 64;

const char* crash_line = "";

/// A module with the table that tells how its functions are left. Collected before any thread is stopped: the
/// system's own lookup takes locks that a stopped thread may hold.
struct module_view {
    DWORD64 base = 0;
    DWORD64 size = 0;
    std::string name;
    RUNTIME_FUNCTION* functions = nullptr;
    std::size_t count = 0;
};

std::string Narrow(const wchar_t* text) {
    std::string result;
    for (; *text != L'\0'; ++text) {
        result += *text < 0x80 ? static_cast<char>(*text) : '?';
    }
    return result;
}

void FindFunctions(module_view& view) {
    const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(view.base);
    const auto* const headers =
        reinterpret_cast<const IMAGE_NT_HEADERS64*>(view.base + static_cast<DWORD64>(dos->e_lfanew));
    const IMAGE_DATA_DIRECTORY& table =
        headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXCEPTION];
    if (table.VirtualAddress != 0) {
        view.functions = reinterpret_cast<RUNTIME_FUNCTION*>(view.base + table.VirtualAddress);
        view.count = table.Size / sizeof(RUNTIME_FUNCTION);
    }
}

std::vector<module_view> Modules() {
    std::vector<module_view> modules;
    const unique_file snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPMODULE, 0));
    MODULEENTRY32W entry = {};
    entry.dwSize = sizeof entry;
    for (BOOL more = Module32FirstW(snapshot.get(), &entry); more != FALSE;
         more = Module32NextW(snapshot.get(), &entry)) {
        module_view view;
        view.base = reinterpret_cast<DWORD64>(entry.modBaseAddr);
        view.size = entry.modBaseSize;
        view.name = Narrow(entry.szModule);
        FindFunctions(view);
        modules.push_back(std::move(view));
    }
    return modules;
}

const module_view* ModuleOf(const std::vector<module_view>& modules, DWORD64 address) {
    for (const module_view& each : modules) {
        if (address >= each.base && address < each.base + each.size) {
            return &each;
        }
    }
    return nullptr;
}

RUNTIME_FUNCTION* FunctionOf(const module_view& module, DWORD64 address) {
    const auto offset = static_cast<DWORD>(address - module.base);
    RUNTIME_FUNCTION* const end = module.functions + module.count;
    RUNTIME_FUNCTION* const behind =
        std::upper_bound(module.functions, end, offset,
                         [](DWORD value, const RUNTIME_FUNCTION& row) { return value < row.BeginAddress; });
    if (behind == module.functions || offset >= (behind - 1)->EndAddress) {
        return nullptr;
    }
    return behind - 1;
}

bool Read(DWORD64 address, DWORD64& value) {
    SIZE_T read = 0;
    return ReadProcessMemory(GetCurrentProcess(), reinterpret_cast<const void*>(address), &value,
                             sizeof value, &read) != FALSE &&
           read == sizeof value;
}

/// The return addresses of one stack, innermost first. Takes no memory while the thread stands: that thread
/// may hold the heap's lock.
struct stack_view {
    std::array<DWORD64, kDeepest> addresses{};
    std::size_t count = 0;
};

stack_view Walk(CONTEXT context, const std::vector<module_view>& modules) {
    stack_view stack;
    while (context.Rip != 0 && stack.count < kDeepest) {
        stack.addresses[stack.count++] = context.Rip;
        const module_view* const module = ModuleOf(modules, context.Rip);
        RUNTIME_FUNCTION* const function = module == nullptr ? nullptr : FunctionOf(*module, context.Rip);
        DWORD64 readable = 0;
        if (!Read(context.Rsp, readable)) {
            break;
        }
        if (function == nullptr) {
            // A function that changes nothing: its return address is on top.
            context.Rip = readable;
            context.Rsp += sizeof readable;
            continue;
        }
        void* handler_data = nullptr;
        DWORD64 frame = 0;
        (void)RtlVirtualUnwind(UNW_FLAG_NHANDLER, module->base, context.Rip, function, &context,
                               &handler_data, &frame, nullptr);
    }
    return stack;
}

void Print(DWORD thread_id, const stack_view& stack, const std::vector<module_view>& modules) {
    std::printf("thread %lu\n", thread_id);
    for (std::size_t i = 0; i < stack.count; ++i) {
        const DWORD64 each = stack.addresses[i];
        const module_view* const module = ModuleOf(modules, each);
        // As the linker would have placed it: what address-to-line tools take with the file's own base.
        std::printf("    %s+0x%llx\n", module == nullptr ? "?" : module->name.c_str(),
                    static_cast<unsigned long long>(module == nullptr ? each : each - module->base));
    }
}

std::vector<DWORD> OtherThreads() {
    std::vector<DWORD> ids;
    const unique_file snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof entry;
    for (BOOL more = Thread32First(snapshot.get(), &entry); more != FALSE;
         more = Thread32Next(snapshot.get(), &entry)) {
        if (entry.th32OwnerProcessID == GetCurrentProcessId() && entry.th32ThreadID != GetCurrentThreadId()) {
            ids.push_back(entry.th32ThreadID);
        }
    }
    return ids;
}

/// Prints the rest of the line that the caller has begun, the stack of this thread and those of the others.
[[noreturn]] void EndWithStacks(const CONTEXT& context) {
    std::printf(" (%s)\n", crash_line);
    const std::vector<module_view> modules = Modules();
    Print(GetCurrentThreadId(), Walk(context, modules), modules);
    PrintThreadStacks();
    EndProcess(kCrashExitCode);
}

LONG WINAPI OnCrash(EXCEPTION_POINTERS* pointers) {
    std::printf("CRASH: exception 0x%08lx", pointers->ExceptionRecord->ExceptionCode);
    EndWithStacks(*pointers->ContextRecord);
}

void OnAbort(int) {
    CONTEXT context = {};
    RtlCaptureContext(&context);
    std::printf("ABORT");
    EndWithStacks(context);
}

}  // namespace

void PrintThreadStacks() {
    const std::vector<module_view> modules = Modules();
    for (const DWORD id : OtherThreads()) {
        const unique_thread thread(
            OpenThread(THREAD_SUSPEND_RESUME | THREAD_GET_CONTEXT | THREAD_QUERY_INFORMATION, FALSE, id));
        CONTEXT context = {};
        context.ContextFlags = CONTEXT_FULL;
        if (!thread || SuspendThread(thread.get()) == static_cast<DWORD>(-1)) {
            continue;
        }
        stack_view stack;
        if (GetThreadContext(thread.get(), &context) != FALSE) {
            stack = Walk(context, modules);
        }
        (void)ResumeThread(thread.get());
        Print(id, stack, modules);
    }
    (void)std::fflush(stdout);
}

void ReportCrashes(const char* line) {
    crash_line = line;
    (void)SetUnhandledExceptionFilter(&OnCrash);
    (void)std::signal(SIGABRT, &OnAbort);
}

void EndProcess(int exit_code) {
    (void)std::fflush(stdout);
    (void)TerminateProcess(GetCurrentProcess(), static_cast<UINT>(exit_code));
    for (;;) {
        Sleep(INFINITE);
    }
}

}  // namespace brivelnox::stress
