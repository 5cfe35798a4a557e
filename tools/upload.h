#pragma once

/// Sends a local file to a URL with PUT, over a connection of its own that is closed on return. The platform
/// finds the reason of a failure in the upload's flag file (writeUploadErrorFlag): 401 when the server
/// refused the credentials twice, 1 when it could not be connected or for every other failed exchange.
///
/// @param username  null: the request goes without credentials
/// @param password  may be null
/// @param fileName  at most INT_MAX bytes; may be empty
/// @return 0 when the server answered 200 or 201; else -1. A file that cannot be read leaves the flag file
/// alone
int uploadFile(const char *url, const char *username, const char *password, const char *fileName);
