// Pictures are coded in memory and written as one piece, so that a full disk is told as such.
#include "apps/kann/picture_format.h"

#include "apps/kann/failure.h"
#include "apps/kann/options.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>

namespace kann {

namespace {

constexpr auto formats = std::to_array<PictureFormat>({
    {"png", ".png", ".png", KB_FORMAT_PNG},
    {"jpeg", ".jpg", ".jpg .jpeg", KB_FORMAT_JPEG},
    {"tiff", ".tif", ".tif .tiff", KB_FORMAT_TIFF},
    {"bmp", ".bmp", ".bmp", KB_FORMAT_BMP},
    {"pdf", ".pdf", ".pdf", formatPdf},
});

} // namespace

const PictureFormat& pictureFormatByName(std::string_view name, Documents documents) {
    const auto row = std::ranges::find(formats, name, &PictureFormat::name);
    if (row == formats.end() || (row->format == formatPdf && documents == Documents::no))
        throw UsageError{"no picture format \"" + std::string(name) + "\""};
    return *row;
}

const PictureFormat& pictureFormatOf(std::string_view path, Documents documents) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::error_code error;
    const auto type = std::filesystem::status(path, error).type();
    const bool stream = type != std::filesystem::file_type::regular && type != std::filesystem::file_type::not_found;
    if (path == "-" || (extension.empty() && stream)) extension = formats[0].extension;
    std::ranges::transform(extension, extension.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    for (const PictureFormat& row : formats) {
        if (row.format == formatPdf && documents == Documents::no) continue;
        if (hasWord(row.extensions, extension)) return row;
    }
    throw UsageError{"the extension of \"" + std::string(path) + "\" names no picture format; use --format"};
}

void savePicture(const Bitmap& picture, int format, OutputFile& output, const KernelSaveOptions* options) {
    HGLOBAL block = nullptr;
    std::size_t size = 0;
    check(K_SaveMemory(&picture.record, format, options, &block, &size), output.name());
    const std::unique_ptr<KbMemory, HGLOBAL (*)(HGLOBAL)> owner(block, GlobalFree);
    output.write(std::span(static_cast<const std::uint8_t*>(GlobalLock(block)), size));
}

} // namespace kann
