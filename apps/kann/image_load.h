// Inputs of commands: files that may be standard input or a pipe, images, and stores of annotation data in any form or in
// the tag of a TIFF. Everything is owned by small records that free themselves.
#pragma once

#include "kbann/kbann.h"
#include "platform/sys.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kann {

using Bytes = std::vector<std::uint8_t>;

// Limits of this run; set before the first input is opened.
struct Limits {
    std::uint64_t maxPixels = std::uint64_t{1} << 28;
    std::uint64_t maxObjects = 1'000'000;
};
Limits& limits();

struct Bitmap {
    KernelBitmap record{};

    Bitmap() = default;
    Bitmap(Bitmap&& other) noexcept : record(std::exchange(other.record, {})) {}
    Bitmap& operator=(Bitmap&& other) noexcept {
        std::swap(record, other.record);
        return *this;
    }
    ~Bitmap() { K_FreeBitmap(&record); }
};

struct Metafile {
    KernelMetafile record{};

    Metafile() = default;
    Metafile(Metafile&& other) noexcept : record(std::exchange(other.record, {})) {}
    Metafile& operator=(Metafile&& other) noexcept {
        std::swap(record, other.record);
        return *this;
    }
    ~Metafile() { K_FreeMetafile(&record); }
};

struct TreeDeleter {
    void operator()(HANNOBJECT root) const { K_AnnDestroy(root, 0); }
};
using Tree = std::unique_ptr<AnnObjectHandle, TreeDeleter>;

// A file to be read. What isn't a regular file is taken into memory.
struct InputFile {
    std::string name; // for messages
    std::string path;
    Bytes bytes;
    bool inMemory = false;
};
// First bytes that tell a format.
inline constexpr std::size_t recognizedBytes = 48;
// "-" is standard input. Throws Failure for what can't be read.
InputFile openInput(const std::string& name);
// Up to `count` bytes from the beginning.
Bytes readStart(const InputFile& input, std::size_t count);
Bytes readAll(const InputFile& input);

// Path of an input for functions that take one; the input is the thread's memory file while this lives.
class InputPath {
public:
    explicit InputPath(const InputFile& input);
    ~InputPath();
    InputPath(const InputPath&) = delete;
    InputPath& operator=(const InputPath&) = delete;
    const char* get() const { return path_; }

private:
    const char* path_;
    KernelMemoryFile saved_{};
    bool inMemory_;
};

Bitmap loadImage(const InputFile& input, int page);
bool isTiff(const InputFile& input);
// Header of a page. Throws Failure.
KernelFileInfo imageInfo(const InputFile& input, int page);
int imagePages(const InputFile& input);

enum class StoreForm : std::uint8_t { unknown, native, coded, wang };
std::string_view formName(StoreForm form);
// By the first bytes.
StoreForm recognizeStore(const Bytes& bytes);

// Annotation data as it lies in a file, or in the tag of one page of a TIFF.
struct Store {
    InputFile file;
    bool inTag = false;
    int tagPage = 1; // page of the TIFF
    Bytes data;      // empty: the TIFF carries none
    StoreForm form = StoreForm::unknown;
    int version = 12;
    mutable std::vector<std::size_t> pageEdges; // of text data; empty until pages are counted, or if they can't be told
};
// tagPage counts for a TIFF alone.
Store openStore(InputFile file, int tagPage);
// Pages of the data, 0 when there is none.
int countPages(const Store& store);
// The same, or the images of a TIFF, each of which has a tag of its own.
int countPagesOrImages(const Store& store);
// Throws Failure for data whose pages can't be told. A paged save takes it for none and would write over it.
void checkPages(const Store& store);
// A page's tree; null when a TIFF carries no data.
Tree loadTree(const Store& store, int page);
// A page of a store, or the tag of an image of a TIFF: an image without one gives an empty tree of its size, so that pages keep
// their images' numbers.
Tree loadPageOrImage(const Store& store, int page);

// The data of the tag of a page, empty when there is none.
Bytes readTag(const InputFile& input, int page);

// Pages saved into one block of memory, one after the other.
class SavedPages {
public:
    // `old`: the data to be paged; empty for a new whole, whose first save makes it.
    SavedPages(std::uint32_t form, std::string_view file, const Bytes& old = {});
    ~SavedPages();
    SavedPages(const SavedPages&) = delete;
    SavedPages& operator=(const SavedPages&) = delete;
    // Flags and page count where there is something to be paged. Pure marks know no containers: for them the tree is changed, so
    // that all stands in the root's space. Throws Failure; the pages are lost then.
    void save(HANNOBJECT root, std::uint32_t flags, int page);
    // Behind the last. Pages of text are saved each by itself: to find their end the library would look through all of them.
    void append(HANNOBJECT root);
    Bytes bytes() const;

private:
    std::uint32_t form_, size_ = 0;
    std::string file_;
    HGLOBAL block_ = nullptr;
    Bytes behind_; // pages of text behind those of the block
};

// One save into memory. `old`: the data to be paged, empty for a new whole; then flags and page count.
Bytes saveTree(HANNOBJECT root, std::uint32_t form, const Bytes& old, std::uint32_t flags, int page, std::string_view file);

} // namespace kann
