// The process, its files and its images.
#include "tests/apps/kann_process.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void redirect(const std::string& path, int flags, int target) {
    const int file = ::open(path.c_str(), flags, 0600);
    if (file < 0 || ::dup2(file, target) < 0) ::_exit(126);
    ::close(file);
}

} // namespace

void KannTest::TearDown() {
    for (const auto& entry : fs::recursive_directory_iterator(folder_.path)) {
        EXPECT_FALSE(entry.path().filename().string().starts_with(".kann-")) << "left behind: " << entry.path();
    }
}

KannResult KannTest::kann(const std::vector<std::string>& arguments, const std::string& input) const {
    const TemporaryFolder streams;
    const std::string in = streams.file("in"), out = streams.file("out"), err = streams.file("err");
    std::ofstream(in, std::ios::binary) << input;
    std::vector<char*> words{const_cast<char*>(KB_KANN)};
    for (const std::string& argument : arguments) words.push_back(const_cast<char*>(argument.c_str()));
    words.push_back(nullptr);

    const pid_t child = ::fork();
    if (child == 0) {
        if (::chdir(folder_.path.c_str()) != 0) ::_exit(126);
        redirect(in, O_RDONLY, STDIN_FILENO);
        redirect(out, O_WRONLY | O_CREAT | O_TRUNC, STDOUT_FILENO);
        redirect(err, O_WRONLY | O_CREAT | O_TRUNC, STDERR_FILENO);
        ::execv(KB_KANN, words.data());
        ::_exit(127);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    KannResult result{WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), readFile(out), readFile(err)};
    return result;
}

std::string KannTest::done(const std::vector<std::string>& arguments) const {
    const KannResult result = kann(arguments);
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
}

std::string KannTest::read(const std::string& name) const { return readFile(path(name)); }

void KannTest::write(const std::string& name, std::string_view bytes) const {
    std::ofstream(path(name), std::ios::binary) << bytes;
}

bool KannTest::exists(const std::string& name) const { return fs::exists(path(name)); }

void saveBitmap(const std::string& path, int width, int height, int bits, int format,
                const std::function<void(KernelBitmap&)>& fill, const KernelSaveOptions* pOptions) {
    KernelBitmap bitmap{};
    ASSERT_EQ(K_CreateBitmap(&bitmap, 1, width, height, bits, KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0, 0), SUCCESS);
    fill(bitmap);
    EXPECT_EQ(K_SaveFile(path.c_str(), &bitmap, format, pOptions), SUCCESS) << path;
    K_FreeBitmap(&bitmap);
}

void KannTest::makeImage(const std::string& name, int width, int height, int bits) const {
    const int format = name.ends_with(".tif") ? KB_FORMAT_TIFF : name.ends_with(".bmp") ? KB_FORMAT_BMP : KB_FORMAT_PNG;
    saveBitmap(path(name), width, height, bits, format, [](KernelBitmap& bitmap) {
        for (int y = 0; y < bitmap.Height; ++y) {
            std::uint8_t* row = K_WritableBitmapRow(&bitmap, y);
            for (int i = 0; i < bitmap.Width * bitmap.BitsPerPixel / 8; ++i)
                row[i] = static_cast<std::uint8_t>(255 - (i * 3 + y * 5) % 64);
        }
    });
}

void KannTest::makeScan(const std::string& name, int pages) const {
    KernelSaveOptions options{};
    K_DefaultSaveOptions(&options, sizeof options);
    for (int page = 1; page <= pages; ++page) {
        saveBitmap(
            path(name), 64, 48, 1, KB_FORMAT_TIFF,
            [page](KernelBitmap& bitmap) {
                bitmap.XResolution = bitmap.YResolution = 300;
                for (int y = 0; y < bitmap.Height; ++y) {
                    for (int i = 0; i < 8; ++i)
                        K_WritableBitmapRow(&bitmap, y)[i] =
                            i == 0 ? static_cast<std::uint8_t>(0x7F >> page) : std::uint8_t{0xFF};
                }
            },
            &options);
        options.uFlags = SAVE_INSERTPAGE;
        options.nPageNumber = -1;
    }
}

std::vector<std::uint8_t> KannTest::pixels(const std::string& name, int page) const {
    KernelLoadOptions options{};
    K_DefaultLoadOptions(&options, sizeof options);
    options.nPageNumber = page;
    KernelBitmap loaded{}, bitmap{};
    std::vector<std::uint8_t> result;
    if (K_LoadFile(path(name).c_str(), &loaded, 0, 0, &options, nullptr) == SUCCESS &&
        K_NormalizeBitmap(&loaded) == SUCCESS && K_ChangeBitmapDepth(&loaded, &bitmap, 24, 0, 0, 0, 0, 0, 0) == SUCCESS) {
        for (int y = 0; y < bitmap.Height; ++y) {
            for (int x = 0; x < bitmap.Width; ++x) {
                const COLORREF color = K_GetBitmapPixel(&bitmap, y, x);
                result.insert(result.end(), {GetBValue(color), GetGValue(color), GetRValue(color)});
            }
        }
    }
    K_FreeBitmap(&loaded);
    K_FreeBitmap(&bitmap);
    return result;
}

KernelFileInfo KannTest::fileInfo(const std::string& name, int page) const {
    KernelLoadOptions options{};
    K_DefaultLoadOptions(&options, sizeof options);
    options.nPageNumber = page;
    KernelFileInfo info{};
    EXPECT_EQ(K_FileInfo(path(name).c_str(), &info, 0, &options), SUCCESS) << name;
    return info;
}
