#pragma once

/// Takes the message of a failure point and writes nothing: the messages document the points in the code. It
/// must stay empty and must not become a printf: callers pass null and raw input.
///
/// @param level     "LOG_ERR", "LOG_INFO" or "LOG_DEBUG"
/// @param module    the part of the system that speaks, e.g. "TR069Module"
/// @param function  the caller's own name, or a label
/// @param message   a text, or null
inline void printToSyslog([[maybe_unused]] const char *level, [[maybe_unused]] const char *module,
                          [[maybe_unused]] const char *function, [[maybe_unused]] const char *message)
{
}
