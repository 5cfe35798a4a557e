#pragma once

#include <cstdint>
#include <cstdio>

// The one HTTP connection of the process, over plain TCP: to the ACS in a session, to a file server in a tool
// run. Everything is process-wide and single-threaded. Writing to a connection that the server has closed
// raises SIGPIPE, which ends the process: that is meant.

struct HttpHead;

/// Bytes of the host and of the path buffer, terminator included; a longer host or path is a failed URL.
constexpr int kHttpNameSize = 256;

/// Bytes of the receive buffer, and of the request head's unless it needs more.
constexpr int kHttpBufferSize = 2048;

/// The connection.
struct HttpSession {
    int socket;               ///< descriptor; -1 when closed
    char host[kHttpNameSize]; ///< of the last URL parsed
    unsigned char address[4]; ///< IPv4, network order: the first that name resolution gave
    int port;                 ///< 0 to 65535; 80 unless the URL has another
    char path[kHttpNameSize]; ///< of the last URL that had one: from its first "/", query included
    char *cookie;             ///< owned, or null: sent with each request, dropped with the connection
    int lastStatus;           ///< 401 between a first 401 and its resend, else 0; see http_send_empty
    bool closeRequested;      ///< the server announced that it closes; cleared by a reconnect
    const char *connection;   ///< static: the text of the "Connection:" header
};

/// What the tools say about the transfer at hand; a session leaves all of it at rest.
struct HttpTransfer {
    FILE *downloadFile;    ///< where answer bodies go, borrowed from the tool; null: into memory. A failed
                           ///< write stays visible in ferror, and nothing more is written after it
    bool uploadInProgress; ///< a second 401 writes the upload's flag file, and clears this
    bool configurationDownload; ///< cleared by each 401 of a download
    bool diagnostics;           ///< marks go to gHttpDiagRecord (http_diagnostics.h)
    bool diagnosticsDownload;   ///< bodies are counted and discarded, downloadFile stays empty
};

constexpr int kHttpAuthBasic = 0;
constexpr int kHttpAuthDigest = 1;
constexpr int kHttpAuthNone = 255; ///< no challenge seen yet

/// The stored challenge and credentials (RFC 2617, Basic: section 2, Digest: section 3).
///
/// An offset points to a NUL-terminated value in the challenge; 0 says that the key was never seen. Offsets
/// outlive their challenge: a key missing from a later one keeps its old offset, which may lie past the new
/// end.
struct HttpAuthState {
    char *challenge;     ///< owned, or null: the header value, separators and closing quotes made NULs
    int challengeLength; ///< bytes of challenge, without its terminator
    int type;            ///< kHttpAuthBasic, kHttpAuthDigest or kHttpAuthNone
    uint16_t realm;
    uint16_t nonce;
    uint16_t opaque;
    uint16_t qop;
    uint16_t algorithm;
    uint16_t uri;
    char *username; ///< owned, or null: stored by http_init, freed by http_destroy
    char *password; ///< owned, or null: may be null where there is a username
};

extern HttpSession gHttpSession;
extern HttpTransfer gHttpTransfer;
extern HttpAuthState gHttpAuth;

/// Request method of every sender, static text: "POST" at start; a tool sets "PUT" or "GET".
extern const char *s_pcTr069Method;

// The connection.

/// Opens the connection: parses the URL, stores the credentials, connects. Four nulls connect again to the
/// address of the last URL.
///
/// @param url       null: the last one parsed holds
/// @param username  null: the stored credentials stay
/// @param password  looked at only with a username; may be null
/// @param caFile    accepted and not used: there is no TLS
/// @return 0; or -1 for a bad URL, no memory, no socket, or a failed connect, which prints the system's error
/// and leaves the socket open for the next call
int http_init(const char *url, const char *username, const char *password, const char *caFile);

/// Frees the stored username and password. Does not close the connection.
/// @return 0
int http_destroy();

/// Ends the session's connection.
void CloseHttpSession();

/// Closes the connection if it is open, and drops the cookie: a reconnect starts without one.
void http_close();

/// Splits "http://HOST[:PORT][/PATH]" and resolves the host. The scheme's case does not matter.
///
/// @param host     kHttpNameSize bytes
/// @param address  4 bytes, network order
/// @param path     kHttpNameSize bytes; left as it is when at most a "/" follows the host
/// @param port     80 when the URL has none, 0 when no digit follows the colon
/// @return 0; or -1 for another scheme, an empty or unknown host, a host or path that does not fit, or a port
/// that is none. The slots may be half written then
int http_parse_url(const char *url, char *host, unsigned char *address, char *path, int *port);

