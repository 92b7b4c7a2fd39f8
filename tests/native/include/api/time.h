#pragma once

#include "api/types.h"

struct TIME_ZONE_INFORMATION;

void GetSystemTime(SYSTEMTIME* now);
void GetLocalTime(SYSTEMTIME* now);
void GetSystemTimeAsFileTime(FILETIME* now);
ULONGLONG GetTickCount64();
BOOL SystemTimeToFileTime(const SYSTEMTIME* time, FILETIME* file_time);
BOOL FileTimeToSystemTime(const FILETIME* file_time, SYSTEMTIME* time);
LONG CompareFileTime(const FILETIME* left, const FILETIME* right);
/// The zone has to be null: that of the process.
BOOL SystemTimeToTzSpecificLocalTime(const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME* universal,
                                     SYSTEMTIME* local);
BOOL TzSpecificLocalTimeToSystemTime(const TIME_ZONE_INFORMATION* zone, const SYSTEMTIME* local,
                                     SYSTEMTIME* universal);
