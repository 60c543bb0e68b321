// Writer and reader of the token stream: objects between BEGINOBJECT and ENDOBJECT, blocks of children behind their
// container, KBANNEND behind a page. Pages, headers and the choice of a form are the callers' (pages.h, storage.h).
#pragma once

#include "persist/text_lines.h"
#include "store/record.h"

#include <cstdint>
#include <string_view>

namespace kbann {

// How tokens and values look. The text form has no flags.
inline constexpr uint32_t STREAM_CODED = 1;   // binary tokens with a number and a length
inline constexpr uint32_t STREAM_REDUCED = 2; // the fields that marks of foreign tools can't hold

inline constexpr std::string_view textHeader = "KBANNBEGIN";
inline constexpr std::string_view codedHeader = "KBANNBEGINCODED";

// What of a tree is written.
struct WriteFilter {
    bool bSelected = false;  // selected objects; a selected container with all that is in it
    bool bCheckMenu = false; // objects whose menu item is enabled
    int nMenuItem = -1;
};

// Writes the page of a tree from its root's BEGINOBJECT to KBANNEND. An object that is no container is wrapped in the record
// of its own container. ERROR_INV_PARAMETER for a tree nested deeper than maxTreeDepth, before a byte is written;
// ERROR_FILE_WRITE, ERROR_NO_MEMORY; ERROR_FEATURE_NOT_SUPPORTED under STREAM_CODED.
int annWriteTree(TextWriter& writer, const AnnObject& object, const WriteFilter& filter, uint32_t flags);
// Writes one record without what is below it.
int annWriteObject(TextWriter& writer, const AnnObject& object, uint32_t flags);

// Reads a page; the stream stands on its first token. root: receives the tree, the caller's, without a window and with
// geometry still to be derived. A page without objects gives an empty container. ERROR_FILE_READ for anything malformed,
// ERROR_NO_MEMORY; on failure nothing is left.
int annReadTree(TextReader& reader, AnnObject*& root, uint32_t flags);
// Reads the fields of a record up to ENDOBJECT, in any order and of any type. scratch: memory used again by each call.
int annReadObject(TextReader& reader, AnnObject& object, Scratch& scratch, uint32_t flags);
// Reads a keyword; tag: its number (kbann/stored_fields.h). ERROR_FILE_READ for a line that is none.
int annReadToken(TextReader& reader, uint8_t& tag);

} // namespace kbann
