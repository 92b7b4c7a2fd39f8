// Whole lives of calls on a line: the softphone's reports, the applications' requests and what TAPI does from
// inside its event procedure, in any order (call_sequence.h tells how an input is written).

#include <cstddef>
#include <cstdint>

#include "call_sequence.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    brivelnox::fuzz::call_sequence sequence({reinterpret_cast<const char*>(data), size});
    sequence.Play();
    return 0;
}
