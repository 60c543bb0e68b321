// kann lock and unlock: which objects a key holds afterwards, on every page, and when the status tells that some are left.
#include "kbann/kbann.h"
#include "tests/apps/kann_process.h"

#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;

namespace {

class KannLockTest : public KannTest {
protected:
    // The tags of the locked objects of a page.
    std::string locked(const std::string& store, int page = 1) const {
        const Json tree = Json::parse(done({"info", store, "--page", std::to_string(page), "--json"}));
        std::string tags;
        gather(tree["root"], tags);
        return tags;
    }

    void SetUp() override {
        HANNOBJECT root = nullptr;
        const AnnRect page{0, 0, 64, 48};
        ASSERT_EQ(K_AnnCreateContainer(nullptr, &page, TRUE, &root), SUCCESS);
        const HANNOBJECT group = make(root, ANN_OBJECT_CONTAINER, 1);
        make(group, ANN_OBJECT_REDACT, 2);
        make(group, ANN_OBJECT_RECT, 3);
        make(root, ANN_OBJECT_NOTE, 4);
        ASSERT_EQ(K_AnnSave(path("tree.kba").c_str(), root, ANN_FMT_NATIVE, FALSE, nullptr), SUCCESS);
        K_AnnDestroy(root, 0);
    }

private:
    static HANNOBJECT make(HANNOBJECT container, std::uint32_t type, std::uint32_t tag) {
        HANNOBJECT object = nullptr;
        const AnnRect rect{2, 2, 20, 20};
        EXPECT_EQ(K_AnnCreateItem(container, type, TRUE, &object), SUCCESS);
        EXPECT_EQ(K_AnnSetRect(object, &rect), SUCCESS);
        EXPECT_EQ(K_AnnSetTag(object, tag, 0), SUCCESS);
        return object;
    }
    static void gather(const Json& node, std::string& tags) {
        if (node["fields"].contains("bLocked")) tags += std::to_string(node["fields"]["uTag"].get<int>());
        for (const Json& child : node["children"]) gather(child, tags);
    }
};

} // namespace

TEST_F(KannLockTest, AKeyHoldsWhatItHasLocked) {
    const struct {
        std::vector<std::string> words;
        int status;
        const char* locked;
    } steps[] = {
        {{"lock", "--key", "one", "--tag", "3"}, 0, "3"},
        {{"lock", "--key", "one"}, 0, "234"}, // items, not their containers; its own again is no warning
        {{"unlock", "--key", "two"}, 3, "234"},
        {{"unlock", "--key", "One"}, 3, "234"},
        {{"unlock", "--key", "one", "--tag", "4"}, 0, "23"},
        {{"lock", "--key", "zw\xC3\xB6lf"}, 3, "234"}, // two keep the first key
        {{"lock", "--key", "three", "--tag", "1"}, 0, "1234"},
        {{"unlock", "--key", "one"}, 3, "14"},
        {{"unlock", "--key", "zw\xC3\xB6lf"}, 3, "1"},
        {{"unlock", "--key", "three"}, 0, ""},
        {{"unlock", "--key", "three"}, 0, ""},
        {{"unlock", "--key", "three", "--tag", "9"}, 1, ""},
        {{"lock", "--key", ""}, 2, ""},
        {{"lock"}, 2, ""},
    };
    for (const auto& step : steps) {
        std::vector<std::string> words = step.words;
        SCOPED_TRACE(words[0] + " " + (words.size() > 2 ? words[2] : "") + (words.size() > 4 ? " " + words[4] : ""));
        words.insert(words.begin() + 1, "tree.kba");
        words.insert(words.end(), {"-o", "tree.kba"});
        const std::string before = read("tree.kba");
        const KannResult result = kann(words);
        EXPECT_EQ(result.status, step.status) << result.err;
        EXPECT_EQ(locked("tree.kba"), step.locked);
        EXPECT_EQ(result.err.empty(), step.status == 0);
        if (step.status == 1 || step.status == 2) {
            EXPECT_EQ(read("tree.kba"), before);
        }
    }
}

TEST_F(KannLockTest, TheKeyIsntReadableInTheStore) {
    done({"lock", "tree.kba", "--key", "geheimnis", "-o", "locked.kba"});
    EXPECT_EQ(read("locked.kba").find("geheimnis"), std::string::npos);
    EXPECT_EQ(done({"info", "locked.kba", "--json"}).find("geheimnis"), std::string::npos);
    done({"unlock", "locked.kba", "--key", "geheimnis", "-o", "open.kba"});
    EXPECT_EQ(read("open.kba"), read("tree.kba"));
}

TEST_F(KannLockTest, EveryPageIsLockedUnlessOneIsNamed) {
    done({"pages", "tree.kba", "insert", "last", "tree.kba", "-o", "book.kba"});
    done({"pages", "book.kba", "insert", "last", "tree.kba"});
    done({"lock", "book.kba", "--key", "one", "-o", "all.kba"});
    done({"lock", "book.kba", "--key", "one", "--store-page", "2", "-o", "second.kba"});
    for (int page = 1; page <= 3; ++page) {
        EXPECT_EQ(locked("all.kba", page), "234");
        EXPECT_EQ(locked("second.kba", page), page == 2 ? "234" : "");
    }
    done({"unlock", "all.kba", "--key", "one", "-o", "open.kba"});
    EXPECT_EQ(read("open.kba"), read("book.kba"));
    EXPECT_EQ(kann({"lock", "book.kba", "--key", "one", "--store-page", "4", "-o", "none.kba"}).status, 1);
    EXPECT_FALSE(exists("none.kba"));
}
