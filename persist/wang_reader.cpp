// Reader of marks. The bytes are taken as they lie in memory, or read whole from a file, so that a claimed size is held
// against what there is before anything is done with it. A mark that makes no object leaves none to hang blocks on, and they
// are passed over. Tools that write marks have blocks of their own and put bytes behind what a block is to hold; both are
// passed over too.
#include "contracts/raster_io.h"
#include "contracts/raster_kernel.h"
#include "kbann/object_types.h"
#include "kbann/stored_fields.h"
#include "persist/wang_tree.h"
#include "persist/wang_types.h"
#include "store/geometry.h"
#include "store/library.h"
#include "store/properties.h"

#include "platform/sys.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <new>
#include <numbers>
#include <string>

namespace kbann {
namespace {

constexpr int32_t boldFrom = 550; // weights above it
constexpr std::string_view usualFace = "Arial";
constexpr uint32_t firstMirrored = 5, lastMirrored = 8, mirroredBy = 4;
constexpr size_t readAtATime = 1 << 16;
constexpr TypeSet typesOfPoints =
    typeSet(ANN_OBJECT_LINE, ANN_OBJECT_POLYLINE, ANN_OBJECT_FREEHAND, ANN_OBJECT_FREEHANDHOTSPOT);
// What all marks of a list may cost together, where the bytes of a block don't bound it, and how much more for each byte of
// the list: so one that does everything once to every mark is never refused. Pixels unfold from run lengths, come out of named
// files, become a mirrored stamp's own, and grow with each slanting turn.
struct Budget {
    uint64_t left;

    Budget(uint64_t anyway, uint64_t perByte, size_t bytes) : left(anyway + perByte * bytes) {}
    bool spend(uint64_t units) {
        if (units > left) return false;
        left -= units;
        return true;
    }
};
constexpr uint64_t mostPixels = uint64_t{1} << 28; // unless the host has set fewer
constexpr uint64_t pixelsPerByte = 8, costOfTurnedPixel = 16;
constexpr uint64_t workAnyway = uint64_t{1} << 28, workPerByte = 64, costOfTurnedPoint = 64,
                   costOfOpenedPoint = 16; // a pixel that is unscrambled costs 1
constexpr uint64_t costOfMeasuredByte = 8;
constexpr uint64_t pointsOfAnyTurn = 16;                // what an object without points costs
constexpr uint64_t costOfNamedFile = uint64_t{1} << 18; // whether it can be opened or not
constexpr uint64_t bytesForOne = 8;                     // of a named file, which needn't show in its pixels

using Run = std::span<const uint8_t>;

// A line for the debugger: the time since the first one, the thread, the message.
void trace(const char* format, auto... values) {
    using namespace std::chrono;
    static const auto first = steady_clock::now();
    const auto passed = static_cast<int>(duration_cast<milliseconds>(steady_clock::now() - first).count());
    char line[120];
    const int head = std::snprintf(line, sizeof line, "%3d.%03d: %08x: ", passed / 1000, passed % 1000,
                                   static_cast<unsigned>(GetCurrentThreadId()));
    std::snprintf(line + head, sizeof line - static_cast<size_t>(head), format, values...);
    OutputDebugStringA(line);
}

std::string_view untilNul(std::string_view text) { return text.substr(0, text.find('\0')); }
std::string_view asText(Run run) { return {reinterpret_cast<const char*>(run.data()), run.size()}; }

uint64_t fileBytes(const std::string& path) {
    std::error_code failed;
    const auto size = std::filesystem::file_size(path, failed);
    return failed ? 0 : size;
}

bool isSame(const AnnPoint& a, const AnnPoint& b) { return a.x == b.x && a.y == b.y; }

// What a list of marks is read with.
struct MarkReader {
    Run data;
    WangLayout layout;
    RecordList list{};
    AnnObject* current = nullptr; // the mark that blocks belong to
    POINT origin{};               // left and top of its bounds
    size_t at = wangHeaderBytes;
    Budget pixels, work;
    Scratch scratch{};
    std::string lastPath{}; // an image file that many marks name is read once
    KernelBitmap lastImage{};

    MarkReader(Run bytes, WangLayout marks)
        : data(bytes), layout(marks), pixels(std::min(mostPixels, K_GetPixelLimit()), pixelsPerByte, bytes.size()),
          work(workAnyway, workPerByte, bytes.size()) {}
    MarkReader(const MarkReader&) = delete;
    MarkReader& operator=(const MarkReader&) = delete;
    ~MarkReader() { K_FreeBitmap(&lastImage); }

