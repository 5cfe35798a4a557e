#pragma once

// Every ceiling of this folder on what a message sizes.

/// Times its own size that a header may make the reader scan and copy; one that asks for more is refused. An
/// end tag repeats the value read last, so a text inside n nested elements is copied n times, and elements
/// that share one ">" each search for it. An ordinary header stays below three.
constexpr int kMostHeaderCopies = 8;

/// Bytes of an array type that a report shows; the rest is left out. A report comes with each odd attribute,
/// and a type may be as long as the message.
constexpr int kMostTypeShown = 256;
