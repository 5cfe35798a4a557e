#pragma once

#include "transfers.h"

// The tests of TR-143 that the server asks for, carried out by the executable's diagnostics run mode.

/// A kind of test.
struct DiagnosticsTest {
    const char *object; ///< the path of its parameters
    bool isUpload;
};

/// A test whose DiagnosticsState is "Requested"; null when none is.
const DiagnosticsTest *findRequestedTest(const Gateway &gateway);

/// Makes ready for a test: takes away the record of an earlier one.
Command prepareTest(const Workplace &workplace, const Gateway &gateway, const DiagnosticsTest &test);

/// Reads the record that the run left into the test's parameters, DiagnosticsState included, and raises
/// "8 DIAGNOSTICS COMPLETE".
///
/// @param isGood  the run ended well
void finishTest(Gateway &gateway, const DiagnosticsTest &test, bool isGood);
