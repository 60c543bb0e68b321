// A store is opened once and its pages are counted once, since a document asks for one page after the other.
#include "apps/kann/tree_source.h"

#include "apps/kann/failure.h"
#include "apps/kann/vector_image.h"

namespace kann {

PageChoice readPageChoice(const Arguments& arguments) {
    constexpr int highest = 1 << 24;
    return {.page = static_cast<int>(arguments.number("page", 1, 1, highest)),
            .oneAlone = arguments.has("page"),
            .storePage = static_cast<int>(arguments.number("store-page", 0, 1, highest)),
            .userMode = arguments.text("mode", "run") == "design" ? ANN_USERMODE_DESIGN : ANN_USERMODE_RUN};
}

std::optional<InputFile> openStoreOf(const Job& job) {
    return job.store.empty() ? std::nullopt : std::optional(openInput(job.store));
}

TreeSource::TreeSource(std::optional<InputFile> store, const InputFile& image, const PageChoice& choice)
    : image_(image), choice_(choice), name_(store ? store->name : image.name), ofImage_(!store),
      inTag_(isTiff(store ? *store : image)) {
    if (ofImage_) return;
    if (inTag_) {
        file_ = std::move(*store);
    } else {
        store_ = openStore(std::move(*store), 1);
    }
}

int TreeSource::pages() {
    if (pages_ == 0) pages_ = inTag_ ? imagePages(ofImage_ ? image_ : file_) : countPages(store_);
    return pages_;
}

bool TreeSource::reaches(int page) { return choice_.storePage != 0 || page == 1 || pages() <= 1 || page <= pages(); }

Tree TreeSource::load(int page, std::string& whyNone) {
    whyNone.clear();
    Tree tree = loadPage(page, whyNone);
    if (tree) check(K_AnnSetUserMode(tree.get(), choice_.userMode), name_);
    return tree;
}

Tree TreeSource::loadPage(int page, std::string& whyNone) {
    if (ofImage_ && !inTag_) {
        if (!isMetafile(image_)) whyNone = name_ + ": this format carries no annotation data";
        return {};
    }
    const int own = choice_.storePage != 0 ? choice_.storePage : ofImage_ || (page > 1 && pages() > 1) ? page : 1;
    Tree tree = inTag_ ? loadTree(openStore(ofImage_ ? image_ : file_, own), 1) : loadTree(store_, own);
    if (!tree) whyNone = name_ + ": the page carries no annotation data";
    return tree;
}

} // namespace kann
