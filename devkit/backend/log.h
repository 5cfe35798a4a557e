#pragma once

#include <string>

// The log: one line per event, "2026-01-31T12:00:00.123Z text". Each line leaves in one write, so that a kill
// loses none.

/// Sends the log to a file, appending; without this call it goes to standard error.
/// Throws std::runtime_error when the file cannot be opened.
void openLog(const std::string &path);

/// Writes one line; bytes that are no printable ASCII appear as \xHH.
void writeLog(const std::string &text);

/// The current UTC time as a dateTime value, with milliseconds when asked for.
std::string formatNow(bool withMilliseconds);