    size_t left() const { return data.size() - at; }
    bool isWide() const { return layout == WangLayout::wide; }
    uint32_t takeWord() {
        at += 4;
        return annLittleU32(data.data() + at - 4);
    }
    Run take(size_t count) {
        at += count;
        return data.subspan(at - count, count);
    }

    static uint64_t pixelsOf(const KernelBitmap& bitmap) {
        return static_cast<uint64_t>(bitmap.Width) * static_cast<uint64_t>(bitmap.Height);
    }

    int marks() {
        while (left() >= 4) {
            const uint32_t type = takeWord();
            int code = SUCCESS;
            switch (type) {
            case wangBlockMark:
                if (code = endMark(); code != SUCCESS) return code;
                code = beginMark();
                if (code != SUCCESS) trace("%s", "ReadWangObject Failed! abort\n");
                break;
            case wangBlockLoose:
            case wangBlockNamed: code = namedBlock(type == wangBlockNamed ? current : nullptr); break;
            default: trace("Block of type %d unknown - aborting\n", static_cast<int>(type)); return ERROR_FILE_READ;
            }
            if (code != SUCCESS) return code;
        }
        return endMark();
    }

    int endMark() {
        if (!current) return SUCCESS;
        // An image that many stamps share becomes one of its own.
        if (current->bLoadMirror && !pixels.spend(pixelsOf(current->bitmap))) return ERROR_NO_MEMORY;
        if (current->bLoadMirror && K_ReverseBitmap(&current->bitmap) == SUCCESS) current->bLoadMirror = false;
        if (!current->bGroupingRead) current->bGrouping = current != list.records.front();
        current = nullptr;
        return SUCCESS;
    }

    int beginMark() {
        const size_t size = wangAttributeBytes(layout);
        if (left() < 4 || takeWord() != size || left() < size) return ERROR_FILE_READ;
        const WangAttributes attributes = annWangDecode(take(size), layout);
        if (attributes.reserved != wangReserved)
            trace("   Warning! dwReserved4 = %x, not 0x0FF83F!\n", static_cast<unsigned>(attributes.reserved));
        const auto kind = annWangObjectOf(attributes);
        if (!kind) return SUCCESS;
        list.records.push_back(nullptr); // first, as it may throw
        AnnObject* record = current = list.records.back() = annNewRecord(kind->nType);
        if (!record) {
            list.records.pop_back();
            return ERROR_NO_MEMORY;
        }
        annInitDefaults(*record);
        if (kind->nFillMode) record->nFillMode = *kind->nFillMode;
        return setAttributes(*record, attributes);
    }

    int setAttributes(AnnObject& record, const WangAttributes& a) {
        const bool backFirst = a.uType == wangFilledRect || a.uType == wangNote;
        record.crFore = annSwapColor(static_cast<uint32_t>(backFirst ? a.color2 : a.color1));
        record.crBack = annSwapColor(static_cast<uint32_t>(backFirst ? a.color1 : a.color2));
        record.nROP2 = a.bHighlighting ? ANN_ROP2_AND : ANN_ROP2_COPY;
        record.bTransparent = a.bTransparent != 0;
        record.bVisible = a.bVisible != 0;
        record.dLineWidth = a.lineSize;

        const std::string_view face = untilNul({a.face.data(), a.face.size()});
        if (face.empty() || face == usualFace)
            record.pszFontName = libraryState().textArial;
        else if (!record.pszFontName.assign(face))
            return ERROR_NO_MEMORY;
        record.dFontSize = a.fontHeight ? std::fabs(a.fontHeight) : annTruncate(libraryState().dDefaultFontSize);
        record.bFontBold = a.fontWeight > boldFrom;
        record.bFontItalic = a.italic != 0;
        record.bFontUnderline = a.underline != 0;
        record.bFontStrikeThrough = a.strikeOut != 0;

        origin = {a.bounds.left, a.bounds.top};
        record.quad[0] = {double(a.bounds.left), double(a.bounds.top)};
        record.quad[1] = {double(a.bounds.left), double(a.bounds.bottom)};
        record.quad[2] = {double(a.bounds.right), double(a.bounds.bottom)};
        return record.pPoints.assign(record.quad) ? SUCCESS : ERROR_NO_MEMORY;
    }

