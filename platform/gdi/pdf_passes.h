// The passes of a raster operation on a page. Only within the files that draw on pages.
#pragma once

#include "platform/gdi/pdf_page.h"

namespace kb::gdi {

// First what is there is inverted where the row says so, then the figure is blended with it.
struct BlendRow {
    int rop2;
    bool inverts;
    cairo_operator_t blend; // CAIRO_OPERATOR_DEST: no second pass
    Ink ink;
};
const BlendRow& blendOf(int rop2);

// A group that is given up again if the drawing fails in the middle of it.
class PageGroup {
public:
    explicit PageGroup(cairo_t* cairo) : cairo_(cairo) { cairo_push_group(cairo); }
    PageGroup(const PageGroup&) = delete;
    PageGroup& operator=(const PageGroup&) = delete;
    ~PageGroup() {
        if (open_) cairo_pattern_destroy(cairo_pop_group(cairo_));
    }
    void paint(cairo_operator_t how) {
        open_ = false;
        cairo_pop_group_to_source(cairo_);
        cairo_set_operator(cairo_, how);
        cairo_paint(cairo_);
    }

private:
    cairo_t* cairo_;
    bool open_ = true;
};

// Puts the page's clip and operator back as they were.
class SavedState {
public:
    explicit SavedState(cairo_t* cairo) : cairo_(cairo) { cairo_save(cairo); }
    SavedState(const SavedState&) = delete;
    SavedState& operator=(const SavedState&) = delete;
    ~SavedState() { cairo_restore(cairo_); }

private:
    cairo_t* cairo_;
};

template <class Draw> void PdfPage::passes(int rop2, bool parts, Draw&& draw) {
    const auto pass = [&](cairo_operator_t how, Ink ink) {
        if (parts && how != CAIRO_OPERATOR_OVER) {
            PageGroup group(cairo_);
            draw(ink);
            group.paint(how);
        } else {
            cairo_set_operator(cairo_, how);
            draw(ink);
        }
        cairo_set_operator(cairo_, CAIRO_OPERATOR_OVER);
    };
    const BlendRow& row = blendOf(rop2);
    if (row.inverts) pass(CAIRO_OPERATOR_DIFFERENCE, Ink::white);
    if (row.blend != CAIRO_OPERATOR_DEST) pass(row.blend, row.ink);
}

} // namespace kb::gdi
