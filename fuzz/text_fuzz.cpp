// Fuzz target of the text form: any bytes are loaded from memory, and what loads goes round through the form.
#include "fuzz/stored_round.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (const HANNOBJECT loaded = stored_round::load(data, size)) {
        stored_round::check(loaded, ANN_FMT_NATIVE);
        K_AnnDestroy(loaded, 0);
    }
    return 0;
}
