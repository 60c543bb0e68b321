// Fonts made ready: the face found, its metrics at a size, the advances and the pictures of its 256 characters, and of
// those beyond them that have been asked for, out of other faces where this one lacks them. Fonts are realised once for
// equal logical fonts, so that an engine may make and delete them for every object. Each thread has its own cache, because
// a face of the font library must not be used by two; it holds the fonts used last.
#pragma once

#include "platform/gdi/glyph.h"
#include "platform/gdi/stroke_font.h"
#include "platform/gdi/symbol_codes.h"

#include <array>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace kb::gdi {

class FaceFile; // a face of a font file

// Unicode of a windows-1252 character.
char32_t unicodeOf(uint8_t c);
// The other way; '?' for what has no place there.
uint8_t byteOf(char32_t code);

class RealisedFont {
public:
    RealisedFont(const LOGFONTA& device, bool builtIn);
    ~RealisedFont();
    RealisedFont(const RealisedFont&) = delete;
    RealisedFont& operator=(const RealisedFont&) = delete;

    const TEXTMETRICA& metrics() const { return metrics_; }
    const std::string& faceName() const { return faceName_; }
    int advance(uint8_t c) { return advances_[c]; }
    int advance(char32_t c);
    bool turned() const { return turned_; }
    double cosine() const { return cosine_; }
    double sine() const { return sine_; }
    int underlineTop() const { return underlineTop_; } // below the base line
    int strikeOutTop() const { return strikeOutTop_; }
    int lineWidth() const { return lineWidth_; }

    // How characters are made of a face's outlines. Without one (hasFace false) they are the built-in strokes.
    struct Outlines {
        bool hasFace;
        double emX, emY; // pixels
        bool slanted, embolden;
    };
    Outlines outlines() const;
    // The file that a character comes from, its place in it and the character that it shows, which for pictorial fonts isn't
    // the one in the text. The file's name lives as long as the thread's cache. Only of a font with a face.
    struct FaceGlyph {
        const char* file;
        int index;
        uint32_t glyph;
        char32_t shown;
    };
    FaceGlyph faceGlyph(char32_t c);
    // The built-in strokes of a character in pixels around the pen's place, slanted and turned, and their width.
    double strokes(uint8_t c, std::vector<StrokeLine>& out) const;

    // Lays a character over the pixels, its pen place at x, y. Large characters are never kept as pictures.
    void draw(uint8_t c, GlyphPainter& painter, int64_t x, int64_t y, bool grey);
    void draw(char32_t c, GlyphPainter& painter, int64_t x, int64_t y, bool grey);

private:
    // Where the outline of a character comes from.
    struct Source {
        FaceFile* face = nullptr; // null: the built-in strokes
        uint32_t glyph = 0;
        uint8_t stroke = 0; // character of the built-in strokes
    };
    // A character beyond the 256.
    struct Letter {
        Source source;
        int advance = 0;
        std::unique_ptr<GlyphBitmap> plain, grey;
    };
    void measureFace();
    void measureStrokes();
    void setSize(FaceFile& face);
    int advanceOf(const Source& source);
    // The place among the 256 of a character that stands there, or -1.
    int placeOf(char32_t c) const;
    Source sourceOf(uint8_t c);
    Source sourceOf(char32_t c);
    Letter& letter(char32_t c);
    std::unique_ptr<GlyphBitmap> render(const Source& source, bool grey);
    void drawLarge(const Source& source, GlyphPainter& painter, int64_t x, int64_t y);
    bool loadOutline(const Source& source, bool grey);
    // Pixels that a character may take, either way.
    int reach() const { return std::max(em_, emX_ / 64); }

    LOGFONTA font_;
    FaceFile* face_ = nullptr;                       // null: the built-in strokes
    std::vector<std::pair<FaceFile*, void*>> sizes_; // the font library's size objects
    SymbolSet symbols_ = SymbolSet::none;            // when the face that was asked for is one that stands for signs
    int em_ = 0;                                     // character height in pixels
    int emX_ = 0;                                    // its width, in 64ths
    bool turned_ = false, slanted_ = false, embolden_ = false;
    double cosine_ = 1, sine_ = 0;
    int underlineTop_ = 1, strikeOutTop_ = 0, lineWidth_ = 1;
    TEXTMETRICA metrics_{};
    std::string faceName_;
    std::array<int, 256> advances_{};
    std::array<std::unique_ptr<GlyphBitmap>, 256> plainGlyphs_, greyGlyphs_;
    std::unordered_map<char32_t, Letter> letters_;
    size_t letterBytes_ = 0;
};

// The context's font at its device size. Valid until the thread's next call.
RealisedFont& realisedFont(const DeviceContext& dc);

inline constexpr int largestEm = 8191;    // pixels; greater heights are drawn at this one
inline constexpr int largestKeptEm = 256; // above it, high or wide, characters are drawn from their outlines each time

// Widths of the partial texts in logical units, as GetTextExtentExPointA gives them, for UTF-16. Of a surrogate pair both
// units get the same.
void textExtentsWide(HDC hDC, const uint16_t* text, UINT count, INT* ends);

} // namespace kb::gdi
