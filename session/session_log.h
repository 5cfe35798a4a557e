#pragma once

#include "print_to_syslog.h"

/// Notes a failure of the session.
inline void logError(const char *function, const char *message)
{
    printToSyslog("LOG_ERR", "TR069Module", function, message);
}
