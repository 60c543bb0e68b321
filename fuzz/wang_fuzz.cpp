// Fuzz target of marks: the first byte chooses the layout, the rest stands behind the header.
#include "fuzz/stored_round.h"

#include "contracts/raster_io.h"

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1 || size > 1 << 16) return 0;
    K_SetLinkedFilePolicy(0);
    K_SetPixelLimit(1 << 16); // larger images find nothing new and cost time
    std::string marks(8, '\0');
    marks[4] = static_cast<char>(data[0] & 1);
    marks.append(reinterpret_cast<const char*>(data) + 1, size - 1);
    HANNOBJECT loaded = nullptr;
    const int code = K_AnnLoadMemory(marks.data(), static_cast<uint32_t>(marks.size()), &loaded, nullptr);
    stored_round::require(code == SUCCESS || !loaded);
    if (!loaded) return 0;
    stored_round::checkMarks(loaded);
    K_AnnDestroy(loaded, 0);
    return 0;
}
