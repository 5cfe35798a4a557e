#pragma once

/// Fetches a URL into a local file with GET, over a connection of its own that is closed on return. The file
/// is written afresh, but only once the server could be connected.
///
/// The transfer tool does not learn the server's status: whatever it answers (404 as well), and also no
/// answer at all or a body that broke off, counts as fetched, and the file holds the body of that answer. A
/// diagnostics run does learn it.
///
/// @param username  null: the request goes without credentials
/// @param password  may be null
/// @return 0, also when the reconnect after a first 401 failed; or -1 when the first connection failed, the
/// file could not be opened or not take everything, the request could not be sent, or in a diagnostics run
/// for a status other than 200
int downloadFile(const char *url, const char *username, const char *password, const char *fileName);

/// In a diagnostics run, prints "Connect Fail!" for the status of a failed test, unless it is 204 or 201.
void printConnectFailure(int status);
