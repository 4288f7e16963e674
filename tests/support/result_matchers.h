// Result codes compared by name, so that a failing test says "E_BAD_DATA" and not a number.
#pragma once

#include <gtest/gtest.h>

#include "foundation/result.h"

#define EXPECT_RESULT(expected, expr) EXPECT_EQ(ResultName(expected), ResultName(expr))
#define ASSERT_RESULT(expected, expr) ASSERT_EQ(ResultName(expected), ResultName(expr))
#define EXPECT_OK(expr) EXPECT_RESULT(S_OK, expr)
#define ASSERT_OK(expr) ASSERT_RESULT(S_OK, expr)
