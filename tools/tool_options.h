#pragma once

#include <cstddef>

// The command line of the two tool run modes.

enum class TransferMode { none, download, upload };

/// What the command line asks for. Texts are borrowed from argv, null when absent.
struct ToolOptions {
    TransferMode mode; ///< of the last option that sets one
    const char *url;
    const char *file; ///< the local file
    const char *username;
    const char *password;
    const char *length; ///< bytes of an upload test, in decimal
};

/// An option that takes the next argument as its value.
struct ToolOption {
    const char *name;
    const char *ToolOptions::*value; ///< what the option sets
    TransferMode mode;               ///< the mode that it chooses; none: it leaves the mode alone
};

/// Reads the options from argv[2] on: argv[1] is taken for the run-mode switch, wherever that stands. A later
/// option overrides an earlier one, one without an argument behind it sets its value back to absent, and an
/// argument that is no option of the table is skipped.
///
/// @param count    options in the table
/// @param options  receives what was read, on every path
/// @return true when there are at least 5 arguments in all and they give a mode, a URL and a file
bool readToolOptions(int argc, char **argv, const ToolOption *table, size_t count, ToolOptions *options);
