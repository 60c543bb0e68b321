// Realising fonts: names to files, files to faces, faces to metrics and pictures.
#include "platform/gdi/font_cache.h"

#include "platform/gdi/gdi_state.h"
#include "platform/gdi/stroke_font.h"

#include <cmath>
#include <cstring>
#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_ADVANCES_H
#include FT_FREETYPE_H
#include FT_MODULE_H
#include FT_OUTLINE_H
#include FT_SIZES_H
#include FT_SYNTHESIS_H
#include FT_TRUETYPE_TABLES_H
#include <map>
#include <mutex>
#include <numbers>
#include <strings.h>
#include <tuple>

namespace kb::gdi {

char32_t unicodeOf(uint8_t c) {
    static constexpr char16_t high[32] = {0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                          0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x8D,   0x017D, 0x8F,
                                          0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                          0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};
    return c >= 0x80 && c < 0xA0 ? high[c - 0x80] : c;
}

uint8_t byteOf(char32_t code) {
    if (code < 0x80 || (code >= 0xA0 && code < 0x100)) return static_cast<uint8_t>(code);
    for (unsigned c = 0x80; c < 0xA0; ++c)
        if (unicodeOf(static_cast<uint8_t>(c)) == code) return static_cast<uint8_t>(c);
    return '?';
}

namespace {

// How often letters stand in a text, in thousandths: the space, then a to z. Widths of fonts in files and in calls mean
// the average by these weights; that of all the signs of a face, which newer faces tell, is half as large again.
constexpr int letterWeights[27] = {166, 64, 14, 27, 35, 100, 20, 14, 42, 63, 3, 6,  35, 20,
                                   56,  56, 17, 4,  49, 56,  71, 31, 10, 18, 3, 18, 2};

} // namespace

class FaceFile {
public:
    FaceFile(FT_Face f, std::string filePath, int faceIndex) : face(f), path(std::move(filePath)), index(faceIndex) {}
    FaceFile(const FaceFile&) = delete;
    FaceFile& operator=(const FaceFile&) = delete;
    FT_Face face;
    std::string path;
    int index;
    // Advances of the 256 characters in the face's own units: reading them again for every size would take longer than
    // drawing the text.
    const std::array<FT_Fixed, 256>& advances() {
        if (!measured_)
            for (unsigned c = 0x20; c < 256; ++c)
                FT_Get_Advance(face, FT_Get_Char_Index(face, unicodeOf(static_cast<uint8_t>(c))), FT_LOAD_NO_SCALE,
                               &advances_[c]);
        measured_ = true;
        return advances_;
    }

private:
    std::array<FT_Fixed, 256> advances_{};
    bool measured_ = false;
};

namespace {

struct FontFile {
    std::string path;
    int index = 0;
    bool bold = false, italic = false;
};

struct Substitute {
    const char* name;
    const char* family;
};
constexpr const char* fallbackFamily = "Liberation Sans";
constexpr Substitute substitutes[] = {
    {"Arial", fallbackFamily},          {"Helvetica", fallbackFamily},    {"MS Sans Serif", fallbackFamily},
    {"MS Shell Dlg", fallbackFamily},   {"System", fallbackFamily},       {"Times New Roman", "Liberation Serif"},
    {"Times", "Liberation Serif"},      {"MS Serif", "Liberation Serif"}, {"Tms Rmn", "Liberation Serif"},
    {"Courier New", "Liberation Mono"}, {"Courier", "Liberation Mono"},   {"Fixedsys", "Liberation Mono"},
    {"Symbol", "Liberation Serif"},
};

// One look into the font list; with `exact` only a face of that very family counts.
bool matchFamily(const char* family, bool bold, bool italic, bool exact, FontFile& out) {
    FcPattern* pattern = FcPatternCreate();
    if (!pattern) return false;
    FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8*>(family));
    FcPatternAddInteger(pattern, FC_WEIGHT, bold ? FC_WEIGHT_BOLD : FC_WEIGHT_REGULAR);
    FcPatternAddInteger(pattern, FC_SLANT, italic ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
    FcPatternAddBool(pattern, FC_SCALABLE, FcTrue);
    FcConfigSubstitute(nullptr, pattern, FcMatchPattern);
    FcDefaultSubstitute(pattern);
    FcResult result;
    FcPattern* found = FcFontMatch(nullptr, pattern, &result);
    FcPatternDestroy(pattern);
    if (!found) return false;
    bool good = !exact;
    FcChar8* text = nullptr;
    for (int i = 0; !good && FcPatternGetString(found, FC_FAMILY, i, &text) == FcResultMatch; ++i)
        good = strcasecmp(reinterpret_cast<const char*>(text), family) == 0;
    int weight = 0, slant = 0;
    good = good && FcPatternGetString(found, FC_FILE, 0, &text) == FcResultMatch;
    if (good) {
        out.path = reinterpret_cast<const char*>(text);
        FcPatternGetInteger(found, FC_INDEX, 0, &out.index);
        out.bold = FcPatternGetInteger(found, FC_WEIGHT, 0, &weight) == FcResultMatch && weight >= FC_WEIGHT_DEMIBOLD;
        out.italic = FcPatternGetInteger(found, FC_SLANT, 0, &slant) == FcResultMatch && slant > FC_SLANT_ROMAN;
    }
    FcPatternDestroy(found);
    return good;
}

// The file for a face name; an empty path when the machine has no font at all. Shared by all threads.
FontFile findFile(const std::string& name, bool bold, bool italic) {
    static std::mutex mutex;
    static std::map<std::tuple<std::string, bool, bool>, FontFile>* const known =
        new std::map<std::tuple<std::string, bool, bool>, FontFile>; // outlives threads that end late
    const std::lock_guard lock(mutex);
    const auto key = std::make_tuple(name, bold, italic);
    if (const auto it = known->find(key); it != known->end()) return it->second;
    const char* family = name.c_str();
    for (const Substitute& row : substitutes)
        if (strcasecmp(row.name, family) == 0) family = row.family;
    FontFile file;
    if (name.empty() || !matchFamily(family, bold, italic, true, file))
        if (!matchFamily(fallbackFamily, bold, italic, true, file)) matchFamily("sans", bold, italic, false, file);
    if (known->size() >= 4096) known->clear(); // names come from files
    return known->emplace(key, file).first->second;
}

// A file of a face that has a character; an empty path when there is none. The list of the machine's faces, nearest first,
// is made once for each style.
FontFile findFileWith(char32_t c, bool bold, bool italic) {
    struct Candidate {
        FontFile file;
        FcCharSet* characters;
    };
    static std::mutex mutex;
    static std::map<std::pair<bool, bool>, std::vector<Candidate>>* const known =
        new std::map<std::pair<bool, bool>, std::vector<Candidate>>; // outlives threads that end late
    const std::lock_guard lock(mutex);
    const auto [it, fresh] = known->try_emplace({bold, italic});
    if (fresh) {
        FcPattern* pattern = FcPatternCreate();
        FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8*>(fallbackFamily));
        FcPatternAddInteger(pattern, FC_WEIGHT, bold ? FC_WEIGHT_BOLD : FC_WEIGHT_REGULAR);
        FcPatternAddInteger(pattern, FC_SLANT, italic ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
        FcConfigSubstitute(nullptr, pattern, FcMatchPattern);
        FcDefaultSubstitute(pattern);
        FcResult result;
        FcFontSet* set = FcFontSort(nullptr, pattern, FcTrue, nullptr, &result);
        for (int i = 0; set && i < set->nfont; ++i) {
            FcPattern* font = set->fonts[i];
            Candidate row{};
            FcChar8* path = nullptr;
            FcBool scalable = FcFalse;
            FcPatternGetBool(font, FC_SCALABLE, 0, &scalable);
            if (!scalable || FcPatternGetString(font, FC_FILE, 0, &path) != FcResultMatch) continue;
            FcCharSet* characters = nullptr;
            if (FcPatternGetCharSet(font, FC_CHARSET, 0, &characters) != FcResultMatch) continue;
            row.file.path = reinterpret_cast<const char*>(path);
            FcPatternGetInteger(font, FC_INDEX, 0, &row.file.index);
            row.characters = FcCharSetCopy(characters);
            it->second.push_back(std::move(row));
        }
        if (set) FcFontSetDestroy(set);
        FcPatternDestroy(pattern);
    }
    for (const Candidate& row : it->second)
        if (FcCharSetHasChar(row.characters, c)) return row.file;
    return {};
}

struct KeyLess {
    bool operator()(const LOGFONTA& a, const LOGFONTA& b) const { return std::memcmp(&a, &b, sizeof a) < 0; }
};

// A thread's faces and fonts.
struct FontEngine {
    FT_Library library = nullptr;
    std::map<std::pair<std::string, int>, std::unique_ptr<FaceFile>> faces;
    struct Entry {
        std::unique_ptr<RealisedFont> font;
        uint64_t used = 0;
    };
    std::map<LOGFONTA, Entry, KeyLess> fonts;
    uint64_t clock = 0;
    LOGFONTA lastKey{};
    RealisedFont* last = nullptr;
    bool lastBuiltIn = false;

