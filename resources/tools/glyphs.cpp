// A loudspeaker, which has sound waves beside it while it plays; a film camera, whose lamp and screen light up; and the
// shaded field of a hotspot, which lets what lies under it show. Hit masks are white with the glyph's silhouette in black,
// a little generous, at an eighth of the glyph's size, for they become bitmaps.
#include "resources/tools/glyphs.h"

#include <cmath>
#include <initializer_list>
#include <numbers>

namespace kbann::pictures {
namespace {

constexpr COLORREF dark = RGB(0x2B, 0x2F, 0x38), grey = RGB(0x8A, 0x90, 0x9C), light = RGB(0xD5, 0xD9, 0xE0);
constexpr COLORREF waveBlue = RGB(0x1E, 0x6F, 0xD0), lampRed = RGB(0xE0, 0x26, 0x2B), playGreen = RGB(0x2C, 0xA8, 0x4E);
constexpr COLORREF screenOff = RGB(0x4A, 0x50, 0x5C), screenOn = RGB(0xF2, 0xF6, 0xEC), hotspotBlue = RGB(0x24, 0x5C, 0xC8);
constexpr COLORREF black = RGB(0, 0, 0), white = RGB(0xFF, 0xFF, 0xFF);
constexpr int audioHeight = 9600, videoWidth = 12000, videoHeight = 9600, maskScale = 8;

Outline areaOf(std::initializer_list<Corner> corners) {
    Outline outline;
    addArea(outline, roundedPath({corners.begin(), corners.size()}, true));
    return outline;
}

// ---- loudspeaker ----

void addSpeaker(std::vector<Layer>& layers) {
    layers.push_back(
        {dark,
         areaOf({{500, 3050, 300}, {3150, 3050}, {6900, 400, 350}, {6900, 9200, 350}, {3150, 6550}, {500, 6550, 300}})});
    layers.push_back({light, areaOf({{1000, 3500, 80}, {2850, 3500}, {2850, 6100}, {1000, 6100, 80}})});
    layers.push_back({grey, areaOf({{3350, 3500}, {6400, 1350, 120}, {6400, 8250, 120}, {3350, 6100}})});
}

void addWaves(std::vector<Layer>& layers) {
    constexpr double middleX = 5600, middleY = audioHeight / 2.0, spread = 0.5, halfWidth = 430;
    Outline waves;
    for (const double radius : {3900.0, 6150.0, 8400.0}) {
        std::vector<Corner> arc;
        for (int i = -12; i <= 12; ++i) {
            const double angle = spread * i / 12;
            arc.push_back({middleX + radius * std::cos(angle), middleY + radius * std::sin(angle)});
        }
        addStroke(waves, arc, halfWidth, Ends::butt);
        for (const Corner& end : {arc.front(), arc.back()})
            addArea(waves, ellipse({end.x, end.y}, halfWidth, halfWidth, 24));
    }
    layers.push_back({waveBlue, std::move(waves)});
}

// ---- film camera ----

constexpr Point bigReel{3000, 2450}, smallReel{7000, 2750};
constexpr double bigRadius = 2200, smallRadius = 1800;

void addReel(std::vector<Layer>& layers, Point middle, double radius) {
    Outline rim, plate;
    addArea(rim, ellipse(middle, radius, radius));
    addArea(plate, ellipse(middle, radius * 0.82, radius * 0.82));
    for (int i = 0; i < 5; ++i) {
        const double angle = 2 * std::numbers::pi * (i / 5.0 - 0.25), r = radius * 0.5;
        addHole(plate,
                ellipse({middle.x + r * std::cos(angle), middle.y + r * std::sin(angle)}, radius * 0.2, radius * 0.2, 24));
    }
    addHole(plate, ellipse(middle, radius * 0.14, radius * 0.14, 24));
    layers.push_back({dark, std::move(rim)});
    layers.push_back({grey, std::move(plate)});
}

void addCamera(std::vector<Layer>& layers, bool active) {
    addReel(layers, bigReel, bigRadius);
    addReel(layers, smallReel, smallRadius);
    layers.push_back({dark, areaOf({{400, 4500, 350}, {8700, 4500, 350}, {8700, 9300, 350}, {400, 9300, 350}})});
    layers.push_back({dark, areaOf({{8600, 6400}, {11600, 4900, 200}, {11600, 8900, 200}, {8600, 7400}})});
    layers.push_back({grey, areaOf({{9250, 6700}, {11150, 5750, 80}, {11150, 8050, 80}, {9250, 7100}})});
    layers.push_back({active ? screenOn : screenOff,
                      areaOf({{1000, 5150, 150}, {6300, 5150, 150}, {6300, 8650, 150}, {1000, 8650, 150}})});
    layers.push_back({active ? playGreen : grey, areaOf({{2650, 5700, 120}, {5100, 6900, 120}, {2650, 8100, 120}})});
    Outline lamp;
    addArea(lamp, ellipse({7500, 5750}, 560, 560, 32));
    layers.push_back({active ? lampRed : grey, std::move(lamp)});
    layers.push_back({light, areaOf({{7000, 7300, 120}, {8000, 7300, 120}, {8000, 7600, 120}, {7000, 7600, 120}})});
    layers.push_back({light, areaOf({{7000, 8100, 120}, {8000, 8100, 120}, {8000, 8400, 120}, {7000, 8400, 120}})});
}

// ---- hit masks ----

Picture maskOf(unsigned id, const char* name, int width, int height, Outline silhouette) {
    const RECT box{0, 0, width / maskScale, height / maskScale};
    remap(silhouette, [](Point p) { return Point{p.x / maskScale, p.y / maskScale}; });
    Outline ground;
    addArea(ground, rectangle(0, 0, box.right, box.bottom));
    return {id, name, box, {{white, std::move(ground)}, {black, std::move(silhouette)}}};
}

Outline speakerSilhouette() {
    return areaOf(
        {{100, 2650, 400}, {3000, 2650}, {6950, 0}, {7300, 0}, {7300, 9600}, {6950, 9600}, {3000, 6950}, {100, 6950, 400}});
}

Outline cameraSilhouette() {
    Outline outline = areaOf({{100, 4200, 400}, {9000, 4200, 400}, {9000, 9600, 400}, {100, 9600, 400}});
    addArea(outline, {{8500, 6000}, {12000, 4300}, {12000, 9500}, {8500, 7800}});
    addArea(outline, ellipse(bigReel, bigRadius + 250, bigRadius + 250));
    addArea(outline, ellipse(smallReel, smallRadius + 250, smallRadius + 250));
    addArea(outline, rectangle(2000, 2200, 8000, 5000)); // between the reels counts too
    return outline;
}

// ---- hotspot ----

// Thin stripes all over, so that any part of it, cut out by a freehand outline, still shows as a hotspot.
void addHotspot(std::vector<Layer>& layers, double side) {
    Outline outline;
    addArea(outline, rectangle(0, 0, side, side));
    addHole(outline, rectangle(24, 24, side - 24, side - 24));
    layers.push_back({hotspotBlue, std::move(outline)});
    constexpr int stripes = 8;
    const double step = side * 2 / stripes, width = 14;
    Outline shading;
    for (int i = 0; i < stripes; ++i) {
        const double from = (i + 0.5) * step - width, to = from + 2 * width; // x + y along the stripe
        if (to <= side)
            addArea(shading, {{from, 0}, {to, 0}, {0, to}, {0, from}});
        else
            addArea(shading, {{side, from - side}, {side, to - side}, {to - side, side}, {from - side, side}});
    }
    layers.push_back({hotspotBlue, std::move(shading)});
    const Point middle{side / 2, side / 2};
    Outline disc, target;
    addArea(disc, ellipse(middle, side * 0.2, side * 0.2));
    addArea(target, ellipse(middle, side * 0.18, side * 0.18));
    addHole(target, ellipse(middle, side * 0.13, side * 0.13));
    addArea(target, ellipse(middle, side * 0.07, side * 0.07, 24));
    layers.push_back({white, std::move(disc)});
    layers.push_back({hotspotBlue, std::move(target)});
}

} // namespace

std::vector<Picture> glyphPictures() {
    std::vector<Picture> pictures;
    Picture audioOn{26170, "audio_active", {-7200, -4800, -7200 + audioWidth, -4800 + audioHeight}, {}};
    Picture audioOff{26171, "audio_inactive", {-7200, -4800, -7200 + audioInactiveWidth, -4800 + audioHeight}, {}};
    Picture videoOn{26173, "video_active", {0, 0, videoWidth, videoHeight}, {}};
    Picture videoOff{26174, "video_inactive", {0, 0, videoWidth, videoHeight}, {}};
    addSpeaker(audioOn.layers);
    addWaves(audioOn.layers);
    addSpeaker(audioOff.layers);
    addCamera(videoOn.layers, true);
    addCamera(videoOff.layers, false);
    for (Picture* audio : {&audioOn, &audioOff}) {
        for (Layer& layer : audio->layers)
            remap(layer.outline, [&](Point p) { return Point{p.x + audio->box.left, p.y + audio->box.top}; });
    }
    pictures.push_back(std::move(audioOn));
    pictures.push_back(std::move(audioOff));
    pictures.push_back(maskOf(26172, "audio_mask", audioInactiveWidth, audioHeight, speakerSilhouette()));
    pictures.push_back(std::move(videoOn));
    pictures.push_back(std::move(videoOff));
    pictures.push_back(maskOf(26175, "video_mask", videoWidth, videoHeight, cameraSilhouette()));
    constexpr int side = 2000;
    Picture hotspot{26203, "hotspot", {0, 0, side, side}, {}};
    addHotspot(hotspot.layers, side);
    pictures.push_back(std::move(hotspot));
    return pictures;
}

} // namespace kbann::pictures