    // The block is left at its end, whatever was made of it.
    int namedBlock(AnnObject* object) {
        const size_t head = 4 + wangNameBytes + 4 + (isWide() ? 0 : 4);
        if (left() < head) return ERROR_FILE_READ;
        takeWord();
        const std::string_view name = untilNul(asText(take(wangNameBytes)));
        const size_t size = takeWord();
        if (!isWide()) at += 4;
        const size_t end = at + std::min(size, left());
        const bool whole = size <= left();
        const int code = object ? blockOf(*object, name, data.subspan(at, end - at), whole) : SUCCESS;
        at = end;
        return code;
    }

    int blockOf(AnnObject& object, std::string_view name, Run run, bool whole) {
        using Handler = int (MarkReader::*)(AnnObject&, Run);
        struct Row {
            std::string_view name;
            Handler handler;
            TypeSet types = typesAll; // others pass the block over
        };
        static constexpr auto rows = std::to_array<Row>({
            {wang_name::index, &MarkReader::index},
            {wang_name::points, &MarkReader::rotation, typeSet(ANN_OBJECT_STAMP)},
            {wang_name::points, &MarkReader::points, typesOfPoints},
            {wang_name::file, &MarkReader::linkedImage, typeSet(ANN_OBJECT_STAMP)},
            {wang_name::dib, &MarkReader::image, typesAll & ~typeSet(ANN_OBJECT_NOTE)},
            {wang_name::dibOld, &MarkReader::image, typesAll & ~typeSet(ANN_OBJECT_NOTE)},
            {wang_name::text, &MarkReader::text},
            {wang_name::rest, &MarkReader::rest<TextReader>},
            {wang_name::restCoded, &MarkReader::rest<CodedReader>},
        });
        const auto row =
            std::ranges::find_if(rows, [&](const Row& r) { return r.name == name && hasType(r.types, object.nType); });
        if (row == rows.end()) return SUCCESS;
        return whole ? (this->*row->handler)(object, run) : ERROR_FILE_READ;
    }

    int index(AnnObject& object, Run run) {
        if (run.size() > wangLongestIndex) return ERROR_FILE_READ;
        uint64_t number = 0;
        for (const uint8_t c : run) {
            if (c < '0' || c > '9') break;
            number = std::min<uint64_t>(number * 10 + (c - '0'), UINT32_MAX);
        }
        object.nSaveId = static_cast<uint32_t>(number);
        return SUCCESS;
    }

    uint32_t count(Run run, size_t which) const {
        return isWide() ? annLittleU32(run.data() + 4 * which) : annLittleU16(run.data() + 2 * which);
    }
    // A coordinate, signed in both layouts.
    int32_t coordinate(Run run, size_t which) const {
        const uint32_t value = count(run, which);
        return isWide() ? static_cast<int32_t>(value) : static_cast<int16_t>(value);
    }

    int rotation(AnnObject& object, Run run) {
        if (run.size() < (isWide() ? 4u : 2u)) return ERROR_FILE_READ;
        uint32_t code = count(run, 0);
        if (code >= firstMirrored && code <= lastMirrored) {
            object.bLoadMirror = true;
            code -= mirroredBy;
        }
        if (code < 2 || code > 4) return SUCCESS;
        annComputeGeometry(object);
        return turn(object, 90.0 * (code - 1));
    }

    // A list may ask for the geometry of the same object again and again, and some of its texts are measured each time.
    bool mayDerive(const AnnObject& object) {
        uint64_t cost = costOfTurnedPoint * (pointsOfAnyTurn + object.nPoints());
        for (const Text* text : {&object.pszText, &object.pszName, &object.pszUnitAbbrev, &object.pszAngleAbbrev})
            cost += costOfMeasuredByte * text->view().size();
        return work.spend(cost);
    }

    // Pixels grow with each slanting turn.
    int turn(AnnObject& object, double degrees) {
        if (!mayDerive(object)) return ERROR_FILE_READ;
        if (object.nType == ANN_OBJECT_REDACT && object.bitmap.Allocated) {
            const double angle = degrees * std::numbers::pi / 180, c = std::fabs(std::cos(angle)),
                         s = std::fabs(std::sin(angle)), width = object.bitmap.Width, height = object.bitmap.Height;
            const double turned = (width * c + height * s + 1) * (width * s + height * c + 1);
            if (!pixels.spend(costOfTurnedPixel * static_cast<uint64_t>(turned))) return ERROR_NO_MEMORY;
        }
        return annApplyMatrix(object, Transform::rotate, annAbout(object.ptCenter, annRotation(degrees)), degrees);
    }

