// Writer of the token stream, for any dress. A record is written by walking the table of stored fields, each with the length
// that it has in the coded dress, which the text dress leaves out. A tree is walked twice, without
// recursion: the first walk finds its depth and, for every container, what is in it, since a nested container is written
// only for what it holds and asking that anew at each level would cost the square of the depth.
#include "contracts/raster_kernel.h"
#include "persist/field_members.h"
#include "persist/native_form.h"
#include "store/tree.h"

#include <cstring>
#include <new>
#include <vector>

namespace kbann {
namespace {

constexpr uint32_t paletteBits = 8; // up to that depth pixels are palette indices
// Of values in the coded dress.
constexpr uint64_t flagBytes = 1, numberBytes = 4, realBytes = 8;
constexpr uint32_t lastMenuByte = menuTableBytes - 1;
constexpr uint8_t lastMenuBits =
    static_cast<uint8_t>(0xFF00u >> (menuItemCount % 8)); // of 299 items three are in the last byte

template <class Sink> struct ObjectWriter {
    Sink& out;
    Scratch scratch;
    int code = SUCCESS;

    void fail(int failure) {
        if (code == SUCCESS) code = failure;
    }

    void begin(const StoredField& field, uint64_t length) { out.token(field.tag, field.keyword, length); }
    void frame(const StreamToken& token, uint64_t length = 0) { out.token(token.tag, token.keyword, length); }

    void text(const StoredField& field, const Text& text, bool scrambled) {
        if (!text) return;
        const auto* bytes = reinterpret_cast<const uint8_t*>(text.c_str());
        if (scrambled) {
            uint8_t* copy = scratch.room(text.length());
            if (!copy) return fail(ERROR_NO_MEMORY);
            annScramble(copy, bytes, text.length());
            bytes = copy;
        }
        begin(field, text.length());
        out.text(bytes, text.length());
    }

    void bitmap(const StoredField& field, const KernelBitmap& bitmap, bool scrambled) {
        if (!bitmap.Allocated) return;
        const auto bits = static_cast<uint32_t>(bitmap.BitsPerPixel);
        const auto rowBytes = static_cast<size_t>(bitmap.BytesPerLine);
        uint8_t* copy = scrambled ? scratch.room(rowBytes) : nullptr;
        if (scrambled && !copy) return fail(ERROR_NO_MEMORY);
        const size_t paletteBytes = bits <= paletteBits ? (size_t{1} << bits) * sizeof(RGBQUAD) : 0;
        begin(field, 5 * numberBytes + paletteBytes + rowBytes * static_cast<size_t>(bitmap.Height));
        out.number(bits);
        out.number(static_cast<uint32_t>(bitmap.Width));
        out.number(static_cast<uint32_t>(bitmap.Height));
        out.number(static_cast<uint32_t>(bitmap.Order));
        out.number(static_cast<uint32_t>(bitmap.ViewPerspective ? bitmap.ViewPerspective : KB_VIEW_TOP_LEFT));
        if (paletteBytes) {
            // A reader takes a full palette, so a shorter one is filled up with black.
            RGBQUAD palette[1u << paletteBits] = {};
            K_GetBitmapPalette(&bitmap, 0, 1 << bits, palette);
            out.run(reinterpret_cast<const uint8_t*>(palette), paletteBytes);
        }
        for (int row = 0; row < bitmap.Height && !out.failed(); ++row) {
            const uint8_t* pixels = K_BitmapRowPointer(&bitmap, row);
            if (!pixels) return fail(ERROR_INV_BITMAP);
            if (scrambled) annScramble(copy, pixels, rowBytes);
            out.run(scrambled ? copy : pixels, rowBytes);
        }
    }

    void metafile(const StoredField& field, const KernelMetafile& metafile) {
        if (!metafile.nHandle) return;
        const int size = K_MetafileToMemory(&metafile, nullptr, 0);
        if (size < 1) return fail(size < 0 ? size : ERROR_INV_PARAMETER);
        uint8_t* bits = scratch.room(static_cast<size_t>(size));
        if (!bits) return fail(ERROR_NO_MEMORY);
        if (K_MetafileToMemory(&metafile, bits, static_cast<uint32_t>(size)) != size) return fail(ERROR_INV_PARAMETER);
        const uint64_t words = metafile.bEnhanced ? 3 : 9;
        begin(field, flagBytes + words * numberBytes + static_cast<uint64_t>(size));
        out.boolean(metafile.bEnhanced != 0);
        if (!metafile.bEnhanced) {
            for (const int32_t word : {metafile.nLeft, metafile.nTop, metafile.nRight, metafile.nBottom,
                                       metafile.nUnitsPerInch, metafile.nReserved})
                out.number(static_cast<uint32_t>(word));
        }
        out.number(static_cast<uint32_t>(metafile.nWidth));
        out.number(static_cast<uint32_t>(metafile.nHeight));
        out.number(static_cast<uint32_t>(size));
        out.run(bits, static_cast<size_t>(size));
    }

    void menuState(const StoredField& field, const ItemMenuPart* part) {
        if (!part) return;
        uint32_t set = part->itemMenuEnableMask[lastMenuByte] & lastMenuBits;
        for (uint32_t i = 0; i < lastMenuByte; ++i) set |= part->itemMenuEnableMask[i];
        if (!set) return;
        begin(field, numberBytes + 2 * menuTableBytes);
        out.number(menuItemCount);
        out.run(part->itemMenuEnable.data(), menuTableBytes);
        out.run(part->itemMenuEnableMask.data(), menuTableBytes);
    }

    void points(const StoredField& field, const AnnPoint* points, uint32_t count) {
        if (!count) return;
        begin(field, numberBytes + uint64_t{count} * sizeof(AnnPoint));
        out.number(count);
        static_assert(sizeof(AnnPoint) == 2 * sizeof(double));
        out.reals(&points->x, size_t{2} * count);
    }

    void pointsOf(const StoredField& field, const AnnObject& object) {
        if (hasType(typesQuad, object.nType)) return points(field, object.quad, 3);
        if (hasType(typesPointer, object.nType)) {
            const AnnPoint ends[] = {object.ptPointerTip, object.ptPointerTail};
            return points(field, ends, 2);
        }
        points(field, object.pPoints.data(), object.nPoints());
    }

    void write(const StoredField& field, const AnnObject& object) {
        switch (field.content) {
        case FieldContent::father:
            begin(field, numberBytes);
            out.number(object.pParent ? object.pParent->nSaveId : 0);
            break;
        case FieldContent::u32:
        case FieldContent::color:
        case FieldContent::tag:
            begin(field, numberBytes);
            out.number(object.*fieldMember<uint32_t>(field.tag));
            break;
        case FieldContent::boolean:
            begin(field, flagBytes);
            out.boolean(object.*fieldMember<int32_t>(field.tag));
            break;
        case FieldContent::real:
            begin(field, realBytes);
            out.real(object.*fieldMember<double>(field.tag));
            break;
        case FieldContent::text:
            if (field.tag == tagHyperlinkText && !object.nHyperlinkType) break;
            text(field, object.*fieldMember<Text>(field.tag), false);
            break;
        case FieldContent::scrambledText: text(field, object.*fieldMember<Text>(field.tag), true); break;
        case FieldContent::hyperlink:
            if (!object.nHyperlinkType) break;
            begin(field, 3 * numberBytes);
            out.number(object.nHyperlinkType);
            out.number(object.uHyperlinkParam1);
            out.number(object.uHyperlinkParam2);
            break;
        case FieldContent::nodes:
            begin(field, flagBytes + numberBytes);
            out.boolean(object.bShowNodes);
            out.number(object.nGapNodes);
            break;
        case FieldContent::angle:
            begin(field, flagBytes + 2 * numberBytes + realBytes);
            out.boolean(object.bAcute);
            out.number(object.nAngleUnit);
            out.number(object.nAnglePrecision);
            out.real(object.dArcRadius);
            break;
        case FieldContent::nameOffset:
            begin(field, 2 * realBytes);
            out.real(object.ptNameOffset.x);
            out.real(object.ptNameOffset.y);
            break;
        case FieldContent::bitmap:
            if (field.tag == tagSecondaryBitmap) {
                if (object.pPushpin) bitmap(field, object.pPushpin->bitmap2, false);
            } else {
                bitmap(field, object.bitmap, object.nType == ANN_OBJECT_REDACT && object.pszLockKey);
            }
            break;
        case FieldContent::metafile: metafile(field, object.metafile); break;
        case FieldContent::menuState: menuState(field, object.pItemMenu.get()); break;
        case FieldContent::points: pointsOf(field, object); break;
        case FieldContent::showRuler: break; // its row has no types: read alone
        }
    }

    int object(const AnnObject& object, uint32_t flags) {
        const bool reduced = (flags & STREAM_REDUCED) != 0;
        frame(tokenBeginObject, numberBytes);
        out.number(object.nType);
        for (const auto& field : storedFields) {
            if (hasType(reduced ? field.reducedTypes : field.types, object.nType)) write(field, object);
        }
        frame(tokenEndObject);
        if (out.failed()) fail(ERROR_FILE_WRITE);
        return code;
    }
};

// What is below a container, in the order of the walk.
struct ContainerMark {
    uint32_t next = 0;     // number of the first container that isn't below it
    bool any = false;      // some object that is no container
    bool selected = false; // some of these is selected, or goes with a container that is
};

// Marks of all containers from `top` down; the depth is counted in containers. False for a tree that is too deep.
bool markContainers(const AnnObject& top, std::vector<ContainerMark>& marks) {
    std::vector<uint32_t> open;
    const AnnObject* record = &top;
    for (;;) {
        if (record->isContainer()) {
            open.push_back(static_cast<uint32_t>(marks.size()));
            marks.emplace_back();
            if (record->pFirstChild) {
                if (open.size() > maxTreeDepth) return false;
                record = record->pFirstChild;
                continue;
            }
        }
        for (;;) {
            bool any = !record->isContainer();
            bool selected = any && record->bSelected;
            if (record->isContainer()) {
                ContainerMark& mark = marks[open.back()];
                mark.next = static_cast<uint32_t>(marks.size());
                mark.selected |= record->bSelected && mark.any;
                any = mark.any;
                selected = mark.selected;
                open.pop_back();
            }
            if (!open.empty()) {
                marks[open.back()].any |= any;
                marks[open.back()].selected |= selected;
            }
            if (record == &top) return true;
            if (record->pNext) break;
            record = record->pParent;
        }
        record = record->pNext;
    }
}

template <class Sink> int writeMarkedTree(ObjectWriter<Sink>& writer, const AnnObject& top, const WriteFilter& filter,
                                          uint32_t flags, const std::vector<ContainerMark>& marks) {
    std::vector<bool> selectedOnly{filter.bSelected}; // of the list that the walk is in and of those around it
    selectedOnly.reserve(maxTreeDepth + 2);
    uint32_t number = 0; // of the next container
    const AnnObject* record = &top;
    for (;;) {
        const bool onlySelected = selectedOnly.back();
        if (record->isContainer()) {
            const ContainerMark& mark = marks[number];
            if (!record->pParent || (onlySelected ? mark.selected : mark.any)) {
                ++number;
                if (writer.object(*record, flags) != SUCCESS) return writer.code;
                if (record->pFirstChild) {
                    writer.frame(tokenBlockBegin);
                    selectedOnly.push_back(onlySelected && !record->bSelected);
                    record = record->pFirstChild;
                    continue;
                }
            } else {
                number = mark.next;
            }
        } else if ((!onlySelected || record->bSelected) &&
                   (!filter.bCheckMenu || annMenuItemEnabled(*record, filter.nMenuItem))) {
            if (writer.object(*record, flags) != SUCCESS) return writer.code;
        }
        while (record != &top && !record->pNext) {
            record = record->pParent;
            selectedOnly.pop_back();
            writer.frame(tokenBlockEnd);
        }
        if (record == &top) return SUCCESS;
        record = record->pNext;
    }
}

} // namespace

template <class Sink> int annWriteObject(Sink& sink, const AnnObject& object, uint32_t flags) {
    ObjectWriter<Sink> fields{sink, {}};
    return fields.object(object, flags);
}

template <class Sink> int annWriteTree(Sink& sink, const AnnObject& object, const WriteFilter& filter, uint32_t flags) {
    try {
        std::vector<ContainerMark> marks;
        if (!markContainers(object, marks)) return ERROR_INV_PARAMETER;
        ObjectWriter<Sink> fields{sink, {}};
        const AnnObject* wrap = object.isContainer() ? nullptr : object.pParent;
        if (wrap) {
            if (const int code = fields.object(*wrap, flags); code != SUCCESS) return code;
            fields.frame(tokenBlockBegin);
        }
        if (const int code = writeMarkedTree(fields, object, filter, flags, marks); code != SUCCESS) return code;
        if (wrap) fields.frame(tokenBlockEnd);
        fields.frame(tokenPageEnd);
        return sink.failed() ? ERROR_FILE_WRITE : SUCCESS;
    } catch (const std::bad_alloc&) {
        return ERROR_NO_MEMORY;
    }
}

template int annWriteObject(TextWriter&, const AnnObject&, uint32_t);
template int annWriteObject(CodedWriter&, const AnnObject&, uint32_t);
template int annWriteTree(TextWriter&, const AnnObject&, const WriteFilter&, uint32_t);
template int annWriteTree(CodedWriter&, const AnnObject&, const WriteFilter&, uint32_t);

} // namespace kbann
