// Makes the library's resource table from the readable pictures: each becomes a device-independent bitmap of 4 bits a pixel
// with 16 colours, rows bottom-up. Run at build time: make_resources OUT.cpp PICTURE...
//
// A picture: remarks begin with "# "; "bitmap ID"; one line a colour, a letter and RRGGBB; "rows", then a letter a pixel.
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

struct Picture {
    unsigned id = 0;
    std::string letters; // in palette order
    std::vector<uint32_t> colors;
    std::vector<std::string> rows;
};

Picture readPicture(const std::string& path) {
    std::ifstream in(path);
    if (!in) throw std::runtime_error("can't be read");
    Picture picture;
    bool inRows = false;
    for (std::string line; std::getline(in, line);) {
        if (inRows) {
            if (!picture.rows.empty() && line.size() != picture.rows[0].size())
                throw std::runtime_error("rows differ in length");
            picture.rows.push_back(line);
            continue;
        }
        if (line.starts_with("# ") || line.empty()) continue;
        std::istringstream words(line);
        std::string first, second;
        words >> first >> second;
        if (first == "rows")
            inRows = true;
        else if (first == "bitmap")
            picture.id = static_cast<unsigned>(std::stoul(second));
        else if (first.size() == 1 && second.size() == 6 && picture.colors.size() < 16) {
            picture.letters += first;
            picture.colors.push_back(static_cast<uint32_t>(std::stoul(second, nullptr, 16)));
        } else
            throw std::runtime_error("not understood: " + line);
    }
    if (!picture.id || picture.rows.empty()) throw std::runtime_error("no picture in it");
    return picture;
}

void put(std::vector<uint8_t>& bytes, uint32_t value, int count) {
    for (int i = 0; i < count; ++i) bytes.push_back(static_cast<uint8_t>(value >> 8 * i));
}

std::vector<uint8_t> makeDib(const Picture& picture) {
    const auto width = static_cast<uint32_t>(picture.rows[0].size()), height = static_cast<uint32_t>(picture.rows.size());
    const uint32_t stride = (width * 4 + 31) / 32 * 4;
    std::vector<uint8_t> bytes;
    put(bytes, 40, 4);
    put(bytes, width, 4);
    put(bytes, height, 4);
    put(bytes, 1, 2);
    put(bytes, 4, 2);
    put(bytes, 0, 4);
    put(bytes, stride * height, 4);
    put(bytes, 0, 16);
    for (size_t i = 0; i < 16; ++i) put(bytes, i < picture.colors.size() ? picture.colors[i] : 0, 4);
    for (size_t row = height; row-- > 0;) {
        std::vector<uint8_t> line(stride);
        for (size_t x = 0; x < width; ++x) {
            const size_t index = picture.letters.find(picture.rows[row][x]);
            if (index == std::string::npos) throw std::runtime_error("a letter without a colour");
            line[x / 2] = static_cast<uint8_t>(line[x / 2] | index << (x % 2 ? 0 : 4));
        }
        bytes.insert(bytes.end(), line.begin(), line.end());
    }
    return bytes;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) return std::cerr << "usage: make_resources OUT.cpp PICTURE...\n", 2;
    std::ostringstream out, table;
    out << "// Made from the pictures in resources/pictures.\n#include \"resources/resource_table.h\"\n\nnamespace kbann "
           "{\nnamespace {\n\n";
    for (int i = 2; i < argc; ++i) {
        try {
            const Picture picture = readPicture(argv[i]);
            out << "alignas(4) constexpr unsigned char bitmap" << picture.id << "[] = {";
            for (const uint8_t byte : makeDib(picture)) out << unsigned{byte} << ',';
            out << "};\n";
            table << "    {RT_BITMAP, " << picture.id << ", sizeof bitmap" << picture.id << ", bitmap" << picture.id
                  << "},\n";
        } catch (const std::exception& fault) {
            std::cerr << argv[i] << ": " << fault.what() << '\n';
            return 1;
        }
    }
    out << "\n} // namespace\n\nconst KbResourceEntry annResourceTable[] = {\n"
        << table.str()
        << "};\nconst unsigned annResourceCount = sizeof annResourceTable / sizeof annResourceTable[0];\n\n} // namespace "
           "kbann\n";
    std::ofstream file(argv[1]);
    file << out.str();
    return file.good() ? 0 : 1;
}
