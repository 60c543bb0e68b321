// Exit statuses, failure lines and what becomes of the output when a run fails.
#include "tests/apps/kann_process.h"

#include <algorithm>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

class KannStatusTest : public KannTest {
protected:
    void SetUp() override {
        makeImage("image.png", 40, 30);
        makeScan("scan.tif", 2);
        write("empty", "");
        write("text.txt", "not an image, and longer than a header\n");
        write("short.tif", read("scan.tif").substr(0, 100));
        done({"add", "new:40x30", "rect", "--rect", "5,5,20,15", "-o", "tree.kba"});
        write("short.kba", read("tree.kba").substr(0, 200));
    }
};

struct Row {
    const char* name;
    std::vector<std::string> arguments;
    int status;
    const char* error; // what the one line must hold; of the usage rows too
};

} // namespace

TEST_F(KannStatusTest, FailuresAreOneLineAndLeaveTheOldOutput) {
    const std::vector<Row> rows{
        {"missing image",
         {"render", "gone.png", "-o", "out.png"},
         1,
         "kann: gone.png: Not able to open file: No such file or directory (code -14)\n"},
        {"missing store", {"render", "image.png", "gone.kba", "-o", "out.png"}, 1, "gone.kba: Not able to open file"},
        {"folder as image",
         {"render", ".", "-o", "out.png"},
         1,
         "kann: .: Not able to open file: Is a directory (code -14)\n"},
        {"folder as store", {"info", "."}, 1, "Is a directory"},
        {"empty image",
         {"render", "empty", "-o", "out.png"},
         1,
         "kann: empty: Error reading file: the file is empty (code -7)\n"},
        {"empty store", {"render", "image.png", "empty", "-o", "out.png"}, 1, "kann: empty: "},
        {"text as image",
         {"render", "text.txt", "-o", "out.png"},
         1,
         "kann: text.txt: Invalid file format: not an image (code -9)\n"},
        {"text as store",
         {"render", "image.png", "text.txt", "-o", "out.png"},
         1,
         "kann: text.txt: Error reading file: not annotation data (code -7)\n"},
        {"image as store", {"render", "image.png", "image.png", "-o", "out.png"}, 1, "not annotation data (code -7)\n"},
        {"truncated image", {"render", "short.tif", "-o", "out.png"}, 1, "kann: short.tif: "},
        {"truncated store", {"render", "image.png", "short.kba", "-o", "out.png"}, 1, "kann: short.kba: "},
        {"image page",
         {"render", "scan.tif", "tree.kba", "--page", "3", "-o", "out.png"},
         1,
         "kann: scan.tif: Page not found: page 3 (code -310)\n"},
        {"store page",
         {"render", "image.png", "tree.kba", "--store-page", "2", "-o", "out.png"},
         1,
         "kann: tree.kba: Page not found: page 2 (code -310)\n"},
        {"pixel limit",
         {"render", "image.png", "tree.kba", "--max-pixels", "1199", "-o", "out.png"},
         1,
         "kann: image.png: Not enough memory available"},
        {"scaled pixel limit",
         {"render", "image.png", "tree.kba", "--scale", "2", "--max-pixels", "1300", "-o", "out.png"},
         1,
         "--max-pixels"},
        {"object limit", {"render", "image.png", "tree.kba", "--max-objects", "1", "-o", "out.png"}, 1, "--max-objects"},
        {"full device",
         {"render", "image.png", "tree.kba", "-o", "/dev/full"},
         1,
         "kann: /dev/full: Error writing file: No space left on device (code -5)\n"},
        {"full standard output",
         {"convert", "tree.kba", "--to", "native", "-o", "/dev/full"},
         1,
         "kann: /dev/full: Error writing file"},
        {"no such folder",
         {"render", "image.png", "tree.kba", "-o", "none/out.png"},
         1,
         "kann: none/out.png: Not able to open file"},
        {"folder that takes no files",
         {"render", "image.png", "tree.kba", "-o", "/proc/out.png"},
         1,
         "kann: /proc/out.png: Not able to open file"},
        {"folder as output", {"convert", "tree.kba", "--to", "json", "-o", "."}, 1, "Is a directory"},
        {"store over another kind of file",
         {"convert", "tree.kba", "--to", "native", "-o", "image.png"},
         1,
         "holds no annotation data (code -13)\n"},
        {"tag of no TIFF",
         {"extract", "image.png", "-o", "out.png"},
         1,
         "kann: image.png: Invalid file format: not a TIFF (code -9)\n"},
        {"no tag", {"extract", "scan.tif", "-o", "new.kba"}, 1, "kann: scan.tif: Tag not found"},
        {"last page", {"pages", "tree.kba", "delete", "1"}, 1, "(code -311)\n"},
        {"unknown command", {"frobnicate"}, 2, "kann: no command \"frobnicate\""},
        {"unknown option", {"info", "tree.kba", "--frob"}, 2, "--frob"},
        {"no output", {"render", "image.png"}, 2, "usage: kann render"},
        {"value not in the list", {"render", "image.png", "--mode", "walk", "-o", "out.png"}, 2, "run design"},
        {"page 0", {"render", "image.png", "--page", "0", "-o", "out.png"}, 2, "--page can't be \"0\""},
        {"number with a tail", {"info", "tree.kba", "--page", "1x"}, 2, "--page"},
        {"resolution of one number", {"measure", "tree.kba", "--dpi", "300"}, 2, "2 numbers are due"},
        {"resolution below one", {"measure", "tree.kba", "--dpi", "300,0"}, 2, "from 1 up"},
        {"measured image page",
         {"measure", "tree.kba", "scan.tif", "--page", "3"},
         1,
         "kann: scan.tif: Page not found: page 3 (code -310)\n"},
        {"measure of no tree", {"measure", "scan.tif"}, 1, "kann: scan.tif: Tag not found"},
        {"hit in an image", {"hit", "image.png", "1", "1"}, 1, "not annotation data (code -7)\n"},
        {"lock over a picture",
         {"lock", "tree.kba", "--key", "k", "-o", "out.png"},
         1,
         "holds no annotation data (code -13)\n"},
        {"unlock without a key", {"unlock", "tree.kba", "-o", "new.kba"}, 2, "usage: kann unlock"},
        {"burned page",
         {"burn", "scan.tif", "tree.kba", "--page", "3", "-o", "out.png"},
         1,
         "kann: scan.tif: Page not found: page 3 (code -310)\n"},
        {"burned store", {"burn", "image.png", "short.kba", "-o", "out.png"}, 1, "kann: short.kba: "},
        {"document where a picture is due",
         {"redact", "image.png", "tree.kba", "--format", "pdf", "-o", "out.png"},
         2,
         "no picture format \"pdf\""},
        {"extension of no format", {"render", "image.png", "-o", "out.xyz"}, 2, "out.xyz"},
        {"text without a byte",
         {"add", "tree.kba", "text", "--rect", "1,1,9,9", "--text", "\xE6\x97\xA5", "-o", "out.png"},
         2,
         "U+65E5"},
        {"text that isn't UTF-8",
         {"add", "tree.kba", "text", "--rect", "1,1,9,9", "--text", "\xE9", "-o", "out.png"},
         2,
         "UTF-8"},
        {"property of another type",
         {"add", "tree.kba", "line", "--rect", "1,1,9,9", "--text", "x", "-o", "out.png"},
         2,
         "a line has no --text"},
        {"colour", {"add", "tree.kba", "rect", "--rect", "1,1,9,9", "--fore-color", "#12345", "-o", "out.png"}, 2, "#12345"},
        {"too few points", {"add", "tree.kba", "ruler", "--points", "1,1", "-o", "out.png"}, 2, "2 points"},
        {"two images for one output",
         {"render", "image.png", "tree.kba", "tree.kba", "-o", "out.png"},
         2,
         "usage: kann render"},
        {"outputs that collide", {"render", "image.png", "./image.png", "--out-dir", "."}, 2, "image.png"},
    };
    const std::string old = read("image.png"); // a picture, which store outputs must not replace either
    const std::string tree = read("tree.kba");
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        write("out.png", old);
        const KannResult result = kann(row.arguments);
        EXPECT_EQ(result.status, row.status);
        EXPECT_EQ(result.out, "");
        EXPECT_TRUE(result.err.starts_with("kann: ")) << result.err;
        EXPECT_EQ(std::ranges::count(result.err, '\n'), 1) << result.err;
        EXPECT_NE(result.err.find(row.error), std::string::npos) << result.err;
        EXPECT_TRUE(read("out.png") == old);
        EXPECT_TRUE(read("image.png") == old);
        EXPECT_TRUE(read("tree.kba") == tree);
        EXPECT_FALSE(exists("new.kba"));
    }
}

