#pragma once

/// Connects to the server with the URL and credentials of the command line, or else the backend's. A user
/// name or password that is Base64 is decoded; either is cut at 255 bytes. Once the connection was tried, the
/// option texts are freed.
///
/// @param tempDir  not used
/// @param url      null: ask the backend
/// @return 0; non-zero when the URL or a credential is missing or the connection fails
int getHTTPSHandler(const char *tempDir, const char *url);
