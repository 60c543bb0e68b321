// A tree drawn somewhere else than its window: the walk behind printing and realizing.
#pragma once

#include "render/drawing.h"
#include "store/tree.h"

namespace kbann {

// Takes client pixels of an object with these bounds to a target; a side without size keeps its scale.
AnnMatrix annFitMatrix(const RECT& bounds, const RECT& target);

// Which objects of the walk are drawn. Those that aren't visible are left out with all below them.
struct TreeChoice {
    bool bRedactOnly = false;
    bool bSelected = false;
    int nMenuItem = noMenuItem; // enabled for the object, unless noMenuItem
    bool bSiblings = false;     // the objects in front of the first one too
};

// Draws objects with all below them, each under its own matrix followed by `pMatrix`, without handles and icons. pRect is the
// clip. Without a matrix the bounds of `first` are fitted to pRect, or stay where they are without one.
void annDrawTree(HDC hDC, const RECT* pRect, AnnObject& first, const AnnMatrix* pMatrix, const TreeChoice& choice);

} // namespace kbann
