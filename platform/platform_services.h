#pragma once

// The gateway's platform services, a closed library: its calls as this executable uses them. It is linked as
// the shared object libplatform_services.so, so that another one with this interface can take its place
// without a rebuild.

#ifdef __cplusplus
extern "C" {
#endif

// Message bus.

/// Joins the bus as the given module. Returns 0, or the bus's own error.
int MSG_RegModule(int module, int flags);

/// Leaves the bus. The result is not used.
int MSG_UnregModule(int module, int flags);

/// Tells the bus that this module is up. The result is not used.
int MSG_AllModStartOK(void);

/// A new, zeroed message of 16 + bodyLength bytes, or null. It goes back with MSG_ReleaseMessage.
void *MSG_CreateMessage(unsigned int bodyLength);

/// Sends a message, which stays the caller's to release. Returns 0, or the bus's own error.
int MSG_SendMessage(void *message);

/// Stores the next message for this module; the caller gives it back with MSG_ReleaseMessage.
/// Returns 0, or the bus's own error, and then nothing is stored.
int MSG_ReceiveMessage(void **message, int timeout);

/// Gives a message back to the bus.
int MSG_ReleaseMessage(void *message);

// Credentials.

/// Non-zero when text is Base64.
int Safe_CheckBase64Encode(const char *text);

/// Decodes text into buffer, NUL-terminated, and returns the length written. The call has no bound of its
/// own: the caller makes sure that the buffer holds the result.
int Safe_Base64Decode(const char *text, char *buffer);

/// A client nonce for HTTP Digest: a new heap text (free).
char *CalcNonce(void);

/// The Digest response with qop (RFC 2617 section 3.2.2.1), lower-case hexadecimal: a new heap text (free).
/// The same pointer is stored in response: one text, freed once. A null argument counts as "".
char *CalcDigest(const char *username, const char *password, const char *realm, const char *uri,
                 const char *nonce, const char *qop, const char *nonceCount, const char *clientNonce,
                 const char *method, char **response);

// Configuration store and flash items: 0 on success.

int CFG_LibInit(void);
int CFG_SetNodeVal(const char *path, const char *value);
int CFG_SaveCfg(void);
int CFG_LibFinal(void);

/// Stores length bytes of value as the flash item.
int app_item_save(const char *value, const char *item, int length);

/// Runs a shell command.
int kvrSystem(const char *command, int flag);

#ifdef __cplusplus
}
#endif
