#pragma once

enum class BodyPlace { memory, file, nowhere };

/// Where an answer's body goes, piece by piece: into one growing text, into the download file (gathered,
/// since a write for each small read costs a download its time), or nowhere.
///
/// The file is as long as what was taken in at the end, and whenever the client waits for more: who waits,
/// calls flushBodySink first.
struct BodySink {
    BodyPlace place;
    int expected; ///< bytes of the whole body, 0 when not known: then the text grows by doubling
    char *bytes;  ///< owned, released by closeBodySink
    int size;     ///< bytes of bytes, without a terminator's
    int used;     ///< bytes of it that are filled
    int written;  ///< bytes of used that a file has already
    int length;   ///< bytes taken in altogether, at most kLongestBody
};

/// The longest body that its length's type can hold with a terminator behind it.
constexpr int kLongestBody = 0x7ffffffe;

/// Room for the next bytes of the body.
///
/// @param wanted  bytes that are still to come, at least 1; they and length stay within kLongestBody
/// @param room    receives how many may be put there, 1 to wanted
/// @return where; null when memory runs out
char *offerRoom(BodySink *sink, int wanted, int *room);

/// Tells that count bytes, 1 to all, were put into the room offered.
void takeIn(BodySink *sink, int count);

/// Takes bytes in that are in hand already. False when memory runs out.
bool putBytes(BodySink *sink, const char *bytes, int count);

/// Writes to the file what is gathered for it. A room that was offered stays.
void flushBodySink(BodySink *sink);

/// Ends the body: what is gathered goes to the file.
/// @return the text, freed by the caller with free; null when it is empty or went elsewhere
char *closeBodySink(BodySink *sink);

/// Ends a body that came to nothing: as closeBodySink, but no text is left.
void dropBodySink(BodySink *sink);
