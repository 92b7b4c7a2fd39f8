#include "shim/misuse.h"

#include <cstdio>
#include <cstdlib>

namespace brivelnox::native {

void Misuse(const char* what) {
    (void)std::fprintf(stderr, "==== misuse of the Windows interface: %s\n", what);
    std::abort();
}

}  // namespace brivelnox::native
