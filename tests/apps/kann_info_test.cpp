// kann info: whole documents of known trees, and what `add` puts in one.
#include "kbann/kbann.h"
#include "tests/apps/kann_process.h"

#include <nlohmann/json.hpp>

#include <filesystem>

using Json = nlohmann::ordered_json;

namespace {

class KannInfoTest : public KannTest {
protected:
    Json info(const std::string& name) const { return Json::parse(done({"info", name, "--json"})); }
    // The last object of a tree.
    Json lastObject(const std::string& name) const { return info(name)["root"]["children"].back(); }
};

} // namespace

TEST_F(KannInfoTest, TheDocumentOfATreeIsWhole) {
    const AnnRect page{0, 0, 100, 80}, groupRect{10, 20, 60, 70}, secretRect{5, 5, 8, 7}, emptyRect{1, 1, 2, 2};
    HANNOBJECT root = nullptr, empty = nullptr, group = nullptr, secret = nullptr, line = nullptr;
    ASSERT_EQ(K_AnnCreateContainer(nullptr, &page, TRUE, &root), SUCCESS);
    ASSERT_EQ(K_AnnCreateItem(root, ANN_OBJECT_CONTAINER, TRUE, &empty), SUCCESS); // left out by the writer
    ASSERT_EQ(K_AnnSetRect(empty, &emptyRect), SUCCESS);
    ASSERT_EQ(K_AnnCreateItem(root, ANN_OBJECT_CONTAINER, FALSE, &group), SUCCESS);
    ASSERT_EQ(K_AnnSetRect(group, &groupRect), SUCCESS);
    ASSERT_EQ(K_AnnSetGrouping(group, TRUE, 0), SUCCESS);
    ASSERT_EQ(K_AnnCreateItem(group, ANN_OBJECT_REDACT, TRUE, &secret), SUCCESS);
    ASSERT_EQ(K_AnnSetRect(secret, &secretRect), SUCCESS);
    ASSERT_EQ(K_AnnSetFontSize(secret, 12.5, 0), SUCCESS);
    ASSERT_EQ(K_AnnSetUser(secret, nullptr, "J\xF6rg", 0), SUCCESS);
    ASSERT_EQ(K_AnnSetTag(secret, 4294967295u, 0), SUCCESS);
    KernelBitmap saved{};
    ASSERT_EQ(K_CreateBitmap(&saved, 1, 3, 2, 8, KB_ORDER_GREY, nullptr, KB_VIEW_TOP_LEFT, 0, 0), SUCCESS);
    const std::uint8_t rows[2][4] = {{1, 2, 3, 0}, {4, 5, 6, 0}};
    for (int y = 0; y < 2; ++y) K_PutBitmapRow(&saved, rows[y], y, 4);
    ASSERT_EQ(K_AnnSetBitmap(secret, &saved, 0), SUCCESS);
    K_FreeBitmap(&saved);
    ASSERT_EQ(K_AnnCreateItem(root, ANN_OBJECT_LINE, TRUE, &line), SUCCESS);
    const AnnPoint ends[2] = {{1.5, 2}, {-3, 1e6}};
    ASSERT_EQ(K_AnnSetPoints(line, ends, 2), SUCCESS);
    ASSERT_EQ(K_AnnSetForeColor(line, RGB(1, 2, 255), 0), SUCCESS);
    for (const HANNOBJECT object : {root, group, line}) ASSERT_EQ(K_AnnSetFontSize(object, 12.5, 0), SUCCESS);
    ASSERT_EQ(K_AnnSave(path("tree.kba").c_str(), root, ANN_FMT_NATIVE, FALSE, nullptr), SUCCESS);
    ASSERT_EQ(K_AnnDestroy(root, 0), SUCCESS);

    // SHA-256 of the bytes 01 02 03 00 04 05 06 00.
    const char* const expected =
        R"({"schema":1,"file":"tree.kba","form":"native","version":13,"pages":1,"page":1,"restorable":true,"root":
      {"type":"CONTAINER","fields":{"bVisible":true,"uTag":0,"dScalarX":1.0,"dScalarY":1.0,"dOffsetX":0.0,"dOffsetY":0.0,
        "crFore":"#000000","crBack":"#FFFFFF","dFontSize":12.5,"bFontBold":false,"bFontItalic":false,"bFontStrikeThrough":false,
        "bFontUnderline":false,"dLineWidth":0.0,"nLineStyle":5,"nFillPattern":0,"nFillMode":0,"bGrouping":false,
        "pPoints":[[0.0,0.0],[0.0,80.0],[100.0,80.0]]},"bounds":[0.0,0.0,100.0,80.0],"client":[0,0,100,80],"children":[
        {"type":"CONTAINER","fields":{"bVisible":false,"uTag":0,"dScalarX":1.0,"dScalarY":1.0,"dOffsetX":0.0,"dOffsetY":0.0,
          "crFore":"#000000","crBack":"#FFFFFF","dFontSize":12.5,"bFontBold":false,"bFontItalic":false,"bFontStrikeThrough":false,
          "bFontUnderline":false,"dLineWidth":0.0,"nLineStyle":5,"nFillPattern":0,"nFillMode":0,"bGrouping":true,
          "pPoints":[[10.0,20.0],[10.0,70.0],[60.0,70.0]]},"bounds":[10.0,20.0,60.0,70.0],"client":[10,20,60,70],"children":[
          {"type":"REDACT","fields":{"bVisible":true,"uTag":4294967295,"dScalarX":1.0,"dScalarY":1.0,"dOffsetX":0.0,"dOffsetY":0.0,
            "pszUser":"Jörg","crFore":"#FFFFFF","crBack":"#000000","dFontSize":12.5,"bFontBold":false,"bFontItalic":false,
            "bFontStrikeThrough":false,"bFontUnderline":false,
            "bitmap":{"width":3,"height":2,"bits":8,"sha256":"0c549b14853d0668d872d2a09571e7e88d31aefe240424d0764759bf606b6c0c"},
            "bShowName":true,"ptNameOffset":[0.0,0.0],"bNameAutoAdjust":true,"pPoints":[[5.0,5.0],[5.0,7.0],[8.0,7.0]]},
            "bounds":[5.0,5.0,8.0,7.0],"client":[14,24,19,28],"children":[]}]},
        {"type":"LINE","fields":{"bVisible":true,"uTag":0,"dScalarX":1.0,"dScalarY":1.0,"dOffsetX":0.0,"dOffsetY":0.0,
          "crFore":"#0102FF","crBack":"#FFFFFF","dFontSize":12.5,"bFontBold":false,"bFontItalic":false,"bFontStrikeThrough":false,
          "bFontUnderline":false,"dLineWidth":1.0,"nLineStyle":0,"nFillMode":0,"nROP2":0,"bShowName":true,"ptNameOffset":[0.0,0.0],
          "bNameAutoAdjust":true,"pPoints":[[1.5,2.0],[-3.0,1000000.0]]},"bounds":[-3.0,2.0,1.5,1000000.0],
          "client":[-4,1,3,1000001],"children":[]}]}})";
    EXPECT_EQ(info("tree.kba").dump(1), Json::parse(expected).dump(1));
    EXPECT_EQ(done({"convert", "tree.kba", "--to", "json", "-o", "-"}), done({"info", "tree.kba", "--json"}));
    EXPECT_NE(done({"info", "tree.kba"}).find("holds pixels that can be restored"), std::string::npos);
}

