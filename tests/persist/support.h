// What the tests of stored data share: trees that free themselves, text with the line ends that files have, streams that
// fail on purpose.
#pragma once

#include "kbann/kbann.h"
#include "persist/native_form.h"
#include "persist/storage.h"
#include "persist/stream.h"
#include "store/handles.h"
#include "store/library.h"
#include "store/tree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>

namespace kbann::test {

// A tree of its own, freed at the end. Without a record it holds nothing.
struct StoredTree {
    AnnObject* root = nullptr;

    StoredTree() = default;
    explicit StoredTree(AnnObject* record) : root(record) {}
    StoredTree(StoredTree&& other) noexcept : root(std::exchange(other.root, nullptr)) {}
    StoredTree& operator=(StoredTree&& other) noexcept {
        std::swap(root, other.root);
        return *this;
    }
    ~StoredTree() {
        if (root) annFreeTree(root);
    }
    HANNOBJECT handle() const { return annToHandle(root); }
};

inline AnnObject* newObject(uint32_t nType, AnnObject* parent = nullptr) {
    HANNOBJECT made = nullptr; // the first call of all also starts the library
    EXPECT_EQ(K_AnnCreate(nType, &made), SUCCESS);
    AnnObject* record = annFromHandle(made);
    if (parent) annLinkLast(*parent, *record);
    return record;
}

inline StoredTree newTree() { return StoredTree(newObject(ANN_OBJECT_CONTAINER)); }

// Lines as they stand in a file: "\n" becomes CR LF.
inline std::string fileText(std::string_view lines) {
    std::string text;
    for (const char c : lines) text += c == '\n' ? std::string("\r\n") : std::string(1, c);
    return text;
}

struct PageOptions {
    KernelSaveOptions options{};
    PageOptions(uint32_t flags, int32_t page) {
        options.uStructSize = sizeof options;
        options.uFlags = flags;
        options.nPageNumber = page;
    }
};

inline KernelLoadOptions loadPage(int32_t page) {
    KernelLoadOptions options{};
    options.uStructSize = sizeof options;
    options.nPageNumber = page;
    return options;
}

inline std::string takeBlock(HGLOBAL hMem, uint32_t size) {
    const auto* bytes = static_cast<const char*>(GlobalLock(hMem));
    std::string text = bytes ? std::string(bytes, size) : std::string();
    GlobalFree(hMem);
    return text;
}

// A stored form of an object; empty when the save failed.
inline std::string savedAs(uint32_t uFormat, const AnnObject* object, bool bSelected = false, int* code = nullptr) {
    HGLOBAL hMem = nullptr;
    uint32_t size = 0;
    const int result = K_AnnSaveMemory(annToHandle(object), uFormat, bSelected, &hMem, &size, nullptr);
    if (code)
        *code = result;
    else
        EXPECT_EQ(result, SUCCESS);
    return hMem ? takeBlock(hMem, size) : std::string();
}

// The text form.
inline std::string saved(const AnnObject* object, bool bSelected = false, int* code = nullptr) {
    return savedAs(ANN_FMT_NATIVE, object, bSelected, code);
}

inline constexpr uint32_t streamForms[] = {ANN_FMT_NATIVE, ANN_FMT_ENCODED};

inline int load(std::string_view data, StoredTree& tree, int32_t page = 1) {
    HANNOBJECT hObject = nullptr;
    const KernelLoadOptions options = loadPage(page);
    const int code = K_AnnLoadMemory(data.data(), static_cast<uint32_t>(data.size()), &hObject, &options);
    tree = StoredTree(annFromHandle(hObject));
    return code;
}

// A stream over a text; what is written to it can be read back.
struct TextStream {
    AnnStream stream;
    explicit TextStream(std::string_view text = {}) : stream(annMemoryStream(nullptr, 0)) {
        annWriteAll(stream, text.data(), text.size());
        stream.uPos = 0;
    }
    TextStream(const TextStream&) = delete;
    TextStream& operator=(const TextStream&) = delete;
    ~TextStream() {
        if (stream.pBlock) K_FreeBlock(stream.pBlock);
    }
    std::string text() const { return {static_cast<const char*>(stream.pBlock), stream.uEnd}; }
};

// Lets some writes through and then writes nothing; cuts pass.
struct FailingStream : AnnStream {
    int64_t (*writeThrough)(AnnStream&, const void*, int64_t);
    int writesLeft;
    FailingStream(const AnnStream& stream, int writes)
        : AnnStream(stream), writeThrough(stream.pfnWrite), writesLeft(writes) {
        pfnWrite = [](AnnStream& self, const void* source, int64_t count) -> int64_t {
            auto& failing = static_cast<FailingStream&>(self);
            if (count && failing.writesLeft-- <= 0) return 0;
            return failing.writeThrough(self, source, count);
        };
    }
};

// Gives a few bytes at a time, so that reading in place is out and every line crosses a refill.
struct CrumblingStream : AnnStream {
    int64_t (*readThrough)(AnnStream&, void*, int64_t);
    int64_t piece;
    CrumblingStream(const AnnStream& stream, int64_t bytes) : AnnStream(stream), readThrough(stream.pfnRead), piece(bytes) {
        pfnRead = [](AnnStream& self, void* destination, int64_t count) -> int64_t {
            auto& crumbling = static_cast<CrumblingStream&>(self);
            return crumbling.readThrough(self, destination, count > 8 ? std::min(count, crumbling.piece) : count);
        };
    }
};

} // namespace kbann::test
