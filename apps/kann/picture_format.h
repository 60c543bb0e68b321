// Formats that a picture is written in, by name and by the extension of a file.
#pragma once

#include "apps/kann/image_load.h"
#include "apps/kann/output_file.h"

#include <string>
#include <string_view>

namespace kann {

struct PictureFormat {
    std::string_view name;
    std::string_view extension;  // of new files
    std::string_view extensions; // that name it, separated by blanks
    int format;                  // KB_FORMAT_*, or formatPdf
};

// Not a format of raster files: pages that are drawn (page_output.h).
inline constexpr int formatPdf = -1;

enum class Documents : bool { no, yes };

// Throw UsageError for what isn't one, and for documents where they aren't wanted. Standard output, pipes and devices are PNG.
const PictureFormat& pictureFormatByName(std::string_view name, Documents documents = Documents::no);
const PictureFormat& pictureFormatOf(std::string_view path, Documents documents = Documents::no);

// `options` null: the format's defaults.
void savePicture(const Bitmap& picture, int format, OutputFile& output, const KernelSaveOptions* options = nullptr);

} // namespace kann
