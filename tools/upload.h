#pragma once

/// Sends a local file to a URL with PUT, over a connection of its own that is closed on return. The platform
/// finds the reason of a failure in the upload's flag file (writeUploadErrorFlag): 401 when the server
/// refused the credentials twice, 1 when it could not be connected or for every other failed exchange.
///
/// @param username  null: the request goes without credentials
/// @param password  may be null
/// @param fileName  a regular file; may be empty. It leaves with its request head in one write, so at most
/// what one takes
///                  (on Linux 2,147,479,552 bytes, head included)
/// @return 0 when the server answered 200 or 201; else -1. A file that cannot be read leaves the flag file
/// alone. A server that closes while the file is sent ends the process by SIGPIPE, without a result
int uploadFile(const char *url, const char *username, const char *password, const char *fileName);
