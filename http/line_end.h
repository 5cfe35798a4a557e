#pragma once

/// How far a line end, and with a second one the end of a head, has come.
enum class LineEnd { none, cr, crLf, crLfCr, blankLine };

/// The state after one more byte. A CR or LF out of turn changes nothing; any other byte starts over.
constexpr LineEnd advanceLineEnd(LineEnd state, char c)
{
    if (c != '\r' && c != '\n')
        return LineEnd::none;
    switch (state) {
    case LineEnd::none:
        return c == '\r' ? LineEnd::cr : state;
    case LineEnd::cr:
        return c == '\n' ? LineEnd::crLf : state;
    case LineEnd::crLf:
        return c == '\r' ? LineEnd::crLfCr : state;
    case LineEnd::crLfCr:
        return c == '\n' ? LineEnd::blankLine : state;
    case LineEnd::blankLine:
        break;
    }
    return state;
}
