#pragma once

#include <cstdlib>

/// For tests of what holds for every value (files that end in LawsTest.cpp, built where RapidCheck
/// is installed): the same values in each run, so that a test which passes goes on passing. Others,
/// or more of them, with RC_PARAMS in the environment: RC_PARAMS="seed=7 max_success=100000".
namespace Tallowmere::platform::testing {

/// Before RapidCheck looks at its parameters, which it does once.
inline const int kLawsAreSeeded = ::setenv("RC_PARAMS", "seed=20261121 max_success=300", 0);

}  // namespace Tallowmere::platform::testing
