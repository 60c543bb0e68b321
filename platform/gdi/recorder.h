// A context's drawing kept as records of a classic metafile. Records are written as the calls come. Three things aren't one
// record a call:
// - Objects get a slot of the file when they are first selected. The file's object is deleted once the caller has deleted
//   its own and no state of the context holds it any more; that is looked at when the next slot is needed, so that slots
//   are reused lowest first.
// - The file's mapping, modes and saved states are those of the context, because both see the same calls.
// - A context's clip region is in device units. The file's is in logical ones, but many players don't scale it. A region that
//   narrows the clip is therefore held back: an image painted through it becomes two blits, an AND mask and an OR. Only when
//   anything else is drawn is it recorded.
#pragma once

#include "platform/gdi/output.h"
#include "platform/gdi/record_writer.h"
#include "platform/sys.h"

#include <set>
#include <unordered_map>
#include <variant>

namespace kb::gdi {

class Recorder final : public Output {
public:
    Box bounds() const override;
    bool select(DeviceContext& dc, Pen& pen) noexcept override;
    bool select(DeviceContext& dc, Brush& brush) noexcept override;
    bool select(DeviceContext& dc, Font& font) noexcept override;
    bool select(DeviceContext& dc, Palette& palette) noexcept override;
    void changed(DeviceContext& dc, Setting setting, int32_t a, int32_t b) noexcept override;
    void clipCut(DeviceContext& dc, const RECT& rect, bool excluded) noexcept override;
    void clipCombined(DeviceContext& dc, const Region* region, int mode) noexcept override;

    bool lines(DeviceContext& dc, const POINT* points, const size_t* counts, size_t contours) override;
    bool linesTo(DeviceContext& dc, const POINT* points, size_t count) override;
    bool polygons(DeviceContext& dc, const POINT* points, const size_t* counts, size_t contours) override;
    bool shape(DeviceContext& dc, const ShapeCall& call) override;
    bool region(DeviceContext& dc, const RegionCall& call) override;
    bool box(DeviceContext& dc, const BoxCall& call) override;
    bool pixel(DeviceContext& dc, POINT at, COLORREF color) override;
    bool pattern(DeviceContext& dc, const BlitArea& to, DWORD rop) override;
    bool image(DeviceContext& dc, const ImageCall& call) override;
    bool text(DeviceContext& dc, const TextCall& call) override;

    // The file; empty when any record was lost for want of memory. The recorder is spent.
    std::vector<uint8_t> finish() noexcept;

private:
    using Slot = uint16_t;
    // Nothing: free, or taken by what lives for one call.
    using Held = std::variant<std::monostate, Ref<Pen>, Ref<Brush>, Ref<Font>, Ref<Palette>>;

    // Runs `write`, which may run out of memory or slots; the recording is lost then.
    template <class Write> bool attempt(Write&& write) noexcept {
        if (lost_) return false;
        try {
            return write();
        } catch (const std::exception&) {
            file_.takeBack();
            lost_ = true;
            SetLastError(ERROR_OUT_OF_MEMORY);
            return false;
        }
    }
    bool beginDrawing(DeviceContext& dc); // what was held back of the clip takes effect

    Slot takeSlot(DeviceContext& dc);
    void freeSlot(Slot slot);
    void deleteSlot(Slot slot);
    void sweep(const DeviceContext& dc);
    template <class T> bool selectObject(DeviceContext& dc, T& object, RecordType how) noexcept;
    template <class T> Slot slotOf(DeviceContext& dc, T& object);
    bool create(const Pen& pen);
    bool create(const Brush& brush);
    bool create(const Font& font);
    bool create(const Palette& palette);
    bool createRegion(const Region& region);
    // Puts a region into a slot for the time of `use`, which gets the slot.
    template <class Use> bool withRegion(DeviceContext& dc, const Region& region, Use&& use);
    void writeClip(DeviceContext& dc);

    bool writeImage(const ImageCall& call, const PixelReader& source, const BlitArea& from, const ColorTable& colors,
                    DWORD rop);
    bool maskedImage(const DeviceContext& dc, const ImageCall& call, const Box& part);

    RecordWriter file_;
    bool lost_ = false;
    std::vector<Held> slots_;
    std::set<Slot> free_;
    std::unordered_map<const Counted*, Slot> known_;
    size_t sweepAt_ = 64; // slots in use from which the next sweep pays
    Ref<Region> held_;    // the part of the clip that isn't recorded
    std::vector<Ref<Region>> savedHeld_;
};

} // namespace kb::gdi
