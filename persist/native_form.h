// Writer and reader of the token stream: objects between BEGINOBJECT and ENDOBJECT, blocks of children behind their
// container, KBANNEND behind a page. How tokens and values look, the dress, is the sink's and the source's: lines of text
// (text_lines.h) or binary (coded_tokens.h); one walk over the table of fields serves both. Pages, headers and the choice
// of a form are the callers' (pages.h, coded_pages.h, storage.h).
#pragma once

#include "persist/coded_tokens.h"
#include "persist/text_lines.h"
#include "store/record.h"

#include <cstdint>
#include <string_view>

namespace kbann {

// The fields that marks of foreign tools can't hold, instead of all.
inline constexpr uint32_t STREAM_REDUCED = 2;

inline constexpr std::string_view textHeader = "KBANNBEGIN";
inline constexpr std::string_view codedHeader = "KBANNBEGINCODED";
inline constexpr uint16_t pageLinkTag = 52; // a link of the coded form's pages, which is no part of a page

// What of a tree is written.
struct WriteFilter {
    bool bSelected = false;  // selected objects; a selected container with all that is in it
    bool bCheckMenu = false; // objects whose menu item is enabled
    int nMenuItem = -1;
};

// Sink: TextWriter or CodedWriter. Writes the page of a tree from its root's BEGINOBJECT to KBANNEND. An object that is no
// container is wrapped in the record of its own container. flags: 0 or STREAM_REDUCED. ERROR_INV_PARAMETER for a tree nested
// deeper than maxTreeDepth, before a byte is written; ERROR_FILE_WRITE, also for a field of 4 GiB in the coded dress;
// ERROR_NO_MEMORY.
template <class Sink> int annWriteTree(Sink& sink, const AnnObject& object, const WriteFilter& filter, uint32_t flags);
// Writes one record without what is below it.
template <class Sink> int annWriteObject(Sink& sink, const AnnObject& object, uint32_t flags);

// Source: TextReader or CodedReader. Reads a page; the source stands on its first token. root: receives the tree, the
// caller's, without a window and with geometry still to be derived. A page without objects gives an empty container.
// ERROR_FILE_READ for anything malformed, ERROR_NO_MEMORY, ERROR_FILE_SEEK; on failure nothing is left.
template <class Source> int annReadTree(Source& source, AnnObject*& root, uint32_t flags);
// Reads the fields of a record up to ENDOBJECT, in any order and of any type; flags change nothing, since every field is
// taken in every dress. In the coded dress unknown tags are stepped over. scratch: memory used again by each call.
template <class Source> int annReadObject(Source& source, AnnObject& object, Scratch& scratch, uint32_t flags);
// Reads a keyword or a token; tag: its number (kbann/stored_fields.h). ERROR_FILE_READ for a line that is no keyword and at
// the end of the data. Of the coded dress alone: noTag (field_members.h) for an unknown number, pageLinkTag for a link.
int annReadToken(TextReader& source, uint8_t& tag);
int annReadToken(CodedReader& source, uint8_t& tag);

} // namespace kbann
