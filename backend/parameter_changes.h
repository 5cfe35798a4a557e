#pragma once

// What follows a change of the parameter tree. Neither request has a reply.

/// Makes the backend keep what was set.
///
/// @return 0, 9002 when there is no message, or the bus's own error
int sendCommit();

/// Hands the backend the ParameterKey of the change (TR-069 section A.3.2.1); null counts as "".
///
/// @return as sendCommit
int sendParameterKey(const char *parameterKey);
