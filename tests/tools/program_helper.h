#pragma once

#include <windows.h>

#include <chrono>
#include <string>

namespace brivelnox::test {

/// The folder that the built programs are in, with a closing backslash, and the built provider.
std::wstring ProgramFolder();
std::wstring ProviderFile();

struct program_result {
    bool ended = false;  ///< by itself, within the time
    DWORD exit_code = 0;
    std::string output;
};

/// Runs a program of the program folder with the arguments and the input, and waits for its end.
program_result RunProgram(const std::wstring& name, const std::wstring& arguments, const std::string& input,
                          std::chrono::milliseconds timeout);

}  // namespace brivelnox::test
