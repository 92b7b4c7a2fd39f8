#pragma once

// The part of the Windows interface that the provider and its tests use, for a Linux build of them under the
// sanitizers. Names, types and values are Windows' own, behind them are POSIX calls (../shim). Only wchar_t
// differs: it has 32 bits here.

#include "api/types.h"
// After the types.
#include "api/files.h"
#include "api/modules.h"
#include "api/registry.h"
#include "api/synchronisation.h"
#include "api/text.h"
#include "api/time.h"
