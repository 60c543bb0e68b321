// Page arithmetic of the text form. One scan over the lines serves counting and finding.
#include "persist/pages.h"
#include "contracts/raster_kernel.h"
#include "kbann/stored_fields.h"

#include <algorithm>
#include <cstring>

namespace kbann {
namespace {

constexpr uint64_t moveBytes = 32768;

bool startsPage(std::string_view line) { return line == tokenBeginObject.keyword || line == tokenBlockBegin.keyword; }

// KBANNEND ends a page behind an object, a block or the start of a page, and wherever a page or nothing follows it. Elsewhere
// it is the line of an encoded text that happens to read so: behind one of those a field or the object's end must come. What
// lies behind the last whole page is no page.
int scanPages(AnnStream& stream, int32_t page, TextPage& found) {
    if (!annSeekTo(stream, stream.uBase)) return ERROR_FILE_READ;
    TextReader reader(stream);
    std::string_view line;
    if (!reader.line(line)) return ERROR_FILE_READ;
    found = {};
    uint64_t pageStart = reader.position();
    found.dataEnd = pageStart;
    bool atEdge = true, hasPage = false;
    const auto countPage = [&](uint64_t end) {
        ++found.pages;
        found.dataEnd = end;
        if (page > 0 && found.pages == static_cast<uint32_t>(page)) {
            found.start = pageStart;
            found.size = end - pageStart;
            hasPage = true;
        }
        pageStart = end;
    };
    uint64_t strayEnd = 0; // behind the first KBANNEND of a place where no page can end
    bool held = false;     // `line` has been read ahead
    for (;;) {
        if (!held && !reader.line(line)) return ERROR_FILE_READ;
        held = false;
        if (line.empty()) break;
        if (line != tokenPageEnd.keyword) {
            atEdge = line == tokenEndObject.keyword || line == tokenBlockEnd.keyword;
            continue;
        }
        const uint64_t end = reader.position();
        const bool edge = atEdge;
        if (!strayEnd && !edge) strayEnd = end;
        if (!reader.line(line)) line = {};
        const bool starts = startsPage(line);
        if (edge || starts || line.empty()) {
            countPage(end);
            if (!starts) break;
            atEdge = false;
            continue;
        }
        atEdge = false;
        held = true;
    }
    // Broken data still counts as a page, so that reading it tells what is wrong.
    if (!found.pages && strayEnd) countPage(strayEnd);
    if (!hasPage) found.start = found.dataEnd;
    return hasPage ? SUCCESS : ERROR_PAGE_NOT_FOUND;
}

// Whether the last line before a position has no line end, as when an editor has left it out.
bool endsInsideLine(AnnStream& stream, uint64_t position) {
    char last = 0;
    return position > stream.uBase && annSeekTo(stream, position - 1) && annReadAll(stream, &last, 1) &&
           static_cast<signed char>(last) >= ' ';
}

// Writes blanks at the stream's end, so that a full disk shows before anything has moved.
bool writeRoom(AnnStream& stream, uint64_t end, uint64_t size) {
    char blanks[1024];
    std::memset(blanks, ' ', sizeof blanks);
    if (!annSeekTo(stream, end)) return false;
    for (uint64_t left = size; left;) {
        const uint64_t piece = std::min<uint64_t>(left, sizeof blanks);
        if (!annWriteAll(stream, blanks, piece)) return false;
        left -= piece;
    }
    return true;
}

constexpr uint64_t emptyPageBytes = tokenPageEnd.keyword.size() + 2; // with its line end

int writePageAside(AnnStream& aside, const AnnObject& object, const WriteFilter& filter) {
    TextWriter writer(aside);
    const int code = annWriteTree(writer, object, filter, 0);
    return code == SUCCESS ? writer.finish() : code;
}

bool cutAt(AnnStream& stream, uint64_t end) { return annSeekTo(stream, end) && annCut(stream); }

// Shifts what lies from `tail` to the end of the data so that `size` bytes fit where `old` ones are.
int resizeRoom(AnnStream& stream, uint64_t tail, uint64_t dataEnd, uint64_t size, uint64_t old) {
    const uint64_t newEnd = dataEnd - old + size;
    if (newEnd > dataEnd && !writeRoom(stream, dataEnd, newEnd - dataEnd)) {
        cutAt(stream, dataEnd);
        return ERROR_FILE_WRITE;
    }
    const auto delta = static_cast<int64_t>(size - old);
    if (const int code = annMoveBlock(stream, tail, dataEnd - tail, delta); code != SUCCESS) {
        if (code == ERROR_FAILURE) cutAt(stream, std::min(dataEnd, newEnd)); // nothing has moved
        return code;
    }
    return cutAt(stream, newEnd) ? SUCCESS : ERROR_FILE_WRITE;
}

} // namespace

int annCountTextPages(AnnStream& stream, uint32_t& pages) {
    const uint64_t before = stream.uPos;
    TextPage all;
    const int code = scanPages(stream, 0, all);
    if (!annSeekTo(stream, before)) return ERROR_FILE_READ;
    if (code == ERROR_FILE_READ) return code;
    pages = all.pages;
    return SUCCESS;
}

int annFindTextPage(AnnStream& stream, int32_t page, TextPage& found) {
    const uint64_t before = stream.uPos;
    const int code = scanPages(stream, page, found);
    return annSeekTo(stream, before) ? code : ERROR_FILE_READ;
}

int annMoveBlock(AnnStream& stream, uint64_t start, uint64_t length, int64_t delta) {
    if (!length || !delta) return SUCCESS;
    Scratch buffer;
    uint8_t* bytes = buffer.room(moveBytes);
    if (!bytes) return ERROR_FAILURE;
    for (uint64_t moved = 0; moved < length;) {
        const uint64_t piece = std::min(moveBytes, length - moved);
        // Upwards the top piece goes first: nothing is written over before it has been read.
        const uint64_t from = delta > 0 ? start + length - moved - piece : start + moved;
        if (!annSeekTo(stream, from) || !annReadAll(stream, bytes, piece)) return ERROR_FILE_READ;
        if (!annSeekTo(stream, from + static_cast<uint64_t>(delta)) || !annWriteAll(stream, bytes, piece))
            return ERROR_FILE_WRITE;
        moved += piece;
    }
    return SUCCESS;
}

int annMakeTextRoom(AnnStream& stream, RoomMode mode, const TextPage& found, uint64_t size, uint64_t& room) {
    const uint64_t before = stream.uPos;
    int code = SUCCESS;
    room = found.start;
    if (!found.size && endsInsideLine(stream, found.dataEnd)) {
        if (!writeRoom(stream, found.dataEnd, size + 2) || !annSeekTo(stream, found.dataEnd) ||
            !annWriteAll(stream, "\r\n", 2)) {
            cutAt(stream, found.dataEnd);
            return ERROR_FILE_WRITE;
        }
        room += 2;
        code = cutAt(stream, room + size) ? SUCCESS : ERROR_FILE_WRITE;
    } else {
        const uint64_t old = mode == RoomMode::insert ? 0 : found.size;
        code = resizeRoom(stream, found.start + old, found.dataEnd, mode == RoomMode::remove ? 0 : size, old);
    }
    const bool back = annSeekTo(stream, before);
    return code == SUCCESS && !back ? ERROR_FILE_SEEK : code;
}

int annWriteTextData(AnnStream& stream, const AnnObject& object, const WriteFilter& filter) {
    if (!annSeekTo(stream, stream.uBase)) return ERROR_FILE_SEEK;
    TextWriter writer(stream);
    writer.line(textHeader);
    if (const int code = annWriteTree(writer, object, filter, 0); code != SUCCESS) return code;
    if (const int code = writer.finish(); code != SUCCESS) return code;
    return annCut(stream) ? SUCCESS : ERROR_FILE_WRITE;
}

int annWriteTextPage(AnnStream& stream, const AnnObject& object, const WriteFilter& filter, RoomMode mode,
                     const TextPage& found) {
    // The page is written aside first: that tells its size, and a tree that can't be written leaves the data alone.
    AnnStream aside = annMemoryStream(nullptr, 0);
    int code = writePageAside(aside, object, filter);
    // A page without any object can't be told from what is no page behind another: it gets the empty container that reading
    // it would give.
    if (code == SUCCESS && aside.uEnd <= emptyPageBytes) {
        AnnObject* empty = annNewRecord(ANN_OBJECT_CONTAINER);
        if (empty) annInitDefaults(*empty);
        aside.uPos = aside.uEnd = 0;
        code = empty ? writePageAside(aside, *empty, {}) : ERROR_NO_MEMORY;
        annFreeRecord(empty);
    }
    if (code == ERROR_FILE_WRITE) code = ERROR_NO_MEMORY; // nothing but memory can be short here
    uint64_t room = 0;
    if (code == SUCCESS) code = annMakeTextRoom(stream, mode, found, aside.uEnd, room);
    if (code == SUCCESS && !annSeekTo(stream, room)) code = ERROR_FILE_SEEK;
    if (code == SUCCESS && !annWriteAll(stream, aside.pBlock, aside.uEnd)) code = ERROR_FILE_WRITE;
    if (aside.pBlock) K_FreeBlock(aside.pBlock);
    return code;
}

} // namespace kbann
