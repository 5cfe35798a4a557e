#pragma once

// The ring in which the server's requests wait. A request arrives as the answer to a post, so posting an
// answer also queues the request that comes back.

constexpr int kRingSlots = 10;

extern char *gSOAPReqBuf[kRingSlots]; ///< owned, NUL-terminated bodies, or null
extern int gSOAPReqBuf_Count; ///< slot last written; -1 at start and after slot 9; -2 marks the ring as full
extern int gSOAPReqBuf_RefCount; ///< slot last taken out; -1 at start and after slot 9

/// Posts the pieces as one message and queues the server's reply. A reply that asks for the message again
/// (fault 8005) is answered by posting it again, a bounded number of times.
///
/// @param pieces       NUL-terminated texts, posted end to end; borrowed
/// @param totalLength  the sum of their lengths in bytes
/// @return the HTTP status of the last post that was answered, -1 when its answer did not come whole; 0 when
/// nothing
///         could be sent or the ring was full (nothing is posted then); 1 for no pieces, a total that does
///         not agree with them, or when memory runs out
int sendSoapMsgBuf(const char *const *pieces, int totalLength, int pieceCount);

/// Looks for a SOAP Fault in a received body, which is parsed in place and stays parseable. A Fault takes the
/// pending TransferComplete away.
///
/// @param body  may be null
/// @return 0 when it is no Fault; the CWMP code of its detail; 1 for a Fault without a positive code
int getResponseFaultCode(char *body);
