#pragma once

// The platform interface as this library defines it: its calls, and no other symbol, are visible outside.
#pragma GCC visibility push(default)
#include "platform_services.h"
#pragma GCC visibility pop
