// kann pages, attach, extract and detach: what changes in a store or a TIFF, and what must not.
#include "kbann/kbann.h"
#include "tests/apps/kann_process.h"

#include <cstdlib>
#include <map>
#include <sys/resource.h>

namespace {

class KannStoreTest : public KannTest {
protected:
    // Types on the pages of a store, one word a page: the store is told apart by what its pages hold.
    std::string contents(const std::string& name) const {
        std::string words;
        const std::string list = done({"pages", name, "list"});
        int page = 0;
        for (const char c : list) {
            if (c != '\n') continue;
            const std::string tree = done({"info", name, "--page", std::to_string(++page)});
            const std::size_t at = tree.rfind("\n    ") + 5;
            words.append(words.empty() ? "" : " ").append(tree, at, tree.find(' ', at) - at);
        }
        return words;
    }

    void makeStores() const {
        for (const char* type : {"rect", "ellipse", "hilite", "note"}) {
            done({"add", "new:64x48", type, "--rect", "5,5,20,15", "-o", std::string(type) + ".kba"});
        }
    }

    std::map<int, std::string> tagsOf(const std::string& name, int page) const {
        std::map<int, std::string> tags;
        KernelLoadOptions options{};
        K_DefaultLoadOptions(&options, sizeof options);
        options.nPageNumber = page;
        for (int tag = 254; tag < 340; ++tag) {
            std::uint16_t type = 0;
            std::uint32_t count = 0;
            const int size =
                K_GetFileTag(path(name).c_str(), static_cast<std::uint16_t>(tag), &type, &count, nullptr, &options);
            if (size <= 0) continue;
            std::string value(static_cast<std::size_t>(size), '\0');
            K_GetFileTag(path(name).c_str(), static_cast<std::uint16_t>(tag), &type, &count, value.data(), &options);
            tags[tag] = std::to_string(type) + ":" + std::to_string(count) + ":" + value;
        }
        return tags;
    }
};

} // namespace

TEST_F(KannStoreTest, PagesAreInsertedReplacedAndDeleted) {
    makeStores();
    const struct {
        std::vector<std::string> arguments;
        int status;
        const char* contents; // afterwards
    } steps[] = {
        {{"insert", "last", "ellipse.kba"}, 0, "RECT ELLIPSE"},
        {{"insert", "1", "hilite.kba"}, 0, "HILITE RECT ELLIPSE"},
        {{"insert", "3", "note.kba"}, 0, "HILITE RECT NOTE ELLIPSE"},
        {{"insert", "5", "note.kba"}, 0, "HILITE RECT NOTE ELLIPSE NOTE"},
        {{"insert", "7", "note.kba"}, 1, "HILITE RECT NOTE ELLIPSE NOTE"},
        {{"replace", "2", "ellipse.kba"}, 0, "HILITE ELLIPSE NOTE ELLIPSE NOTE"},
        {{"replace", "6", "rect.kba"}, 1, "HILITE ELLIPSE NOTE ELLIPSE NOTE"},
        {{"replace", "last", "rect.kba"}, 0, "HILITE ELLIPSE NOTE ELLIPSE NOTE RECT"},
        {{"delete", "1"}, 0, "ELLIPSE NOTE ELLIPSE NOTE RECT"},
        {{"delete", "3"}, 0, "ELLIPSE NOTE NOTE RECT"},
        {{"delete", "5"}, 1, "ELLIPSE NOTE NOTE RECT"},
        {{"delete", "last"}, 0, "ELLIPSE NOTE NOTE"},
        {{"delete", "0"}, 2, "ELLIPSE NOTE NOTE"},
        {{"insert", "1", "gone.kba"}, 1, "ELLIPSE NOTE NOTE"},
    };
    for (const std::string form : {"native", "coded"}) {
        const std::string book = form + ".book", other = form + ".other";
        done({"convert", "rect.kba", "--to", form, "-o", book});
        for (const auto& step : steps) {
            SCOPED_TRACE(form + ", " + step.arguments[0] + " " + step.arguments[1]);
            std::vector<std::string> arguments{"pages", book};
            arguments.insert(arguments.end(), step.arguments.begin(), step.arguments.end());
            const std::string before = read(book);
            EXPECT_EQ(kann(arguments).status, step.status);
            EXPECT_EQ(contents(book), step.contents);
            if (step.status != 0) {
                EXPECT_EQ(read(book), before);
            }
        }
        const std::string before = read(book);
        done({"pages", book, "delete", "1", "-o", other});
        EXPECT_EQ(contents(other), "NOTE NOTE");
        EXPECT_EQ(read(book), before);
        EXPECT_EQ(done({"pages", other, "list"}), "1\t1\t0,0,64,48\n2\t1\t0,0,64,48\n");
        EXPECT_NE(done({"info", other}).find(form + " form, version 13, page 1 of 2"), std::string::npos);
    }
}

