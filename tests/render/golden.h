// Golden pictures: drawings compared exactly with PNG files in tests/golden. A failure writes one picture of three panels
// (expected, difference in red, actual) into the build folder's golden/. KB_WRITE_GOLDEN=1 rewrites the ones that differ
// and fails all the same, so that a new baseline can't be taken for a green run.
#pragma once

#include "contracts/raster_io.h"

#include <string>

namespace kbann::test {

// Compares a 24-bit upright BGR bitmap with tests/golden/NAME.png.
void expectGolden(const KernelBitmap& actual, const std::string& name);

} // namespace kbann::test
