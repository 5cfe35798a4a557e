#pragma once

/// The HTTP diagnostics run mode ("-http_diagnostic"): times one download or upload (TR-143) and
/// writes what it measured to "/var/tmp/httpdiag_record", as one line of 13 numbers in the order of
/// HttpDiagRecord's fields. The line is written also when the test failed, but not for an incomplete command
/// line.
///
/// "-get" URL or "-put" FILE choose the test, "-dest" URL and "-o" FILE give the other side. A download
/// creates FILE empty and discards what arrives; an upload sends "-len" N bytes (a text without digits counts
/// as 0) and does not look at FILE. A server that closes while it is sent ends the process by SIGPIPE,
/// without a record.
///
/// @param argv  options from argv[2] on
/// @return the process result: 0; or -1 for an incomplete command line, an upload without a length of 0 or
/// more, a failed connection or send, or a status other than 200, which also prints "Connect Fail!" unless it
/// is 204 or 201
int TR143_HTTPDiagnostics_main(int argc, char **argv);
