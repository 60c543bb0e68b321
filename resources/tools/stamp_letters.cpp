// The alphabet is a table of strokes. Corners lie in a box of 100 units height, through which the middle line of the strokes
// runs, so that the same rows give all weights: strokes along the box reach out of it by half their width. The box of
// diagonals, which are cut level, is the whole letter's height, for their ends lie on the letter's edges.
#include "resources/tools/stamp_letters.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <stdexcept>
#include <string>

namespace kbann::pictures {
namespace {

constexpr double blankWidth = 34;

class Path {
public:
    consteval Path(std::initializer_list<Corner> corners) : count_(corners.size()) {
        std::copy(corners.begin(), corners.end(), corners_.begin());
    }
    constexpr std::span<const Corner> corners() const { return {corners_.data(), count_}; }

private:
    std::array<Corner, 8> corners_{};
    size_t count_;
};

struct LetterStroke {
    char letter;
    Ends ends;
    Path path;
};

constexpr auto strokes = std::to_array<LetterStroke>({
    {'A', Ends::level, {{0, 100}, {39, 0}}},
    {'A', Ends::level, {{78, 100}, {39, 0}}},
    {'A', Ends::butt, {{14, 70}, {64, 70}}},
    {'B', Ends::square, {{0, 0}, {0, 100}}},
    {'B', Ends::square, {{0, 0}, {66, 0, 24}, {66, 48, 24}, {0, 48}}},
    {'B', Ends::square, {{0, 48}, {70, 48, 26}, {70, 100, 26}, {0, 100}}},
    {'C', Ends::butt, {{70, 33}, {70, 0, 33}, {0, 0, 36}, {0, 100, 36}, {70, 100, 33}, {70, 67}}},
    {'D', Ends::square, {{0, 0}, {0, 100}}},
    {'D', Ends::square, {{0, 0}, {72, 0, 40}, {72, 100, 40}, {0, 100}}},
    {'E', Ends::square, {{0, 0}, {0, 100}}},
    {'E', Ends::square, {{0, 0}, {54, 0}}},
    {'E', Ends::square, {{0, 49}, {46, 49}}},
    {'E', Ends::square, {{0, 100}, {54, 100}}},
    {'F', Ends::square, {{0, 0}, {0, 100}}},
    {'F', Ends::square, {{0, 0}, {54, 0}}},
    {'F', Ends::square, {{0, 51}, {44, 51}}},
    {'G', Ends::butt, {{72, 33}, {72, 0, 33}, {0, 0, 36}, {0, 100, 36}, {72, 100, 33}, {72, 54}, {42, 54}}},
    {'H', Ends::square, {{0, 0}, {0, 100}}},
    {'H', Ends::square, {{70, 0}, {70, 100}}},
    {'H', Ends::butt, {{0, 49}, {70, 49}}},
    {'I', Ends::square, {{0, 0}, {0, 100}}},
    {'J', Ends::square, {{54, 0}, {54, 100, 27}, {0, 100, 27}, {0, 72}}},
    {'K', Ends::square, {{0, 0}, {0, 100}}},
    {'K', Ends::level, {{70, 0}, {8, 63}}},
    {'K', Ends::level, {{30, 41}, {73, 100}}},
    {'L', Ends::square, {{0, 0}, {0, 100}}},
    {'L', Ends::square, {{0, 100}, {52, 100}}},
    {'M', Ends::square, {{0, 0}, {0, 100}}},
    {'M', Ends::square, {{90, 0}, {90, 100}}},
    {'M', Ends::level, {{3, 0}, {45, 84}}},
    {'M', Ends::level, {{87, 0}, {45, 84}}},
    {'N', Ends::square, {{0, 0}, {0, 100}}},
    {'N', Ends::square, {{72, 0}, {72, 100}}},
    {'N', Ends::level, {{3, 0}, {69, 100}}},
    {'O', Ends::ring, {{0, 0, 38}, {76, 0, 38}, {76, 100, 38}, {0, 100, 38}}},
    {'P', Ends::square, {{0, 0}, {0, 100}}},
    {'P', Ends::square, {{0, 0}, {66, 0, 29}, {66, 58, 29}, {0, 58}}},
    {'Q', Ends::ring, {{0, 0, 38}, {76, 0, 38}, {76, 100, 38}, {0, 100, 38}}},
    {'Q', Ends::butt, {{44, 68}, {82, 106}}},
    {'R', Ends::square, {{0, 0}, {0, 100}}},
    {'R', Ends::square, {{0, 0}, {66, 0, 28}, {66, 56, 28}, {0, 56}}},
    {'R', Ends::level, {{34, 56}, {70, 100}}},
    {'S', Ends::butt, {{68, 27}, {68, 0, 25}, {0, 0, 24}, {0, 48, 24}, {68, 48, 26}, {68, 100, 26}, {0, 100, 26}, {0, 72}}},
    {'T', Ends::square, {{0, 0}, {68, 0}}},
    {'T', Ends::square, {{34, 0}, {34, 100}}},
    {'U', Ends::square, {{0, 0}, {0, 100, 36}, {72, 100, 36}, {72, 0}}},
    {'V', Ends::level, {{0, 0}, {38, 100}}},
    {'V', Ends::level, {{76, 0}, {38, 100}}},
    {'W', Ends::level, {{0, 0}, {30, 100}}},
    {'W', Ends::level, {{58, 0}, {30, 100}}},
    {'W', Ends::level, {{58, 0}, {86, 100}}},
    {'W', Ends::level, {{116, 0}, {86, 100}}},
    {'X', Ends::level, {{0, 0}, {74, 100}}},
    {'X', Ends::level, {{74, 0}, {0, 100}}},
    {'Y', Ends::level, {{0, 0}, {38, 56}, {76, 0}}},
    {'Y', Ends::square, {{38, 56}, {38, 100}}},
    {'Z', Ends::square, {{0, 0}, {66, 0}}},
    {'Z', Ends::square, {{0, 100}, {66, 100}}},
    {'Z', Ends::level, {{64, 0}, {2, 100}}},
    {'-', Ends::square, {{0, 52}, {26, 52}}},
});

// Letters whose sides lean or hang over stand closer, lest they seem to fall out of the line.
constexpr double tuckOf(char letter) {
    const std::string_view leaning = "AVWYT";
    return leaning.find(letter) == std::string_view::npos ? 0 : 4;
}

} // namespace

double addText(Outline& outline, std::string_view text, double weight, double spacing) {
    const double scale = letterHeight / (100 + 2 * weight); // the middle line's box to the letter's
    double x = 0;
    for (const char letter : text) {
        if (letter == ' ') {
            x += blankWidth;
            continue;
        }
        double width = 0;
        Outline shape;
        for (const auto& stroke : strokes) {
            if (stroke.letter != letter) continue;
            std::vector<Corner> corners(stroke.path.corners().begin(), stroke.path.corners().end());
            for (Corner& corner : corners) {
                width = std::max(width, corner.x);
                if (stroke.ends == Ends::level) corner.y = corner.y / scale - weight;
            }
            addStroke(shape, corners, weight, stroke.ends);
        }
        if (shape.empty()) throw std::invalid_argument(std::string("no strokes for ") + letter);
        const double tuck = tuckOf(letter);
        append(outline, std::move(shape), [&](Point p) {
            return Point{x - tuck + (p.x + weight) * scale, (p.y + weight) * scale};
        });
        x += (width + 2 * weight) * scale + spacing - 2 * tuck;
    }
    return x - spacing;
}

} // namespace kbann::pictures
