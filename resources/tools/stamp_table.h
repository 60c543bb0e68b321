// The stamps as rows: words, ink, place, size, frame, ornament and look. Each has a place of its own in the coordinate
// space, as stamps have that were drawn at different times on different sheets.
#pragma once

#include "platform/gdi.h"

#include <array>

namespace kbann::pictures {

inline constexpr COLORREF red = RGB(0xBE, 0x1E, 0x2D), blue = RGB(0x1F, 0x3F, 0x99), green = RGB(0x18, 0x74, 0x3C);
inline constexpr COLORREF violet = RGB(0x62, 0x2B, 0x8C), black = RGB(0x2B, 0x2B, 0x33), teal = RGB(0x0C, 0x6B, 0x75);
inline constexpr COLORREF orange = RGB(0xC2, 0x55, 0x0C), wine = RGB(0x97, 0x1B, 0x4E);

enum class Shape { plain, rounded, chamfered, notched, oval, rails };
enum class Ornament { none, stars, check, dateLine, rules, waves, arrow, banner, plate };

struct Band {
    double inset, width; // of one line of the frame; no line at width 0
};

struct Look {
    double tilt = 0;  // degrees clockwise
    double slant = 0; // of the letters: sideways shift a unit of height
    double bold = 11; // weight of the letters
    int chips = 0;    // spots without ink
};

struct Stamp {
    unsigned id;
    std::array<const char*, 3> lines;
    COLORREF ink;
    POINT place; // left and top of the box, 1000 units an inch
    SIZE size;   // of the stamp before it is tilted
    Shape shape;
    double corner; // radius, or length of what is cut off
    std::array<Band, 2> frame;
    Ornament ornament = Ornament::none;
    Look look = {};
};

constexpr std::array<Band, 2> single(double width) { return {{{0, width}, {}}}; }
constexpr std::array<Band, 2> twin(double outer, double gap, double inner) { return {{{0, outer}, {outer + gap, inner}}}; }

using enum Shape;
using enum Ornament;

// clang-format off
inline constexpr auto stamps = std::to_array<Stamp>({
    {26176, {"APPROVED"}, green, {-2104, 1397}, {3684, 717}, rounded, 150, single(62), none, {.chips = 60}},
    {26177, {"ASSIGNED"}, blue, {350, -1620}, {3300, 760}, plain, 0, twin(36, 40, 36)},
    {26179, {"CHECKED"}, teal, {-4410, -905}, {3500, 900}, rounded, 110, single(55), check},
    {26180, {"ATTORNEY-", "CLIENT", "PRIVILEGE"}, wine, {1040, 2210}, {3000, 1900}, chamfered, 190, twin(60, 45, 36), none, {.bold = 10}},
    {26178, {"COPY"}, blue, {-900, -450}, {2900, 880}, rails, 0, single(80), stars, {.bold = 12, .chips = 34}},
    {26181, {"DRAFT"}, black, {5210, 3120}, {2500, 820}, plain, 0, single(75), none, {.tilt = -6, .bold = 12, .chips = 60}},
    {26182, {"EXTENDED"}, violet, {-1500, -3000}, {3500, 780}, notched, 130, twin(38, 40, 36)},
    {26183, {"FAX"}, black, {120, 6400}, {1600, 900}, rounded, 220, twin(70, 44, 26), none, {.bold = 13}},
    {26184, {"FAXED"}, blue, {-7300, 150}, {2500, 850}, rails, 0, twin(60, 40, 30), none, {.slant = 0.16}},
    {26185, {"IMPORTANT"}, red, {2480, 730}, {3800, 820}, plain, 0, {}, plate},
    {26186, {"INVOICE"}, blue, {-120, -5230}, {3000, 1000}, plain, 0, single(40), rules},
    {26187, {"NOTICE"}, orange, {1500, 1500}, {2900, 900}, chamfered, 230, single(70), none, {.bold = 12}},
    {26188, {"OFFICIAL"}, violet, {-3210, 2750}, {2900, 2000}, oval, 0, {}, banner, {.bold = 12}},
    {26189, {"ON FILE"}, teal, {-640, -310}, {2700, 780}, rounded, 390, twin(34, 38, 34)},
    {26190, {"PAID"}, red, {4300, -2200}, {2150, 900}, rounded, 140, twin(58, 42, 26), none, {.tilt = -9, .bold = 13, .chips = 70}},
    {26191, {"PASSED"}, green, {-5025, 4480}, {3100, 1350}, oval, 0, twin(64, 44, 36)},
    {26192, {"PENDING"}, orange, {20, 20}, {3000, 760}, plain, 0, single(48), none, {.slant = 0.18}},
    {26193, {"PROCESSED"}, black, {-2750, -7100}, {3700, 1080}, plain, 0, single(44), dateLine},
    {26194, {"RECEIVED"}, red, {700, 3900}, {3300, 1240}, rounded, 120, twin(46, 40, 36), dateLine, {.chips = 44}},
    {26195, {"REJECTED"}, red, {-1830, 540}, {3500, 840}, plain, 0, single(82), none, {.tilt = 4, .bold = 12, .chips = 80}},
    {26196, {"RELEASE"}, green, {6100, -4400}, {3100, 840}, notched, 160, single(58)},
    {26197, {"SENT"}, violet, {-420, 8200}, {3100, 860}, rounded, 90, single(50), waves, {.bold = 12}},
    {26198, {"SHIPPED"}, blue, {-6600, -2800}, {3400, 1120}, plain, 0, single(46), arrow, {.slant = 0.14}},
    {26200, {"TOP SECRET"}, red, {-1960, -980}, {3900, 960}, plain, 0, twin(80, 44, 30), none, {.bold = 12, .chips = 60}},
    {26201, {"URGENT"}, red, {3333, 5600}, {2900, 840}, rounded, 180, {}, plate, {.slant = 0.14, .bold = 12}},
    {26202, {"VOID"}, wine, {-700, 2900}, {2300, 950}, plain, 0, twin(90, 50, 30), none, {.tilt = -14, .bold = 14, .chips = 70}},
});
// clang-format on

} // namespace kbann::pictures
