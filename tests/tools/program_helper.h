#pragma once

#include <chrono>
#include <string>

#include "tools/console/program_run.h"

namespace brivelnox::test {

using console::program_result;

/// The folder that the built programs are in, with a closing backslash, and the built provider.
std::wstring ProgramFolder();
std::wstring ProviderFile();

/// Runs a program of the program folder with the arguments and the input, and waits for its end.
program_result RunProgram(const std::wstring& name, const std::wstring& arguments, const std::string& input,
                          std::chrono::milliseconds timeout);

}  // namespace brivelnox::test
