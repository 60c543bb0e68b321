// Runs kann as a process in a folder of its own, and makes the images that it is run on. Every test ends with a look for
// temporary files that were left behind.
#pragma once

#include "contracts/raster_io.h"
#include "tests/temporary_folder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

struct KannResult {
    int status = -1; // 128 and the number above it for a signal
    std::string out, err;
};

class KannTest : public testing::Test {
protected:
    void TearDown() override;

    // Runs kann in the test's folder; a name without a slash is a file there.
    KannResult kann(const std::vector<std::string>& arguments, const std::string& input = {}) const;
    // The same, for steps that have to succeed: gives standard output.
    std::string done(const std::vector<std::string>& arguments) const;

    std::string path(const std::string& name) const { return folder_.file(name); }
    std::string read(const std::string& name) const;
    void write(const std::string& name, std::string_view bytes) const;
    bool exists(const std::string& name) const;

    // One page of a colour that depends on the place; saved by the extension.
    void makeImage(const std::string& name, int width, int height, int bits = 24) const;
    // A TIFF of several one-bit pages, 300 dots an inch, page n with n + 1 black columns.
    void makeScan(const std::string& name, int pages) const;
    // The pixels of an image as 24 bits, rows from the top, blue first; empty when it can't be read.
    std::vector<std::uint8_t> pixels(const std::string& name, int page = 1) const;
    KernelFileInfo fileInfo(const std::string& name, int page = 1) const;

    TemporaryFolder folder_;
};

// Makes a bitmap, hands it to `fill` and saves it.
void saveBitmap(const std::string& path, int width, int height, int bits, int format,
                const std::function<void(KernelBitmap&)>& fill, const KernelSaveOptions* pOptions = nullptr);
