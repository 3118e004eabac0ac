// For tests that say nothing under valgrind (scripts/with-valgrind), or take too long there.
#pragma once

#include <cstdlib>

#include <gtest/gtest.h>

/// Leaves the test out there; `why` is shown.
#define NOT_UNDER_VALGRIND(why)                                                                                        \
    if (std::getenv("LUMOADMIN_UNDER_VALGRIND") != nullptr)                                                            \
    GTEST_SKIP() << (why)