TEST_F(KannInfoTest, AddSetsEachProperty) {
    const struct {
        const char* type;
        const char* option;
        const char* value;
        const char* field;
        Json due;
    } rows[] = {
        {"rect", "visible", "no", "bVisible", false},
        {"rect", "tag", "77", "uTag", 77},
        {"rect", "name",
         "Stra\xC3\x9F"
         "e",
         "pszName",
         "Stra\xC3\x9F"
         "e"},
        {"rect", "show-name", "off", "bShowName", false},
        {"rect", "name-offset", "3,-4.5", "ptNameOffset", {3.0, -4.5}},
        {"rect", "name-adjust", "false", "bNameAutoAdjust", false},
        {"text", "text", "one\ntwo \xE2\x82\xAC", "pszText", "one\r\ntwo \xE2\x82\xAC"},
        {"rect", "fore-color", "#0A0b0C", "crFore", "#0A0B0C"},
        {"rect", "back-color", "Orange", "crBack", "#FFA500"},
        {"line", "line-width", "2.5", "dLineWidth", 2.5},
        {"line", "line-style", "dashdot", "nLineStyle", 3},
        {"ellipse", "fill-pattern", "vertical", "nFillPattern", 6},
        {"ellipse", "fill-mode", "opaque", "nFillMode", 2},
        {"polygon", "poly-fill", "alternate", "nPolyFillMode", 1},
        {"rect", "rop2", "xor", "nROP2", 2},
        {"text", "font-name", "Courier New", "pszFontName", "Courier New"},
        {"text", "font-size", "31", "dFontSize", 31.0},
        {"text", "font-bold", "yes", "bFontBold", true},
        {"text", "font-italic", "on", "bFontItalic", true},
        {"text", "font-underline", "1", "bFontUnderline", true},
        {"text", "font-strike", "true", "bFontStrikeThrough", true},
        {"polyline", "show-nodes", "no", "bShowNodes", false},
        {"polyline", "gap-nodes", "3", "nGapNodes", 3},
        {"ruler", "show", "gauge", "uShowFlags", 2},
        {"ruler", "gauge-length", "12", "dGaugeLength", 12.0},
        {"rect", "object-offset", "1,2", "dOffsetY", 2.0},
        {"rect", "object-scale", "2,4", "dScalarX", 2.0},
        {"rect", "user", "anna", "pszUser", "anna"},
        {"stamp", "transparent-color", "#00FF01", "crTransparent", "#00FF01"},
        {"stamp", "transparent", "yes", "bTransparent", true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.type) + " --" + row.option);
        const std::string type = row.type;
        std::vector<std::string> arguments{"add",     "new:100x100", type,     std::string("--") + row.option,
                                           row.value, "-o",          "one.kba"};
        if (type == "polygon" || type == "polyline" || type == "ruler") {
            arguments.insert(arguments.end(), {"--points", "10,30", "60,70"});
        } else {
            arguments.insert(arguments.end(), {"--rect", "10,30,60,70"});
        }
        done(arguments);
        const Json object = lastObject("one.kba");
        ASSERT_TRUE(object["fields"].contains(row.field)) << object.dump();
        EXPECT_EQ(object["fields"][row.field], row.due);
        EXPECT_EQ(object["bounds"], Json({10.0, 30.0, 60.0, 70.0}));
    }
}

