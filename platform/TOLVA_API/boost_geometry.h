#pragma once
// Boost.Geometry for the kernel's polygon work. Its set operations and buffer
// on double polygons trip GCC's maybe-uninitialized analysis inside the
// envelope code (a false alarm of the optimiser, reported where a file
// instantiates them), so the warning is off for every file that includes
// this header.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <boost/geometry.hpp>
