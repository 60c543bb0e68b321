// The rows of the properties. Each applies itself through one exported setter, so that checks and dependent fields are the
// library's; those that share a setter leave the setter's other values as they are.
#include "apps/kann/add_properties.h"

#include "apps/kann/failure.h"
#include "apps/kann/text_encoding.h"
#include "apps/kann/vector_image.h"
#include "apps/kann/words.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>

namespace kann {

namespace {

using kbann::typesAll;
using Object = HANNOBJECT;
using Value = PropertyValue;
using Kind = PropertyKind;

constexpr std::string_view booleans = "yes no true false on off 1 0";
constexpr std::string_view lineStyles = "solid dash dot dashdot dashdotdot null";
constexpr std::string_view fillModes = "transparent translucent opaque";
constexpr std::string_view fillPatterns = "solid bdiagonal cross diagcross fdiagonal horizontal vertical";
constexpr std::string_view polyFills = "winding alternate";
constexpr std::string_view rop2s = "copy and xor";
constexpr std::string_view shows = "none length gauge both";

const char* const keepName = reinterpret_cast<const char*>(intptr_t{-1}); // the setter's way to say "as it is"
constexpr std::uint32_t unset = 0xFFFFFFFF;

constexpr OptionRow option(std::string_view name, std::string_view argument, std::string_view help,
                           std::string_view words = {}) {
    return {name, '\0', Arity::one, argument, help, words.empty() ? ValueKind::other : ValueKind::words, words};
}

constexpr BOOL asBool(std::uint32_t word) { return word != 0 ? TRUE : FALSE; }

int setNodes(Object object, BOOL show, std::uint32_t gap) {
    BOOL nowShown = FALSE;
    std::uint32_t nowGap = 0;
    if (const int code = K_AnnGetNodes(object, &nowShown, &nowGap); code != SUCCESS) return code;
    return K_AnnSetNodes(object, show == -1 ? nowShown : show, gap == unset ? nowGap : gap, 0);
}

// What one setter sets together; the rest stays as it is.
struct Unit {
    std::uint32_t unit = 0, precision = 0;
    bool ownText = false; // the unit's
    std::string text;
};

template <typename Change> int changeUnit(Object object, Change change) {
    Unit now;
    std::uint32_t length = 0;
    int code = K_AnnGetUnitLen(object, &length);
    if (code != SUCCESS) return code;
    now.text.resize(std::size_t{length} + 1);
    code = K_AnnGetUnit(object, &now.unit, now.text.data(), &now.precision);
    if (code != SUCCESS) return code;
    change(now);
    return K_AnnSetUnit(object, now.unit, now.ownText ? nullptr : now.text.c_str(), now.precision, 0);
}

struct Angle {
    BOOL acute = FALSE;
    std::uint32_t unit = 0, precision = 0;
    bool ownText = false;
    std::string text;
    double radius = 0;
};

template <typename Change> int changeAngle(Object object, Change change) {
    Angle now;
    std::uint32_t length = 0;
    int code = K_AnnGetProtractorOptions(object, nullptr, nullptr, &length, nullptr, nullptr, nullptr);
    if (code != SUCCESS) return code;
    now.text.resize(std::size_t{length} + 1);
    code = K_AnnGetProtractorOptions(object, &now.acute, &now.unit, nullptr, now.text.data(), &now.precision, &now.radius);
    if (code != SUCCESS) return code;
    change(now);
    return K_AnnSetProtractorOptions(object, now.acute, now.unit, now.ownText ? nullptr : now.text.c_str(), now.precision,
                                     now.radius, 0);
}

HANDLE handleOf(const Metafile& metafile) {
    return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(metafile.record.nHandle));
}

// clang-format off
const auto rows = std::to_array<PropertyRow>({
    {option("visible", "YES|NO", "shown or hidden (default yes)", booleans), Kind::boolean, typesAll,
     [](Object o, const Value& v) { return K_AnnSetVisible(o, asBool(v.word), 0, nullptr); }},
    {option("tag", "N", "number of the application's"), Kind::number, typesAll,
     [](Object o, const Value& v) { return K_AnnSetTag(o, v.word, 0); }},
    {option("name", "TEXT", "name, drawn above the object"), Kind::text, typesAll,
     [](Object o, const Value& v) { return K_AnnSetName(o, -1, v.text.c_str(), nullptr, -1, 0); }},
    {option("show-name", "YES|NO", "draw the name", booleans), Kind::boolean, typesAll,
     [](Object o, const Value& v) { return K_AnnSetName(o, asBool(v.word), keepName, nullptr, -1, 0); }},
    {option("name-offset", "X,Y", "shift of the name from its standard place"), Kind::twoReals, typesAll,
     [](Object o, const Value& v) { const AnnPoint p{v.real, v.real2}; return K_AnnSetName(o, -1, keepName, &p, -1, 0); }},
    {option("name-adjust", "YES|NO", "keep the name inside the container", booleans), Kind::boolean, typesAll,
     [](Object o, const Value& v) { return K_AnnSetName(o, -1, keepName, nullptr, asBool(v.word), 0); }},
    {option("image", "FILE", "picture of a stamp, point or pushpin"), Kind::image, kbann::typesBitmap,
     [](Object o, const Value& v) { return K_AnnSetBitmap(o, &v.image.record, 0); }},
    {option("stamp", "NAME", "a predefined picture", predefinedPictures), Kind::word, kbann::typesMetafile,
     [](Object o, const Value& v) { return K_AnnSetMetafile(o, nullptr, v.word, 0); }},
    {option("metafile", "FILE", "a metafile as picture of a stamp or hotspot"), Kind::metafile, kbann::typesMetafile,
     [](Object o, const Value& v) { return K_AnnSetMetafile(o, handleOf(v.metafile), ANN_METAFILE_USER, 0); }},
    {option("secondary-image", "FILE", "picture of a pushpin in run mode"), Kind::image, kbann::typesBitmap2,
     [](Object o, const Value& v) { return K_AnnSetSecondaryBitmap(o, &v.image.record, 0); }},
    {option("text", "TEXT", "text; line feeds break lines"), Kind::text, kbann::typesText & ~kbann::typeSet(ANN_OBJECT_RULER),
     [](Object o, const Value& v) { return K_AnnSetText(o, withLineEnds(v.text).c_str(), 0); }},
    {option("transparent", "YES|NO", "the picture has a transparent colour", booleans), Kind::boolean, kbann::typesTransparent,
     [](Object o, const Value& v) { return K_AnnSetTransparent(o, asBool(v.word), 0); }},
    {option("transparent-color", "COLOR", "the transparent colour"), Kind::color, kbann::typesTransparent,
     [](Object o, const Value& v) { return K_AnnSetTransparentColor(o, v.color, 0); }},
    {option("fore-color", "COLOR", "colour of lines, text and hatches: #RRGGBB or a name"), Kind::color, typesAll,
     [](Object o, const Value& v) { return K_AnnSetForeColor(o, v.color, 0); }},
    {option("back-color", "COLOR", "colour of fills"), Kind::color, typesAll,
     [](Object o, const Value& v) { return K_AnnSetBackColor(o, v.color, 0); }},
    {option("line-width", "W", "width of lines"), Kind::real, kbann::typesLine,
     [](Object o, const Value& v) { return K_AnnSetLineWidth(o, v.real, 0); }},
    {option("line-style", "STYLE", "style of lines", lineStyles), Kind::word, kbann::typesLine,
     [](Object o, const Value& v) { return K_AnnSetLineStyle(o, v.word, 0); }},
    {option("fill-pattern", "PATTERN", "pattern of fills", fillPatterns), Kind::word, kbann::typesFillPattern,
     [](Object o, const Value& v) { return K_AnnSetFillPattern(o, v.word, 0); }},
    {option("fill-mode", "MODE", "how much a fill hides", fillModes), Kind::word, kbann::typesFillMode,
     [](Object o, const Value& v) { return K_AnnSetFillMode(o, v.word, 0); }},
    {option("poly-fill", "MODE", "insides of a self-crossing polygon", polyFills), Kind::word, kbann::typesPolyFill,
     [](Object o, const Value& v) { return K_AnnSetPolyFillMode(o, v.word, 0); }},
    {option("rop2", "OPERATION", "how drawing mixes with the image", rop2s), Kind::word, kbann::typesRop2,
     [](Object o, const Value& v) { return K_AnnSetROP2(o, v.word, 0); }},
    {option("font-name", "FACE", "typeface"), Kind::text, typesAll,
     [](Object o, const Value& v) { return K_AnnSetFontName(o, v.text.c_str(), 0); }},
    {option("font-size", "H", "height of text"), Kind::real, typesAll,
     [](Object o, const Value& v) { return K_AnnSetFontSize(o, v.real, 0); }},
    {option("font-bold", "YES|NO", "bold text", booleans), Kind::boolean, typesAll,
     [](Object o, const Value& v) { return K_AnnSetFontBold(o, asBool(v.word), 0); }},
    {option("font-italic", "YES|NO", "slanted text", booleans), Kind::boolean, typesAll,
     [](Object o, const Value& v) { return K_AnnSetFontItalic(o, asBool(v.word), 0); }},
    {option("font-underline", "YES|NO", "underlined text", booleans), Kind::boolean, typesAll,
     [](Object o, const Value& v) { return K_AnnSetFontUnderline(o, asBool(v.word), 0); }},
    {option("font-strike", "YES|NO", "text struck through", booleans), Kind::boolean, typesAll,
     [](Object o, const Value& v) { return K_AnnSetFontStrikeThrough(o, asBool(v.word), 0); }},
    {option("show-nodes", "YES|NO", "selection handles on the points", booleans), Kind::boolean, kbann::typesNodes,
     [](Object o, const Value& v) { return setNodes(o, asBool(v.word), unset); }},
    {option("gap-nodes", "N", "points between two handles"), Kind::number, kbann::typesNodes,
     [](Object o, const Value& v) { return setNodes(o, -1, v.word); }},
    {option("show", "WHAT", "what a measurement shows", shows), Kind::word, kbann::typesShow,
     [](Object o, const Value& v) { return K_AnnSetShowFlags(o, v.word, 0); }},
    {option("gauge-length", "L", "length of a measurement's ends"), Kind::real, kbann::typesMeasure,
     [](Object o, const Value& v) { return K_AnnSetGaugeLength(o, v.real, 0); }},
    {option("unit", "UNIT", "unit of lengths, with its own abbreviation", lengthUnits), Kind::word, kbann::typesMeasure,
     [](Object o, const Value& v) { return changeUnit(o, [&](Unit& u) { u.unit = v.word; u.ownText = true; }); }},
    {option("unit-text", "TEXT", "what is written behind a length"), Kind::text, kbann::typesMeasure,
     [](Object o, const Value& v) { return changeUnit(o, [&](Unit& u) { u.text = v.text; }); }},
    {option("precision", "N", "digits of a length behind the point, 0 to 200"), Kind::number, kbann::typesMeasure,
     [](Object o, const Value& v) { return changeUnit(o, [&](Unit& u) { u.precision = v.word; }); }},
    {option("acute", "YES|NO", "measure the smaller angle", booleans), Kind::boolean, kbann::typesProtractor,
     [](Object o, const Value& v) { return changeAngle(o, [&](Angle& a) { a.acute = asBool(v.word); }); }},
    {option("angle-unit", "UNIT", "unit of angles, with its own abbreviation", angleUnits), Kind::word, kbann::typesProtractor,
     [](Object o, const Value& v) { return changeAngle(o, [&](Angle& a) { a.unit = v.word; a.ownText = true; }); }},
    {option("angle-text", "TEXT", "what is written behind an angle"), Kind::text, kbann::typesProtractor,
     [](Object o, const Value& v) { return changeAngle(o, [&](Angle& a) { a.text = v.text; }); }},
    {option("angle-precision", "N", "digits of an angle behind the point, 0 to 200"), Kind::number, kbann::typesProtractor,
     [](Object o, const Value& v) { return changeAngle(o, [&](Angle& a) { a.precision = v.word; }); }},
    {option("arc-radius", "R", "radius of the arc; below 1 none is drawn"), Kind::real, kbann::typesProtractor,
     [](Object o, const Value& v) { return changeAngle(o, [&](Angle& a) { a.radius = v.real; }); }},
    {option("grouping", "YES|NO", "objects of the container are selected as one", booleans), Kind::boolean, kbann::typesGroup,
     [](Object o, const Value& v) { return K_AnnSetGrouping(o, asBool(v.word), 0); }},
    {option("locked-icon", "YES|NO", "draw the icon of a lock", booleans), Kind::boolean, typesAll,
     [](Object o, const Value& v) { return K_AnnShowLockedIcon(o, asBool(v.word), 0); }},
    {option("object-scale", "X,Y", "scale about the object's top left corner"), Kind::twoReals, typesAll,
     [](Object o, const Value& v) {
         const int code = K_AnnSetScalarX(o, v.real, 0);
         return code == SUCCESS ? K_AnnSetScalarY(o, v.real2, 0) : code;
     }},
    {option("object-offset", "X,Y", "offset in the container's units"), Kind::twoReals, typesAll,
     [](Object o, const Value& v) {
         const int code = K_AnnSetOffsetX(o, v.real, 0);
         return code == SUCCESS ? K_AnnSetOffsetY(o, v.real2, 0) : code;
     }},
    {option("user", "NAME", "the object's user"), Kind::text, typesAll,
     [](Object o, const Value& v) { return K_AnnSetUser(o, nullptr, v.text.c_str(), 0); }},
});

struct NamedColor {
    std::string_view name;
    COLORREF color;
};
constexpr auto colors = std::to_array<NamedColor>({
    {"black", RGB(0, 0, 0)},      {"white", RGB(255, 255, 255)},  {"red", RGB(255, 0, 0)},     {"green", RGB(0, 128, 0)},
    {"blue", RGB(0, 0, 255)},     {"yellow", RGB(255, 255, 0)},   {"cyan", RGB(0, 255, 255)},  {"magenta", RGB(255, 0, 255)},
    {"orange", RGB(255, 165, 0)}, {"purple", RGB(128, 0, 128)},   {"brown", RGB(165, 42, 42)}, {"gray", RGB(128, 128, 128)},
    {"grey", RGB(128, 128, 128)}, {"silver", RGB(192, 192, 192)}, {"navy", RGB(0, 0, 128)},    {"teal", RGB(0, 128, 128)},
    {"maroon", RGB(128, 0, 0)},   {"olive", RGB(128, 128, 0)},    {"lime", RGB(0, 255, 0)},    {"pink", RGB(255, 192, 203)},
});
// clang-format on

UsageError refused(std::string_view what, const std::string& text, std::string_view allowed) {
    return {std::string(what) + " can't be \"" + text + "\", only: " + std::string(allowed)};
}

// Number of a word in a list separated by blanks.
std::uint32_t wordNumber(std::string_view words, const std::string& text, std::string_view what) {
    std::uint32_t number = 0;
    for (std::string_view rest = words; !rest.empty(); ++number) {
        const std::size_t end = std::min(rest.find(' '), rest.size());
        if (rest.substr(0, end) == text) return number;
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    throw refused(what, text, words);
}

COLORREF readColor(const std::string& text, std::string_view what) {
    std::string lower = text;
    std::ranges::transform(lower, lower.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (const auto named = std::ranges::find(colors, lower, &NamedColor::name); named != colors.end()) return named->color;
    std::uint32_t value = 0;
    const char* const end = text.data() + text.size();
    if (text.size() != 7 || text[0] != '#') throw refused(what, text, "#RRGGBB or the name of a colour");
    if (const auto read = std::from_chars(text.data() + 1, end, value, 16); read.ec != std::errc{} || read.ptr != end) {
        throw refused(what, text, "#RRGGBB or the name of a colour");
    }
    return RGB(value >> 16, value >> 8, value);
}

} // namespace

std::span<const PropertyRow> propertyRows() { return rows; }

PropertyValue readProperty(const PropertyRow& row, const std::string& text) {
    const std::string what = "--" + std::string(row.option.name);
    PropertyValue value;
    switch (row.kind) {
    case PropertyKind::boolean: value.word = wordNumber(booleans, text, what) % 2 == 0 ? 1 : 0; break;
    case PropertyKind::word: value.word = wordNumber(row.option.words, text, what); break;
    case PropertyKind::number: value.word = static_cast<std::uint32_t>(parseNumber(text, what, 0, 0xFFFFFFFFll)); break;
    case PropertyKind::real:
        value.real = parseReal(text, what);
        if (value.real < 0) throw refused(what, text, "numbers from 0 up");
        break;
    case PropertyKind::twoReals: {
        const std::vector<double> reals = parseReals(text, what, 2);
        value.real = reals[0];
        value.real2 = reals[1];
        break;
    }
    case PropertyKind::color: value.color = readColor(text, what); break;
    case PropertyKind::text: value.text = toCodePage(text, what); break;
    case PropertyKind::image: value.image = loadImage(openInput(text), 1); break;
    case PropertyKind::metafile: value.metafile = loadMetafile(openInput(text)); break;
    }
    return value;
}

} // namespace kann
