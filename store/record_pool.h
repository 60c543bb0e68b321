// Memory of records: slabs on huge pages, since a fresh page costs ten microseconds on first touch, and a list of free
// places. Places are handed out again last freed first, while they are warm. Slabs are kept until the process ends.
#pragma once

#include <cstddef>

namespace kbann {

// Room for one record, not constructed; null when memory fails.
void* annPoolTake() noexcept;
void annPoolGive(void* place) noexcept;

} // namespace kbann
