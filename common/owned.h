#pragma once

#include <cstdlib>
#include <memory>
#include <type_traits>

/// An owned pointer inside a function body: releases with the record's own free function on every early
/// return. Hand-over to the caller is release(). The deleter has no state, so an Owned is as large as a
/// pointer.
template <typename T, void (*freeFunction)(T *)>
using Owned = std::unique_ptr<T, std::integral_constant<void (*)(T *), freeFunction>>;

inline void freeText(char *text)
{
    free(text);
}

/// A heap text (malloc, free).
using OwnedText = Owned<char, freeText>;
