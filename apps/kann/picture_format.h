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
    int format;                  // KB_FORMAT_*
};

// Throw UsageError for what isn't one. Standard output, pipes and devices are PNG.
const PictureFormat& pictureFormatByName(std::string_view name);
const PictureFormat& pictureFormatOf(std::string_view path);

void savePicture(const Bitmap& picture, int format, OutputFile& output);

} // namespace kann
