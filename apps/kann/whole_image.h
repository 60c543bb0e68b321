// Image files that are read as a whole and written as a whole: the commands that must leave nothing behind never copy or
// append bytes. What goes along is the pixels, resolution, orientation, compression and a sound colour profile.
#pragma once

#include "apps/kann/batch.h"
#include "apps/kann/image_load.h"
#include "apps/kann/output_file.h"

#include <optional>
#include <string>
#include <vector>

namespace kann {

struct WholeImage {
    InputFile file; // in memory
    int format = KB_FORMAT_UNKNOWN;
    int pages = 1;

    KernelFileInfo info(int page) const;
    SIZE viewedSize(int page) const;
    // A preview or a mask of another page, which isn't a page of the document.
    bool isSidePage(int page) const;
    // More than 8 bits a sample that a load cuts to 8.
    bool losesDepth(int page) const;
};
// Throws Failure for what is no image.
WholeImage readWholeImage(const std::string& name);
WholeImage wholeImageOf(InputFile file);

struct WholePage {
    Bitmap bitmap;
    int compression = 0;       // KB_COMPRESS_*
    Bytes profile;             // empty without
    bool dropsProfile = false; // there was one that can't be taken along
};
// The pages of a result: those of the image but for previews and masks, which would show what is covered; these are told.
// Throws Failure for a file whose chain of pages breaks: what stands behind would be lost.
std::vector<int> documentPages(const WholeImage& image, JobLog& log);
// Tells what a page has and the result won't: inks, further samples, half a resolution, the shape of its pixels, a profile.
void warnOfLosses(const WholeImage& image, int page, bool dropsProfile, JobLog& log);

// At most 8 bits, and the palette is the plain ramp of grey, either way round.
bool hasRamp(const KernelBitmap& b);
// The page's colour profile with nothing but its colours; empty bytes without one, nothing when it can't be taken along.
std::optional<Bytes> profileOf(const WholeImage& image, int page, bool isGrey);
WholePage loadWholePage(const WholeImage& image, int page);

// Adds a page behind those that are there: the first one makes the file. TIFF alone takes more than one.
void addWholePage(const WholePage& page, int format, bool isFirst, OutputFile& output);

// The format of a result: --format, else OUT's extension; with several inputs the input's own.
int wholeFormat(const WholeImage& image, const std::string& format, const std::string& output, bool several);

} // namespace kann
