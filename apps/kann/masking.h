// What mask and unmask share: trees that are laid on a page with their redactions alone in sight, and whole files with one or
// more pages of it drawn on.
#pragma once

#include "apps/kann/batch.h"
#include "apps/kann/whole_image.h"

#include <functional>
#include <string>
#include <vector>

namespace kann {

struct Redaction {
    HANNOBJECT object;
    RECT box;   // viewed pixels, cut to the page; empty outside of it
    RECT kept;  // 0, 0 and the size of the pixels that it holds, as viewed; empty without
    bool shown; // it and all that it lies in
    bool locked;
};

// A tree at scale 1 on a page of that size. Names are out of sight while this lives.
class LaidTree {
public:
    LaidTree(const Tree& tree, SIZE page, std::string name);
    ~LaidTree();
    LaidTree(const LaidTree&) = delete;
    LaidTree& operator=(const LaidTree&) = delete;

    std::vector<Redaction> redactions() const;
    // By which K_AnnRealize and K_AnnUnrealize leave the tree where it is laid.
    RECT view() const;

private:
    HANNOBJECT root_;
    SIZE page_;
    AnnRect rect_{}; // of the root; one around marks that count in pixels is as large as the page while this lives
    std::string name_;
    std::vector<HANNOBJECT> named_; // whose names were shown
};

// A page of a store that belongs to a page of an image.
struct StorePage {
    int page;      // of the image; 0: of none
    int storePage; // of the store
};
std::vector<StorePage> pairPages(const Store& store, const Arguments& arguments, int imagePages);

// Writes those pages of an image; `change` gets each one to draw on, with its number. Throws Failure for formats that don't
// keep pixels as they are.
void writeChanged(const WholeImage& image, const std::vector<int>& pages, const Arguments& arguments, OutputFile& output,
                  JobLog& log, const std::function<void(Bitmap&, int page)>& change);

} // namespace kann
