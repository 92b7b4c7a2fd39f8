#include "tests/benchmark/log_script.h"

#include <algorithm>
#include <string_view>

namespace brivelnox::benchmark {

namespace {

constexpr std::string_view kLineEnd = "\r\n";

std::size_t LinesIn(std::string_view bytes) {
    return static_cast<std::size_t>(std::ranges::count(bytes, kLineEnd.back()));
}

}  // namespace

log_script ToScript(const std::string& bytes, const std::vector<std::size_t>& sizes) {
    log_script script;
    std::size_t at = 0;
    for (std::size_t end = bytes.find(kLineEnd); end != std::string::npos; end = bytes.find(kLineEnd, at)) {
        end += kLineEnd.size();
        script.lines.push_back(bytes.substr(at, end - at));
        at = end;
    }
    for (const std::size_t size : sizes) {
        script.moments.push_back(LinesIn(std::string_view(bytes).substr(0, size)));
    }
    if (script.moments.empty()) {
        script.moments.push_back(script.lines.size());
    }
    script.moments.erase(std::ranges::unique(script.moments).begin(), script.moments.end());
    return script;
}

}  // namespace brivelnox::benchmark