// All pages of a book, cut out of its text or found by the library one by one, have to be the same, whatever the lines look like.
TEST_F(KannStoreTest, PagesOfATextAreFoundAsTheLibraryFindsThem) {
    makeStores();
    const std::string header = "KBANNBEGIN\r\n", rect = read("rect.kba").substr(header.size()),
                      note = read("note.kba").substr(header.size());
    const auto with = [](std::string text, const std::string& before, const std::string& line) {
        return text.insert(text.rfind(before), line);
    };
    // A text of six bytes whose one encoded line reads as the end of a page.
    const std::string trap = with(note, "POINTS", "TEXT\r\n6\r\nKBANNEND\r\n");
    std::string bare = rect + note + rect;
    std::erase(bare, '\r');
    const struct {
        const char* name;
        std::string pages;
    } rows[] = {
        {"as written", rect + note + rect},
        {"a text that reads as an end", rect + trap + note + trap},
        {"line feeds alone", bare},
        {"blank lines between pages", rect + "\r\n\r\n" + note + "\n" + rect},
        {"no last line end", rect + (note + rect).substr(0, (note + rect).size() - 2)},
        {"something behind", rect + note + "KBANNEND\r\n" + rect},
        {"a byte 0 behind", rect + note + '\0' + rect},
        {"cut within a page", rect + note + rect.substr(0, rect.size() / 2)},
        {"two ends of a page", rect + note + with(rect, "KBANNEND", "KBANNEND\r\nBEGINOBJECT\r\n0\r\nENDOBJECT\r\n")},
        {"a long line", rect + with(note, "ENDOBJECT", std::string(80, 'x') + "KBANNEND\r\nBEGINOBJECT\r\n") + rect},
        {"a broken page", rect + with(note, "POINTS", "TEXT\r\n9999\r\n") + rect},
        {"a text into the next page", rect + with(note, "POINTS", "TEXT\r\n2000\r\n") + rect + rect + rect + rect},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string data = header + row.pages;
        write("book.kba", data);
        // One file a page by the library alone, all put behind one another.
        std::string due;
        KernelLoadOptions options{};
        K_DefaultLoadOptions(&options, sizeof options);
        int code = SUCCESS;
        for (options.nPageNumber = 1; code == SUCCESS; ++options.nPageNumber) {
            HANNOBJECT root = nullptr;
            code = K_AnnLoadMemory(data.data(), static_cast<std::uint32_t>(data.size()), &root, &options);
            if (code != SUCCESS) break;
            ASSERT_EQ(K_AnnSave(path("page.kba").c_str(), root, ANN_FMT_NATIVE, FALSE, nullptr), SUCCESS);
            K_AnnDestroy(root, 0);
            due += read("page.kba").substr(due.empty() ? 0 : header.size());
        }
        const KannResult result = kann({"convert", "book.kba", "--to", "native", "-o", "-"});
        if (code == ERROR_PAGE_NOT_FOUND) {
            EXPECT_EQ(result.status, 0) << result.err;
            EXPECT_EQ(result.out, due);
        } else {
            EXPECT_EQ(result.status, 1);
            EXPECT_NE(result.err.find("(code " + std::to_string(code) + ")"), std::string::npos) << result.err;
        }
    }
}