    int points(AnnObject& object, Run run) {
        const size_t header = wangPointsHeader(layout), bytes = wangPointBytes(layout);
        if (run.size() < header) return ERROR_FILE_READ;
        const uint64_t most = count(run, 0), used = count(run, 1);
        const Run list = run.subspan(header);
        // The room is made for the largest count and often isn't full; data without that room holds what is used.
        if (list.size() / bytes < most && list.size() != used * bytes) return ERROR_FILE_READ;
        if (list.size() / bytes >= most && used > most) return ERROR_FILE_READ;
        if (!object.pPoints.reset(static_cast<uint32_t>(used))) return ERROR_NO_MEMORY;
        // Around the end of 32 bits: a stroke may be wider than half of them.
        const auto place = [&](int32_t from, size_t which) {
            return double(
                static_cast<int32_t>(static_cast<uint32_t>(from) + static_cast<uint32_t>(coordinate(list, which))));
        };
        for (size_t i = 0; i < used; ++i) object.pPoints[i] = {place(origin.x, 2 * i), place(origin.y, 2 * i + 1)};
        return SUCCESS;
    }

    int linkedImage(AnnObject& object, Run run) {
        const std::string path(untilNul(asText(run).substr(0, wangLongestPath)));
        if (path.empty()) return SUCCESS;
        if (path != lastPath) {
            K_FreeBitmap(&lastImage);
            lastPath = path;
            if (!work.spend(costOfNamedFile)) return ERROR_FILE_READ;
            const int code = K_LoadLinkedFile(path.c_str(), &lastImage); // a failure leaves no image
            if (code != ERROR_FILE_OPEN && !work.spend(fileBytes(path) / bytesForOne)) return ERROR_FILE_READ;
            if (lastImage.Allocated && !pixels.spend(pixelsOf(lastImage))) return ERROR_NO_MEMORY;
        }
        if (!lastImage.Allocated) return SUCCESS;
        if (!mayDerive(object)) return ERROR_FILE_READ;
        return annSetProperty(&object, Property::bitmap, {.pointer = &lastImage}, ANN_FLAG_NOINVALIDATE, -1, nullptr);
    }

    // Whether run-length data may still unfold to its claimed size.
    bool mayUnfold(Run dib) {
        if (dib.size() < sizeof(BITMAPINFOHEADER) || annLittleU32(dib.data()) < sizeof(BITMAPINFOHEADER)) return true;
        const uint32_t compression = annLittleU32(dib.data() + 16);
        if (compression != BI_RLE8 && compression != BI_RLE4) return true;
        const auto side = [&dib](size_t offset) {
            return static_cast<uint64_t>(std::abs(int64_t{static_cast<int32_t>(annLittleU32(dib.data() + offset))}));
        };
        return pixels.spend(side(4) * side(8));
    }

    int image(AnnObject& object, Run run) {
        if (!mayUnfold(run)) return ERROR_NO_MEMORY;
        KernelBitmap made{};
        int code = K_BitmapFromDIBBytes(&made, run.data(), run.size(), 0);
        if (code == SUCCESS && pixelsOf(made) > K_GetPixelLimit()) {
            K_FreeBitmap(&made);
            code = ERROR_NO_MEMORY;
        }
        if (code != SUCCESS) return code == ERROR_NO_MEMORY ? code : ERROR_FILE_READ;
        K_FreeBitmap(&object.bitmap);
        object.bitmap = made;
        object.pszText.clear();
        return SUCCESS;
    }

    int text(AnnObject& object, Run run) {
        const size_t header = wangTextHeader(layout);
        if (run.size() < header) return ERROR_FILE_READ;
        // Foreign texts have bytes behind their end.
        if (!object.pszText.assign(untilNul(asText(run.subspan(header))))) return ERROR_NO_MEMORY;
        const int32_t tenths = coordinate(run, 0);
        return tenths ? turnText(object, tenths / -10.0) : SUCCESS;
    }

