#pragma once

#include <cstdint>

/// One element of a SOAP header, received or to be sent.
struct SoapHeaderEntry {
    char *name;  ///< local name, e.g. "ID"; owned; null only in an entry that could not be completed
    char *value; ///< element text, "" when it has none; owned; null as for name
    int32_t mustUnderstand; ///< 1 when the element carries (or is to carry) mustUnderstand="1", else 0
    SoapHeaderEntry *next;
};

/// Frees a list of header entries along next. Accepts null.
void freeSoapHdr(SoapHeaderEntry *list);
