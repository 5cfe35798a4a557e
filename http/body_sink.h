#pragma once

enum class BodyPlace { memory, file, nowhere };

/// Where an answer's body goes, piece by piece: into one growing text, into the download file (gathered,
/// since a write for each small read costs a download its time), or nowhere.
///
/// What was taken in is in the file whenever the client is about to wait for more, and at the end.
struct BodySink {
    BodyPlace place;
    int expected; ///< bytes of the whole body, 0 when not known: then the text grows by doubling
    char *bytes;  ///< owned, released by closeBodySink
    int size;     ///< bytes of bytes, without a terminator's
    int used;
    int length; ///< bytes taken in altogether, at most kLongestBody
};

/// The longest body that its length's type can hold with a terminator behind it.
constexpr int kLongestBody = 0x7ffffffe;

/// Room for the next bytes of the body.
///
/// @param wanted  bytes that are still to come, at least 1; they and length stay within kLongestBody
/// @param room    receives how many may be put there, 1 to wanted
/// @return where; null when memory runs out
char *offerRoom(BodySink *sink, int wanted, int *room);

/// Tells that bytes were put into the room offered.
///
/// @param count  bytes; below 1 or fewer than the room: nothing more is there for now
/// @param room   as offered
void takeIn(BodySink *sink, int count, int room);

/// Copies bytes in that are in hand already. False when memory runs out.
bool putBytes(BodySink *sink, const char *bytes, int count);

/// Ends the body: what is gathered goes to the file.
/// @return the text, freed by the caller with free; null when it is empty or went elsewhere
char *closeBodySink(BodySink *sink);

/// Ends a body that came to nothing: as closeBodySink, but no text is left.
void dropBodySink(BodySink *sink);
