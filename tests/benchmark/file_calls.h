#pragma once

#include <windows.h>

#include "tests/dll/replaced_import_helper.h"

namespace brivelnox::benchmark {

/// The calls by which a line gets into the log.
struct file_calls {
    decltype(&CreateFileW) create;
    decltype(&GetFileType) type;
    decltype(&WriteFile) write;
    decltype(&CloseHandle) close;
};

/// The system's own.
extern const file_calls kSystemFileCalls;
/// Ones that answer at once, as if all had gone well, and do nothing. Handles that are not theirs go to the
/// system.
extern const file_calls kInstantFileCalls;

/// Has a module make instant file calls, as long as this object lives. Raises std::runtime_error where the
/// module imports one of them under another name.
class instant_files {
  public:
    explicit instant_files(HMODULE module);

  private:
    test::replaced_import create_;
    test::replaced_import type_;
    test::replaced_import write_;
    test::replaced_import close_;
};

}  // namespace brivelnox::benchmark
