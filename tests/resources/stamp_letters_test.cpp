// Strokes and the letters made of them.
#include "resources/tools/stamp_letters.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace kbann::pictures;

namespace {

Bounds boundsOfText(const char* text, double weight) {
    Layer layer{0, {}};
    addText(layer.outline, text, weight, 0);
    return boundsOf(std::span(&layer, 1));
}

TEST(Outline, EndsOfStrokes) {
    const struct {
        const char* name;
        Ends ends;
        std::vector<Corner> corners;
        Bounds bounds;
    } rows[] = {
        {"square", Ends::square, {{10, 50}, {40, 50}}, {5, 45, 45, 55}},
        {"butt", Ends::butt, {{10, 50}, {40, 50}}, {10, 45, 40, 55}},
        {"level", Ends::level, {{0, 0}, {30, 40}}, {-6.25, 0, 36.25, 40}}, // 5 across at a slope of 4 to 3
        {"ring", Ends::ring, {{0, 0}, {30, 0}, {30, 30}, {0, 30}}, {-5, -5, 35, 35}},
        {"sharp corner", Ends::butt, {{0, 0}, {30, 0}, {30, 30}}, {0, -5, 35, 30}},
        {"round corner", Ends::butt, {{0, 0}, {30, 0, 20}, {30, 30}}, {0, -5, 35, 30}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Layer layer{0, {}};
        addStroke(layer.outline, row.corners, 5, row.ends);
        const Bounds made = boundsOf(std::span(&layer, 1));
        EXPECT_NEAR(made.left, row.bounds.left, 0.06);
        EXPECT_NEAR(made.top, row.bounds.top, 0.06);
        EXPECT_NEAR(made.right, row.bounds.right, 0.06);
        EXPECT_NEAR(made.bottom, row.bounds.bottom, 0.06);
    }
}

TEST(Outline, LayersAddUpAndHolesTakeAway) {
    Outline outline;
    const Corner ring[] = {{0, 0}, {60, 0}, {60, 60}, {0, 60}}, bar[] = {{-20, 30}, {80, 30}};
    addStroke(outline, ring, 5, Ends::ring);
    addStroke(outline, bar, 5, Ends::butt);
    EXPECT_EQ(layersAt(outline, {30, 1}), 1);
    EXPECT_EQ(layersAt(outline, {30, 15}), 0); // inside the ring
    EXPECT_EQ(layersAt(outline, {0, 30}), 2);
    EXPECT_EQ(layersAt(outline, {30, 30}), 1);
    addHole(outline, rectangle(20, 28, 40, 32));
    EXPECT_EQ(layersAt(outline, {30, 30}), 0);
    EXPECT_EQ(layersAt(outline, {200, 30}), 0);
}

TEST(Outline, RefusesRoundingsThatDontFit) {
    const Corner hook[] = {{50, 10}, {50, 0, 30}, {0, 0}}; // the arc would begin before the stroke
    Outline outline;
    EXPECT_THROW(addStroke(outline, hook, 5, Ends::butt), std::logic_error);
}

TEST(StampLetters, AllOfThemStandOnTheLine) {
    for (const double weight : {6.0, 11.0, 15.0}) {
        for (char letter = 'A'; letter <= 'Z'; ++letter) {
            const char text[] = {letter, 0};
            SCOPED_TRACE(std::string(text) + " " + std::to_string(weight));
            const Bounds bounds = boundsOfText(text, weight);
            EXPECT_NEAR(bounds.top, 0, 0.1);
            EXPECT_NEAR(bounds.bottom, letterHeight, letter == 'Q' ? 7 : 0.1); // its tail hangs lower
            Outline outline;
            const double width = addText(outline, text, weight, 0);
            EXPECT_GT(width, letter == 'I' ? 8 : 45);
            EXPECT_LT(width, 130);
            EXPECT_GT(bounds.left, -8); // leaning letters reach a little into the room between
            EXPECT_LT(bounds.right, width + 8);
        }
    }
    const Bounds hyphen = boundsOfText("-", 11);
    EXPECT_GT(hyphen.top, 30);
    EXPECT_LT(hyphen.bottom, 70);
}

TEST(StampLetters, LinesAddUp) {
    Outline outline;
    const double one = addText(outline, "H", 11, 10), two = addText(outline, "HH", 11, 10),
                 apart = addText(outline, "H H", 11, 10);
    EXPECT_DOUBLE_EQ(two, 2 * one + 10);
    EXPECT_GT(apart, two + 20);
    for (const char* text : {"a", "5", "E\xC9"}) {
        SCOPED_TRACE(text);
        EXPECT_THROW(addText(outline, text, 11, 10), std::invalid_argument);
    }
}

} // namespace
