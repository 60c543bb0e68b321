// kann measure, and what `add` tells measurement objects: numbers worked out by hand, on the resolution that is told.
#include "tests/apps/kann_process.h"

#include <nlohmann/json.hpp>

#include <filesystem>

using Json = nlohmann::ordered_json;

namespace {

class KannMeasureTest : public KannTest {
protected:
    // A new tree with one object.
    void add(std::vector<std::string> words, const std::string& store = "tree.kba") const {
        words.insert(words.begin(), {"add", exists(store) ? store : "new:600x500"});
        words.insert(words.end(), {"-o", store});
        done(words);
    }
    Json measure(std::vector<std::string> words) const {
        words.insert(words.begin(), "measure");
        words.push_back("--json");
        return Json::parse(done(words));
    }
    Json lastField(const std::string& store, const char* field) const {
        const Json tree = Json::parse(done({"info", store, "--json"}));
        return tree["root"]["children"].back()["fields"][field];
    }
};

} // namespace

TEST_F(KannMeasureTest, LengthsAreTakenByTheResolutionOfEachAxis) {
    // 300 across at 300 dots and 400 down at 200: one inch and two, so the root of five.
    const struct {
        const char* unit;
        double length;
        const char* text; // with three digits
    } rows[] = {
        {"inches", 2.2360679775, "2.236 in"},        {"feet", 0.186338998125, "0.186 ft"},
        {"yards", 0.062112999375, "0.062 yd"},       {"micrometers", 56796.1266285, "56796.127 \xC2\xB5m"},
        {"millimeters", 56.7961266285, "56.796 mm"}, {"centimeters", 5.67961266285, "5.680 cm"},
        {"meters", 0.0567961266285, "0.057 m"},      {"twips", 3219.9378876, "3219.938 twips"},
        {"points", 160.99689438, "160.997 pt"},      {"pixels", 500, "500.000 pixels"},
    };
    for (const auto& row : rows) {
        add({"ruler", "--points", "10,20", "310,420", "--unit", row.unit, "--precision", "3"});
    }
    const Json document = measure({"tree.kba", "--dpi", "300,200"});
    EXPECT_EQ(document["resolution"].dump(), R"({"x":300.0,"y":200.0,"assumed":false,"source":"--dpi"})");
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        SCOPED_TRACE(rows[i].unit);
        const Json& measures = document["objects"].at(i)["measures"];
        ASSERT_EQ(measures["lengths"].size(), 1u);
        EXPECT_NEAR(measures["lengths"][0]["value"].get<double>(), rows[i].length, rows[i].length * 1e-10);
        EXPECT_EQ(measures["lengths"][0]["unit"], rows[i].unit);
        EXPECT_EQ(measures["lengths"][0]["text"], rows[i].text);
    }
}

TEST_F(KannMeasureTest, TheResolutionIsTheImagesOrToldToBeAssumed) {
    makeScan("scan.tif", 2); // 64 x 48, 300 dots
    makeImage("plain.png", 64, 48);
    done({"add", "new:64x48", "ruler", "--points", "0,10", "30,10", "--unit", "inches", "-o", "tree.kba"});
    const auto length = [](const Json& document) {
        return document["objects"][0]["measures"]["lengths"][0]["value"].get<double>();
    };
    const Json byImage = measure({"tree.kba", "scan.tif"});
    EXPECT_NEAR(length(byImage), 0.1, 1e-12);
    EXPECT_EQ(byImage["resolution"]["source"], "scan.tif");
    for (const auto& words : {std::vector<std::string>{"tree.kba"}, std::vector<std::string>{"tree.kba", "plain.png"}}) {
        const Json assumed = measure(words);
        EXPECT_NEAR(length(assumed), 0.2, 1e-12);
        EXPECT_EQ(assumed["resolution"].dump(), R"({"x":150.0,"y":150.0,"assumed":true,"source":null})");
    }
    EXPECT_NE(done({"measure", "tree.kba"}).find("150 x 150 dots an inch are assumed\n"), std::string::npos);
    EXPECT_NE(done({"measure", "tree.kba", "scan.tif"}).find("300 x 300 dots an inch by scan.tif\n"), std::string::npos);

    // A TIFF that carries the tree is its image; info rests on it too.
    done({"attach", "scan.tif", "tree.kba", "--page", "2", "-o", "tagged.tif"});
    EXPECT_NEAR(length(measure({"tagged.tif", "--page", "2"})), 0.1, 1e-12);
    EXPECT_NE(done({"info", "tagged.tif", "--page", "2"}).find(": 0.10 in"), std::string::npos);
    EXPECT_NE(done({"info", "tree.kba"}).find(": 0.20 in"), std::string::npos);
    EXPECT_EQ(kann({"measure", "tagged.tif"}).status, 1) << "page 1 carries nothing";
    EXPECT_NEAR(length(Json::parse(kann({"measure", "-", "--json"}, read("tree.kba")).out)), 0.2, 1e-12);
}

TEST_F(KannMeasureTest, AnImageOnItsSideIsMeasuredAsItIsSeen) {
    saveBitmap(path("side.tif"), 40, 60, 1, KB_FORMAT_TIFF, [](KernelBitmap& bitmap) {
        bitmap.ViewPerspective = KB_VIEW_RIGHT_TOP;
        bitmap.XResolution = 200; // of stored rows: down, as seen
        bitmap.YResolution = 100;
    });
    done({"add", "new:60x40", "ruler", "--points", "0,5", "50,5", "--unit", "inches", "-o", "tree.kba"});
    const Json document = measure({"tree.kba", "side.tif"});
    EXPECT_EQ(document["resolution"]["x"], 100.0);
    EXPECT_EQ(document["resolution"]["y"], 200.0);
    EXPECT_NEAR(document["objects"][0]["measures"]["lengths"][0]["value"].get<double>(), 0.5, 1e-12);
}

