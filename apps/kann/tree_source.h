// Which annotations belong to which page of an image: those in the image's own tag, or those of a store.
#pragma once

#include "apps/kann/batch.h"
#include "apps/kann/image_load.h"
#include "apps/kann/options.h"

#include <cstdint>
#include <optional>
#include <string>

namespace kann {

// Pages that a command works on, and the mode that objects are shown in.
struct PageChoice {
    int page = 1;          // of the image
    bool oneAlone = false; // the page was named; else a result with pages takes all of them
    int storePage = 0;     // 0: by the image's page
    std::uint32_t userMode = ANN_USERMODE_RUN;
};
// Reads --page, --store-page and --mode. Throws UsageError.
PageChoice readPageChoice(const Arguments& arguments);

// The store that a job names, or nothing. Throws Failure.
std::optional<InputFile> openStoreOf(const Job& job);

class TreeSource {
public:
    // Without a store: the tags of the image, which outlives this.
    TreeSource(std::optional<InputFile> store, const InputFile& image, const PageChoice& choice);

    // The tree for a page of the image in the chosen mode. Null where there is none: whyNone then tells why, or is empty
    // where none could be expected. Throws Failure, also for a page that a store of several pages hasn't.
    Tree load(int page, std::string& whyNone);
    // False for pages behind the last of a store that has several.
    bool reaches(int page);
    // Of the store, for messages.
    const std::string& name() const { return name_; }

private:
    int pages();
    Tree loadPage(int page, std::string& whyNone);

    const InputFile& image_;
    PageChoice choice_;
    std::string name_;
    bool ofImage_;
    bool inTag_;     // of the image, or of a TIFF that is the store
    InputFile file_; // a TIFF that is the store
    Store store_;    // any other store
    int pages_ = 0;  // 0: not counted yet
};

} // namespace kann
