#include "tests/tools/program_helper.h"

#include <array>
#include <filesystem>
#include <stdexcept>
#include <thread>

#include "platform/unique_handle.h"
#include "tools/console/line_io.h"

namespace brivelnox::test {

namespace {

std::filesystem::path BuildFolder() {
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return std::filesystem::path(path).parent_path().parent_path();
}

struct pipe_ends {
    unique_pipe read;
    unique_pipe write;
};

pipe_ends MakePipe(bool child_reads) {
    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    pipe_ends ends;
    if (CreatePipe(ends.read.put(), ends.write.put(), &inheritable, 0) == FALSE ||
        SetHandleInformation((child_reads ? ends.write : ends.read).get(), HANDLE_FLAG_INHERIT, 0) == FALSE) {
        throw std::runtime_error("no pipe");
    }
    return ends;
}

unique_process StartProgram(const std::wstring& name, const std::wstring& arguments, HANDLE input,
                            HANDLE output) {
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = input;
    startup.hStdOutput = output;
    startup.hStdError = output;
    PROCESS_INFORMATION created{};
    std::wstring command_line = L"\"" + ProgramFolder() + name + L"\" " + arguments;
    if (CreateProcessW(nullptr, command_line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                       &created) == FALSE) {
        throw std::runtime_error("the program does not start");
    }
    (void)CloseHandle(created.hThread);
    return unique_process(created.hProcess);
}

std::string ReadAll(HANDLE input) {
    std::string text;
    std::array<char, 4096> buffer;
    DWORD length = 0;
    while (ReadFile(input, buffer.data(), static_cast<DWORD>(buffer.size()), &length, nullptr) != FALSE &&
           length != 0) {
        text.append(buffer.data(), length);
    }
    return text;
}

}  // namespace

std::wstring ProgramFolder() {
    return (BuildFolder() / L"bin").wstring() + L"\\";
}

std::wstring ProviderFile() {
    return (BuildFolder() / L"Brivelnox.tsp").wstring();
}

program_result RunProgram(const std::wstring& name, const std::wstring& arguments, const std::string& input,
                          std::chrono::milliseconds timeout) {
    pipe_ends to_child = MakePipe(true);
    pipe_ends from_child = MakePipe(false);
    const unique_process process = StartProgram(name, arguments, to_child.read.get(), from_child.write.get());
    to_child.read.reset();
    from_child.write.reset();
    program_result result;
    std::thread reader([&] { result.output = ReadAll(from_child.read.get()); });
    (void)console::line_writer(to_child.write.get()).WritePart(input);
    to_child.write.reset();
    result.ended = WaitForSingleObject(process.get(), static_cast<DWORD>(timeout.count())) == WAIT_OBJECT_0;
    if (!result.ended) {
        (void)TerminateProcess(process.get(), 99);
    }
    reader.join();
    (void)GetExitCodeProcess(process.get(), &result.exit_code);
    return result;
}

}  // namespace brivelnox::test
