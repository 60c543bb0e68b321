// Writer of marks. What a mark holds is put together in a buffer that is used again for each; images, which can be large,
// and the reduced record go to the stream by themselves. An image is written from the packed copy that the kernel makes, so
// hiding the pixels of a locked redaction never touches the object's own.
#include "contracts/raster_kernel.h"
#include "persist/wang_form.h"
#include "persist/wang_types.h"
#include "store/geometry.h"
#include "store/tree.h"

#include "platform/user.h"

#include <algorithm>
#include <charconv>
#include <new>
#include <vector>

namespace kbann {
namespace {

constexpr std::string_view groupName{"[Untitled]\0", 11};
constexpr size_t imageFacts = 56; // rotation code, scale, resolutions twice, 32 bytes of 0
constexpr uint32_t uprightCode = 1;
constexpr uint32_t paletteBits = 8;
constexpr int32_t anyCharSet = DEFAULT_CHARSET;

// A packed image, unlocked and freed at the end.
class PackedImage {
public:
    explicit PackedImage(const KernelBitmap& bitmap)
        : handle_(K_BitmapToDIBHandle(&bitmap)), bytes_(handle_ ? static_cast<uint8_t*>(GlobalLock(handle_)) : nullptr) {}
    PackedImage(const PackedImage&) = delete;
    PackedImage& operator=(const PackedImage&) = delete;
    ~PackedImage() {
        if (bytes_) GlobalUnlock(handle_);
        if (handle_) GlobalFree(handle_);
    }
    bool exists() const { return bytes_ != nullptr; }
    const uint8_t* bytes() const { return bytes_; }
    size_t size() const { return headBytes() + rowBytes() * height(); }

    // Hides each row by itself, as in the other forms; scratch has room for one.
    void scrambleRows(uint8_t* scratch) {
        uint8_t* row = bytes_ + headBytes();
        for (size_t i = 0; i < height(); ++i, row += rowBytes()) {
            annScramble(scratch, row, rowBytes());
            std::copy_n(scratch, rowBytes(), row);
        }
    }
    size_t rowBytes() const { return (size_t{annLittleU32(bytes_ + 4)} * bits() + 31) / 32 * 4; }

private:
    uint32_t bits() const { return annLittleU16(bytes_ + 14); }
    size_t height() const { return annLittleU32(bytes_ + 8); }
    size_t headBytes() const {
        const uint32_t told = annLittleU32(bytes_ + 32);
        const size_t colors = bits() > paletteBits ? 0 : told ? told : size_t{1} << bits();
        return sizeof(BITMAPINFOHEADER) + colors * sizeof(RGBQUAD);
    }

    HGLOBAL handle_;
    uint8_t* bytes_;
};

class MarkWriter {
public:
    MarkWriter(AnnStream& stream, bool bPure) : stream_(stream), restWriter_(stream), bPure_(bPure) {}

    int mark(AnnObject& object) {
        const WangKind kind = annWangKindOf(object);
        if (bPure_ && !kind.bInPure) return SUCCESS;
        const WangAttributes attributes = attributesOf(object, kind);
        buffer_.clear();
        if (!any_) header();
        any_ = true;
        word(wangBlockMark);
        const auto record = annWangEncode(attributes);
        word(static_cast<uint32_t>(record.size()));
        bytes(record);
        block(wang_name::group, groupName.size());
        bytes(groupName);
        object.nSaveId = counter_++;
        index(object.nSaveId);
        if (object.bitmap.Allocated && (!bPure_ || pureMarksHaveItsImage(object.nType))) {
            if (const int code = image(object, kind); code != SUCCESS) return code;
        }
        if (kind.path != WangPath::none) points(object, kind.path, attributes.bounds);
        if (kind.bText) text(object.pszText);
        if (const int code = flush(); code != SUCCESS) return code;
        return bPure_ ? SUCCESS : rest(object);
    }

    int end() {
        if (!any_) return wangNothing;
        return annCut(stream_) ? SUCCESS : ERROR_FILE_WRITE;
    }

private:
    static bool pureMarksHaveItsImage(uint32_t nType) {
        return nType == ANN_OBJECT_STAMP || nType == ANN_OBJECT_POINT || nType == ANN_OBJECT_PUSHPIN;
    }

    static WangAttributes attributesOf(const AnnObject& object, const WangKind& kind) {
        WangAttributes a;
        a.uType = static_cast<int32_t>(kind.uType);
        annDeviceRect(object, identityMatrix, a.bounds, nullptr, 0);
        COLORREF first = object.crFore, second = object.crBack;
        if (kind.uType == wangFilledRect || kind.uType == wangNote) std::swap(first, second);
        if (object.nType == ANN_OBJECT_BUTTON) first = GetSysColor(COLOR_BTNFACE);
        a.color1 = static_cast<int32_t>(annSwapColor(first));
        a.color2 = static_cast<int32_t>(annSwapColor(second));
        a.bHighlighting = object.nROP2 == ANN_ROP2_AND;
        a.bTransparent = object.bTransparent != 0;
        a.bVisible = object.bVisible != 0;
        switch (kind.lineSize) {
        case WangLineSize::none: break;
        case WangLineSize::one: a.lineSize = 1; break;
        case WangLineSize::own: a.lineSize = annRound(object.dLineWidth); break;
        }
        if (object.pszFontName && !object.isContainer()) {
            a.fontHeight = annRound(object.dFontSize);
            a.fontWeight = object.bFontBold > 0 ? FW_BOLD : FW_NORMAL;
            a.italic = object.bFontItalic != 0;
            a.underline = object.bFontUnderline != 0;
            a.strikeOut = object.bFontStrikeThrough != 0;
            a.charSet = anyCharSet;
            std::ranges::copy(object.pszFontName.view().substr(0, a.face.size() - 1), a.face.begin());
        }
        return a;
    }

