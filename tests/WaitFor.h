// Waiting for a condition in a test, with the failure reported to the test framework: the toolkit's own
// waiting checks record a failure only in the toolkit's test log, which these tests do not read, so a test
// that used them could pass while its condition never came.
#pragma once

#include <QTest>
#include <gtest/gtest.h>

// Waits up to `ms` milliseconds for the condition, handling events meanwhile; fails the test without it.
#define WAIT_FOR(condition, ms) \
    ASSERT_TRUE(QTest::qWaitFor([&] { return bool(condition); }, ms)) << #condition

// Waits up to `ms` milliseconds for `actual` to equal `expected`; fails the test, showing both, without it.
#define WAIT_EQ(actual, expected, ms)                                                   \
    do {                                                                                \
        (void)QTest::qWaitFor([&] { return bool((actual) == (expected)); }, ms);        \
        ASSERT_EQ(actual, expected);                                                    \
    } while (0)
