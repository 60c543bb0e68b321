// The tree that a flat list of marks stands for.
#pragma once

#include "persist/wang_form.h"

#include <vector>

namespace kbann {

// Records that are freed with the list, until they are taken out of it.
class RecordList {
public:
    RecordList() = default;
    RecordList(const RecordList&) = delete;
    RecordList& operator=(const RecordList&) = delete;
    ~RecordList();
    std::vector<AnnObject*> records; // in the order of their marks, without links
};

// Links the records, whose numbers and fathers are known, to a tree and takes them out of the list. root: null for an empty
// list; the only record that is left over when it is a container; else a new container over the image. ERROR_FILE_READ for
// a tree deeper than maxTreeDepth, ERROR_NO_MEMORY; the list then frees them all. Throws std::bad_alloc.
int annWangBuildTree(RecordList& list, AnnObject*& root, const WangImage& image);

} // namespace kbann
