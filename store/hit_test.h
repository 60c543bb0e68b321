// What lies under a pixel: the walk over a tree from front to back, and the test of one object.
#pragma once

#include "store/geometry.h"

namespace kbann {

struct Hit {
    AnnObject* record = nullptr; // null: nothing
    uint32_t result = ANN_HIT_NONE;
    POINT point{}; // the one asked about; the handle's position on ANN_HIT_HANDLE
};

// The front-most object of a tree at a point. Often hit trees get a box index (store/hit_index.h).
Hit annHitTest(AnnObject& root, POINT point);
// The same by the walk alone; `looked` grows by the objects that it looked at.
Hit annHitTestPlain(AnnObject& root, POINT point, uint64_t& looked);

// Index of the first handle whose square of 7 by 7 pixels holds the point, or nHandles.
uint32_t annHandleAt(const POINT* pHandles, uint32_t nHandles, POINT point);
// Whether the point lies on the object's name or its shape, by type.
bool annHitObject(const AnnObject& record, POINT point);

} // namespace kbann
