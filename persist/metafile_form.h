// A tree as a picture that any program can show: a placeable metafile. It is written only; no load reads it back.
#pragma once

#include "persist/native_form.h"
#include "persist/stream.h"
#include "platform/gdi.h"

namespace kbann {

// Draws an object as it stands in its whole tree into a new metafile, the caller's: DeleteMetaFile. Siblings of a container in
// front of it come along. Null when it can't be made.
HMETAFILE annMakeMetafile(AnnObject& record, const WriteFilter& filter);

// Writes header and bits at the stream's position and cuts the data behind them. ERROR_NO_MEMORY, ERROR_FILE_WRITE.
int annSaveWmf(AnnStream& stream, AnnObject& record, const WriteFilter& filter);

} // namespace kbann
