// Reading of files, images and stores for all commands. Pages of a store are counted by asking for them: only the library
// knows its forms. A page exists unless the answer is that it isn't there, so that a broken page counts.
#include "apps/kann/image_load.h"

#include "apps/kann/failure.h"
#include "apps/kann/flatten.h"
#include "apps/kann/page_slices.h"
#include "apps/kann/vector_image.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace kann {

namespace {

constexpr std::string_view nativeHeader = "KBANNBEGIN";
constexpr std::string_view codedHeader = "KBANNBEGINCODED";
constexpr int maxPages = 1 << 24;

class Descriptor {
public:
    explicit Descriptor(int value, bool close = true) : value_(value), close_(close) {}
    ~Descriptor() {
        if (close_ && value_ >= 0) ::close(value_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return value_; }

private:
    int value_;
    bool close_;
};

Bytes readDescriptor(int descriptor, std::string_view name, std::size_t count) {
    Bytes bytes;
    while (bytes.size() < count) {
        const std::size_t piece =
            std::min<std::size_t>(count - bytes.size(), std::max<std::size_t>(1 << 16, bytes.size() / 2));
        const std::size_t before = bytes.size();
        bytes.resize(before + piece);
        const ssize_t got = ::read(descriptor, bytes.data() + before, piece);
        if (got < 0 && errno == EINTR) {
            bytes.resize(before);
            continue;
        }
        if (got < 0) throw systemFailure(name, ERROR_FILE_READ, errno);
        bytes.resize(before + static_cast<std::size_t>(got));
        if (got == 0) break;
    }
    return bytes;
}

KernelLoadOptions pageOptions(int page) {
    KernelLoadOptions options{};
    K_DefaultLoadOptions(&options, sizeof options);
    options.nPageNumber = page;
    options.uMaxPixels =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(limits().maxPixels, std::numeric_limits<std::uint32_t>::max()));
    return options;
}

struct ObjectCount {
    std::uint64_t objects = 0, limit = 0;
};

int countObject(HANNOBJECT, void* user) {
    auto* count = static_cast<ObjectCount*>(user);
    return ++count->objects > count->limit ? ERROR_NO_MEMORY : SUCCESS;
}

int loadPage(const Bytes& data, int page, HANNOBJECT* root) {
    if (data.size() >= std::numeric_limits<std::uint32_t>::max()) return ERROR_NO_MEMORY;
    const KernelLoadOptions options = pageOptions(page);
    return K_AnnLoadMemory(data.data(), static_cast<std::uint32_t>(data.size()), root, &options);
}

int loadStoredPage(const Store& store, int page, HANNOBJECT* root) {
    if (!store.inTag) {
        if (const auto number = static_cast<std::size_t>(page); number > 0 && number < store.pageEdges.size()) {
            const Bytes slice = slicedPage(store.data, store.pageEdges[number - 1], store.pageEdges[number]);
            if (loadPage(slice, 1, root) == SUCCESS) return SUCCESS;
            // What a broken page gives is for the library to tell, with all that lies behind.
        }
        return loadPage(store.data, page, root);
    }
    if (page != 1) return ERROR_PAGE_NOT_FOUND;
    if (store.form != StoreForm::wang) return loadPage(store.data, page, root);
    // Marks are placed by the size and resolution of their image, so the library reads them from the TIFF itself.
    const KernelLoadOptions options = pageOptions(store.tagPage);
    return K_AnnLoad(InputPath(store.file).get(), root, &options);
}

} // namespace

Limits& limits() {
    static Limits values;
    return values;
}

