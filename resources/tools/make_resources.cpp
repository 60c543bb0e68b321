// Makes the library's table of resources at build time: the pixel pictures named, as bitmaps, and the stamps and glyphs,
// which are drawn here, as placeable metafiles. make_resources OUT.cpp PICTURE...
#include "resources/tools/glyphs.h"
#include "resources/tools/pixel_picture.h"
#include "resources/tools/placeable.h"
#include "resources/tools/stamps.h"

#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>

using namespace kbann::pictures;

namespace {

class Table {
public:
    void add(const char* type, unsigned id, const std::string& remark, const std::vector<uint8_t>& bytes) {
        data_ << "// " << remark << "\nalignas(4) constexpr unsigned char resource" << id << "[] = {";
        for (const uint8_t byte : bytes) data_ << unsigned{byte} << ',';
        data_ << "};\n";
        rows_ << "    {" << type << ", " << id << ", sizeof resource" << id << ", resource" << id << "},\n";
    }
    std::string text() const {
        return "// Made by make_resources.\n#include \"resources/resource_table.h\"\n\nnamespace kbann {\nnamespace {\n\n" +
               data_.str() + "\n} // namespace\n\nconst KbResourceEntry annResourceTable[] = {\n" + rows_.str() +
               "};\nconst unsigned annResourceCount = sizeof annResourceTable / sizeof annResourceTable[0];\n\n} // "
               "namespace "
               "kbann\n";
    }

private:
    std::ostringstream data_, rows_;
};

void addPixelPicture(Table& table, const std::string& path) {
    try {
        std::ifstream in(path);
        if (!in) throw std::runtime_error("can't be read");
        const PixelPicture picture = readPixelPicture(in);
        table.add("RT_BITMAP", picture.id, path.substr(path.rfind('/') + 1), deviceIndependentBitmap(picture));
    } catch (const std::exception& fault) {
        throw std::runtime_error(path + ": " + fault.what());
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) return std::cerr << "usage: make_resources OUT.cpp PICTURE...\n", 2;
    try {
        Table table;
        for (int i = 2; i < argc; ++i) addPixelPicture(table, argv[i]);
        for (const auto& pictures : {glyphPictures(), stampPictures()})
            for (const Picture& picture : pictures)
                table.add("RT_RCDATA", picture.id, picture.name, placeableMetafile(picture));
        std::ofstream file(argv[1]);
        file << table.text();
        if (file.flush()) return 0;
        std::cerr << argv[1] << ": can't be written\n";
    } catch (const std::exception& fault) {
        std::cerr << fault.what() << '\n';
    }
    return 1;
}
