#pragma once

#include <cstddef>

/// Runs one session with the server: start-up, Inform, requests, clean-up.
///
/// @return 1 at every end of a session, a good one included; the bus's own error when it cannot be joined.
/// Exits with
///         0, after the usage text, when no "-u" was given and there is no URL, no credential or no
///         connection
int tr069_daemon_main(int argc, char **argv);

/// Releases what the session holds: option texts, session state, bus registration, connection. The caller
/// then calls http_destroy.
void tr069_cleanup();

/// Prints a line for the signal and exits with its number, without clean-up.
[[noreturn]] void termination_handler(int signalNumber);

/// One-shot time-out handler: cleans up and exits with the signal number the first time. Nothing arms it.
void catch_alarm(int signalNumber);

/// Copies the text behind a name and a TAB in the environment file; it is not cut at the line's end.
///
/// @param name         found as a plain substring, wherever it stands first
/// @param destination  at least length bytes; terminated only when the text is shorter
/// @param length       bytes to copy at most
/// @return destination; null when the environment cannot be read, or holds no such name or no TAB behind it
char *read_env_str(const char *name, char *destination, size_t length);