TEST_F(KannMeasureTest, AnglesFollowTheirOptionsAndTheImage) {
    const std::vector<std::string> arms{"protractor", "--points", "300,200", "200,200", "200,100", "--show", "both"};
    const auto angle = [this](const std::vector<std::string>& words, const std::string& text, double value) {
        SCOPED_TRACE(text);
        std::filesystem::remove(path("tree.kba"));
        add(words);
        const Json measures = measure({"tree.kba", "--dpi", "100,100"})["objects"][0]["measures"];
        EXPECT_NEAR(measures["angle"]["value"].get<double>(), value, 1e-9);
        EXPECT_EQ(measures["angle"]["text"], text);
        ASSERT_EQ(measures["lengths"].size(), 2u);
        EXPECT_EQ(measures["lengths"][1]["text"], "25.40 mm");
    };
    const auto with = [&arms](std::vector<std::string> more) {
        more.insert(more.begin(), arms.begin(), arms.end());
        return more;
    };
    angle(arms, "90.00\xC2\xB0", 90);
    angle(with({"--acute", "no", "--angle-precision", "0"}), "270\xC2\xB0", 270);
    angle(with({"--angle-unit", "radians", "--angle-precision", "4"}), "1.5708 rad", 1.5707963267949);
    angle(with({"--angle-text", " deg"}), "90.00 deg", 90);

    // An image twice as wide as the tree's shape asks stretches the angle, not the lengths.
    add({"protractor", "--points", "200,100", "200,200", "300,100", "--show", "none"}, "half.kba");
    makeImage("wide.png", 1200, 500);
    const Json plain = measure({"half.kba"})["objects"][0]["measures"];
    const Json wide = measure({"half.kba", "wide.png"})["objects"][0]["measures"];
    EXPECT_EQ(plain["angle"]["text"], "45.00\xC2\xB0");
    EXPECT_EQ(wide["angle"]["text"], "63.43\xC2\xB0");
    EXPECT_EQ(plain["lengths"].size(), 0u) << "arms that aren't shown aren't measured";
}

TEST_F(KannMeasureTest, AddSetsWhatMeasurementObjectsHave) {
    const struct {
        const char* type;
        const char* option;
        const char* value;
        const char* field;
        Json due;
    } rows[] = {
        {"ruler", "unit", "yards", "nUnit", 2},
        {"ruler", "unit", "yards", "pszUnitAbbrev", "yd"},
        {"ruler", "unit-text", "pace", "pszUnitAbbrev", "pace"},
        {"ruler", "unit-text", "pace", "nUnitPrecision", 2},
        {"crossproduct", "precision", "200", "nUnitPrecision", 200},
        {"crossproduct", "precision", "7", "pszUnitAbbrev", "mm"},
        {"crossproduct", "gauge-length", "12.5", "dGaugeLength", 12.5},
        {"protractor", "show", "length", "uShowFlags", 1},
        {"protractor", "acute", "no", "bAcute", false},
        {"protractor", "angle-unit", "radians", "nAngleUnit", 1},
        {"protractor", "angle-unit", "radians", "pszAngleAbbrev", " rad"},
        {"protractor", "angle-text", "x", "pszAngleAbbrev", "x"},
        {"protractor", "angle-precision", "9", "nAnglePrecision", 9},
        {"protractor", "arc-radius", "55.5", "dArcRadius", 55.5},
        {"protractor", "arc-radius", "55.5", "nAnglePrecision", 2},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.type) + " --" + row.option);
        const std::string type = row.type;
        std::vector<std::string> words{"add",     "new:600x500", type,     std::string("--") + row.option,
                                       row.value, "-o",          "one.kba"};
        words.insert(words.end(), {"--points", "10,10", "20,20"});
        if (type != "ruler") words.emplace_back("30,10");
        if (type == "crossproduct") words.insert(words.end(), {"15,20", "15,30"});
        done(words);
        EXPECT_EQ(lastField("one.kba", row.field), row.due);
    }
    for (const auto& [option, value] : {std::pair("--precision", "201"), std::pair("--angle-precision", "201")}) {
        const KannResult result =
            kann({"add", "new:9x9", "protractor", "--points", "1,1", "2,2", "3,1", option, value, "-o", "x.kba"});
        EXPECT_EQ(result.status, 1);
        EXPECT_NE(result.err.find("(code -13)"), std::string::npos) << result.err;
    }
    EXPECT_FALSE(exists("x.kba"));
}

TEST_F(KannMeasureTest, AreasAreCountedInPixels) {
    add({"redact", "--rect", "10,20,110,70", "--tag", "4"});
    add({"note", "--rect", "0,0,7,3"});
    add({"line", "--points", "1,1", "9,9"});
    const Json objects = measure({"tree.kba"})["objects"];
    ASSERT_GE(objects.size(), 2u) << objects.dump();
    EXPECT_EQ(objects[0]["area"], 101 * 51); // both edges count
    EXPECT_EQ(objects[0]["tag"], 4);
    EXPECT_EQ(objects[1]["area"], 8 * 4);
    EXPECT_NE(done({"measure", "tree.kba"}).find("REDACT tag 4: area 5151 pixels\n"), std::string::npos);
}
