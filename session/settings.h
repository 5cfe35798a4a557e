#pragma once

// What the command line sets for this run, and the flags that the files of the session share. All are plain
// globals that live for the whole run. (The connection-request URL and the external address, "-c" and "-e",
// stand with the inform parameters that they change.)

extern int iRunMode; ///< 0 session daemon, 1 transfer tool, 2 HTTP diagnostics

extern const char
    *gAcsUrlOverride; ///< "-u": used in place of the backend's URL; borrowed from argv; null when absent
extern int gRetryCountOverride; ///< "-n": when not 0, the Inform's RetryCount
extern char *gAcsUsername;      ///< "-x": owned; null when absent
extern char *gAcsPassword;      ///< "-y": owned; null when absent
extern char *gStartDelay;       ///< "-r": "1" turns the random start delay on; owned; null when absent
extern int gVerbose;            ///< "-v": received SOAP bodies go to standard output

extern int transferCompletePending; ///< 1 when the Inform carried an event "7 TRANSFER COMPLETE"
extern int sendEmptyPost;           ///< 1 when an empty post is due, to fetch the server's next request
extern int informRetries;           ///< Inform attempts that were answered with a 2xx status
extern int gRebootDone;             ///< 1 once a Reboot was answered

/// Reads the daemon's options into the settings. An option's value is itself tested against the options that
/// follow in the same round, so a value equal to such a name acts as that option. A missing value counts as
/// empty.
///
/// @return 0 always
int parseOptions(int argc, char **argv);

/// Frees and clears the strings of "-x", "-y" and "-r".
void freeOptionTexts();

/// Prints the usage text to standard output.
void printUsage(const char *programName);