TEST_F(KannInfoTest, AddTakesImagesAndContainers) {
    makeImage("stamp.png", 5, 3);
    done({"add", "new:100x100", "container", "--rect", "20,20,80,80", "--tag", "9", "-o", "tree.kba"});
    // An empty container isn't stored, so the item comes in one step later than its container.
    done({"add", "new:100x100", "stamp", "--rect", "1,1,50,30", "--image", "stamp.png", "-o", "stamp.kba"});
    const Json image = lastObject("stamp.kba")["fields"]["bitmap"];
    EXPECT_EQ(image["width"], 5);
    EXPECT_EQ(image["height"], 3);
    EXPECT_EQ(image["bits"], 24);
    EXPECT_EQ(image["sha256"].get<std::string>().size(), 64u);
    EXPECT_EQ(kann({"add", "tree.kba", "rect", "--rect", "1,1,2,2", "--parent", "9", "-o", "tree.kba"}).status, 1);

    HANNOBJECT root = nullptr, inner = nullptr, item = nullptr;
    const AnnRect page{0, 0, 100, 100};
    ASSERT_EQ(K_AnnCreateContainer(nullptr, &page, TRUE, &root), SUCCESS);
    ASSERT_EQ(K_AnnCreateItem(root, ANN_OBJECT_CONTAINER, TRUE, &inner), SUCCESS);
    ASSERT_EQ(K_AnnSetTag(inner, 9, 0), SUCCESS);
    ASSERT_EQ(K_AnnCreateItem(inner, ANN_OBJECT_RECT, TRUE, &item), SUCCESS);
    std::filesystem::remove(path("tree.kba"));
    ASSERT_EQ(K_AnnSave(path("tree.kba").c_str(), root, ANN_FMT_NATIVE, FALSE, nullptr), SUCCESS);
    K_AnnDestroy(root, 0);
    done({"add", "tree.kba", "pointer", "--points", "1,1", "9,9", "--parent", "9", "-o", "tree.kba"});
    const Json container = lastObject("tree.kba");
    ASSERT_EQ(container["children"].size(), 2u);
    EXPECT_EQ(container["children"][1]["type"], "POINTER");
}
