// Lines are told apart as the library's reader tells them: any byte that isn't printable ends one, a long one is broken, a NUL
// ends the data. KBANNEND ends a page behind an object, a block or the start of a page, and wherever a page or nothing follows
// it; elsewhere it is a line of an encoded text.
#include "apps/kann/page_slices.h"

#include "kbann/stored_fields.h"

#include <algorithm>

namespace kann {

namespace {

class LineWalk {
public:
    explicit LineWalk(const Bytes& data) : data_(reinterpret_cast<const char*>(data.data()), data.size()) {}

    // Empty at the end.
    std::string_view next() {
        constexpr std::size_t longest = 80;
        const std::size_t start = at_, most = std::min(data_.size(), start + longest);
        while (at_ < most && isPrintable(data_[at_])) ++at_;
        const std::string_view line = data_.substr(start, at_ - start);
        while (at_ < data_.size() && data_[at_] != '\0' && !isPrintable(data_[at_])) ++at_;
        return line;
    }
    // Where the next line begins.
    std::size_t position() const { return at_; }

private:
    static bool isPrintable(char c) { return static_cast<signed char>(c) >= 32; } // bytes from 0x80 on are below 0

    std::string_view data_;
    std::size_t at_ = 0;
};

bool startsPage(std::string_view line) {
    return line == kbann::tokenBeginObject.keyword || line == kbann::tokenBlockBegin.keyword;
}

bool leadsToEnd(std::string_view line) {
    return line == kbann::tokenEndObject.keyword || line == kbann::tokenBlockEnd.keyword;
}

} // namespace

Bytes slicedPage(const Bytes& data, std::size_t start, std::size_t end) {
    Bytes page(pagelessText.size() + end - start);
    std::ranges::copy(pagelessText, page.begin());
    std::copy_n(data.begin() + static_cast<std::ptrdiff_t>(start), end - start,
                page.begin() + static_cast<std::ptrdiff_t>(pagelessText.size()));
    return page;
}

std::vector<std::size_t> findPageEdges(const Bytes& data) {
    LineWalk lines(data);
    lines.next(); // the header
    std::vector<std::size_t> edges{lines.position()};
    bool canEnd = true;
    for (std::string_view line = lines.next(); !line.empty();) {
        if (line != kbann::tokenPageEnd.keyword) {
            canEnd = leadsToEnd(line);
            line = lines.next();
            continue;
        }
        const std::size_t end = lines.position();
        line = lines.next();
        const bool starts = startsPage(line);
        if (canEnd || starts || line.empty()) {
            edges.push_back(end);
            if (!starts) break;
        }
        canEnd = false;
    }
    return edges;
}

} // namespace kann
