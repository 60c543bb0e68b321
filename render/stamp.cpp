// Stamps: an image that follows its quad however it is scaled, turned, mirrored and sheared; a metafile, which stays
// upright; or a frame with text in the middle.
//
// An image goes one of three ways. One that stands upright and isn't reduced is scaled as it is painted, however large, and
// seen through another perspective where it is mirrored or turned by quarters. Turned ones are painted through the inverse of
// their map in one pass; or stepwise where a device's pixels can't be mixed: a work bitmap of the size on the device is
// sheared and turned, which takes the nearest pixel at each step, where the pass mixes neighbours.
#include "contracts/raster_kernel.h"
#include "render/drawing.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string_view>
#include <utility>

namespace kbann {
namespace {

constexpr double pi = std::numbers::pi;
constexpr double hundredths = 5729.577951308239; // of a degree in a radian
constexpr int leastTurn = 50;                    // half a degree; less isn't seen
constexpr COLORREF white = 0xFFFFFF;
constexpr double largestWorkBytes = 512.0 * 1024 * 1024;
constexpr double largestThinBytes = 8.0 * 1024 * 1024; // what is larger the pass takes
constexpr int32_t leastSide = 8;                       // pixels: below that an edge lost to rounding would show
constexpr double farthest = 1 << 30;                   // pixels: beyond that coordinates would be cut

int32_t inHundredths(double angle) { return annRound(angle * hundredths); }
bool counts(double angle) { return std::abs(inHundredths(angle)) >= leastTurn; }
double distance(AnnPoint p, AnnPoint q) { return std::hypot(p.x - q.x, p.y - q.y); }

struct ImagePlan {
    TurnedQuad quad;
    double skew;           // -pi / 2 to pi / 2; above 0 the top leans right
    int32_t width, height; // of the image before it is sheared and turned
};

double skewOf(const TurnedQuad& quad) {
    double s = quad.firstPhi - (quad.theta - pi / 2);
    if (s >= 2 * pi) s -= 2 * pi;
    if (s >= pi)
        s -= pi;
    else if (s < -pi / 2)
        s += pi;
    if (s > pi / 2)
        s -= pi;
    else if (s < -pi / 2)
        s += pi;
    return s;
}

// Of the largest work bitmap on the way.
double workBytes(const ImagePlan& plan, int bits) {
    double width = plan.width, height = plan.height;
    if (counts(plan.skew)) width += std::tan(std::abs(plan.skew)) * height;
    const double c = std::abs(std::cos(plan.quad.theta)), s = std::abs(std::sin(plan.quad.theta));
    const double sheared = width * height, turned = (width * c + height * s) * (width * s + height * c);
    return std::max(sheared, turned) * bits / 8;
}

PointBox boxOf(const ImagePlan& plan) {
    PointBox box;
    for (const AnnPoint& p : annQuadCorners(identityMatrix, {plan.quad.a, plan.quad.b, plan.quad.c}).p) box.add(p);
    return box;
}

bool planImage(const Drawing& d, ImagePlan& plan) {
    plan.quad = annTurnQuad(d.matrix, d.record.quad);
    plan.skew = skewOf(plan.quad);
    plan.width = annRound(distance(plan.quad.b, plan.quad.c));
    plan.height = annRound(distance(plan.quad.a, plan.quad.b) * std::cos(plan.skew));
    const PointBox box = boxOf(plan);
    return plan.width > 0 && plan.height > 0 && std::min(box.left, box.top) >= -farthest &&
           std::max(box.right, box.bottom) <= farthest;
}

// Whether nothing but quarter turns is left to be done to the image, and how many, clockwise.
bool standsUpright(const ImagePlan& plan, int& quarters) {
    constexpr int quarter = 9000;
    if (counts(plan.skew)) return false;
    const int turn = counts(plan.quad.theta) ? inHundredths(plan.quad.theta) : 0;
    quarters = turn / quarter;
    return turn % quarter == 0;
}

class WorkBitmap {
public:
    WorkBitmap() = default;
    ~WorkBitmap() { K_ReleaseWorkBitmap(&record, workMode); }
    WorkBitmap(const WorkBitmap&) = delete;
    WorkBitmap& operator=(const WorkBitmap&) = delete;
    static constexpr int workMode = 7;
    KernelBitmap record{};
};

// Above 45 degrees by several shears, whose shifts add up and are made at once.
bool shearBitmap(KernelBitmap& work, double skew, COLORREF fill) {
    const double angle = std::abs(skew);
    const int sign = skew < 0 ? -1 : 1;
    if (angle >= pi / 2) return false;
    if (angle <= pi / 4) return K_ShearBitmap(&work, sign * inHundredths(angle), 1, fill) == SUCCESS;
    const int32_t shift = annTruncate(std::tan(angle) * work.Height);
    const int32_t whole = (shift - 1) / work.Height; // shears by 45 degrees; above that angle there is some shift
    const double rest = std::atan(double(shift - whole * work.Height) / work.Height);
    return K_ShearBitmapFurther(&work, sign * whole, sign * inHundredths(rest), fill) == SUCCESS;
}

using Corners = AnnPoint[4]; // A, B, C, D

PointBox turnedBox(const Corners& corners, AnnPoint middle, double theta) {
    const double c = std::cos(theta), s = std::sin(theta);
    PointBox box;
    for (const AnnPoint& p : corners) {
        const double x = p.x - middle.x, y = p.y - middle.y;
        box.add({middle.x + c * x - s * y, middle.y + s * x + c * y});
    }
    return box;
}

// Part of the sheared and turned bitmap that the picture really has: without what the white corners of the shear add to its
// box.
RECT pictureBox(const ImagePlan& plan, const KernelBitmap& sheared) {
    const AnnPoint middle{(plan.quad.a.x + plan.quad.c.x) / 2, (plan.quad.a.y + plan.quad.c.y) / 2};
    const double width = sheared.Width, height = sheared.Height, growth = width - plan.width;
    const double left = middle.x - width / 2, top = middle.y - height / 2;
    const Corners whole{{left, top}, {left, top + height}, {left + width, top + height}, {left + width, top}};
    Corners picture;
    std::ranges::copy(whole, picture);
    picture[plan.skew > 0 ? 0 : 1].x += growth;
    picture[2].x = picture[1].x + plan.width;
    picture[3].x = picture[0].x + plan.width;
    const PointBox q = turnedBox(whole, middle, plan.quad.theta), r = turnedBox(picture, middle, plan.quad.theta);
    return {annRound(r.left - q.left), annRound(r.top - q.top), annRound(r.right - q.left), annRound(r.bottom - q.top)};
}

void paintUpright(const Drawing& d, const ImagePlan& plan, int quarters) {
    annFindTransparency(d.record, d.record.bitmap);
    KernelBitmap seen = d.record.bitmap; // borrows
    seen.Borrowed = 1;
    K_TurnBitmapView(&seen, quarters, plan.quad.mirrored);
    annPaintBitmap(d.hDC, d.record, seen, nullptr, boxOf(plan).pixels(), nullptr, false);
}

bool paintStepwise(const Drawing& d, const ImagePlan& plan) {
    AnnObject& record = d.record;
    annFindTransparency(record, record.bitmap); // goes along into the copy
    WorkBitmap bitmap;
    KernelBitmap& work = bitmap.record;
    const int bits = record.bitmap.BitsPerPixel;
    if (K_CreateBitmapLike(&work, &record.bitmap, plan.width, plan.height, bits, WorkBitmap::workMode) != SUCCESS ||
        K_ScaleBitmapInto(&record.bitmap, &work) != SUCCESS)
        return false;
    if (plan.quad.mirrored && K_ReverseBitmap(&work) != SUCCESS) return false;

    const bool shears = counts(plan.skew), turns = counts(plan.quad.theta);
    RECT source{};
    if (shears) {
        if (!shearBitmap(work, plan.skew, white)) return false;
        source = pictureBox(plan, work);
    }
    if (turns && K_RotateBitmap(&work, inHundredths(plan.quad.theta), 1, white) != SUCCESS) return false;
    annPaintBitmap(d.hDC, record, work, shears && turns ? &source : nullptr, boxOf(plan).pixels(), nullptr, false);
    return true;
}

// Gives the kernel's code.
int paintTurned(const Drawing& d) {
    AnnObject& record = d.record;
    const PaintSettings settings(d.hDC, record.bitmap);
    annFindTransparency(record, record.bitmap);
    const auto [p] = annQuadCorners(d.matrix, record.quad);
    const double corners[] = {p[0].x, p[0].y, p[1].x, p[1].y, p[2].x, p[2].y};
    return K_PaintBitmapTurned(d.hDC, &record.bitmap, corners, nullptr, annRasterOperation(record.nROP2, false),
                               record.bTransparent != 0);
}

// Whether the work bitmap is smaller than the image, and so the better one to turn.
bool reduces(const ImagePlan& plan, const KernelBitmap& image) {
    return double(plan.width) * plan.height < double(image.Width) * image.Height;
}

bool drawImage(const Drawing& d, bool quickly) {
    const DrawBracket bracket(d.hDC, d.clip, d.record, d.matrix);
    if (!bracket || !annClipToQuad(d)) return false;
    ImagePlan plan;
    if (!planImage(d, plan)) return false;
    int quarters;
    const bool isUpright = standsUpright(plan, quarters), isReduced = reduces(plan, d.record.bitmap);
    if (quickly && isUpright && !isReduced) {
        paintUpright(d, plan, quarters);
        return true;
    }
    const double bytes = workBytes(plan, d.record.bitmap.BitsPerPixel);
    const bool isThin = std::min(plan.width, plan.height) < leastSide;
    RECT upright;
    if (quickly && !isUpright && (!isThin || bytes > largestThinBytes) && !annUprightRect(d, upright)) {
        const int code = paintTurned(d);
        if (code != ERROR_FEATURE_NOT_SUPPORTED) return code == SUCCESS;
    }
    return (bytes <= largestWorkBytes || (isUpright && isReduced)) && paintStepwise(d, plan);
}

bool drawMetafile(const Drawing& d) {
    const DrawBracket bracket(d.hDC, d.clip, d.record, d.matrix);
    if (!bracket || !annClipToQuad(d)) return false;
    const RECT box = annShapeBounds(d.record, d.matrix);
    K_PlayMetafile(d.hDC, &d.record.metafile, &box); // a broken one leaves what it has drawn
    return true;
}

// Calls use(line) for each line. Carriage return, line feed, or a pair of the two in either order ends one.
template <class Use> void eachLine(std::string_view text, Use&& use) {
    const auto ends = [](char c) { return c == '\r' || c == '\n'; };
    while (!text.empty()) {
        const size_t end = std::min(text.find_first_of("\r\n"), text.size());
        use(text.substr(0, end));
        const bool isPair = end + 1 < text.size() && ends(text[end + 1]) && text[end + 1] != text[end];
        text.remove_prefix(std::min(end + (isPair ? 2 : 1), text.size()));
    }
}

// The block of lines stands in the middle of the quad, each line in the middle of its width.
bool drawCaption(const Drawing& d) {
    const DrawBracket bracket(d.hDC, d.clip, d.record, d.matrix);
    if (!bracket || !annClipToQuad(d)) return false;
    SetBkMode(d.hDC, TRANSPARENT);
    const TurnedQuad quad = annTurnQuad(d.matrix, d.record.quad);
    const FontSelection font(d.hDC, annMakeFont(d.matrix, d.record, annTextAngle(quad.theta)));
    if (!font) return false;
    TEXTMETRICA metrics{};
    GetTextMetricsA(d.hDC, &metrics);
    double lines = 0;
    eachLine(d.record.pszText.view(), [&lines](std::string_view) { ++lines; });
    const double step = metrics.tmHeight + metrics.tmExternalLeading;
    const double block = lines * step - metrics.tmExternalLeading;
    const double length = distance(quad.a, quad.b), width = distance(quad.b, quad.c);
    // Unit vectors of reading and of going down.
    const AnnPoint along{std::cos(quad.theta), std::sin(quad.theta)};
    const AnnPoint down =
        length > 0 ? AnnPoint{(quad.b.x - quad.a.x) / length, (quad.b.y - quad.a.y) / length} : AnnPoint{-along.y, along.x};
    double depth = (length - block) / 2;
    eachLine(d.record.pszText.view(), [&](std::string_view line) {
        const double from = std::exchange(depth, depth + step);
        if (line.empty() || from <= -step || from >= length) return; // the clip would cut all of it off
        const auto count = static_cast<int>(line.size());
        SIZE size{};
        GetTextExtentPoint32A(d.hDC, line.data(), count, &size);
        const double indent = (width - size.cx) / 2;
        const AnnPoint at{quad.a.x + down.x * from + along.x * indent, quad.a.y + down.y * from + along.y * indent};
        TextOutA(d.hDC, annRound(at.x), annRound(at.y), line.data(), count);
    });
    return true;
}

} // namespace

bool annDrawStampStepwise(const Drawing& d) { return drawImage(d, false); }

bool annDrawStamp(const Drawing& d) {
    if (d.record.bitmap.Allocated) return drawImage(d, true);
    if (d.record.metafile.nHandle) return drawMetafile(d);
    return annDrawRectShape(d) && (!d.record.pszText || drawCaption(d));
}

} // namespace kbann
