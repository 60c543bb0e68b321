// Reader of the token stream, for any dress. What a file claims is held against the bytes that are left before memory is taken for it,
// and blocks nest on the links of the tree that is being built, not on the stack. Enumerated values are kept as they are
// stored, so that a load and a save keep what a newer version has written; drawing takes unknown ones as its default.
#include "contracts/raster_kernel.h"
#include "persist/field_members.h"
#include "persist/native_form.h"
#include "platform/handle_table.h"
#include "store/library.h"
#include "store/tree.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace kbann {
namespace {

constexpr uint32_t paletteBits = 8;
constexpr uint32_t longestSide = 1u << 24;
constexpr double smallestFont = 1.0;
constexpr TypeSet typesOfPointLists =
    typeSet(ANN_OBJECT_FREEHAND, ANN_OBJECT_LINE, ANN_OBJECT_POLYGON, ANN_OBJECT_POLYLINE, ANN_OBJECT_FREEHANDHOTSPOT);
constexpr uint32_t fewestHandles = 4;

bool isStoredDepth(uint32_t bits, uint32_t order) {
    switch (bits) {
    case 1:
    case 4:
    case 8:
    case 16:
    case 24:
    case 32: return true;
    case 12: return order == KB_ORDER_GREY;
    default: return false;
    }
}

template <class Source> struct ObjectReader {
    Source& in;
    AnnObject& object;
    Scratch& scratch;
    bool scrambledPixels = false; // the image has been read before its key

    static int readError(bool ok) { return ok ? SUCCESS : ERROR_FILE_READ; }

    int text(Text& text, bool scrambled) {
        uint32_t length = 0;
        if (!in.textLength(length) || !in.canHold(length)) return ERROR_FILE_READ;
        uint8_t* bytes = scratch.room(length);
        if (!bytes) return ERROR_NO_MEMORY;
        if (!in.run(bytes, length)) return ERROR_FILE_READ;
        if (scrambled) annUnscramble(bytes, length);
        const std::string_view fresh{reinterpret_cast<const char*>(bytes), length};
        if (text && text.view() == fresh) return SUCCESS; // texts that records begin with are shared
        return text.assign(fresh) ? SUCCESS : ERROR_NO_MEMORY;
    }

    int lockKey(Text& key) {
        if (const int code = text(key, true); code != SUCCESS) return code;
        if (!scrambledPixels || !key) return SUCCESS;
        scrambledPixels = false;
        const auto bytes = static_cast<size_t>(object.bitmap.BytesPerLine);
        const size_t bits = static_cast<size_t>(object.bitmap.Width) * static_cast<size_t>(object.bitmap.BitsPerPixel);
        for (int row = 0; row < object.bitmap.Height; ++row) {
            uint8_t* pixels = K_WritableBitmapRow(&object.bitmap, row);
            if (!pixels) return ERROR_NO_MEMORY;
            annUnscramble(pixels, bytes);
            // What pads a row out was hidden too, but packed images don't keep it.
            size_t used = bits / 8;
            if (bits % 8) pixels[used] = static_cast<uint8_t>(pixels[used] & (0xFF00u >> bits % 8)), ++used;
            std::fill(pixels + used, pixels + bytes, uint8_t{0});
        }
        return SUCCESS;
    }

    int bitmap(KernelBitmap& target, bool scrambled) {
        K_FreeBitmap(&target);
        uint32_t bits = 0, width = 0, height = 0, order = 0, perspective = 0;
        for (uint32_t* value : {&bits, &width, &height, &order, &perspective}) {
            if (!in.number(*value)) return ERROR_FILE_READ;
        }
        if (order > KB_ORDER_GREY || perspective > KB_VIEW_LEFT_BOTTOM || !isStoredDepth(bits, order))
            return ERROR_FILE_READ;
        if (!width || width > longestSide || !height || height > longestSide) return ERROR_FILE_READ;
        RGBQUAD palette[1u << paletteBits];
        const bool indexed = bits <= paletteBits;
        if (indexed && !in.run(reinterpret_cast<uint8_t*>(palette), (uint64_t{1} << bits) * sizeof(RGBQUAD)))
            return ERROR_FILE_READ;
        const uint64_t rowBytes = (uint64_t{width} * bits + 31) / 32 * 4;
        if (!in.canHold(rowBytes * height)) return ERROR_FILE_READ;

        KernelBitmap made{};
        int code = K_CreateBitmap(&made, 1, static_cast<int>(width), static_cast<int>(height), static_cast<int>(bits),
                                  static_cast<int>(order), indexed ? palette : nullptr,
                                  perspective ? static_cast<int>(perspective) : KB_VIEW_TOP_LEFT, 0, 0);
        if (code == SUCCESS) code = K_PrepareOwnedBitmap(&made, 1);
        for (int row = 0; code == SUCCESS && row < made.Height; ++row) {
            const auto bytes = static_cast<size_t>(made.BytesPerLine);
            uint8_t* pixels = K_WritableBitmapRow(&made, row);
            if (!pixels) {
                code = ERROR_NO_MEMORY;
            } else if (!in.run(pixels, bytes)) {
                code = ERROR_FILE_READ;
            } else if (scrambled) {
                annUnscramble(pixels, bytes);
            }
        }
        if (code != SUCCESS) {
            K_FreeBitmap(&made);
            return code;
        }
        target = made;
        return SUCCESS;
    }

    int bitmapField(uint8_t tag) {
        if (tag == tagSecondaryBitmap) {
            if (object.pPushpin) return bitmap(object.pPushpin->bitmap2, false);
            // Other types have no room for it.
            KernelBitmap dropped{};
            const int code = bitmap(dropped, false);
            K_FreeBitmap(&dropped);
            return code;
        }
        const bool redaction = object.nType == ANN_OBJECT_REDACT;
        const bool scrambled = redaction && object.pszLockKey;
        scrambledPixels = false;
        const int code = bitmap(object.bitmap, scrambled);
        scrambledPixels = code == SUCCESS && redaction && !scrambled;
        return code;
    }

    int metafile() {
        KernelMetafile made{};
        int32_t enhanced = 0;
        if (!in.boolean(enhanced)) return ERROR_FILE_READ;
        const auto word = [this](int32_t& value) {
            uint32_t number = 0;
            if (!in.number(number)) return false;
            value = static_cast<int32_t>(number);
            return true;
        };
        if (!enhanced) {
            for (int32_t* value :
                 {&made.nLeft, &made.nTop, &made.nRight, &made.nBottom, &made.nUnitsPerInch, &made.nReserved}) {
                if (!word(*value)) return ERROR_FILE_READ;
            }
        }
        uint32_t size = 0;
        if (!word(made.nWidth) || !word(made.nHeight) || !in.number(size) || !in.canHold(size)) return ERROR_FILE_READ;
        uint8_t* bits = scratch.room(size);
        if (!bits) return ERROR_NO_MEMORY;
        if (!in.run(bits, size)) return ERROR_FILE_READ;
        SetLastError(0);
        made.bEnhanced = static_cast<uint32_t>(enhanced);
        made.nHandle =
            enhanced ? kb::handleValue(SetEnhMetaFileBits(size, bits)) : kb::handleValue(SetMetaFileBitsEx(size, bits));
        if (!made.nHandle) return GetLastError() == ERROR_OUT_OF_MEMORY ? ERROR_NO_MEMORY : ERROR_FILE_READ;
        K_FreeMetafile(&object.metafile);
        object.metafile = made;
        return SUCCESS;
    }

    int menuState() {
        uint32_t items = 0;
        if (!in.number(items)) return ERROR_FILE_READ;
        const uint64_t bytes = (uint64_t{items} + 7) / 8;
        if (!in.canHold(2 * bytes)) return ERROR_FILE_READ;
        const uint64_t kept = std::min<uint64_t>(bytes, menuTableBytes);
        ItemMenuPart read;
        if (!in.run(read.itemMenuEnable.data(), kept, bytes) || !in.run(read.itemMenuEnableMask.data(), kept, bytes))
            return ERROR_FILE_READ;
        if (!object.pItemMenu) object.pItemMenu.reset(new (std::nothrow) ItemMenuPart);
        if (!object.pItemMenu) return ERROR_NO_MEMORY;
        *object.pItemMenu = read;
        return SUCCESS;
    }

    int points() {
        uint32_t count = 0;
        if (!in.number(count) || in.remaining() / Source::fewestPointBytes < count) return ERROR_FILE_READ;
        const uint32_t handles = std::max(count, fewestHandles);
        if (!object.pPoints.reset(count) || !object.pHandles.reset(handles)) return ERROR_NO_MEMORY;
        object.nHandles = handles;
        return readError(!count || in.reals(&object.pPoints[0].x, size_t{2} * count));
    }

    int field(uint8_t tag) {
        switch (fieldRows[tag]->content) {
        case FieldContent::u32:
        case FieldContent::color:
        case FieldContent::tag:
        case FieldContent::father: return readError(in.number(object.*fieldMember<uint32_t>(tag)));
        case FieldContent::boolean:
            if (tag == tagGrouping) object.bGroupingRead = true;
            return readError(in.boolean(object.*fieldMember<int32_t>(tag)));
        case FieldContent::real: {
            double& value = object.*fieldMember<double>(tag);
            if (!in.real(value)) return ERROR_FILE_READ;
            if (tag == tagFontSize && !(value >= smallestFont)) value = libraryState().dDefaultFontSize;
            return SUCCESS;
        }
        case FieldContent::text: return text(object.*fieldMember<Text>(tag), false);
        case FieldContent::scrambledText: {
            Text& value = object.*fieldMember<Text>(tag);
            return tag == tagLock ? lockKey(value) : text(value, true);
        }
        case FieldContent::hyperlink:
            return readError(in.number(object.nHyperlinkType) && in.number(object.uHyperlinkParam1) &&
                             in.number(object.uHyperlinkParam2));
        case FieldContent::nodes: return readError(in.boolean(object.bShowNodes) && in.number(object.nGapNodes));
        case FieldContent::angle:
            return readError(in.boolean(object.bAcute) && in.number(object.nAngleUnit) &&
                             in.number(object.nAnglePrecision) && in.real(object.dArcRadius));
        case FieldContent::nameOffset: return readError(in.real(object.ptNameOffset.x) && in.real(object.ptNameOffset.y));
        case FieldContent::bitmap: return bitmapField(tag);
        case FieldContent::metafile: return metafile();
        case FieldContent::menuState: return menuState();
        case FieldContent::points: return points();
        case FieldContent::showRuler: {
            int32_t shown = 0;
            if (!in.boolean(shown)) return ERROR_FILE_READ;
            object.uShowFlags = shown ? ANN_SHOW_LENGTH | ANN_SHOW_GAUGE : 0;
            return SUCCESS;
        }
        }
        return ERROR_FILE_READ;
    }
};

// Points stand where the type keeps them; the list stays as it was read.
void placePoints(AnnObject& object) {
    const AnnPoint* points = object.pPoints.data();
    if (object.nType == ANN_OBJECT_POINTER) {
        if (object.nPoints() != 2) return;
        object.ptPointerTip = points[0];
        object.ptPointerTail = points[1];
    } else if (!hasType(typesOfPointLists, object.nType) && object.nPoints() == 3) {
        std::copy_n(points, 3, object.quad);
    }
}

// A tree that is being read. Objects of the top level behind the root are read like any others, but only the root's tree
// is handed out.
template <class Source> struct TreeReader {
    Source& in;
    uint32_t flags;
    Scratch scratch;
    AnnObject* root = nullptr;
    AnnObject* last = nullptr;      // last object of the present level
    AnnObject* container = nullptr; // whose block is being read; null at the top
    uint32_t depth = 0;

    ~TreeReader() {
        if (root) freeChain(root);
    }

    static void freeChain(AnnObject* first) {
        while (first) {
            AnnObject* next = first->pNext;
            first->pPrev = first->pNext = nullptr;
            annFreeTree(first);
            first = next;
        }
    }

    int beginObject() {
        uint32_t nType = 0;
        if (!in.number(nType) || nType >= ANN_OBJECT_LAST) return ERROR_FILE_READ;
        if (!root && nType != ANN_OBJECT_CONTAINER) return ERROR_FILE_READ;
        AnnObject* record = annNewRecord(nType);
        if (!record) return ERROR_NO_MEMORY;
        annInitDefaults(*record);
        record->bGroupingRead = false;
        if (container) {
            annLinkLast(*container, *record);
        } else if (root) {
            record->pPrev = last;
            last->pNext = record;
        } else {
            root = record;
        }
        last = record;
        const int code = annReadObject(in, *record, scratch, flags);
        if (code == SUCCESS && !record->bGroupingRead) record->bGrouping = container != nullptr;
        return code;
    }

    int beginBlock() {
        if (!last || !last->isContainer() || depth == maxTreeDepth) return ERROR_FILE_READ;
        ++depth;
        container = last;
        last = nullptr;
        return SUCCESS;
    }

    void endBlock() {
        last = container;
        container = --depth ? container->pParent : nullptr;
    }

    AnnObject* takeRoot() {
        AnnObject* taken = root;
        root = nullptr;
        freeChain(taken->pNext);
        taken->pNext = nullptr;
        return taken;
    }

    int page(AnnObject*& out) {
        for (;;) {
            uint8_t tag = 0;
            if (const int code = annReadToken(in, tag); code != SUCCESS) return code;
            switch (tag) {
            case tokenBeginObject.tag:
                if (const int code = beginObject(); code != SUCCESS) return code;
                break;
            case tokenBlockBegin.tag:
                if (const int code = beginBlock(); code != SUCCESS) return code;
                break;
            case tokenBlockEnd.tag:
                if (depth) {
                    endBlock();
                    break;
                }
                if (!root) return ERROR_FILE_READ;
                out = takeRoot();
                return SUCCESS;
            case tokenPageEnd.tag:
                if (depth) return ERROR_FILE_READ;
                if (root) {
                    out = takeRoot();
                    return SUCCESS;
                }
                out = annNewRecord(ANN_OBJECT_CONTAINER);
                if (!out) return ERROR_NO_MEMORY;
                annInitDefaults(*out);
                return SUCCESS;
            default: return ERROR_FILE_READ;
            }
        }
    }
};

} // namespace

