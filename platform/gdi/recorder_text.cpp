// Texts of a recording. A record's bytes mean what the charset of the font in force says, so a text that has other characters
// is taken apart: pieces, each with a font of a charset that has them, at the places that they have in the line.
#include "platform/gdi/charsets.h"
#include "platform/gdi/gdi_state.h"
#include "platform/gdi/recorder.h"
#include "platform/gdi/text_layout.h"

#include <string>

namespace kb::gdi {

void Recorder::writeText(const TextCall& call, const TextPiece& piece) {
    std::string bytes;
    std::vector<INT> dx; // of each byte; the first one of a pair has it all
    for (size_t i = piece.first; i < piece.first + piece.count; ++i) {
        uint8_t character[2];
        const size_t n = encodeCharacter(call.text[i], piece.charset, character);
        bytes.append(reinterpret_cast<const char*>(character), n);
        if (call.dx) dx.push_back(call.dx[i]);
        if (call.dx && n == 2) dx.push_back(0);
    }
    if (bytes.size() > INT16_MAX) throw Refused();
    const UINT boxed = call.rect ? piece.options & (ETO_OPAQUE | ETO_CLIPPED) : 0;
    const auto length = static_cast<int64_t>(bytes.size());
    const bool plain = !boxed && !call.dx;
    if (plain)
        file_.begin(RecordType::textOut, {length});
    else
        file_.begin(RecordType::extTextOut, {piece.at.y, piece.at.x, length, boxed});
    if (boxed)
        for (const int32_t v : {call.rect->left, call.rect->top, call.rect->right, call.rect->bottom}) file_.word(v);
    file_.put(bytes.data(), bytes.size());
    if (bytes.size() % 2) file_.zeros(1);
    if (plain) {
        file_.word(piece.at.y);
        file_.word(piece.at.x);
    }
    for (const INT width : dx) file_.word(width);
    file_.end();
}

bool Recorder::text(DeviceContext& dc, const TextCall& call) {
    return attempt([&] {
        if (call.count > INT16_MAX) return false;
        const int own = dc.state.font->logical.lfCharSet;
        int charset = own;
        const bool whole = longestEncoded(call.text, call.count, own, charset) == call.count && charset == own;
        if (!whole) return textInPieces(dc, call);
        if (!beginDrawing(dc)) return false;
        writeText(call, {call.at, 0, call.count, own, call.options});
        if (dc.state.textAlign & TA_UPDATECP && call.count)
            placeText(dc, realisedFont(dc), call.at, call.text, call.count, call.dx);
        return true;
    });
}

bool Recorder::textInPieces(DeviceContext& dc, const TextCall& call) {
    const int own = dc.state.font->logical.lfCharSet;
    std::vector<TextPiece> pieces;
    for (size_t first = 0, count; first < call.count; first += count) {
        int charset = own;
        count = longestEncoded(call.text + first, call.count - first, own, charset);
        if (!count) return false;
        count = std::min<size_t>(count, INT16_MAX / 2); // of two bytes each
        pieces.push_back({{}, first, count, charset, call.options});
    }
    if (!beginDrawing(dc)) return false;
    const Slot ownSlot = slotOf(dc, *dc.state.font), slot = takeSlot(dc);
    RealisedFont& font = realisedFont(dc);
    const POINT before = dc.state.position;
    const TextLine line = placeText(dc, font, call.at, call.text, call.count, call.dx);
    const auto select = [&](Slot which) { file_.record(RecordType::selectObject, {RecordWord::raw(which)}); };
    file_.record(RecordType::setTextAlign, {TA_BASELINE});
    int64_t along = 0;
    for (TextPiece& piece : pieces) {
        const POINT p = line.at(static_cast<double>(along), 0);
        piece.at = {dc.state.map.logicalX(p.x), dc.state.map.logicalY(p.y)};
        if (piece.first) piece.options &= ~UINT{ETO_OPAQUE}; // it would cover the pieces before
        LOGFONTA logical = dc.state.font->logical;
        logical.lfCharSet = static_cast<BYTE>(piece.charset);
        create(Font(logical));
        select(slot);
        writeText(call, piece);
        select(ownSlot);
        file_.record(RecordType::deleteObject, {RecordWord::raw(slot)});
        for (size_t i = piece.first; i < piece.first + piece.count; ++i) along += advanceOf(dc, font, call.text, call.dx, i);
    }
    freeSlot(slot);
    file_.record(RecordType::setTextAlign, {static_cast<int64_t>(dc.state.textAlign)});
    const POINT after = dc.state.position;
    if (after.x != before.x || after.y != before.y) file_.record(RecordType::moveTo, {after.y, after.x});
    return true;
}

} // namespace kb::gdi
