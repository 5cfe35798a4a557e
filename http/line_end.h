#pragma once

/// How far a line end, and with a second one the end of a head, has come.
enum class LineEnd { none, cr, crLf, crLfCr, blankLine };

/// The state after one more byte. A CR or LF out of turn changes nothing; any other byte starts over.
constexpr LineEnd advanceLineEnd(LineEnd state, char c)
{
    if (c != '\r' && c != '\n')
        return LineEnd::none;
    if (state == (c == '\r' ? LineEnd::none : LineEnd::cr))
        return c == '\r' ? LineEnd::cr : LineEnd::crLf;
    if (state == (c == '\r' ? LineEnd::crLf : LineEnd::crLfCr))
        return c == '\r' ? LineEnd::crLfCr : LineEnd::blankLine;
    return state;
}
