// Fuzz target of annotation data in the tag of a TIFF in memory, as it comes from a scanner or a mail: directory, tag and
// data all in one.
#include "fuzz/stored_round.h"

#include "contracts/raster_io.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 8 || size > 1 << 16 || data[0] != data[1] || (data[0] != 'I' && data[0] != 'M')) return 0;
    K_SetLinkedFilePolicy(0);
    K_SetPixelLimit(1 << 16); // larger images find nothing new and cost time
    for (const int32_t page : {1, 2}) {
        KernelLoadOptions options;
        K_DefaultLoadOptions(&options, sizeof options);
        options.nPageNumber = page;
        HANNOBJECT loaded = nullptr;
        const int code = K_AnnLoadMemory(data, static_cast<uint32_t>(size), &loaded, &options);
        stored_round::require(code == SUCCESS || !loaded);
        if (!loaded) continue;
        stored_round::checkMarks(loaded);
        K_AnnDestroy(loaded, 0);
    }
    return 0;
}
