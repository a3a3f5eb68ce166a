#pragma once

// Catch2 of either major version that distributions ship.
#if __has_include(<catch2/catch_all.hpp>)
#include <catch2/catch_all.hpp>
using Catch::Approx;
#else
#include <catch2/catch.hpp>
#endif
