#pragma once

// What the session has agreed with the server: three variables, and the device's own requests that still wait
// for an answer, each with the session ID under which it was sent. One store per process.
//
// Names are told by their first characters: "HoldRequests" by 12, "NoMoreRequests" by 14, "ACSMaxEnvelopes"
// by 15, the kind "RPC" by 3; a method name given to a lookup matches every pending method that begins with
// it. The newest pending method is found first. Strings handed out are borrowed: valid until the entry is
// removed or the store closed.

/// Makes the store, all zero, when there is none. Returns 0, or 1 when it cannot be allocated.
int stateMachine_init();

/// Frees the store; harmless when there is none.
void stateMachine_close();

/// Sets a variable, or with kind "RPC" records a pending method. A variable can be set only while it is 0:
/// the first value wins, and a later one is refused without an error.
///
/// @param id  the session ID of a pending method; null is allowed
/// @return 0; 1 when a pending method cannot be allocated; 3 when there is no store
int setState(const char *name, int value, const char *id, const char *kind);

/// Records a pending method. Returns 0; 1 for a null name or when memory runs out (the list is then
/// unchanged).
int setRPCMethodState(const char *name, const char *id);

/// With any kind: removes the newest pending method that begins with name. Without: clears "HoldRequests".
///
/// @return 0; 2 when no such method is pending; 3 when there is no store
int resetState(const char *name, const char *kind);

/// With any kind: 1 when a method that begins with name is pending, else 0. Without: the variable's value
/// (the two flags are 1 only when exactly 1 was set; "ACSMaxEnvelopes" is 0 while unknown).
///
/// @return 2 when there is no store, name is null, or no such variable exists
int getState(const char *name, const char *kind);

/// The session ID of the newest pending method that begins with name, borrowed; null when there is none.
const char *getSessionId(const char *name);

/// The name of the newest pending method whose session ID begins with id, borrowed; null when there is none.
const char *getMethodNameById(const char *id);

/// Non-zero when any method is pending. The store must exist.
int getOutStandingRequests();
