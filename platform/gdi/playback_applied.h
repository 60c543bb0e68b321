// What a player has last put in force on its destination, so that only changes are passed on; and the pen, brush and font
// that it has made for that.
#pragma once

#include "platform/gdi/playback.h"

namespace kb::gdi {

struct Playback::Applied {
    bool modes = false, clipKnown = false; // whether what follows is in force
    COLORREF textColor = 0, bkColor = 0;
    int bkMode = 0, rop2 = 0, polyFillMode = 0, stretchMode = 0;
    RegionRef clip, metaClip;

    HGDIOBJ ownPen = nullptr, ownBrush = nullptr, ownFont = nullptr; // the context's, from before
    LOGFONTA ownLogical{};

    HPEN pen = nullptr;
    int penStyle = 0, penWidth = 0;
    COLORREF penColor = 0;
    HBRUSH brush = nullptr;
    bool brushSolid = false;
    COLORREF brushColor = 0;
    ObjectRef brushObject;
    ObjectRef spread; // the pattern that was in force last
    HFONT font = nullptr;
    LOGFONTA fontMade{};
    bool penSelected = false, brushSelected = false, fontSelected = false;

    void putBrush(HDC hDC, HBRUSH made) {
        SelectObject(hDC, made);
        if (brush) DeleteObject(brush);
        brush = made;
        brushSelected = true;
    }
    const LOGFONTA& own() {
        GetObjectA(ownFont, sizeof ownLogical, &ownLogical);
        return ownLogical;
    }
    void release() {
        for (const HGDIOBJ object : {HGDIOBJ{pen}, HGDIOBJ{brush}, HGDIOBJ{font}})
            if (object) DeleteObject(object);
    }
};

} // namespace kb::gdi