    void word(uint32_t value) {
        uint8_t little[4];
        annPutLittleU32(little, value);
        buffer_.insert(buffer_.end(), little, little + sizeof little);
    }
    template <class Bytes> void bytes(const Bytes& run) { buffer_.insert(buffer_.end(), std::begin(run), std::end(run)); }
    void zeros(size_t count) { buffer_.resize(buffer_.size() + count); }

    void header() {
        word(0);
        word(wangWideMark);
    }

    void block(std::string_view name, size_t size) {
        word(wangBlockNamed);
        word(wangNameField);
        bytes(name);
        zeros(wangNameBytes - name.size());
        word(static_cast<uint32_t>(size));
    }

    void index(uint32_t number) {
        char digits[wangIndexBytes] = {};
        std::to_chars(digits, digits + sizeof digits, number);
        block(wang_name::index, wangIndexBytes);
        bytes(digits);
    }

    int image(const AnnObject& object, const WangKind& kind) {
        const KernelBitmap& bitmap = object.bitmap;
        if (kind.uType == wangImage || kind.uType == wangLinkedImage) {
            block(wang_name::points, imageFacts);
            const auto across = static_cast<uint32_t>(bitmap.XResolution), down = static_cast<uint32_t>(bitmap.YResolution);
            const uint32_t facts[] = {uprightCode, wangScale, across, down, across, down};
            for (const uint32_t fact : facts) word(fact);
            zeros(imageFacts - sizeof facts);
        }
        PackedImage packed(bitmap);
        if (!packed.exists() || packed.size() > UINT32_MAX) return ERROR_NO_MEMORY;
        if (object.nType == ANN_OBJECT_REDACT && object.pszLockKey) {
            uint8_t* row = scratch_.room(packed.rowBytes());
            if (!row) return ERROR_NO_MEMORY;
            packed.scrambleRows(row);
        }
        block(wang_name::dib, packed.size());
        if (const int code = flush(); code != SUCCESS) return code;
        return annWriteAll(stream_, packed.bytes(), packed.size()) ? SUCCESS : ERROR_FILE_WRITE;
    }

    void points(const AnnObject& object, WangPath path, const RECT& bounds) {
        annWangPathOf(object, path, path_);
        const auto count = static_cast<uint32_t>(path_.size());
        block(wang_name::points, wangPointsHeader(WangLayout::wide) + path_.size() * wangPointBytes(WangLayout::wide));
        word(count);
        word(count);
        // Around the end of 32 bits, as reading adds.
        for (const POINT& p : path_) {
            word(static_cast<uint32_t>(p.x) - static_cast<uint32_t>(bounds.left));
            word(static_cast<uint32_t>(p.y) - static_cast<uint32_t>(bounds.top));
        }
    }

    void text(const Text& text) {
        const size_t size = size_t{text.length()} + 1;
        block(wang_name::text, wangTextHeader(WangLayout::wide) + size);
        for (const uint32_t value : {0u, wangScale, wangScale, static_cast<uint32_t>(size)}) word(value);
        bytes(text.view());
        zeros(1);
    }

    // The size stands in front and is known behind.
    int rest(const AnnObject& object) {
        block(wang_name::rest, 0);
        if (const int code = flush(); code != SUCCESS) return code;
        const uint64_t start = stream_.uPos;
        if (const int code = annWriteObject(restWriter_, object, STREAM_REDUCED); code != SUCCESS) return code;
        if (restWriter_.finish() != SUCCESS) return ERROR_FILE_WRITE;
        const uint64_t end = stream_.uPos;
        uint8_t size[4];
        annPutLittleU32(size, static_cast<uint32_t>(end - start));
        if (!annSeekTo(stream_, start - sizeof size)) return ERROR_FILE_SEEK;
        if (!annWriteAll(stream_, size, sizeof size)) return ERROR_FILE_WRITE;
        return annSeekTo(stream_, end) ? SUCCESS : ERROR_FILE_SEEK;
    }

    int flush() {
        const bool written = annWriteAll(stream_, buffer_.data(), buffer_.size());
        buffer_.clear();
        return written ? SUCCESS : ERROR_FILE_WRITE;
    }

    AnnStream& stream_;
    TextWriter restWriter_;
    bool bPure_;
    bool any_ = false;
    uint32_t counter_ = 0;
    std::vector<uint8_t> buffer_;
    std::vector<POINT> path_;
    Scratch scratch_;
};

int writeMarks(MarkWriter& writer, AnnObject& top, const WriteFilter& filter) {
    std::vector<bool> selectedOnly{filter.bSelected}; // of the list that the walk is in and of those around it
    AnnObject* record = &top;
    for (;;) {
        const bool onlySelected = selectedOnly.back();
        if (record->pFirstChild) {
            if (const int code = writer.mark(*record); code != SUCCESS) return code;
            selectedOnly.push_back(onlySelected && !record->bSelected);
            record = record->pFirstChild;
            continue;
        }
        if ((!onlySelected || record->bSelected) && (!filter.bCheckMenu || annMenuItemEnabled(*record, filter.nMenuItem))) {
            if (const int code = writer.mark(*record); code != SUCCESS) return code;
        }
        while (record != &top && !record->pNext) {
            record = record->pParent;
            selectedOnly.pop_back();
        }
        if (record == &top) return writer.end();
        record = record->pNext;
    }
}

} // namespace

int annWangWriteTree(AnnStream& stream, AnnObject& object, const WriteFilter& filter, bool bPure) {
    try {
        MarkWriter writer(stream, bPure);
        return writeMarks(writer, object, filter);
    } catch (const std::bad_alloc&) {
        return ERROR_NO_MEMORY;
    }
}

} // namespace kbann
