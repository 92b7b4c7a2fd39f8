#include "tools/console/program_run.h"

#include <array>
#include <stdexcept>

#include "platform/unique_handle.h"
#include "tools/console/command_words.h"
#include "tools/console/line_io.h"

namespace brivelnox::console {

namespace {

constexpr UINT kKilled = 99;

/// A file that goes away with its last user. It takes the output because a pipe does not end while something
/// that the program has started still has it.
unique_file OutputFile(SECURITY_ATTRIBUTES& inherited) {
    std::array<wchar_t, MAX_PATH + 1> folder = {};
    std::array<wchar_t, MAX_PATH + 1> name = {};
    (void)GetTempPathW(MAX_PATH, folder.data());
    (void)GetTempFileNameW(folder.data(), L"run", 0, name.data());
    return unique_file(CreateFileW(
        name.data(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
        &inherited, CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr));
}

/// The end to read from of a pipe that holds the whole input, and then ends.
unique_pipe InputPipe(const std::string& input, SECURITY_ATTRIBUTES& inherited) {
    unique_pipe read;
    unique_pipe write;
    if (!CreatePipe(read.put(), write.put(), &inherited, static_cast<DWORD>(input.size() + 1)) ||
        !SetHandleInformation(write.get(), HANDLE_FLAG_INHERIT, 0) ||
        !line_writer(write.get()).WritePart(input)) {
        throw std::runtime_error("there is no input for a program");
    }
    return read;
}

unique_process Start(std::wstring& command_line, HANDLE input, HANDLE output, HANDLE token) {
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = input;
    startup.hStdOutput = output;
    startup.hStdError = output;
    PROCESS_INFORMATION created = {};
    wchar_t* const line = command_line.data();
    const BOOL is_started =
        token == nullptr
            ? CreateProcessW(nullptr, line, nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &created)
            : CreateProcessAsUserW(token, nullptr, line, nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                                   &startup, &created);
    if (!is_started) {
        throw std::runtime_error("does not start, error " + std::to_string(GetLastError()) + ": " +
                                 ToUtf8(command_line));
    }
    (void)CloseHandle(created.hThread);
    return unique_process(created.hProcess);
}

std::string ReadAll(HANDLE file) {
    std::string text;
    std::array<char, 4096> buffer;
    DWORD length = 0;
    (void)SetFilePointer(file, 0, nullptr, FILE_BEGIN);
    while (ReadFile(file, buffer.data(), static_cast<DWORD>(buffer.size()), &length, nullptr) &&
           length != 0) {
        text.append(buffer.data(), length);
    }
    return text;
}

}  // namespace

program_result RunProgram(std::wstring command_line, const std::string& input,
                          std::chrono::milliseconds timeout, HANDLE token) {
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    const unique_file output = OutputFile(inherited);
    unique_pipe to_child = InputPipe(input, inherited);
    const unique_process process = Start(command_line, to_child.get(), output.get(), token);
    to_child.reset();
    program_result result;
    result.ended = WaitForSingleObject(process.get(), static_cast<DWORD>(timeout.count())) == WAIT_OBJECT_0;
    if (!result.ended) {
        (void)TerminateProcess(process.get(), kKilled);
        (void)WaitForSingleObject(process.get(), INFINITE);
    }
    (void)GetExitCodeProcess(process.get(), &result.exit_code);
    result.output = ReadAll(output.get());
    return result;
}

}  // namespace brivelnox::console
