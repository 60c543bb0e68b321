// A stamp is made around the origin, worn, tilted, and then put where its row says; its box is what it covers there. All but
// the white letters of plates is one outline of one colour, so that a raster operation touches no pixel twice.
#include "resources/tools/stamps.h"

#include "resources/tools/stamp_letters.h"
#include "resources/tools/stamp_table.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>

namespace kbann::pictures {
namespace {

constexpr COLORREF white = RGB(0xFF, 0xFF, 0xFF);

// Numbers that look random and are the same on every machine.
class Noise {
public:
    explicit Noise(uint32_t seed) : state_(seed * 2654435761u | 1) {}
    double between(double low, double high) {
        state_ ^= state_ << 13;
        state_ ^= state_ >> 17;
        state_ ^= state_ << 5;
        return low + (high - low) * (state_ >> 8) / 16777216.0;
    }

private:
    uint32_t state_;
};

struct Room {
    double left, top, right, bottom;
    double width() const { return right - left; }
    double height() const { return bottom - top; }
    Room shrunk(double x, double y) const { return {left + x, top + y, right - x, bottom - y}; }
};

// Corners of the stamp's shape; `corner` and `inset` go together, so that the lines of a frame run side by side.
Contour shapeOf(const Stamp& stamp, double inset) {
    const double x = stamp.size.cx / 2.0 - inset, y = stamp.size.cy / 2.0 - inset;
    switch (stamp.shape) {
    case oval: return ellipse({0, 0}, x, y, 72);
    case rounded: {
        const double radius = std::max(stamp.corner - inset, 10.0);
        const Corner corners[] = {{-x, -y, radius}, {x, -y, radius}, {x, y, radius}, {-x, y, radius}};
        return roundedPath(corners, true);
    }
    case chamfered: {
        const double cut = stamp.corner - inset * (2 - std::numbers::sqrt2);
        return {{-x + cut, -y}, {x - cut, -y}, {x, -y + cut}, {x, y - cut},
                {x - cut, y},   {-x + cut, y}, {-x, y - cut}, {-x, -y + cut}};
    }
    case notched: { // quarter circles are taken out of the corners
        const double radius = stamp.corner + inset;
        const double middleX = stamp.size.cx / 2.0, middleY = stamp.size.cy / 2.0;
        const double reach = std::sqrt(radius * radius - inset * inset); // where the circle crosses the shape's sides
        const double first = std::atan2(inset, reach), last = std::numbers::pi / 2 - first;
        Contour contour;
        for (int quarter = 0; quarter < 4; ++quarter) {
            const double sx = quarter == 0 || quarter == 3 ? -1 : 1, sy = quarter < 2 ? -1 : 1;
            for (int i = 0; i <= 8; ++i) {
                const double part = quarter % 2 ? 1 - i / 8.0 : i / 8.0; // up from the side's end, or down to it
                const double angle = last + (first - last) * part;
                contour.push_back({sx * (middleX - radius * std::cos(angle)), sy * (middleY - radius * std::sin(angle))});
            }
        }
        return contour;
    }
    case plain:
    case rails: break;
    }
    return rectangle(-x, -y, x, y);
}

void addFrame(Outline& outline, const Stamp& stamp) {
    for (const Band& band : stamp.frame) {
        if (band.width <= 0) continue;
        if (stamp.shape == rails) { // above and below only
            const double x = stamp.size.cx / 2.0, y = stamp.size.cy / 2.0 - band.inset;
            addArea(outline, rectangle(-x, -y, x, -y + band.width));
            addArea(outline, rectangle(-x, y - band.width, x, y));
        } else {
            addArea(outline, shapeOf(stamp, band.inset));
            addHole(outline, shapeOf(stamp, band.inset + band.width));
        }
    }
}

// Words in the middle of a room: as high as it allows, drawn out or together to its width, within what looks right.
void addWords(Outline& outline, const Stamp& stamp, const Room& room) {
    constexpr double lineGap = 0.34, widest = 1.25, narrowest = 0.72, spacing = 17;
    const auto count =
        static_cast<double>(std::ranges::count_if(stamp.lines, [](const char* line) { return line != nullptr; }));
    double high = room.height() / (count + (count - 1) * lineGap), y = room.top;
    double narrowed = 1; // all lines share the height that the longest one leaves
    for (const char* line : stamp.lines) {
        Outline unused;
        if (!line) continue;
        const double width = addText(unused, line, stamp.look.bold, spacing) * high / letterHeight + stamp.look.slant * high;
        narrowed = std::min(narrowed, room.width() / (width * narrowest));
    }
    y += (room.height() - room.height() * narrowed) / 2;
    high *= narrowed;
    for (const char* line : stamp.lines) {
        if (!line) continue;
        Outline letters;
        const double width = addText(letters, line, stamp.look.bold, spacing), scaleY = high / letterHeight;
        const double scaleX = std::min((room.width() - stamp.look.slant * high) / width, scaleY * widest);
        const double left = (room.left + room.right - width * scaleX - stamp.look.slant * high) / 2;
        append(outline, std::move(letters), [&](Point p) {
            return Point{left + p.x * scaleX + stamp.look.slant * (high - p.y * scaleY), y + p.y * scaleY};
        });
        y += high * (1 + lineGap);
    }
}

void addStar(Outline& outline, Point middle, double radius) {
    Contour star;
    for (int i = 0; i < 10; ++i) {
        const double angle = std::numbers::pi * (i / 5.0 - 0.5), reach = i % 2 ? radius * 0.42 : radius;
        star.push_back({middle.x + reach * std::cos(angle), middle.y + reach * std::sin(angle)});
    }
    addArea(outline, std::move(star));
}

// A round seal with a banner across: two rings, broken where the banner runs, stars above and below.
void addBanner(Outline& outline, const Stamp& stamp) {
    constexpr double bannerShare = 0.36, line = 50;
    const double high = stamp.size.cy * bannerShare / 2, outer = stamp.size.cy / 2.0;
    struct {
        double radius, halfWidth;
    } const rings[] = {{outer - 45, 45}, {outer - 150, 20}};
    for (const auto& ring : rings) {
        const double limit = std::asin((high + line) / ring.radius);
        for (const double side : {-1.0, 1.0}) {
            std::vector<Corner> arc;
            for (int i = 0; i <= 24; ++i) {
                const double angle = limit + (std::numbers::pi - 2 * limit) * i / 24;
                arc.push_back({ring.radius * std::cos(angle), side * ring.radius * std::sin(angle)});
            }
            addStroke(outline, arc, ring.halfWidth, Ends::level);
        }
    }
    for (const double side : {-1.0, 1.0}) {
        const double y = side * (high + (outer - 170 - high) * 0.48);
        addStar(outline, {0, y}, 165);
        for (const double x : {-390.0, 390.0}) addStar(outline, {x, y - side * 45}, 105);
    }
    const double x = stamp.size.cx / 2.0;
    addArea(outline, rectangle(-x, -high, x, high));
    addHole(outline, rectangle(-x + line, -high + line, x - line, high - line));
    addWords(outline, stamp, Room{-x, -high, x, high}.shrunk(line + 90, line + 85));
}

// Adds the ornament and gives the room that it leaves for the words.
Room addOrnament(Outline& outline, const Stamp& stamp, Room room) {
    const double high = room.height(), middle = (room.top + room.bottom) / 2;
    switch (stamp.ornament) {
    case stars:
        for (const double x : {room.left + high * 0.3, room.right - high * 0.3}) addStar(outline, {x, middle}, high * 0.3);
        return room.shrunk(high * 0.8, 0);
    case check: {
        const double size = high * 1.15, left = room.left;
        const Corner tick[] = {{left + size * 0.06, room.top + high * 0.5},
                               {left + size * 0.36, room.top + high * 0.84},
                               {left + size * 0.9, room.top + high * 0.02}};
        addStroke(outline, tick, high * 0.105, Ends::butt);
        room.left += size * 1.12;
        return room;
    }
    case dateLine: { // a line to write the date on, below the word
        const double line = room.bottom - 34, half = room.width() / 2;
        addArea(outline, rectangle(-half, line, -half * 0.08, line + 34));
        addArea(outline, rectangle(half * 0.08, line, half, line + 34));
        room.bottom -= high * 0.36;
        return room;
    }
    case rules:
        addArea(outline, rectangle(room.left, room.top, room.right, room.top + 46));
        addArea(outline, rectangle(room.left, room.bottom - 46, room.right, room.bottom));
        return room.shrunk(0, 46 + 100);
    case waves: { // of a postmark, right of the word
        const double from = room.right - high * 1.5, step = high / 3.4, length = (room.right - from) / 4;
        for (int line = 0; line < 4; ++line) {
            std::vector<Corner> wave;
            const double y = middle + (line - 1.5) * step;
            for (int i = 0; i <= 24; ++i) {
                wave.push_back(
                    {from + (room.right - from) * i / 24,
                     y + step * 0.26 * std::sin(2 * std::numbers::pi * i / 24 * (room.right - from) / (2 * length))});
            }
            addStroke(outline, wave, step * 0.15, Ends::butt);
        }
        room.right = from - high * 0.22;
        return room;
    }
    case arrow: { // on its way, below the word
        const double y = room.bottom - high * 0.11, head = high * 0.17;
        addArea(outline,
                {{room.left, y - 34}, {room.right - head, y - 34}, {room.right - head, y + 34}, {room.left, y + 34}});
        addArea(outline, {{room.right - head * 1.7, y - head}, {room.right, y}, {room.right - head * 1.7, y + head}});
        room.bottom -= high * 0.36;
        return room;
    }
    case none:
    case banner:
    case plate: break;
    }
    return room;
}

// Takes small spots of ink away, wherever a whole spot lies on just one layer.
void wear(Outline& outline, const Stamp& stamp) {
    Noise noise(stamp.id);
    const double x = stamp.size.cx / 2.0, y = stamp.size.cy / 2.0;
    for (int left = stamp.look.chips, tries = stamp.look.chips * 40; left > 0 && tries > 0; --tries) {
        const Point middle{noise.between(-x, x), noise.between(-y, y)};
        const double size = noise.between(9, 21);
        Contour chip = ellipse(middle, size, size * noise.between(0.6, 1.1), 8);
        for (Point& p : chip) p = {p.x + noise.between(-3, 3), p.y + noise.between(-3, 3)};
        if (!std::ranges::all_of(chip, [&](Point p) { return layersAt(outline, p) == 1; })) continue;
        addHole(outline, std::move(chip));
        --left;
    }
}

double marginOf(const Stamp& stamp) {
    double frame = 0;
    for (const Band& band : stamp.frame) frame = std::max(frame, band.inset + band.width);
    return frame;
}

Picture makeStamp(const Stamp& stamp) {
    Picture picture{stamp.id, stamp.lines[0], {}, {}};
    Outline ink, paper;
    const double x = stamp.size.cx / 2.0, y = stamp.size.cy / 2.0, frame = marginOf(stamp);
    const Room inside = Room{-x, -y, x, y}.shrunk(frame, frame);
    if (stamp.ornament == banner) {
        addBanner(ink, stamp);
    } else if (stamp.ornament == plate) {
        addArea(ink, shapeOf(stamp, 0));
        addArea(paper, shapeOf(stamp, 55));
        addHole(paper, shapeOf(stamp, 85));
        addWords(paper, stamp, inside.shrunk(200, 205));
    } else {
        addFrame(ink, stamp);
        double sideways = stamp.shape == rails ? 30 : 130, upright = 110;
        if (stamp.shape == oval) sideways = stamp.size.cx * 0.075, upright = stamp.size.cy * 0.22;
        if (stamp.shape == notched || stamp.shape == chamfered) sideways += 50;
        if (stamp.shape == rounded && stamp.corner > 300) sideways += 90;
        addWords(ink, stamp, addOrnament(ink, stamp, inside.shrunk(sideways, upright)));
    }
    wear(ink, stamp);
    picture.layers.push_back({stamp.ink, std::move(ink)});
    if (!paper.empty()) picture.layers.push_back({white, std::move(paper)});

    const double angle = stamp.look.tilt * std::numbers::pi / 180, c = std::cos(angle), s = std::sin(angle);
    for (Layer& layer : picture.layers)
        remap(layer.outline, [&](Point p) { return Point{p.x * c - p.y * s, p.x * s + p.y * c}; });
    const Bounds made = boundsOf(picture.layers);
    for (Layer& layer : picture.layers) {
        remap(layer.outline, [&](Point p) {
            return Point{p.x - made.left + stamp.place.x, p.y - made.top + stamp.place.y};
        });
    }
    picture.box = wholeBox(boundsOf(picture.layers));
    return picture;
}

} // namespace

std::vector<Picture> stampPictures() {
    std::vector<Picture> pictures;
    for (const Stamp& stamp : stamps) pictures.push_back(makeStamp(stamp));
    return pictures;
}

} // namespace kbann::pictures
