// Writer and reader of Wang marks, the list of marks that TIFF files carry in tag 32932. A mark holds a shape, two colours,
// a font, a text, an image; there is no tree and no more than ten kinds. In the full strength a block behind each mark holds
// the rest of the object in the reduced dress of the token stream, so that reading gives the object itself back.
#pragma once

#include "persist/native_form.h"
#include "persist/stream.h"
#include "store/record.h"

#include <cstdint>

namespace kbann {

// A result of the writer besides the return codes: there is nothing that could be a mark, and not a byte was written.
inline constexpr int wangNothing = 2;

// The image that marks lie on, in pixels; 0 when it isn't known.
struct WangImage {
    double width = 0, height = 0;
};

// Writes the marks of an object and of all that is below it at the stream's present position, and cuts the stream behind
// them. bPure: marks alone, without what only this library understands; containers, buttons and what plays or links give
// none then. Numbers the objects on the way (nSaveId). SUCCESS, wangNothing, ERROR_FILE_WRITE, ERROR_FILE_SEEK,
// ERROR_NO_MEMORY, and what a broken picture gives: ERROR_INV_BITMAP, ERROR_INV_PARAMETER or a code of the kernel.
int annWangWriteTree(AnnStream& stream, AnnObject& object, const WriteFilter& filter, bool bPure);

// Reads marks of either layout from the stream's base to its end. root: receives the tree, the caller's, with geometry still
// to be derived, or null when there is no mark. ERROR_FILE_READ for anything malformed and for containers nested deeper than
// maxTreeDepth, ERROR_NO_MEMORY; nothing is left then. What blocks ask for beyond their own bytes, pixels and work on objects, is held against
// the size of the data and the host's limit of pixels; a list that asks for more gives those codes too.
int annWangReadStream(AnnStream& stream, AnnObject*& root, const WangImage& image);

} // namespace kbann