    // The turned text keeps the box that it had.
    int turnText(AnnObject& object, double degrees) {
        const auto width = [](const AnnRect& r) { return r.right - r.left; };
        const auto height = [](const AnnRect& r) { return r.bottom - r.top; };
        annComputeGeometry(object);
        const AnnRect before = object.annBounds;
        if (const int code = turn(object, degrees); code != SUCCESS) return code;
        annComputeGeometry(object);
        const AnnRect& now = object.annBounds;
        if (width(now) == 0 || height(now) == 0) return SUCCESS;
        const AnnPoint middle{(now.left + now.right) / 2, (now.top + now.bottom) / 2};
        annApplyTransform(annAbout(middle, {width(before) / width(now), 0, 0, height(before) / height(now), 0, 0}), object);
        return SUCCESS;
    }

    // Either dress; reading ends with the block, so that no two blocks can claim the same bytes.
    template <class Source> int rest(AnnObject& object, Run run) {
        AnnStream stream = annMemoryStream(const_cast<uint8_t*>(run.data()), run.size());
        Source source(stream);
        uint8_t tag = 0;
        uint32_t nType = 0;
        if (const int code = annReadToken(source, tag); code != SUCCESS) return code;
        if (tag != tokenBeginObject.tag || !source.number(nType) || nType >= ANN_OBJECT_LAST) return ERROR_FILE_READ;
        if (!annSetType(object, nType)) return ERROR_NO_MEMORY;
        if (const int code = fixForType(object); code != SUCCESS) return code;
        if (mayBeHidden(object) && !work.spend(pixelsOf(object.bitmap))) return ERROR_FILE_READ;
        return annReadObject(source, object, scratch, STREAM_REDUCED);
    }

    // The image has come before its key; a key that goes and comes lets it unscramble each time.
    static bool mayBeHidden(const AnnObject& object) {
        return object.nType == ANN_OBJECT_REDACT && object.bitmap.Allocated && !object.pszLockKey;
    }

    // What the mark has set otherwise than an object of the type begins with.
    int fixForType(AnnObject& object) {
        switch (object.nType) {
        case ANN_OBJECT_CONTAINER: object.dLineWidth = 0; [[fallthrough]];
        case ANN_OBJECT_REDACT: object.nLineStyle = ANN_LINE_NULL; return SUCCESS;
        case ANN_OBJECT_CROSSPRODUCT: {
            if (object.nPoints() != 6) return SUCCESS;
            const AnnPoint* p = object.pPoints.data();
            const AnnPoint points[5] = {p[0], p[5], p[1], p[2], p[3]};
            return object.pPoints.assign(points) ? SUCCESS : ERROR_NO_MEMORY;
        }
        case ANN_OBJECT_POINT: object.pPoints.clear(); return SUCCESS; // its own follows
        case ANN_OBJECT_POLYGON: {
            // Written closed; left so, it would gain a point each time.
            const uint32_t count = object.nPoints();
            if (count < 2 || !isSame(object.pPoints[0], object.pPoints[count - 1])) return SUCCESS;
            if (!work.spend(costOfOpenedPoint * count)) return ERROR_FILE_READ;
            const std::vector<AnnPoint> open(object.pPoints.begin(), object.pPoints.end() - 1);
            return object.pPoints.assign(open) ? SUCCESS : ERROR_NO_MEMORY;
        }
        default: return SUCCESS;
        }
    }
};

// All bytes of the data: where they lie, or read into `held`. False on a fault of the stream. Throws std::bad_alloc.
bool wholeData(AnnStream& stream, std::vector<uint8_t>& held, Run& data) {
    if (!annSeekTo(stream, stream.uBase)) return false;
    if (annInMemory(stream)) {
        data = {static_cast<const uint8_t*>(stream.pBlock) + stream.uPos, stream.uEnd - stream.uPos};
        return true;
    }
    for (;;) {
        const size_t size = held.size();
        held.resize(size + readAtATime);
        const int64_t got = stream.pfnRead(stream, held.data() + size, readAtATime);
        if (got < 0) return false;
        held.resize(size + static_cast<size_t>(got));
        if (got == 0) break;
    }
    data = held;
    return true;
}

} // namespace

int annWangReadStream(AnnStream& stream, AnnObject*& root, const WangImage& image) {
    try {
        std::vector<uint8_t> held;
        Run data;
        if (!wholeData(stream, held, data) || data.size() < wangHeaderBytes) return ERROR_FILE_READ;
        MarkReader reader(data, data[4] ? WangLayout::wide : WangLayout::narrow);
        if (const int code = reader.marks(); code != SUCCESS) return code;
        return annWangBuildTree(reader.list, root, image);
    } catch (const std::bad_alloc&) {
        return ERROR_NO_MEMORY;
    }
}

} // namespace kbann