/// Waits up to 30 s for the socket to become readable, then reads once; also when the wait failed.
///
/// @param size  bytes of buffer; what the read does not fill is zeroed
/// @return bytes read; 0 at the end of the stream, when the wait timed out, or for a size below 1; -1 when
/// the read failed
int http_read(int descriptor, char *buffer, int size);

/// Writes once, however much the system takes.
/// @return bytes written, or -1
int http_write(int descriptor, const char *buffer, int length);

// The senders: one request, its answer, and one resend after a first 401. Each waits 100 ms before it looks
// for the answer. When the reconnect for the resend fails, each leaves the status slot unwritten, so that the
// caller's initial value speaks.

/// Posts a body by s_pcTr069Method: a CWMP message, or with "PUT" a file.
///
/// @param body    length bytes; may be null when length is 0
/// @param status  receives the HTTP status, -1 when there was no (whole) answer; left unwritten also when
/// memory runs out or the send is short
/// @return the answer's body, NUL-terminated, freed by the caller with free; null when it had none
char *SendSoapMessage(const char *body, int length, int *status);

/// Asks for a download. The answer's body goes to gHttpTransfer.downloadFile; then the result is null.
///
/// Does not take lastStatus back to 0 after an answer other than a second 401.
///
/// @param body    length bytes that follow the head, which always announces 0; normally null and 0
/// @param status  receives -1 when memory runs out or the send is short; the HTTP status only in a
/// diagnostics run, so that any answer, and none at all, leaves the transfer tool's 0 as it was
/// @return as SendSoapMessage
char *http_send_empty(const char *body, int length, int *status);

/// Sends a body of the letter "a".
///
/// @param length  bytes; below 1 nothing is sent, not even the head, and the answer is waited for all the
/// same
/// @param status  as SendSoapMessage's, but receives -1 when memory runs out or a send is short
/// @return as SendSoapMessage
char *http_send_upload(int length, int *status);

/// Writes the upload's result, in decimal, over the file that the platform looks for it in
/// ("/var/tmp/uploadErrFlag"); nothing happens when it cannot be opened.
void writeUploadErrorFlag(int code);

// The answer.

/// Reads one answer from the connection: after 100 ms the head, then the body by its length or by chunks. A
/// body of known length that the server never completes is waited for without an end; anything else that
/// does not come is waited for once.
///
/// @param buffer  size + 1 bytes; a head that does not fit is read as far as it does, and what follows counts
/// as the body
/// @param status  receives the HTTP status (0 for HTTP/1.0); -1 when nothing came, the head could not be
/// stored, its length is none, memory ran out or a chunk broke off; left unwritten when no next chunk came
/// @param length  receives the body's length in bytes, 0 without one
/// @param cookie  the session's cookie, replaced when the answer sets any
/// @return the body, NUL-terminated, freed by the caller with free; null when there is none, on failure, and
/// always when a download file is open
char *http_rcv_parse(char *buffer, int size, int *status, int *length, char **cookie);

/// Reads the head of an answer up to its blank line or a NUL. Header names are case-sensitive, followed by
/// one blank, and found at any position of a line.
///
/// @param text     NUL-terminated
/// @param status   receives the number after "HTTP/1.1 ", else 0
/// @param length   receives the Content-Length, 0 without one; -1 when it is negative or INT_MAX or more
/// @param chunked  receives 1 when the body comes in chunks, else 0
/// @param cookie   an owned text or null; replaced when the answer sets cookies
/// @return behind the blank line, or at the NUL; null when memory runs out for a challenge or a cookie
const char *http_parse_headers(const char *text, int *status, int *length, int *chunked, char **cookie);

// Authentication (RFC 2617).

/// Stores the challenge of a WWW-Authenticate value (section 3.2.1; whatever is no Digest counts as Basic).
///
/// @param value  the header's value; it ends at a CR or a NUL
/// @param end    receives that end, on every path
/// @return 0; or -1 when memory runs out, and then the state is as before
int http_parse_challenge(const char *value, HttpAuthState *auth, const char **end);

/// Appends the credentials and their line end ("Basic ..." for a Basic challenge, section 2, else
/// "Digest ...", section 3.2.2) to a request head. Asks the platform library for the client nonce and the
/// Digest response.
///
/// @return 0; or -1 when memory runs out
int http_build_auth(const HttpAuthState *auth, HttpHead *head);
