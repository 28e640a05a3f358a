#pragma once

// What the throwing test provider exports so that a test can hold its
// enumeration of Test_Slow at a known point instead of timing it: while held,
// an enumeration of Test_Slow announces that it has started and waits until
// the test releases it. The provider library exports these functions with C
// linkage; a test reaches them through dlsym on the library the server has
// loaded (see SlowEnumerationsHeld in HttpFrontEndTest.cpp).
//
// Threads: all three may be called from any thread. One hold at a time.

// From now on, enumerations of Test_Slow wait when they start.
#define KEST_TEST_HOLD_SLOW_ENUMERATIONS "kest_test_hold_slow_enumerations"
using KestTestHoldSlowEnumerations = void (*)();

// Waits until a held enumeration of Test_Slow has started, one more than
// the calls before had waited for (so the second call waits for a second
// enumeration); returns whether one did. The limit of 30 seconds only keeps a broken test from hanging.
#define KEST_TEST_AWAIT_SLOW_ENUMERATION "kest_test_await_slow_enumeration"
using KestTestAwaitSlowEnumeration = bool (*)();

// Lets the held enumerations go on, and stops holding later ones.
#define KEST_TEST_RELEASE_SLOW_ENUMERATIONS "kest_test_release_slow_enumerations"
using KestTestReleaseSlowEnumerations = void (*)();
