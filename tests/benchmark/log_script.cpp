#include "tests/benchmark/log_script.h"

#include <string_view>

namespace brivelnox::benchmark {

log_script ToScript(const std::string& bytes, std::size_t size_at_first, std::size_t size_at_last) {
    constexpr std::string_view kLineEnd = "\r\n";
    log_script script;
    std::size_t at = 0;
    for (std::size_t end = bytes.find(kLineEnd); end != std::string::npos; end = bytes.find(kLineEnd, at)) {
        end += kLineEnd.size();
        script.lines.push_back(bytes.substr(at, end - at));
        script.before_first += end <= size_at_first;
        script.before_last += end <= size_at_last;
        at = end;
    }
    return script;
}

}  // namespace brivelnox::benchmark