InputFile openInput(const std::string& name) {
    InputFile input{name, name, {}, false};
    if (name == "-") {
        input.name = "standard input";
        input.bytes = readDescriptor(STDIN_FILENO, input.name, SIZE_MAX);
        input.inMemory = true;
        return input;
    }
    if (name == "DUMMY") input.path = "./DUMMY"; // the bare name means the thread's memory file
    const Descriptor file(::open(input.path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    if (file.get() < 0 || ::fstat(file.get(), &status) != 0) throw systemFailure(name, ERROR_FILE_OPEN, errno);
    if (S_ISDIR(status.st_mode)) throw systemFailure(name, ERROR_FILE_OPEN, EISDIR);
    if (!S_ISREG(status.st_mode)) {
        input.bytes = readDescriptor(file.get(), name, SIZE_MAX);
        input.inMemory = true;
    }
    return input;
}

Bytes readStart(const InputFile& input, std::size_t count) {
    if (input.inMemory) {
        return {input.bytes.begin(), input.bytes.begin() + static_cast<std::ptrdiff_t>(std::min(count, input.bytes.size()))};
    }
    const Descriptor file(::open(input.path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.get() < 0) throw systemFailure(input.name, ERROR_FILE_OPEN, errno);
    return readDescriptor(file.get(), input.name, count);
}

Bytes readAll(const InputFile& input) { return readStart(input, SIZE_MAX); }

InputPath::InputPath(const InputFile& input)
    : path_(input.inMemory ? "DUMMY" : input.path.c_str()), inMemory_(input.inMemory) {
    if (inMemory_) check(K_BeginMemoryFile(&saved_, input.bytes.data(), input.bytes.size()), input.name);
}

InputPath::~InputPath() {
    if (inMemory_) K_EndMemoryFile(&saved_, 0, 0, SUCCESS);
}

bool isTiff(const InputFile& input) {
    const Bytes start = readStart(input, recognizedBytes);
    return K_RecognizeFormat(start.data(), start.size()) == KB_FORMAT_TIFF;
}

KernelFileInfo imageInfo(const InputFile& input, int page) {
    const InputPath path(input);
    const KernelLoadOptions options = pageOptions(page);
    KernelFileInfo info{};
    check(K_FileInfo(path.get(), &info, 0, &options), input.name, page > 1 ? "page " + std::to_string(page) : std::string());
    return info;
}

int imagePages(const InputFile& input) { return imageInfo(input, 1).nPages; }

Bitmap loadImage(const InputFile& input, int page) {
    const Bytes start = readStart(input, recognizedBytes);
    if (start.empty()) throw failure(input.name, ERROR_FILE_READ, "the file is empty");
    const int format = K_RecognizeFormat(start.data(), start.size());
    if (format == KB_FORMAT_UNKNOWN) throw failure(input.name, ERROR_FILE_FORMAT, "not an image");
    if (vectorSize().width > 0 && page == 1 && (format == KB_FORMAT_WMF || format == KB_FORMAT_EMF))
        return loadAtWidth(input);
    Bitmap bitmap;
    const KernelLoadOptions options = pageOptions(page);
    const InputPath path(input);
    const int code = K_LoadFile(path.get(), &bitmap.record, 0, 0, &options, nullptr);
    if (code == SUCCESS) return bitmap;
    if (code == ERROR_NO_MEMORY) throw failure(input.name, code, "see --max-pixels and --max-memory");
    throw failure(input.name, code, page > 1 ? "page " + std::to_string(page) : std::string());
}

std::string_view formName(StoreForm form) {
    constexpr std::array<std::string_view, 4> names{"unknown", "native", "coded", "wang"};
    return names[static_cast<std::size_t>(form)];
}

// The header of marks is all but empty, so the block behind it counts too: pictures begin alike.
bool startsMarks(const Bytes& bytes) {
    constexpr std::uint32_t looseBlock = 2, mark = 5, namedBlock = 6, attributes = 164, olderAttributes = 138;
    const auto word = [&bytes](std::size_t at) {
        return bytes[at] | std::uint32_t{bytes[at + 1]} << 8 | std::uint32_t{bytes[at + 2]} << 16 |
               std::uint32_t{bytes[at + 3]} << 24;
    };
    if (bytes.size() < 8 || word(4) > 1) return false;
    if (bytes.size() < 16) return bytes.size() == 8;
    if (word(8) == mark) return word(12) == attributes || word(12) == olderAttributes;
    return word(8) == looseBlock || word(8) == namedBlock;
}

StoreForm recognizeStore(const Bytes& bytes) {
    if (startsMarks(bytes)) return StoreForm::wang;
    std::string_view line(reinterpret_cast<const char*>(bytes.data()), std::min<std::size_t>(bytes.size(), 80));
    line = line.substr(0, line.find_first_of("\r\n"));
    if (line == nativeHeader) return StoreForm::native;
    return line == codedHeader ? StoreForm::coded : StoreForm::unknown;
}

Bytes readTag(const InputFile& input, int page) {
    imageInfo(input, page); // a page that isn't there is a failure, a tag that isn't there is none
    const InputPath path(input);
    const KernelLoadOptions options = pageOptions(page);
    std::uint16_t type = 0;
    std::uint32_t count = 0;
    HGLOBAL hTag = nullptr;
    const int size = K_LoadFileTag(path.get(), ANN_TAG_TIFF, &type, &count, &hTag, &options);
    if (!hTag) return {};
    const auto* bytes = static_cast<const std::uint8_t*>(GlobalLock(hTag));
    Bytes data(bytes, bytes + size);
    GlobalFree(hTag);
    return data;
}

Store openStore(InputFile file, int tagPage) {
    Store store;
    store.inTag = isTiff(file);
    store.tagPage = tagPage;
    store.data = store.inTag ? readTag(file, tagPage) : readAll(file);
    if (!store.inTag && store.data.empty()) throw failure(file.name, ERROR_FILE_READ, "the file is empty");
    store.form = recognizeStore(store.data);
    if (store.form == StoreForm::unknown && !store.data.empty())
        throw failure(file.name, ERROR_FILE_READ, "not annotation data");
    // The coded form has pages since a link record, with the number 52, stands behind its first line.
    const std::size_t behindHeader = codedHeader.size() + 2;
    const bool linked = store.form == StoreForm::coded && store.data.size() > behindHeader + 1 &&
                        store.data[behindHeader] == 52 && store.data[behindHeader + 1] == 0;
    store.version = store.form == StoreForm::native || linked ? 13 : 12;
    store.file = std::move(file);
    return store;
}

int countPages(const Store& store) {
    if (store.data.empty()) return 0;
    if (store.inTag || store.version == 12) return 1;
    const auto exists = [&store](int page) {
        HANNOBJECT root = nullptr;
        const int code = loadStoredPage(store, page, &root);
        const Tree tree(root);
        return code != ERROR_PAGE_NOT_FOUND;
    };
    if (store.form == StoreForm::native) {
        // The library has the last word: where its count is another one, pages are loaded its way.
        if (store.pageEdges.empty()) {
            std::vector<std::size_t> edges = findPageEdges(store.data);
            const auto pages = static_cast<int>(edges.size()) - 1;
            if (pages > 1 && pages < maxPages && exists(pages) && !exists(pages + 1)) store.pageEdges = std::move(edges);
        }
        if (!store.pageEdges.empty()) return static_cast<int>(store.pageEdges.size()) - 1;
    }
    int known = 1, missing = 2;
    while (missing < maxPages && exists(missing)) {
        known = missing;
        missing *= 2;
    }
    while (missing - known > 1) {
        const int middle = known + (missing - known) / 2;
        (exists(middle) ? known : missing) = middle;
    }
    return known;
}

void checkPages(const Store& store) {
    HANNOBJECT root = nullptr;
    const int code = loadStoredPage(store, maxPages, &root);
    const Tree tree(root);
    if (code != ERROR_PAGE_NOT_FOUND) check(code, store.file.name);
}

Tree loadTree(const Store& store, int page) {
    if (store.data.empty()) return {};
    HANNOBJECT root = nullptr;
    const int code = loadStoredPage(store, page, &root);
    Tree tree(root);
    check(code, store.file.name, code == ERROR_PAGE_NOT_FOUND ? "page " + std::to_string(page) : std::string());
    if (!tree) return tree;
    ObjectCount count{0, limits().maxObjects};
    if (const int walked = K_AnnEnumerate(root, countObject, &count, ANN_FLAG_RECURSE, nullptr); walked != SUCCESS) {
        throw failure(store.file.name, walked, "more than " + std::to_string(count.limit) + " objects, see --max-objects");
    }
    return tree;
}

int countPagesOrImages(const Store& store) { return store.inTag ? imagePages(store.file) : countPages(store); }

Tree loadPageOrImage(const Store& store, int page) {
    if (!store.inTag) return loadTree(store, page);
    if (Tree tree = loadTree(openStore(store.file, page), 1)) return tree;
    const KernelFileInfo info = imageInfo(store.file, page);
    const AnnRect all{0, 0, double(info.nWidth), double(info.nHeight)};
    HANNOBJECT root = nullptr;
    check(K_AnnCreateContainer(nullptr, &all, TRUE, &root), store.file.name);
    return Tree(root);
}

SavedPages::SavedPages(std::uint32_t form, std::string_view file, const Bytes& old) : form_(form), file_(file) {
    if (old.empty()) return;
    block_ = GlobalAlloc(GMEM_MOVEABLE, old.size());
    if (!block_) throw failure(file, ERROR_NO_MEMORY);
    std::memcpy(GlobalLock(block_), old.data(), old.size());
    GlobalUnlock(block_);
}

SavedPages::~SavedPages() {
    if (block_) GlobalFree(block_);
}

void SavedPages::save(HANNOBJECT root, std::uint32_t flags, int page) {
    KernelSaveOptions options{};
    K_DefaultSaveOptions(&options, sizeof options);
    if (form_ == ANN_FMT_WANGTAG) bringToRoot(root, file_);
    options.uFlags = flags;
    options.nPageNumber = page;
    HGLOBAL block = std::exchange(block_, nullptr);
    const int code = K_AnnSaveMemory(root, form_, FALSE, &block, &size_, block ? &options : nullptr);
    // A failed save takes the block along, unless the object was refused at once; a handle that is dead by now is refused too.
    if (code != SUCCESS && block) GlobalFree(block);
    check(code, file_, code == ERROR_PAGE_NOT_FOUND ? "page " + std::to_string(page) : std::string());
    if (!block) throw failure(file_, ERROR_FEATURE_NOT_SUPPORTED, "nothing in it can be a mark of other tools");
    block_ = block;
}

void SavedPages::append(HANNOBJECT root) {
    if (form_ != ANN_FMT_NATIVE || !block_) return save(root, SAVE_INSERTPAGE, -1);
    // As the only page of data without pages, since the first page of a new whole may be written otherwise.
    const Bytes empty(pagelessText.begin(), pagelessText.end());
    const Bytes page = saveTree(root, form_, empty, SAVE_INSERTPAGE, -1, file_);
    behind_.insert(behind_.end(), page.begin() + static_cast<std::ptrdiff_t>(empty.size()), page.end());
    if (size_ + behind_.size() >= std::numeric_limits<std::uint32_t>::max()) throw failure(file_, ERROR_NO_MEMORY);
}

Bytes SavedPages::bytes() const {
    const auto* data = block_ ? static_cast<const std::uint8_t*>(GlobalLock(block_)) : nullptr;
    if (!data) return {};
    Bytes bytes;
    bytes.reserve(size_ + behind_.size());
    bytes.assign(data, data + size_);
    bytes.insert(bytes.end(), behind_.begin(), behind_.end());
    GlobalUnlock(block_);
    return bytes;
}

Bytes saveTree(HANNOBJECT root, std::uint32_t form, const Bytes& old, std::uint32_t flags, int page, std::string_view file) {
    SavedPages pages(form, file, old);
    pages.save(root, flags, page);
    return pages.bytes();
}

} // namespace kann
