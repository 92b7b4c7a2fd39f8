#include "tools/windows_acceptance/report.h"

#include <array>
#include <cstddef>
#include <cstdio>
#include <string_view>
#include <utility>

namespace brivelnox::acceptance {

namespace {

std::string Quoted(std::string_view text) {
    std::string quoted = "\"";
    for (const char each : text) {
        std::array<char, 8> code = {};
        if (static_cast<unsigned char>(each) < ' ') {
            (void)std::snprintf(code.data(), code.size(), "\\u%04x", static_cast<unsigned>(each));
            quoted.append(code.data());
        } else {
            quoted.append(each == '"' || each == '\\' ? "\\" : "").push_back(each);
        }
    }
    return quoted + "\"";
}

std::string Member(const char* name, std::string_view text) {
    return Quoted(name) + ": " + Quoted(text);
}

/// Text for a table's cell: on one line, without what would end the cell.
std::string Cell(std::string_view text) {
    std::string cell;
    for (const char each : text) {
        if (each == '\n') {
            cell.append("<br>");
        } else if (each == '|') {
            cell.append("\\|");
        } else if (each != '\r') {
            cell.push_back(each);
        }
    }
    while (cell.ends_with("<br>")) {
        cell.resize(cell.size() - std::string_view("<br>").size());
    }
    return cell;
}

std::string Tenths(double number) {
    std::array<char, 32> text = {};
    (void)std::snprintf(text.data(), text.size(), "%.1f", number);
    return text.data();
}

}  // namespace

const char* VerdictName(verdict what) {
    static constexpr std::array kNames = {"passed", "FAILED", "left out"};
    return kNames.at(static_cast<std::size_t>(what));
}

std::string ToJson(const report_head& head, const std::vector<report_row>& rows) {
    std::string json = "{\n  " + Member("system", head.system) + ",\n  " + Member("version", head.version) +
                       ",\n  " + Member("day", head.day) + ",\n  \"steps\": [";
    const char* separator = "\n    ";
    for (const auto& [which, seen] : rows) {
        json.append(std::exchange(separator, ",\n    "));
        json += "{" + Member("name", which->name) + ", " + Member("claim", which->claim) + ", " +
                Member("how", which->how) + ", " + Member("verdict", VerdictName(seen.what)) + ", " +
                Member("text", seen.text) + ", \"seconds\": " + Tenths(seen.seconds) + "}";
    }
    return json + "\n  ]\n}\n";
}

std::string ToMarkdown(const report_head& head, const std::vector<report_row>& rows) {
    std::string text = head.system + ", version " + head.version + ", " + head.day +
                       ":\n\n| step | claim | result | seen |\n|---|---|---|---|\n";
    for (const auto& [which, seen] : rows) {
        text += std::string("| `") + which->name + "` | " + which->claim + " | " + VerdictName(seen.what) +
                " | " + Cell(seen.text) + " (" + Tenths(seen.seconds) + " s) |\n";
    }
    return text;
}

}  // namespace brivelnox::acceptance
