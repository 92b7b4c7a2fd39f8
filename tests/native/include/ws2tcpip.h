#pragma once

#include "winsock2.h"

/// IPv4 addresses only.
int inet_pton(int family, const char* text, void* address);
