// Files that begin like BMP go through the reader, whatever follows.
#include "fuzz/image_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::loadPages(data, size, KB_FORMAT_BMP);
    return 0;
}
