// Colour profiles (ICC.1) that images carry. They are taken along as a block of bytes, and only when that block is one
// sound profile; where nothing may be carried out in it, written anew with its colours alone.
#pragma once

#include "rasterio/image_io.h"

namespace kb {

inline constexpr uint16_t profileTag = 34675; // of TIFF, and in the queue of tags for all formats

// Header, table and tags fill the block without a byte beside them, and all tags are of the published kinds.
bool isSoundProfile(ByteView profile);
// The profile is for grey samples, or for red, green and blue.
bool profileFits(ByteView profile, bool isGrey);
// The same colours in a profile with nothing else in it, always the same bytes (plain_profile.cpp). Empty for a profile that
// isn't sound, or whose colours come from tables.
Bytes plainProfile(ByteView profile);
// Is it what plainProfile gives?
bool isPlainProfile(ByteView profile);
// The profile in the calling thread's queue of tags if it fits samples of that kind, else nothing. Borrowed.
ByteView queuedProfile(bool isGrey);

// Profile of a page. False when there is none or it can't be read; `out` is empty then.
bool readProfile(ByteView file, int format, int page, Bytes* out);

} // namespace kb
