#pragma once

#include <windows.h>

#include <cstddef>

namespace brivelnox {

/// A field of a TAPI structure that always has the same value.
template <class Structure>
struct fixed_field {
    DWORD Structure::*field;
    DWORD value;
};

/// Writes the fields of a table; all others keep what the caller handed over.
template <class Structure, std::size_t Count>
void WriteFixedFields(Structure& structure, const fixed_field<Structure> (&fields)[Count]) {
    for (const fixed_field<Structure>& row : fields) {
        structure.*row.field = row.value;
    }
}

}  // namespace brivelnox