// A page of one form takes its place in the other, and what a form has held comes back as it was.
TEST_F(KannStoreTest, CodedDataThereAndBack) {
    makeStores();
    done({"pages", "rect.kba", "insert", "last", "ellipse.kba", "-o", "book.kba"});
    done({"convert", "book.kba", "--to", "coded", "-o", "book.kbc"});
    EXPECT_EQ(read("book.kbc").substr(0, 17), "KBANNBEGINCODED\r\n");
    EXPECT_EQ(contents("book.kbc"), "RECT ELLIPSE");
    done({"convert", "book.kbc", "--to", "native", "-o", "back.kba"});
    EXPECT_EQ(read("back.kba"), read("book.kba"));
    done({"convert", "book.kbc", "--to", "coded", "--page", "2", "-o", "second.kbc"});
    EXPECT_EQ(contents("second.kbc"), "ELLIPSE");
    const auto withoutName = [](std::string text) { return text.erase(0, text.find("\"version\"")); };
    EXPECT_EQ(withoutName(done({"info", "book.kbc", "--json"})), withoutName(done({"info", "book.kba", "--json"})));
    EXPECT_EQ(kann({"info", "book.kbc", "--page", "3"}).status, 1);

    // Without the two links and the end link it is data of an earlier version.
    const std::string paged = read("second.kbc");
    write("old.kbc", paged.substr(0, 17) + paged.substr(29, paged.size() - 35));
    EXPECT_NE(done({"info", "old.kbc"}).find("coded form, version 12, page 1 of 1"), std::string::npos);
    EXPECT_EQ(kann({"pages", "old.kbc", "delete", "1"}).status, 1);
    done({"pages", "old.kbc", "insert", "1", "note.kba"});
    EXPECT_EQ(contents("old.kbc"), "NOTE ELLIPSE");

    write("cut.kbc", read("book.kbc").substr(0, 300));
    EXPECT_EQ(kann({"info", "cut.kbc"}).status, 1);
    EXPECT_EQ(kann({"pages", "cut.kbc", "insert", "1", "note.kba"}).status, 1);
    EXPECT_EQ(read("cut.kbc"), read("book.kbc").substr(0, 300));
}

TEST_F(KannStoreTest, CodedDataInATag) {
    makeStores();
    makeScan("scan.tif", 2);
    done({"attach", "scan.tif", "rect.kba", "--page", "2", "--as", "coded", "-o", "tagged.tif"});
    EXPECT_NE(done({"info", "tagged.tif", "--page", "2"}).find("coded form, version 13"), std::string::npos);
    done({"extract", "tagged.tif", "--page", "2", "-o", "back.kbc"});
    done({"convert", "rect.kba", "--to", "coded", "-o", "rect.kbc"});
    EXPECT_EQ(read("back.kbc"), read("rect.kbc"));
    done({"attach", "scan.tif", "rect.kbc", "-o", "own.tif"});
    done({"extract", "own.tif", "-o", "own.kbc"});
    EXPECT_EQ(read("own.kbc"), read("rect.kbc")) << "without --as the store's form stays";
    done({"attach", "scan.tif", "rect.kbc", "--as", "native", "-o", "own.tif"});
    done({"extract", "own.tif", "-o", "own.kba"});
    EXPECT_EQ(read("own.kba"), read("rect.kba"));
}

TEST_F(KannStoreTest, AddChangesItsPageAlone) {
    makeStores();
    done({"pages", "rect.kba", "insert", "last", "ellipse.kba", "-o", "book.kba"});
    done({"pages", "book.kba", "insert", "last", "note.kba"});
    done({"add", "book.kba", "hilite", "--rect", "1,1,9,9", "--store-page", "2", "-o", "book.kba"});
    EXPECT_EQ(contents("book.kba"), "RECT HILITE NOTE");
    for (const char* form : {"coded", "native"}) { // there and back
        done({"add", "book.kba", "line", "--points", "1,1", "9,9", "--store-page", "2", "--to", form, "-o", "other.book"});
        EXPECT_EQ(contents("other.book"), "RECT LINE NOTE") << form;
    }
    EXPECT_EQ(done({"pages", "book.kba", "list"}), "1\t1\t0,0,64,48\n2\t2\t0,0,64,48\n3\t1\t0,0,64,48\n");
    done({"convert", "book.kba", "--to", "native", "-o", "copy.kba"});
    EXPECT_EQ(read("copy.kba"), read("book.kba"));
    done({"convert", "book.kba", "--to", "native", "--page", "3", "-o", "third.kba"});
    EXPECT_EQ(contents("third.kba"), "NOTE");
}