int annReadToken(TextReader& source, uint8_t& tag) {
    std::string_view word;
    if (!source.line(word)) return ERROR_FILE_READ;
    tag = annTagOf(word);
    return tag == noTag ? ERROR_FILE_READ : SUCCESS;
}

int annReadToken(CodedReader& source, uint8_t& tag) {
    uint16_t number = 0;
    if (!source.token(number)) return ERROR_FILE_READ;
    tag = number < storedTagCount || number == pageLinkTag ? static_cast<uint8_t>(number) : noTag;
    return SUCCESS;
}

template <class Source> int annReadObject(Source& source, AnnObject& object, Scratch& scratch, uint32_t) {
    ObjectReader<Source> fields{source, object, scratch};
    // A mark's image stands in front of its fields.
    fields.scrambledPixels = object.nType == ANN_OBJECT_REDACT && object.bitmap.Allocated && !object.pszLockKey;
    for (;;) {
        uint8_t tag = 0;
        if (const int code = annReadToken(source, tag); code != SUCCESS) return code;
        if (tag == tokenEndObject.tag) break;
        if (tag == noTag) {
            // A field of a newer version, which the text dress has refused already.
            if (!source.skip()) return ERROR_FILE_SEEK;
            continue;
        }
        if (tag >= storedTagCount || !fieldRows[tag]) return ERROR_FILE_READ;
        if (const int code = fields.field(tag); code != SUCCESS) return code;
    }
    placePoints(object);
    return SUCCESS;
}

template <class Source> int annReadTree(Source& source, AnnObject*& root, uint32_t flags) {
    TreeReader<Source> tree{source, flags, {}};
    AnnObject* read = nullptr;
    const int code = tree.page(read);
    if (code == SUCCESS) root = read;
    return code;
}

template int annReadObject(TextReader&, AnnObject&, Scratch&, uint32_t);
template int annReadObject(CodedReader&, AnnObject&, Scratch&, uint32_t);
template int annReadTree(TextReader&, AnnObject*&, uint32_t);
template int annReadTree(CodedReader&, AnnObject*&, uint32_t);

} // namespace kbann
