// Faults, target and markers of JPEG.
#include "rasterio/jpeg_io.h"

#include <jerror.h>

namespace kb {
namespace {

constexpr int maxScans = 200;

JpegSession& sessionOf(j_common_ptr jpeg) { return *static_cast<JpegSession*>(jpeg->client_data); }

void onError(j_common_ptr jpeg) { std::longjmp(sessionOf(jpeg).back, 1); }
void onMessage(j_common_ptr jpeg, int level) {
    if (level >= 0) return;
    const int code = jpeg->err->msg_code;
    if (code == JWRN_JPEG_EOF || code == JWRN_HIT_MARKER) sessionOf(jpeg).endsEarly = true;
}
void onOutput(j_common_ptr) {}
void onProgress(j_common_ptr jpeg) {
    if (jpeg->is_decompressor && reinterpret_cast<j_decompress_ptr>(jpeg)->input_scan_number > maxScans) onError(jpeg);
}

// Faults that a sound file of another kind gives.
constexpr auto unsupported = std::to_array<int>({JERR_BAD_PRECISION, JERR_SOF_UNSUPPORTED, JERR_ARITH_NOTIMPL,
                                                 JERR_NOT_COMPILED, JERR_CONVERSION_NOTIMPL, JERR_MISMATCHED_QUANT_TABLE});

void grow(j_compress_ptr jpeg) {
    constexpr size_t firstBytes = size_t{1} << 16;
    auto& target = *reinterpret_cast<JpegTarget*>(jpeg->dest);
    const size_t used = target.capacity, capacity = used ? used * 2 : firstBytes;
    auto* larger = static_cast<uint8_t*>(std::realloc(target.bytes, capacity));
    if (!larger) {
        jpeg->err->msg_code = JERR_OUT_OF_MEMORY;
        onError(reinterpret_cast<j_common_ptr>(jpeg));
    }
    target.bytes = larger;
    target.capacity = capacity;
    target.manager.next_output_byte = larger + used;
    target.manager.free_in_buffer = capacity - used;
}
boolean growFull(j_compress_ptr jpeg) {
    grow(jpeg);
    return TRUE;
}
void finish(j_compress_ptr jpeg) {
    auto& target = *reinterpret_cast<JpegTarget*>(jpeg->dest);
    target.size = target.capacity - target.manager.free_in_buffer;
}

uint32_t number(const uint8_t* p, int bytes, bool bigEndian) {
    uint32_t value = 0;
    for (int i = 0; i < bytes; ++i) value |= static_cast<uint32_t>(p[i]) << 8 * (bigEndian ? bytes - 1 - i : i);
    return value;
}

// Orientation out of an EXIF block, which is a small TIFF; 1 unless it is there and sound.
uint32_t exifOrientation(ByteView block) {
    constexpr uint16_t orientationTag = 274;
    if (block.size() < 14 || std::memcmp(block.data(), "Exif\0\0", 6)) return 1;
    const ByteView tiff = block.subspan(6);
    const bool big = tiff[0] == 'M';
    const size_t at = number(tiff.data() + 4, 4, big);
    if (at > tiff.size() || tiff.size() - at < 2) return 1;
    const uint32_t entries = number(tiff.data() + at, 2, big);
    for (size_t entry = at + 2, i = 0; i < entries && tiff.size() - entry >= 12; ++i, entry += 12) {
        if (number(tiff.data() + entry, 2, big) == orientationTag) return number(tiff.data() + entry + 8, 2, big);
    }
    return 1;
}

} // namespace

void prepareJpeg(j_common_ptr jpeg, JpegSession& session) {
    jpeg->err = jpeg_std_error(&session.errors);
    jpeg->client_data = &session;
    session.errors.error_exit = onError;
    session.errors.emit_message = onMessage;
    session.errors.output_message = onOutput;
    session.progress.progress_monitor = onProgress;
}

void limitJpegScans(j_common_ptr jpeg, JpegSession& session) { jpeg->progress = &session.progress; }

int jpegFault(const JpegSession& session) {
    const int code = session.errors.msg_code;
    if (code == JERR_OUT_OF_MEMORY) return ERROR_NO_MEMORY;
    return std::find(unsupported.begin(), unsupported.end(), code) != unsupported.end() ? ERROR_FEATURE_NOT_SUPPORTED
                                                                                        : ERROR_FILE_READ;
}

void writeJpegTo(j_compress_ptr jpeg, JpegTarget& target) {
    target.manager.init_destination = grow;
    target.manager.empty_output_buffer = growFull;
    target.manager.term_destination = finish;
    jpeg->dest = &target.manager;
}

int jpegPerspective(const jpeg_decompress_struct& jpeg) {
    for (const jpeg_marker_struct* marker = jpeg.marker_list; marker; marker = marker->next) {
        if (marker->marker != JPEG_APP0 + 1) continue;
        const uint32_t orientation = exifOrientation({marker->data, marker->data_length});
        if (orientation != 1) return perspectiveFrom(orientation);
    }
    return KB_VIEW_TOP_LEFT;
}

void writeJpegOrientation(j_compress_ptr jpeg, int perspective) {
    if (perspective == KB_VIEW_TOP_LEFT) return;
    uint8_t block[] = {'E', 'x', 'i', 'f', 0, 0,        // a small TIFF follows
                       'M', 'M', 0,   42,  0, 0, 0, 8,  // its directory stands at 8
                       0,   1,                          // one entry
                       1,   18,  0,   3,   0, 0, 0, 1,  // orientation, one word
                       0,   0,   0,   0,   0, 0, 0, 0}; // the word; no further directory
    block[25] = static_cast<uint8_t>(orientationFrom(perspective));
    jpeg_write_marker(jpeg, JPEG_APP0 + 1, block, sizeof block);
}

} // namespace kb
