#pragma once

#include <cstdint>

/// One part of a split text; points into the text.
struct SplitField {
    char *data;
    int32_t length; ///< bytes; may be 0
    SplitField *next;
};

/// The parts of a split text in its order, freed with ILibFreeSplitResults.
struct SplitResults {
    SplitField *first; ///< never null
    SplitField *last;  ///< never null
    int32_t count;     ///< at least 1
};

/// Splits a text wherever the delimiter stands. Parts may be empty; the text behind the last delimiter is
/// always the last part, so that a text without one is one part.
///
/// @param text             borrowed: must outlive the results
/// @param offset           bytes to skip at its beginning
/// @param length           bytes to split from there on
/// @param delimiterLength  bytes of the delimiter; below 1 nothing is split off
/// @return freed by the caller with ILibFreeSplitResults; null when memory runs out
SplitResults *ILibSplitText(char *text, int offset, int length, const char *delimiter, int delimiterLength);

/// As ILibSplitText, but a delimiter between single or double quotes does not split. A quote is closed by its
/// own kind only; one that is never closed reaches to the end of the text.
SplitResults *ILibSplitTextQuoted(char *text, int offset, int length, const char *delimiter,
                                  int delimiterLength);

/// Frees the parts and the results, not the text; accepts null.
void ILibFreeSplitResults(SplitResults *results);

/// Takes blanks and backspaces off both ends of a counted text; tabs are meant to stay, since tags have
/// theirs turned into blanks before. A text of nothing else stays as it is.
///
/// @param text    moved past the leading ones
/// @param length  bytes
/// @return the new length
int ILibTrimBlanks(char **text, int length);
