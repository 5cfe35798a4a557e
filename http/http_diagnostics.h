#pragma once

#include <cstdint>

// The time stamps and byte counts of one HTTP test (TR-143), taken while the client works.

/// What a test measured. All fields are zero until their mark is taken; a time stamp is gettimeofday's, its
/// microseconds are nudged by the marks and may pass 999,999.
struct HttpDiagRecord {
    int32_t tcpOpenRequestSeconds;
    int32_t tcpOpenRequestMicroseconds;
    int32_t tcpOpenResponseSeconds;
    int32_t tcpOpenResponseMicroseconds;
    int32_t requestSeconds;
    int32_t requestMicroseconds;
    int32_t beginSeconds;
    int32_t beginMicroseconds;
    int32_t endSeconds;
    int32_t endMicroseconds;
    int32_t bytesReceived; ///< heads included; the low 32 bits of the sum
    int32_t spareCount;
    int32_t bytesSent; ///< heads included; the low 32 bits of the sum
};

extern HttpDiagRecord gHttpDiagRecord;

enum class HttpDiagMark {
    tcpOpenRequest = 0,
    tcpOpenResponse = 1,
    request = 2,
    begin = 3,
    end = 4,
    bytesSent = 5,
    bytesReceived = 6,
    spare = 7
};

/// Takes one mark into gHttpDiagRecord; the callers ask only while a diagnostics run is on.
///
/// @param count  bytes, for the three counts; the time stamps do not use it
void recordHttpMark(HttpDiagMark mark, int32_t count = 0);
