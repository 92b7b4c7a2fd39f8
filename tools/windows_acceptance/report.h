#pragma once

#include <string>
#include <vector>

#include "tools/windows_acceptance/step.h"

namespace brivelnox::acceptance {

/// A step and what came of it.
struct report_row {
    const step* which;
    result seen;
};

/// What the run was made on.
struct report_head {
    std::string system;   ///< "Windows 10.0.19045", or Wine's name and version
    std::string version;  ///< the provider's
    std::string day;      ///< "2026-11-22"
};

/// The word of a verdict, as the reports and the screen show it: "passed", "FAILED", "left out".
[[nodiscard]] const char* VerdictName(verdict what);

/// An object with the head, and an array "steps" of objects with name, claim, how, verdict, text and seconds.
[[nodiscard]] std::string ToJson(const report_head& head, const std::vector<report_row>& rows);

/// A head line and a table of claims, for docs/windows.md. UTF-8 as the JSON.
[[nodiscard]] std::string ToMarkdown(const report_head& head, const std::vector<report_row>& rows);

}  // namespace brivelnox::acceptance