TEST_F(KannStatusTest, WarningsAreStatusThreeAndQuietKeepsThemDown) {
    const std::vector<std::vector<std::string>> rows{
        {"render", "image.png", "-o", "out.png"},
        {"render", "scan.tif", "-o", "out.png"},
        {"render", "image.png", "tree.kba", "--select", "77", "-o", "out.png"},
        {"detach", "scan.tif", "-o", "out.tif"},
    };
    for (std::vector<std::string> arguments : rows) {
        SCOPED_TRACE(arguments[0] + " " + arguments[1]);
        const KannResult loud = kann(arguments);
        EXPECT_EQ(loud.status, 3);
        EXPECT_EQ(std::ranges::count(loud.err, '\n'), 1) << loud.err;
        EXPECT_TRUE(exists(arguments.back()));
        arguments.insert(arguments.begin() + 1, "--quiet"); // options may stand anywhere
        const KannResult quiet = kann(arguments);
        EXPECT_EQ(quiet.status, 3);
        EXPECT_EQ(quiet.err, "");
    }
}

TEST_F(KannStatusTest, SeveralInputsGoOnAfterAFailure) {
    fs::create_directory(path("results"));
    const std::vector<std::string> some{"render",  "image.png", "text.txt",  "scan.tif",
                                        "--store", "tree.kba",  "--out-dir", "results"};
    KannResult result = kann(some);
    EXPECT_EQ(result.status, 4);
    EXPECT_EQ(result.err, "kann: text.txt: Invalid file format: not an image (code -9)\n");
    EXPECT_TRUE(exists("results/image.png"));
    EXPECT_TRUE(exists("results/scan.png"));
    EXPECT_FALSE(exists("results/text.png"));
    EXPECT_EQ(kann({"render", "text.txt", "empty", "--store", "tree.kba", "--out-dir", "results"}).status, 1);

    write("list", "image.png\nscan.tif\n");
    result = kann(
        {"render", "--files-from", "list", "--store", "tree.kba", "--out-dir", "results", "--format", "bmp", "--progress"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "kann: [1/2] image.png\nkann: [2/2] scan.tif\n");
    EXPECT_TRUE(exists("results/image.bmp"));
}

TEST_F(KannStatusTest, OutputKeepsItsOrderWithSeveralJobs) {
    std::vector<std::string> arguments{"info", "--json"};
    for (int i = 0; i < 24; ++i) arguments.push_back(i % 5 == 3 ? "gone.kba" : "tree.kba");
    const KannResult one = kann(arguments);
    arguments.insert(arguments.end(), {"--jobs", "6"});
    const KannResult six = kann(arguments);
    EXPECT_EQ(one.status, 4);
    EXPECT_EQ(six.status, 4);
    EXPECT_EQ(std::ranges::count(one.out, '\n'), 24);
    EXPECT_EQ(one.out, six.out);
    EXPECT_EQ(one.err, six.err);
    EXPECT_NE(one.out.find("\n{\"file\":\"gone.kba\",\"code\":-14,\"message\":\"Not able to open file: No such file or "
                           "directory\",\"offset\":null}\n"),
              std::string::npos);
}

TEST_F(KannStatusTest, AnOutputIsReplacedThroughLinksAndKeepsItsMode) {
    write("real.kba", read("tree.kba"));
    ASSERT_EQ(::chmod(path("real.kba").c_str(), 0640), 0);
    fs::create_symlink("real.kba", path("link.kba"));
    done({"add", "link.kba", "ellipse", "--rect", "1,1,9,9", "-o", "link.kba"});
    EXPECT_TRUE(fs::is_symlink(path("link.kba")));
    struct stat status {};
    ASSERT_EQ(::stat(path("real.kba").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0640u);
    EXPECT_NE(done({"info", "real.kba"}).find("ELLIPSE"), std::string::npos);

    fs::create_symlink("fresh.kba", path("dangling.kba"));
    done({"add", "tree.kba", "ellipse", "--rect", "1,1,9,9", "-o", "dangling.kba"});
    EXPECT_TRUE(exists("fresh.kba"));
    EXPECT_TRUE(fs::is_symlink(path("dangling.kba")));
}

TEST_F(KannStatusTest, AFileWithoutWritePermissionIsLeftAlone) {
    if (::geteuid() == 0) GTEST_SKIP() << "root may write any file";
    write("locked.kba", read("tree.kba"));
    ASSERT_EQ(::chmod(path("locked.kba").c_str(), 0400), 0);
    const KannResult result = kann({"add", "tree.kba", "rect", "--rect", "1,1,2,2", "-o", "locked.kba"});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("Permission denied"), std::string::npos) << result.err;
    EXPECT_EQ(read("locked.kba"), read("tree.kba"));
}

TEST_F(KannStatusTest, StandardStreamsTakeTheirPlaces) {
    const std::string tree = read("tree.kba");
    EXPECT_EQ(kann({"convert", "-", "--to", "native", "-o", "-"}, tree).out, tree);
    done({"render", "image.png", "tree.kba", "-o", "file.png"});
    EXPECT_TRUE(kann({"render", "-", "tree.kba", "-o", "-"}, read("image.png")).out == read("file.png"));
    EXPECT_TRUE(kann({"render", "image.png", "-", "-o", "-"}, tree).out == read("file.png"));
    EXPECT_EQ(kann({"render", "-", "-", "-o", "-"}, tree).status, 2);
}

TEST_F(KannStatusTest, EveryCommandHasHelp) {
    const KannResult none = kann({});
    EXPECT_EQ(none.status, 2);
    EXPECT_EQ(none.out, "");
    for (const char* command : {"render", "burn", "info", "add", "measure", "hit", "lock", "unlock", "convert", "pages",
                                "attach", "extract", "detach", "mask", "unmask", "redact", "verify"}) {
        SCOPED_TRACE(command);
        EXPECT_NE(none.err.find(std::string("\n  ") + command + " "), std::string::npos);
        const std::string help = done({"help", command});
        EXPECT_TRUE(help.starts_with(std::string("usage: kann ") + command));
        EXPECT_EQ(done({command, "--help"}), help);
        for (const char* shell : {"bash", "zsh"}) {
            EXPECT_NE(done({"help", "--completion", shell}).find(std::string("    ") + command + ")"), std::string::npos);
        }
    }
    EXPECT_EQ(kann({"help", "nothing"}).status, 2);
    EXPECT_TRUE(done({"--version"}).starts_with("kann "));
    const std::string manual = done({"help", "--man"});
    for (const char* status : {".B 0\nDone.", ".B 1\nFailed", ".B 2\nWrong usage", ".B 3\nDone, with warnings", ".B 4\nSome",
                               ".B 5\nA verification"}) {
        EXPECT_NE(manual.find(status), std::string::npos) << status;
    }
}
