// An object's numbers count from the left and top of its container, which scales about these and then shifts.
#include "apps/kann/flatten.h"

#include "apps/kann/failure.h"
#include "apps/kann/object_facts.h"
#include "kbann/object_types.h"

namespace kann {

namespace {

constexpr std::uint32_t flags = ANN_FLAG_NOINVALIDATE;

struct Placing {
    double scaleX = 1, scaleY = 1, offsetX = 0, offsetY = 0;
    AnnRect bounds{};

    Placing(HANNOBJECT object, const std::string& name) {
        check(K_AnnGetScalarX(object, &scaleX), name);
        check(K_AnnGetScalarY(object, &scaleY), name);
        check(K_AnnGetOffsetX(object, &offsetX), name);
        check(K_AnnGetOffsetY(object, &offsetY), name);
        check(K_AnnGetRect(object, &bounds, nullptr), name);
    }
};

void place(HANNOBJECT item, const Placing& by, const AnnPoint& from, double shiftX, double shiftY, const std::string& name) {
    if (by.scaleX != 1 || by.scaleY != 1) {
        if (typeOf(item) == ANN_OBJECT_POINT) { // it has a place alone, in the middle of its picture
            AnnRect at{};
            check(K_AnnGetRect(item, &at, nullptr), name);
            shiftX += (by.scaleX - 1) * ((at.left + at.right) / 2 - from.x);
            shiftY += (by.scaleY - 1) * ((at.top + at.bottom) / 2 - from.y);
        } else {
            check(K_AnnResize(item, by.scaleX, by.scaleY, &from, flags), name);
        }
    }
    if (shiftX != 0 || shiftY != 0) check(K_AnnMove(item, shiftX, shiftY, flags), name);
}

} // namespace

void bringToRoot(HANNOBJECT root, const std::string& name) {
    for (const HANNOBJECT item : objectsOf(root, ANN_FLAG_RECURSE | ANN_FLAG_NOTCONTAINER, name)) {
        if (item == root) continue;
        const Placing own(item, name);
        place(item, own, {own.bounds.left, own.bounds.top}, own.offsetX, own.offsetY, name);
        HANNOBJECT container = nullptr;
        for (check(K_AnnGetContainer(item, &container), name); container && container != root;
             check(K_AnnGetContainer(container, &container), name)) {
            const Placing outer(container, name);
            place(item, outer, {0, 0}, outer.bounds.left + outer.offsetX, outer.bounds.top + outer.offsetY, name);
        }
    }
}

} // namespace kann
