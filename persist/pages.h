// Pages of the text form. They follow one another behind one header line, each from its root object to its KBANNEND, so
// adding, replacing and taking one out moves what lies behind it.
#pragma once

#include "persist/native_form.h"
#include "persist/stream.h"

#include <cstdint>

namespace kbann {

// Counts the pages from the stream's base on; the stream's position stays. ERROR_FILE_READ.
int annCountTextPages(AnnStream& stream, uint32_t& pages);

struct TextPage {
    uint64_t start = 0;   // position of the page's first line; of the end of all pages when there is no such page
    uint64_t size = 0;    // bytes, 0 when there is no such page
    uint64_t dataEnd = 0; // position behind the last page
    uint32_t pages = 0;
};
// Finds a page by its number from 1; the stream's position stays. ERROR_PAGE_NOT_FOUND, with start, end and count filled all
// the same; ERROR_FILE_READ.
int annFindTextPage(AnnStream& stream, int32_t page, TextPage& found);

enum class RoomMode : uint8_t { insert, replace, remove };
// Makes room for `size` bytes before a page or in its place (no such page: behind the last), or takes a page out. `found`
// tells where it stands. room: where the bytes go. The room is really written before anything moves: without place for it
// the data is as it was. The stream is cut behind its new end; its position stays.
int annMakeTextRoom(AnnStream& stream, RoomMode mode, const TextPage& found, uint64_t size, uint64_t& room);

// Moves bytes within the stream by `delta`. ERROR_FAILURE when there is no memory for a buffer.
int annMoveBlock(AnnStream& stream, uint64_t start, uint64_t length, int64_t delta);

// Writes a tree as the only page, from the base on, and cuts the stream behind it.
int annWriteTextData(AnnStream& stream, const AnnObject& object, const WriteFilter& filter);
// Writes a tree into the room before a page, or in its place, of text data that is there. The stream stands behind it.
int annWriteTextPage(AnnStream& stream, const AnnObject& object, const WriteFilter& filter, RoomMode mode,
                     const TextPage& found);

} // namespace kbann
