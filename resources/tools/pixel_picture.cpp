#include "resources/tools/pixel_picture.h"

#include "resources/tools/bytes.h"

#include <sstream>
#include <stdexcept>

namespace kbann::pictures {
namespace {

using Rows = std::vector<std::string>;

Rows joined(const std::vector<Rows>& cells) {
    Rows rows(cells[0].size());
    for (const Rows& cell : cells) {
        if (cell.size() != cells[0].size()) throw std::runtime_error("cells differ in height");
        for (size_t row = 0; row < cell.size(); ++row) {
            if (cell[row].size() != cells[0][0].size()) throw std::runtime_error("rows differ in length");
            rows[row] += cell[row];
        }
    }
    return rows;
}

} // namespace

PixelPicture readPixelPicture(std::istream& in) {
    PixelPicture picture;
    std::vector<Rows> cells;
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with("# ") || line.empty()) continue;
        std::istringstream words(line);
        std::string first, second;
        words >> first >> second;
        if (first == "rows" || first == "cell")
            cells.emplace_back();
        else if (!cells.empty())
            cells.back().push_back(line);
        else if (first == "bitmap")
            picture.id = static_cast<unsigned>(std::stoul(second));
        else if (first.size() == 1 && second.size() == 6 && picture.colors.size() < 16) {
            picture.letters += first;
            picture.colors.push_back(static_cast<uint32_t>(std::stoul(second, nullptr, 16)));
        } else
            throw std::runtime_error("not understood: " + line);
    }
    if (!picture.id || cells.empty() || cells[0].empty()) throw std::runtime_error("no picture in it");
    picture.rows = joined(cells);
    for (const auto& row : picture.rows)
        if (row.find_first_not_of(picture.letters) != std::string::npos)
            throw std::runtime_error("a letter without a colour: " + row);
    return picture;
}

std::vector<uint8_t> deviceIndependentBitmap(const PixelPicture& picture) {
    const auto width = static_cast<uint32_t>(picture.rows[0].size()), height = static_cast<uint32_t>(picture.rows.size());
    const uint32_t stride = (width * 4 + 31) / 32 * 4;
    std::vector<uint8_t> bytes;
    putNumber(bytes, 40, 4);
    putNumber(bytes, width, 4);
    putNumber(bytes, height, 4);
    putNumber(bytes, 1, 2);
    putNumber(bytes, 4, 2);
    putNumber(bytes, 0, 4);
    putNumber(bytes, stride * height, 4);
    bytes.resize(bytes.size() + 16);
    for (size_t i = 0; i < 16; ++i) putNumber(bytes, i < picture.colors.size() ? picture.colors[i] : 0, 4);
    for (size_t row = height; row-- > 0;) {
        std::vector<uint8_t> line(stride);
        for (size_t x = 0; x < width; ++x) {
            const size_t index = picture.letters.find(picture.rows[row][x]);
            line[x / 2] = static_cast<uint8_t>(line[x / 2] | index << (x % 2 ? 0 : 4));
        }
        bytes.insert(bytes.end(), line.begin(), line.end());
    }
    return bytes;
}

} // namespace kbann::pictures
