// What readers and writers of JPEG share: faults of the library, which come by a long jump, a memory target that is true at
// all times, and what is read out of markers. Everything between setjmp and a jump is plain data; whoever sets the jump
// back owns no C++ object inside.
#pragma once

#include "rasterio/image_io.h"

#include <csetjmp>
#include <cstdio>

#include <jpeglib.h>

namespace kb {

struct JpegSession {
    jpeg_error_mgr errors;
    jpeg_progress_mgr progress;
    std::jmp_buf back;
    bool endsEarly; // the data ended inside the picture
};

// Error handlers for a codec that is about to be created; to be called before setjmp. One session may serve two codecs.
void prepareJpeg(j_common_ptr jpeg, JpegSession& session);
// Ends a decoder that asks for more scans than a picture has use for. To be called after the decoder's creation.
void limitJpegScans(j_common_ptr jpeg, JpegSession& session);
// Code of the fault that has led back.
int jpegFault(const JpegSession& session);

// The library's own memory target tells where its grown buffer is at the end alone, so a jump before that would lose it.
struct JpegTarget {
    jpeg_destination_mgr manager; // first: the library hands it back
    uint8_t* bytes;               // to be freed by the owner, whatever happened
    size_t capacity, size;
};
void writeJpegTo(j_compress_ptr jpeg, JpegTarget& target);

// KB_VIEW_* out of the saved EXIF markers, KB_VIEW_TOP_LEFT without.
int jpegPerspective(const jpeg_decompress_struct& jpeg);
// Writes an EXIF marker that holds the orientation of a perspective and nothing else; none for KB_VIEW_TOP_LEFT.
void writeJpegOrientation(j_compress_ptr jpeg, int perspective);

} // namespace kb