    FontEngine() {
        if (FT_Init_FreeType(&library)) library = nullptr;
        // The interpreter's version could come from outside the process; pixels must not.
        FT_UInt version = 40;
        if (library) FT_Property_Set(library, "truetype", "interpreter-version", &version);
    }
    FontEngine(const FontEngine&) = delete;
    FontEngine& operator=(const FontEngine&) = delete;
    ~FontEngine() {
        fonts.clear();
        for (auto& [key, file] : faces) FT_Done_Face(file->face);
        if (library) FT_Done_FreeType(library);
    }
    FaceFile* face(const FontFile& file) {
        if (file.path.empty() || !library) return nullptr;
        const auto key = std::make_pair(file.path, file.index);
        if (const auto it = faces.find(key); it != faces.end()) return it->second.get();
        FT_Face f;
        if (FT_New_Face(library, file.path.c_str(), file.index, &f)) return nullptr;
        if (!FT_IS_SCALABLE(f)) {
            FT_Done_Face(f);
            return nullptr;
        }
        return faces.emplace(key, std::make_unique<FaceFile>(f, file.path, file.index)).first->second.get();
    }
};

FontEngine& fontEngine() {
    static thread_local FontEngine engine;
    return engine;
}

int roundInt(double v) { return static_cast<int>(std::floor(v + 0.5)); }

constexpr size_t fontsKept = 64;

// An advance in the face's units, scaled as the font library does it for a glyph.
int advancePixels(FT_Fixed units, FT_Fixed scale) { return static_cast<int>((FT_MulDiv(units, scale, 64) + 0x8000) >> 16); }

} // namespace

RealisedFont::RealisedFont(const LOGFONTA& device, bool builtIn) : font_(device) {
    const int angle = font_.lfEscapement % 3600;
    turned_ = angle != 0;
    if (turned_) {
        cosine_ = angle % 1800 == 0 ? -1 : angle % 900 == 0 ? 0 : std::cos(angle * std::numbers::pi / 1800);
        sine_ = angle % 1800 == 0 ? 0 : std::sin(angle * std::numbers::pi / 1800);
    }
    if (!builtIn) {
        const bool bold = font_.lfWeight >= 600, italic = font_.lfItalic != 0;
        const FontFile file = findFile(font_.lfFaceName, bold, italic);
        face_ = fontEngine().face(file);
        embolden_ = bold && !file.bold;
        slanted_ = italic && !file.italic;
        symbols_ = symbolSetOf(font_.lfFaceName);
    }
    if (face_)
        measureFace();
    else
        measureStrokes();
    metrics_.tmWeight = font_.lfWeight >= 600 ? FW_BOLD : FW_NORMAL;
    metrics_.tmItalic = font_.lfItalic;
    metrics_.tmUnderlined = font_.lfUnderline;
    metrics_.tmStruckOut = font_.lfStrikeOut;
    metrics_.tmCharSet = font_.lfCharSet == SYMBOL_CHARSET ? SYMBOL_CHARSET : ANSI_CHARSET;
    metrics_.tmFirstChar = 0x20;
    metrics_.tmLastChar = 0xFF;
    metrics_.tmDefaultChar = 0x1F;
    metrics_.tmBreakChar = 0x20;
    metrics_.tmDigitizedAspectX = metrics_.tmDigitizedAspectY = 96;
    metrics_.tmMaxCharWidth = *std::max_element(advances_.begin(), advances_.end());
}

RealisedFont::~RealisedFont() {
    for (const auto& [face, size] : sizes_) FT_Done_Size(static_cast<FT_Size>(size));
}

// Makes this font's size the one in force of a face.
void RealisedFont::setSize(FaceFile& face) {
    for (const auto& [known, size] : sizes_)
        if (known == &face) {
            FT_Activate_Size(static_cast<FT_Size>(size));
            return;
        }
    FT_Size size;
    if (FT_New_Size(face.face, &size)) {
        FT_Activate_Size(face.face->size); // as it is, rather than none
        return;
    }
    sizes_.emplace_back(&face, size);
    FT_Activate_Size(size);
    FT_Set_Char_Size(face.face, emX_, em_ * 64, 72, 72);
}

void RealisedFont::measureFace() {
    const FT_Face f = face_->face;
    const double upem = f->units_per_EM;
    double ascent = f->ascender, descent = -f->descender, gap = f->height - ascent - descent, average = upem / 2;
    double strike = ascent / 3;
    if (const auto* os2 = static_cast<const TT_OS2*>(FT_Get_Sfnt_Table(f, FT_SFNT_OS2)); os2 && os2->version != 0xFFFF) {
        const double lines = f->height;
        if (os2->usWinAscent + os2->usWinDescent > 0) {
            ascent = os2->usWinAscent;
            descent = os2->usWinDescent;
            gap = lines - ascent - descent;
        }
        strike = os2->yStrikeoutPosition;
    }
    double weighted = 0;
    for (unsigned i = 0; i < 27; ++i)
        weighted += letterWeights[i] * static_cast<double>(face_->advances()[i ? 'a' + i - 1 : ' ']) / 1000;
    if (weighted > 0) average = weighted;
    const int wanted = font_.lfHeight ? font_.lfHeight : -13;
    const double em = wanted < 0 ? -static_cast<double>(wanted) : wanted * upem / (ascent + descent);
    em_ = std::clamp(roundInt(em), 1, largestEm);
    // A width of its own stretches the face sideways.
    double emX = em_;
    if (font_.lfWidth)
        emX = std::clamp(std::abs(static_cast<double>(font_.lfWidth)) * upem / average, 1.0, double{largestEm});
    emX_ = static_cast<int>(emX * 64 + 0.5);
    setSize(*face_);
    const double scale = em_ / upem;
    metrics_.tmAscent = std::max(roundInt(ascent * scale), 1);
    metrics_.tmDescent = std::max(roundInt(descent * scale), 0);
    if (wanted > 0 && wanted <= largestEm)
        metrics_.tmAscent = std::max(wanted - metrics_.tmDescent, 1); // the cell asked for, exactly
    metrics_.tmHeight = metrics_.tmAscent + metrics_.tmDescent;
    metrics_.tmInternalLeading = std::max(metrics_.tmHeight - em_, 0);
    metrics_.tmExternalLeading = std::max(roundInt(gap * scale), 0);
    metrics_.tmAveCharWidth = std::max(roundInt(average * emX / upem), 1);
    const bool fixed = FT_IS_FIXED_WIDTH(f);
    metrics_.tmPitchAndFamily =
        static_cast<BYTE>(TMPF_VECTOR | TMPF_TRUETYPE | (fixed ? FF_MODERN : FF_SWISS | TMPF_FIXED_PITCH));
    faceName_ = f->family_name ? f->family_name : fallbackFamily;
    lineWidth_ = std::max(roundInt(f->underline_thickness * scale), 1);
    underlineTop_ = std::max(roundInt(-f->underline_position * scale - lineWidth_ / 2.0), 1);
    strikeOutTop_ = -roundInt(strike * scale);
    // Unhinted advances: text measures the same at every depth.
    const FT_Fixed across = f->size->metrics.x_scale;
    for (unsigned c = 0x20; c < 256; ++c)
        advances_[c] = symbols_ == SymbolSet::none ? advancePixels(face_->advances()[c], across)
                                                   : advanceOf(sourceOf(static_cast<uint8_t>(c)));
}

int RealisedFont::advanceOf(const Source& source) {
    if (!source.face) return static_cast<int>(metrics_.tmAveCharWidth);
    setSize(*source.face);
    FT_Fixed units = 0;
    if (FT_Get_Advance(source.face->face, source.glyph, FT_LOAD_NO_SCALE, &units)) return 0;
    return advancePixels(units, source.face->face->size->metrics.x_scale);
}

int RealisedFont::placeOf(char32_t c) const {
    if (symbols_ != SymbolSet::none) {
        if ((c & 0xFFFFFF00) == 0xF000) c &= 0xFF; // where such fonts keep their letters
        return c < 0x100 ? static_cast<int>(c) : -1;
    }
    if (c < 0x80 || (c >= 0xA0 && c < 0x100)) return static_cast<int>(c);
    for (int i = 0x80; i < 0xA0; ++i)
        if (unicodeOf(static_cast<uint8_t>(i)) == c) return i;
    return -1;
}

RealisedFont::Source RealisedFont::sourceOf(uint8_t c) {
    if (symbols_ == SymbolSet::none || !face_) return {face_, face_ ? FT_Get_Char_Index(face_->face, unicodeOf(c)) : 0, c};
    // A font that is really there has its own order.
    const FT_CharMap map = face_->face->charmap;
    if (map && map->encoding == FT_ENCODING_MS_SYMBOL) return {face_, FT_Get_Char_Index(face_->face, 0xF000u | c), c};
    return sourceOf(symbolUnicode(symbols_, c));
}

RealisedFont::Source RealisedFont::sourceOf(char32_t c) {
    const uint8_t stroke = c >= 0x20 && c < 0x7F ? static_cast<uint8_t>(c) : '?';
    if (!face_) return {nullptr, 0, stroke};
    if (const FT_UInt glyph = FT_Get_Char_Index(face_->face, c)) return {face_, glyph, stroke};
    if (c >= 0x20)
        if (FaceFile* other = fontEngine().face(findFileWith(c, font_.lfWeight >= 600, font_.lfItalic != 0)))
            if (const FT_UInt glyph = FT_Get_Char_Index(other->face, c)) return {other, glyph, stroke};
    return {face_, 0, stroke};
}

RealisedFont::Letter& RealisedFont::letter(char32_t c) {
    constexpr size_t mostLetters = 4096, mostBytes = size_t{4} << 20;
    const auto it = letters_.find(c);
    if (it != letters_.end()) return it->second;
    if (letters_.size() >= mostLetters || letterBytes_ > mostBytes) { // texts come from files
        letters_.clear();
        letterBytes_ = 0;
    }
    Letter made;
    made.source = sourceOf(c);
    made.advance = c < 0x20 ? 0 : advanceOf(made.source);
    return letters_.emplace(c, std::move(made)).first->second;
}

int RealisedFont::advance(char32_t c) {
    const int place = placeOf(c);
    return place >= 0 ? advances_[static_cast<size_t>(place)] : letter(c).advance;
}

void RealisedFont::measureStrokes() {
    const int wanted = font_.lfHeight ? font_.lfHeight : -13;
    em_ = static_cast<int>(std::clamp<int64_t>(std::abs(static_cast<int64_t>(wanted)), 1, largestEm));
    metrics_.tmDescent = em_ * strokeDescent / strokeUnits;
    metrics_.tmAscent = em_ - metrics_.tmDescent;
    metrics_.tmHeight = em_;
    metrics_.tmAveCharWidth = std::max(roundInt(static_cast<double>(em_) * strokeAdvance / strokeUnits), 1);
    metrics_.tmPitchAndFamily = TMPF_VECTOR | FF_MODERN;
    faceName_ = "Built-in Strokes";
    lineWidth_ = std::max(em_ / 14, 1);
    underlineTop_ = std::max(em_ / strokeUnits, 1);
    strikeOutTop_ = -em_ * 3 / strokeUnits;
    advances_.fill(static_cast<int>(metrics_.tmAveCharWidth));
}

bool RealisedFont::loadOutline(const Source& source, bool grey) {
    const FT_Face f = source.face->face;
    setSize(*source.face);
    FT_Int32 flags = FT_LOAD_NO_BITMAP;
    if (turned_ || reach() > largestKeptEm)
        flags |= FT_LOAD_NO_HINTING;
    else
        flags |= grey ? FT_LOAD_TARGET_LIGHT : FT_LOAD_TARGET_MONO;
    if (FT_Load_Glyph(f, source.glyph, flags) || f->glyph->format != FT_GLYPH_FORMAT_OUTLINE) return false;
    if (embolden_) FT_GlyphSlot_Embolden(f->glyph);
    if (slanted_) FT_GlyphSlot_Oblique(f->glyph);
    if (turned_) {
        const auto fixed = [](double v) { return static_cast<FT_Fixed>(std::lround(v * 65536)); };
        const FT_Matrix matrix{fixed(cosine_), fixed(-sine_), fixed(sine_), fixed(cosine_)};
        FT_Outline_Transform(&f->glyph->outline, &matrix);
    }
    return true;
}

namespace {

void setPictureSize(GlyphBitmap& glyph, int width, int height) {
    glyph.width = width;
    glyph.height = height;
    glyph.stride = (width + 7) / 8 * 8;
    glyph.coverage.assign(static_cast<size_t>(glyph.stride) * static_cast<size_t>(height), 0);
}

// Calls line(from, to) for the strokes of a character in pixels around the pen's place, slanted and turned.
template <class Line> void placeStrokes(uint8_t c, double unit, bool slanted, double cosine, double sine, Line&& line) {
    std::vector<StrokeLine> strokes;
    strokesOf(c, strokes);
    const auto place = [&](FPoint p) {
        const double x = (p.x + 0.5 + (slanted ? -p.y * 0.25 : 0)) * unit, y = p.y * unit;
        return FPoint{x * cosine + y * sine, -x * sine + y * cosine};
    };
    for (const StrokeLine& s : strokes) line(place(s.from), place(s.to));
}

} // namespace

RealisedFont::Outlines RealisedFont::outlines() const {
    return {face_ != nullptr, emX_ / 64.0, static_cast<double>(em_), slanted_, embolden_};
}

RealisedFont::FaceGlyph RealisedFont::faceGlyph(char32_t c) {
    const int place = placeOf(c);
    const Source source = place >= 0 ? sourceOf(static_cast<uint8_t>(place)) : letter(c).source;
    if (place >= 0 && symbols_ != SymbolSet::none) {
        if (const char32_t sign = symbolUnicode(symbols_, static_cast<uint8_t>(place))) c = sign;
    }
    return {source.face->path.c_str(), source.face->index, source.glyph, c};
}

double RealisedFont::strokes(uint8_t c, std::vector<StrokeLine>& out) const {
    out.clear();
    if (c >= 0x20)
        placeStrokes(c, static_cast<double>(em_) / strokeUnits, font_.lfItalic != 0, cosine_, sine_,
                     [&](FPoint from, FPoint to) {
                         out.push_back({from, to});
                     });
    return std::max(em_ / (font_.lfWeight >= 600 ? 7.0 : 12.0), 1.0);
}

std::unique_ptr<GlyphBitmap> RealisedFont::render(const Source& source, bool grey) {
    auto glyph = std::make_unique<GlyphBitmap>();
    if (source.stroke < 0x20) return glyph;
    if (source.face) {
        if (!loadOutline(source, grey)) return glyph;
        const FT_GlyphSlot slot = source.face->face->glyph;
        if (FT_Render_Glyph(slot, grey ? FT_RENDER_MODE_NORMAL : FT_RENDER_MODE_MONO)) return glyph;
        const FT_Bitmap& b = slot->bitmap;
        setPictureSize(*glyph, static_cast<int>(b.width), static_cast<int>(b.rows));
        glyph->left = slot->bitmap_left;
        glyph->top = -slot->bitmap_top;
        for (int y = 0; y < glyph->height; ++y) {
            const uint8_t* from = b.buffer + static_cast<ptrdiff_t>(y) * b.pitch;
            uint8_t* to = &glyph->coverage[static_cast<size_t>(y) * static_cast<size_t>(glyph->stride)];
            for (int x = 0; x < glyph->width; ++x)
                to[x] = grey ? from[x] : static_cast<uint8_t>(from[x / 8] >> (7 - x % 8) & 1 ? 255 : 0);
        }
        return glyph;
    }
    // Strokes: four by four samples a pixel in a square that holds the character however it is turned.
    constexpr int samples = 4;
    const int reach = em_ + 2, side = 2 * reach;
    std::vector<uint8_t> fine(static_cast<size_t>(side * samples) * static_cast<size_t>(side * samples));
    const Box all{0, 0, side * samples, side * samples};
    const RoundPen pen(std::max(em_ * samples / (font_.lfWeight >= 600 ? 7 : 12), samples), all);
    placeStrokes(source.stroke, static_cast<double>(em_) / strokeUnits, font_.lfItalic != 0, cosine_, sine_,
                 [&](FPoint a, FPoint b) {
                     const auto at = [&](FPoint p) { return FPoint{(p.x + reach) * samples, (p.y + reach) * samples}; };
                     pen.capsule(at(a), at(b), [&](int64_t y, int64_t x0, int64_t x1) {
                         uint8_t* row = &fine[static_cast<size_t>(y) * static_cast<size_t>(all.right)];
                         for (int64_t x = std::max<int64_t>(x0, 0); x < std::min<int64_t>(x1, all.right); ++x) row[x] = 1;
                     });
                 });
    setPictureSize(*glyph, side, side);
    glyph->left = glyph->top = -reach;
    for (int y = 0; y < side * samples; ++y)
        for (int x = 0; x < side * samples; ++x) {
            uint8_t& cell = glyph->coverage[static_cast<size_t>(y / samples) * static_cast<size_t>(glyph->stride) +
                                            static_cast<size_t>(x / samples)];
            cell = static_cast<uint8_t>(
                cell + fine[static_cast<size_t>(y) * static_cast<size_t>(all.right) + static_cast<size_t>(x)]);
        }
    for (uint8_t& v : glyph->coverage) v = grey ? static_cast<uint8_t>(std::min(v * 16, 255)) : v >= 8 ? 255 : 0;
    return glyph;
}

void RealisedFont::drawLarge(const Source& source, GlyphPainter& painter, int64_t x, int64_t y) {
    const Box clip = painter.clip();
    // Nothing of a character lies farther from its place than this.
    const int64_t far = int64_t{4} * reach() + 64;
    if (source.stroke < 0x20 || x + far < clip.left || x - far > clip.right || y + far < clip.top || y - far > clip.bottom)
        return;
    if (!source.face) {
        const RoundPen pen(std::max(em_ / (font_.lfWeight >= 600 ? 7 : 12), 2), clip);
        const auto px = static_cast<double>(x), py = static_cast<double>(y);
        placeStrokes(source.stroke, static_cast<double>(em_) / strokeUnits, font_.lfItalic != 0, cosine_, sine_,
                     [&](FPoint a, FPoint b) {
                         pen.capsule({a.x + px, a.y + py}, {b.x + px, b.y + py},
                                     [&](int64_t row, int64_t x0, int64_t x1) { painter.run(row, x0, x1, 255); });
                     });
        return;
    }
    if (!loadOutline(source, true)) return;
    // Coordinates from the clip's corner, so that they fit the rasteriser however far out the surface reaches.
    struct Sink {
        GlyphPainter* painter;
        int64_t left, top;
    } sink{&painter, clip.left, clip.top};
    FT_Outline& outline = source.face->face->glyph->outline;
    FT_Outline_Translate(&outline, static_cast<FT_Pos>((x - clip.left) * 64), static_cast<FT_Pos>(-(y - clip.top) * 64));
    FT_Raster_Params params{};
    params.flags = FT_RASTER_FLAG_AA | FT_RASTER_FLAG_DIRECT | FT_RASTER_FLAG_CLIP;
    params.user = &sink;
    params.gray_spans = [](int row, int count, const FT_Span* spans, void* user) {
        const auto* s = static_cast<const Sink*>(user);
        for (int i = 0; i < count; ++i) {
            const int64_t x0 = s->left + spans[i].x;
            s->painter->run(s->top - 1 - row, x0, x0 + spans[i].len, spans[i].coverage);
        }
    };
    const int width = std::min(clip.right - clip.left, 32000), height = std::min(clip.bottom - clip.top, 32000);
    params.clip_box = {0, -height, width, 0};
    FT_Outline_Render(fontEngine().library, &outline, &params);
}

void RealisedFont::draw(uint8_t c, GlyphPainter& painter, int64_t x, int64_t y, bool grey) {
    if (reach() > largestKeptEm) {
        drawLarge(sourceOf(c), painter, x, y);
        return;
    }
    auto& slot = (grey ? greyGlyphs_ : plainGlyphs_)[c];
    if (!slot) slot = render(sourceOf(c), grey);
    painter.draw(*slot, x, y);
}

void RealisedFont::draw(char32_t c, GlyphPainter& painter, int64_t x, int64_t y, bool grey) {
    if (const int place = placeOf(c); place >= 0) {
        draw(static_cast<uint8_t>(place), painter, x, y, grey);
        return;
    }
    Letter& found = letter(c);
    if (reach() > largestKeptEm) {
        drawLarge(found.source, painter, x, y);
        return;
    }
    auto& slot = grey ? found.grey : found.plain;
    if (!slot) {
        slot = render(found.source, grey);
        letterBytes_ += slot->coverage.size();
    }
    painter.draw(*slot, x, y);
}

RealisedFont& realisedFont(const DeviceContext& dc) {
    FontEngine& engine = fontEngine();
    LOGFONTA key = dc.state.font->logical;
    const Mapping& map = dc.state.map;
    if (!map.identity) {
        const int32_t height = map.deviceHeight(key.lfHeight);
        if (key.lfHeight) key.lfHeight = std::max(height, 1) * (key.lfHeight < 0 ? -1 : 1);
        key.lfWidth = map.deviceWidth(key.lfWidth);
    }
    const bool builtIn = gdiState().forceBuiltInFont.load(std::memory_order_relaxed);
    if (engine.last && builtIn == engine.lastBuiltIn && std::memcmp(&engine.lastKey, &key, sizeof key) == 0)
        return *engine.last;
    LOGFONTA stored = key;
    stored.lfOrientation = 0; // follows the escapement
    stored.lfClipPrecision = builtIn;
    stored.lfOutPrecision = stored.lfQuality = stored.lfPitchAndFamily = 0;
    auto it = engine.fonts.find(stored);
    if (it == engine.fonts.end()) {
        if (engine.fonts.size() >= fontsKept) {
            auto oldest = engine.fonts.begin();
            for (auto i = engine.fonts.begin(); i != engine.fonts.end(); ++i)
                if (i->second.used < oldest->second.used) oldest = i;
            engine.last = nullptr;
            engine.fonts.erase(oldest);
        }
        auto font = std::make_unique<RealisedFont>(stored, builtIn);
        it = engine.fonts.emplace(stored, FontEngine::Entry{std::move(font), 0}).first;
    }
    it->second.used = ++engine.clock;
    engine.last = it->second.font.get();
    engine.lastKey = key;
    engine.lastBuiltIn = builtIn;
    return *engine.last;
}

} // namespace kb::gdi

KB_API void KbUseBuiltInFont(BOOL bForce) { kb::gdiState().forceBuiltInFont = bForce != 0; }