TEST_F(KannStoreTest, AttachedDataComesBackAndTheRestStays) {
    makeStores();
    makeScan("scan.tif", 3);
    const std::string original = read("scan.tif");
    done({"attach", "scan.tif", "rect.kba", "--page", "2", "-o", "tagged.tif"});
    EXPECT_EQ(read("scan.tif"), original);
    done({"extract", "tagged.tif", "--page", "2", "-o", "back.kba"});
    EXPECT_EQ(read("back.kba"), read("rect.kba"));
    EXPECT_EQ(kann({"extract", "tagged.tif", "--page", "1", "-o", "none.kba"}).status, 1);
    EXPECT_EQ(kann({"attach", "scan.tif", "rect.kba", "--page", "4", "-o", "none.tif"}).status, 1);

    // Over itself, another page and another value.
    done({"attach", "tagged.tif", "ellipse.kba", "--page", "3", "-o", "tagged.tif"});
    done({"attach", "tagged.tif", "note.kba", "--page", "2", "-o", "tagged.tif"});
    EXPECT_NE(done({"info", "tagged.tif", "--page", "3"}).find("ELLIPSE"), std::string::npos);
    EXPECT_NE(done({"info", "tagged.tif", "--page", "2"}).find("NOTE"), std::string::npos);

    done({"detach", "tagged.tif", "--page", "2", "-o", "tagged.tif"});
    done({"detach", "tagged.tif", "--page", "3", "-o", "tagged.tif"});
    const std::string bare = read("tagged.tif");
    EXPECT_EQ(bare.find("KBANN"), std::string::npos) << "the data's bytes are still there";
    for (int page = 1; page <= 3; ++page) {
        SCOPED_TRACE(page);
        EXPECT_EQ(kann({"extract", "tagged.tif", "--page", std::to_string(page), "-o", "none.kba"}).status, 1);
        EXPECT_EQ(tagsOf("tagged.tif", page), tagsOf("scan.tif", page));
        EXPECT_FALSE(pixels("scan.tif", page).empty());
        EXPECT_TRUE(pixels("tagged.tif", page) == pixels("scan.tif", page));
    }
    EXPECT_FALSE(exists("none.kba"));
}

// A TIFF has a tag for each image, and they become pages.
TEST_F(KannStoreTest, TagsOfAllImagesBecomePages) {
    makeStores();
    makeScan("scan.tif", 3);
    EXPECT_EQ(kann({"convert", "scan.tif", "--to", "native", "-o", "none.kba"}).status, 1) << "none has data";
    done({"attach", "scan.tif", "rect.kba", "--page", "1", "-o", "scan.tif"});
    done({"attach", "scan.tif", "note.kba", "--page", "3", "-o", "scan.tif"});
    for (const std::string form : {"native", "coded"}) {
        done({"convert", "scan.tif", "--to", form, "-o", "all.book"});
        EXPECT_EQ(done({"pages", "all.book", "list"}), done({"pages", "scan.tif", "list"}));
        EXPECT_NE(done({"info", "all.book", "--page", "1"}).find("RECT"), std::string::npos);
        EXPECT_NE(done({"info", "all.book", "--page", "3"}).find("NOTE"), std::string::npos);
        done({"convert", "scan.tif", "--to", form, "--page", "3", "-o", "one.book"});
        EXPECT_EQ(contents("one.book"), "NOTE");
    }
    EXPECT_EQ(done({"pages", "scan.tif", "list"}).substr(0, 6), "1\t1\t0,");
    EXPECT_NE(done({"pages", "scan.tif", "list"}).find("\n2\t0\t"), std::string::npos);
}

