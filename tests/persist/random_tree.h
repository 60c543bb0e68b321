// Trees of all types with seeded content.
#pragma once

#include "persist/field_members.h"
#include "tests/persist/support.h"

#include <random>

namespace kbann::test {

// Random content that nine digits can hold.
struct RandomTree {
    std::mt19937 random;

    uint32_t below(uint32_t limit) { return static_cast<uint32_t>(random() % limit); }
    double real() { return (static_cast<double>(below(2'000'000)) - 1'000'000) / 1000; }
    AnnPoint point() { return {real(), real()}; }

    void text(Text& text) {
        std::string bytes(below(120), 0);
        for (char& c : bytes) c = static_cast<char>(1 + below(255));
        if (!bytes.empty()) text.assign(bytes);
    }

    void bitmap(KernelBitmap& bitmap) {
        constexpr int depths[] = {1, 4, 8, 12, 16, 24, 32};
        const int bits = depths[below(7)];
        RGBQUAD palette[256];
        for (auto& color : palette)
            color = {static_cast<BYTE>(below(256)), static_cast<BYTE>(below(256)), static_cast<BYTE>(below(256)), 0};
        K_FreeBitmap(&bitmap);
        ASSERT_EQ(K_CreateBitmap(&bitmap, 1, 1 + static_cast<int>(below(40)), 1 + static_cast<int>(below(9)), bits,
                                 bits == 12 ? KB_ORDER_GREY : static_cast<int>(below(3)), bits <= 8 ? palette : nullptr,
                                 1 + static_cast<int>(below(8)), 0, 0),
                  SUCCESS);
        for (int row = 0; row < bitmap.Height; ++row) {
            uint8_t* pixels = K_WritableBitmapRow(&bitmap, row);
            for (int i = 0; i < bitmap.BytesPerLine; ++i) pixels[i] = static_cast<uint8_t>(below(256));
        }
    }

    void fill(AnnObject& object) {
        for (const auto& row : fieldMemberRows) {
            if (const auto* member = std::get_if<uint32_t AnnValues::*>(&row.member)) object.*(*member) = below(1u << 24);
            if (const auto* member = std::get_if<int32_t AnnValues::*>(&row.member))
                object.*(*member) = static_cast<int32_t>(below(2));
            if (const auto* member = std::get_if<double AnnValues::*>(&row.member)) object.*(*member) = real();
            if (const auto* member = std::get_if<Text AnnValues::*>(&row.member)) text(object.*(*member));
        }
        object.dFontSize = 1 + below(50);
        // Near 1, since containers multiply them: a name's offset is kept in nine digits of its container's units.
        object.dScalarX = (4 + below(9)) / 8.0;
        object.dScalarY = (4 + below(9)) / 8.0;
        object.nHyperlinkType = below(3);
        object.uHyperlinkParam1 = below(99);
        object.bShowNodes = static_cast<int32_t>(below(2));
        object.nGapNodes = below(9);
        object.bAcute = static_cast<int32_t>(below(2));
        object.nAngleUnit = below(2);
        object.nAnglePrecision = below(9);
        object.dArcRadius = real();
        object.ptNameOffset = point();
        for (auto& corner : object.quad) corner = point();
        object.ptPointerTip = point();
        object.ptPointerTail = point();
        if (hasType(typesPoints, object.nType)) {
            object.pPoints.reset(below(9));
            for (auto& p : object.pPoints) p = point();
        }
        if (hasType(typesBitmap, object.nType) && below(2)) bitmap(object.bitmap);
        if (object.pPushpin && below(2)) bitmap(object.pPushpin->bitmap2);
        if (below(3) == 0) {
            object.pItemMenu = std::make_unique<ItemMenuPart>();
            for (auto& bits : object.pItemMenu->itemMenuEnable) bits = static_cast<uint8_t>(below(256));
            for (auto& bits : object.pItemMenu->itemMenuEnableMask) bits = static_cast<uint8_t>(below(256));
        }
    }

    StoredTree make(int objects) {
        StoredTree tree = newTree();
        fill(*tree.root);
        AnnObject* container = tree.root;
        for (int i = 0; i < objects; ++i) {
            const uint32_t nType = i < static_cast<int>(objectTypeCount) ? static_cast<uint32_t>(i) : below(objectTypeCount);
            AnnObject* object = newObject(nType, container);
            fill(*object);
            if (object->isContainer()) {
                fill(*newObject(ANN_OBJECT_RECT, object)); // an empty one isn't written
                if (below(2)) container = object;
            } else if (container->pParent && below(4) == 0) {
                container = container->pParent;
            }
        }
        return tree;
    }
};

} // namespace kbann::test
