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

    void lost() noexcept override { lost_ = true; }
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

    // What the file has no room for: the call is refused, and the recording goes on without it.
    struct Refused {};
    // Runs `write`, which may run out of memory; the recording is lost then.
    template <class Write> bool attempt(Write&& write) noexcept {
        if (lost_) return false;
        try {
            return write();
        } catch (const Refused&) {
            file_.takeBack();
            return false;
        } catch (const std::exception&) {
            file_.takeBack();
            lost_ = true;
            SetLastError(ERROR_OUT_OF_MEMORY);
            return false;
        }
    }
    // What was held back of the clip takes effect. False when the file can't hold it: nothing may be drawn then.
    bool beginDrawing(DeviceContext& dc) { return (!clip_.held && !clip_.stale) || writeClip(dc); }

    Slot takeSlot(DeviceContext& dc);
    void freeSlot(Slot slot);
    void deleteSlot(Slot slot);
    void sweep(const DeviceContext& dc);
    template <class T> bool selectObject(DeviceContext& dc, T& object, RecordType how) noexcept;
    template <class T> Slot slotOf(DeviceContext& dc, T& object);
    void create(const Pen& pen);
    void create(const Brush& brush);
    void create(const Font& font);
    void create(const Palette& palette);
    bool createRegion(const Region& region);
    // Puts a region into a slot for the time of `use`, which gets the slot.
    template <class Use> bool withRegion(DeviceContext& dc, const Region& region, Use&& use);
    bool writeClip(DeviceContext& dc);

    bool writeImage(const ImageCall& call, const PixelReader& source, const BlitArea& from, const ColorTable& colors,
                    DWORD rop);
    bool maskedImage(const DeviceContext& dc, const ImageCall& call, const Box& part);
    struct TextPiece {
        POINT at;
        size_t first, count; // of the call's characters
        int charset;         // that has them all
        UINT options;
    };
    void writeText(const TextCall& call, const TextPiece& piece);
    bool textInPieces(DeviceContext& dc, const TextCall& call);

    RecordWriter file_;
    bool lost_ = false;
    std::vector<Held> slots_;
    std::set<Slot> free_;
    std::unordered_map<const Counted*, Slot> known_;
    size_t sweepAt_ = 64; // slots in use from which the next sweep pays
    struct UnwrittenClip {
        Ref<Region> held;   // what narrows the clip beyond what is recorded
        bool stale = false; // what is recorded isn't the clip at all any more
    };
    UnwrittenClip clip_;
    std::vector<UnwrittenClip> savedClips_;
};

} // namespace kb::gdi
