#pragma once

/// Writes a text with its quotes, "<", ">" and "&" as the five entities that XML predefines (XML 1.0, 4.6),
/// and a NUL behind it. No other byte is changed or checked.
///
/// @param out  six bytes for each byte of the text and one more are always enough; ILibXmlEscapeLength + 1 is
/// exact
/// @param in   NUL-terminated; must not overlap out
/// @return bytes written, without the NUL
int ILibXmlEscape(char *out, const char *in);

/// The bytes that ILibXmlEscape writes for the text, without the NUL.
int ILibXmlEscapeLength(const char *in);

/// Turns the five predefined entities back into their bytes, in place and in one pass: what an entity leaves
/// is not looked at again. Any other "&" stays, numeric references included.
///
/// @param text  NUL-terminated, writable
/// @return the new length; the text is terminated there
int ILibInPlaceXmlUnEscape(char *text);
