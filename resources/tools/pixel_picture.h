// Readable pixel pictures. Remarks begin with "# "; "bitmap ID"; one line a colour, a letter and RRGGBB, at most 16; then
// "rows" and a letter a pixel. Of a strip, "cell NAME" begins the rows of each cell, which stand side by side.
#pragma once

#include <cstdint>
#include <istream>
#include <string>
#include <vector>

namespace kbann::pictures {

struct PixelPicture {
    unsigned id = 0;
    std::string letters; // in palette order
    std::vector<uint32_t> colors;
    std::vector<std::string> rows; // of equal length, made of those letters
};

// std::runtime_error tells what is wrong with the text.
PixelPicture readPixelPicture(std::istream& in);

// A device-independent bitmap of 4 bits a pixel with 16 colours, rows bottom-up.
std::vector<uint8_t> deviceIndependentBitmap(const PixelPicture& picture);

} // namespace kbann::pictures
