#include "tests/tools/program_helper.h"

#include <filesystem>

#include "tools/console/own_program.h"

namespace brivelnox::test {

namespace {

std::filesystem::path BuildFolder() {
    return console::OwnFolder().parent_path();
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
    return console::RunProgram(L"\"" + ProgramFolder() + name + L"\" " + arguments, input, timeout);
}

}  // namespace brivelnox::test
