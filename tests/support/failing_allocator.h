#pragma once

#include <initializer_list>

// malloc, calloc and realloc of a test-only link (--wrap), which fail on request. C++ new is not touched.

/// From now on the n-th allocation fails (1 is the next one), and with andAllLater every later one too; 0
/// never fails.
void failAllocation(int n, bool andAllLater);

/// Allocations asked for since failAllocation was last called.
int allocationsAsked();

/// Runs the call once for every allocation that it makes, with that one failing, then again with that one and
/// all later ones failing; ends at the first run that asks for fewer.
template <typename Call> void withEveryAllocationFailing(Call call)
{
    for (const bool andAllLater : {false, true}) {
        for (int n = 1;; ++n) {
            failAllocation(n, andAllLater);
            call();
            const int asked = allocationsAsked();
            failAllocation(0, false);
            if (asked < n)
                break;
        }
    }
}