// Pictures whose bytes begin as marks do, marks cut short, and texts.
TEST_F(KannStoreTest, WhatIsNoAnnotationDataIsNeitherTakenNorLost) {
    using namespace std::string_literals;
    makeStores();
    makeScan("scan.tif", 1);
    done({"attach", "scan.tif", "note.kba", "-o", "scan.tif"});
    done({"convert", "rect.kba", "--to", "tifftag", "-o", "marks.tag"});
    const std::string scan = read("scan.tif");
    const std::string foreign[] = {
        "BM\xE6\x04\0\0\0\0\0\0\x36\0\0\0\x28\0\0\0"s + std::string(1200, '\x11'),
        "\xD7\xCD\xC6\x9A\0\0\0\0\0\0\x40\0\x30\0\x60\0\0\0\0\0\x41\x57"s + std::string(60, '\0'),
        std::string(300, '\0'),
        "plain text, long enough to be looked at\n",
    };
    for (const std::string& bytes : foreign) {
        SCOPED_TRACE(bytes.substr(0, 2));
        write("foreign", bytes);
        for (const std::vector<std::string>& command : {
                 std::vector<std::string>{"convert", "rect.kba", "--to", "native", "-o", "foreign"},
                 {"extract", "scan.tif", "-o", "foreign"},
                 {"add", "rect.kba", "rect", "--rect", "0,0,9,9", "-o", "foreign"},
                 {"attach", "scan.tif", "foreign", "-o", "scan.tif"},
             }) {
            EXPECT_EQ(kann(command).status, 1) << command[0];
            EXPECT_TRUE(read("foreign") == bytes) << command[0];
            EXPECT_TRUE(read("scan.tif") == scan) << command[0];
        }
    }
    const std::string marks = read("marks.tag");
    write("cut.tag", marks.substr(0, marks.size() - 40));
    EXPECT_EQ(kann({"attach", "scan.tif", "cut.tag", "-o", "scan.tif"}).status, 1);
    EXPECT_TRUE(read("scan.tif") == scan);
    done({"convert", "note.kba", "--to", "tifftag", "-o", "marks.tag"});
    EXPECT_NE(read("marks.tag"), marks) << "marks may be written over";
}

// Standard output needs no place for temporary files, and a limit of sizes, which ends processes, leaves none (as every test
// looks).
TEST_F(KannStoreTest, WritesStraightAndTellsWhatFails) {
    done({"add", "new:64x48", "note", "--rect", "5,5,20,15", "--text", std::string(9000, 'n'), "-o", "note.kba"});
    const std::string straight =
        "cd '" + path(".") + "' && TMPDIR=/nonexistent " KB_KANN " convert note.kba --to native -o - > out";
    EXPECT_EQ(std::system(straight.c_str()), 0);
    EXPECT_EQ(read("out"), read("note.kba"));

    const std::string note = read("note.kba");
    rlimit all{};
    ::getrlimit(RLIMIT_FSIZE, &all);
    const rlimit few{4096, all.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &few);
    const KannResult result = kann({"pages", "note.kba", "insert", "last", "note.kba"});
    ::setrlimit(RLIMIT_FSIZE, &all);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "kann: note.kba: Error writing file: File too large (code -5)\n");
    EXPECT_EQ(read("note.kba"), note);
    EXPECT_EQ(kann({"info", "no\nsuch"}).err,
              "kann: no?such: Not able to open file: No such file or directory (code -14)\n");
}

TEST_F(KannStoreTest, TextsKeepEveryCharacterOfTheCodePage) {
    // UTF-8 of the bytes 0x80 to 0xFF that windows-1252 has.
    std::string text = "\xE2\x82\xAC\xE2\x80\x9A\xC6\x92\xE2\x80\x9E\xE2\x80\xA6\xE2\x80\xA0\xE2\x80\xA1\xCB\x86\xE2\x80\xB0"
                       "\xC5\xA0\xE2\x80\xB9\xC5\x92"
                       "\xC5\xBD\xE2\x80\x98\xE2\x80\x99\xE2\x80\x9C\xE2\x80\x9D\xE2\x80\xA2\xE2\x80\x93\xE2\x80\x94\xCB\x9C"
                       "\xE2\x84\xA2\xC5\xA1\xE2\x80\xBA"
                       "\xC5\x93\xC5\xBE\xC5\xB8";
    for (int c = 0xA0; c < 0x100; ++c) {
        text += static_cast<char>(0xC0 | c >> 6);
        text += static_cast<char>(0x80 | (c & 0x3F));
    }
    done({"add", "new:9x9", "note", "--rect", "1,1,8,8", "--text", text, "-o", "text.kba"});
    EXPECT_NE(done({"info", "text.kba", "--json"}).find("\"pszText\": \"" + text + "\""), std::string::npos);
    for (const char* bad : {"\xC0\x80", "\xE2\x82", "\xED\xA0", "\x80", "\xF0\x9F\x98\x80", "\xC4\x80"}) {
        EXPECT_EQ(kann({"add", "new:9x9", "note", "--rect", "1,1,8,8", "--text", bad, "-o", "bad.kba"}).status, 2);
    }
    EXPECT_FALSE(exists("bad.kba"));
}
