#pragma once

#include "api/types.h"

/// The path has room for MAX_PATH characters.
BOOL PathAppendW(wchar_t* path, const wchar_t* more);
