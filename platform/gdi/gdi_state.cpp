// The process-wide state and its stock objects.
#include "platform/gdi/gdi_state.h"

#include <cstring>

namespace kb {

namespace {

// The state outlives every static object of the process, so that late frees find their tables.
struct Holder {
    alignas(GdiState) unsigned char memory[sizeof(GdiState)];
    GdiState* state;
    Holder() : state(new (memory) GdiState) {}
};

struct StockFace {
    int index;
    LONG height;
    const char* face;
    BYTE pitch;
};
constexpr StockFace stockFaces[] = {
    {OEM_FIXED_FONT, -12, "Courier New", FIXED_PITCH | FF_MODERN},
    {ANSI_FIXED_FONT, -12, "Courier New", FIXED_PITCH | FF_MODERN},
    {ANSI_VAR_FONT, -11, "MS Sans Serif", VARIABLE_PITCH | FF_SWISS},
    {SYSTEM_FONT, 16, "System", VARIABLE_PITCH | FF_SWISS},
    {DEVICE_DEFAULT_FONT, 16, "System", VARIABLE_PITCH | FF_SWISS},
    {SYSTEM_FIXED_FONT, -12, "Courier New", FIXED_PITCH | FF_MODERN},
    {DEFAULT_GUI_FONT, -11, "MS Sans Serif", VARIABLE_PITCH | FF_SWISS},
};

} // namespace

GdiState::GdiState() {
    using namespace gdi;
    const auto keep = [this](auto& table, auto* object, int index) {
        object->stock = true;
        object->handle = table.add(object);
        if (index >= 0) stock[index] = object->handle;
        return object;
    };
    const struct {
        int index;
        UINT style;
        COLORREF color;
    } brushRows[] = {{WHITE_BRUSH, BS_SOLID, 0xFFFFFF}, {LTGRAY_BRUSH, BS_SOLID, 0xC0C0C0},
                     {GRAY_BRUSH, BS_SOLID, 0x808080},  {DKGRAY_BRUSH, BS_SOLID, 0x404040},
                     {BLACK_BRUSH, BS_SOLID, 0x000000}, {NULL_BRUSH, BS_NULL, 0}};
    for (const auto& row : brushRows) {
        Brush* brush = keep(brushes, Pool<Brush>::make(row.style, row.color, 0u), row.index);
        if (row.index == WHITE_BRUSH) whiteBrush = brush;
    }
    keep(pens, Pool<Pen>::make(PS_SOLID, 0, 0xFFFFFFu), WHITE_PEN);
    blackPen = keep(pens, Pool<Pen>::make(PS_SOLID, 0, 0u), BLACK_PEN);
    keep(pens, Pool<Pen>::make(PS_NULL, 0, 0u), NULL_PEN);
    for (const StockFace& row : stockFaces) {
        LOGFONTA logical{};
        logical.lfHeight = row.height;
        logical.lfWeight = row.index == SYSTEM_FONT || row.index == DEVICE_DEFAULT_FONT ? FW_BOLD : FW_NORMAL;
        logical.lfPitchAndFamily = row.pitch;
        std::strncpy(logical.lfFaceName, row.face, LF_FACESIZE - 1);
        Font* font = keep(fonts, Pool<Font>::make(logical), row.index);
        if (row.index == SYSTEM_FONT) systemFont = font;
    }
    Palette* palette = Pool<Palette>::make();
    for (int i = 0; i < 20; ++i) { // the twenty fixed colours: eight dark, four soft, eight bright
        static constexpr uint32_t rgb[20] = {0x000000, 0x800000, 0x008000, 0x808000, 0x000080, 0x800080, 0x008080,
                                             0xC0C0C0, 0xC0DCC0, 0xA6CAF0, 0xFFFBF0, 0xA0A0A4, 0x808080, 0xFF0000,
                                             0x00FF00, 0xFFFF00, 0x0000FF, 0xFF00FF, 0x00FFFF, 0xFFFFFF};
        palette->entries.push_back(
            {static_cast<BYTE>(rgb[i] >> 16), static_cast<BYTE>(rgb[i] >> 8), static_cast<BYTE>(rgb[i]), 0});
    }
    defaultPalette = keep(palettes, palette, DEFAULT_PALETTE);
    Bitmap* bitmap = Pool<Bitmap>::make();
    bitmap->storage.resize(4);
    bitmap->colors = std::make_unique<ColorTable>(ColorTable::standard(1));
    bitmap->surface = {bitmap->storage.data(), 4, 1, 1, 1, bitmap->colors.get(), true};
    defaultBitmap = keep(bitmaps, bitmap, -1);
}

GdiState& gdiState() {
    static Holder holder;
    return *holder.state;
}

} // namespace kb

KB_API HGDIOBJ GetStockObject(int index) {
    if (index < 0 || index > DEFAULT_GUI_FONT) return nullptr;
    return kb::toHandle<HGDIOBJ>(kb::gdiState().stock[index]);
}

KB_API BOOL KbSetScreenDpi(int x, int y) {
    if (x < 1 || x > 32767 || y < 1 || y > 32767) return FALSE;
    kb::gdiState().dpiX = x;
    kb::gdiState().dpiY = y;
    return TRUE;
}
