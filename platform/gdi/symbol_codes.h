// Pictorial fonts that files name and machines lack: what their letters are in Unicode, so that other faces can show them.
#pragma once

#include <cstdint>

namespace kb::gdi {

enum class SymbolSet : uint8_t { none, greek, pictures };

// By the name of the face: "Symbol" or "Wingdings", in any case.
SymbolSet symbolSetOf(const char* face);
// 0 for a place without a letter.
char32_t symbolUnicode(SymbolSet set, uint8_t c);

} // namespace kb::gdi
