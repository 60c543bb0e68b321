// A record's string: null or a non-empty zero-terminated text in the system's code page. Texts are shared between copies
// of a record by a count, so that copying an object copies no characters; the texts that every new object begins with
// are immortal and cost it nothing.
#pragma once

#include "platform/sys.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <initializer_list>
#include <string_view>
#include <utility>

namespace kbann {

class Text {
public:
    Text() = default;
    Text(const Text& other) noexcept : body_(other.body_) { retain(); }
    Text(Text&& other) noexcept : body_(std::exchange(other.body_, nullptr)) {}
    Text& operator=(Text other) noexcept {
        std::swap(body_, other.body_);
        return *this;
    }
    ~Text() { release(); }

    // A text that is never freed; for the few that many records share.
    static Text immortal(std::string_view text) {
        Text result;
        if (result.assign(text) && result.body_) result.body_->uses.store(immortalUses, std::memory_order_relaxed);
        return result;
    }

    // The pieces one behind the other, none of which holds a NUL. Null when they are empty or memory fails.
    static Text joined(std::initializer_list<std::string_view> pieces) noexcept {
        size_t length = 0;
        for (const std::string_view piece : pieces) length += piece.size();
        Text result;
        result.body_ = length ? make(length) : nullptr;
        char* to = result.body_ ? result.body_->bytes() : nullptr;
        for (const std::string_view piece : pieces)
            if (to) to = std::copy(piece.begin(), piece.end(), to);
        return result;
    }

    // Replaces the text by a copy, cut at its first NUL; an empty one leaves null. False when memory fails: null then,
    // the old text is gone.
    bool assign(std::string_view text) noexcept {
        text = text.substr(0, text.find('\0'));
        Body* fresh = nullptr;
        if (!text.empty()) {
            fresh = make(text.size());
            if (!fresh) return clear(), false;
            std::memcpy(fresh->bytes(), text.data(), text.size());
        }
        release();
        body_ = fresh;
        return true;
    }
    bool assign(const char* text) noexcept { return assign(text ? std::string_view(text) : std::string_view()); }

    void clear() noexcept {
        release();
        body_ = nullptr;
    }

    explicit operator bool() const noexcept { return body_ != nullptr; }
    // "" for null.
    const char* c_str() const noexcept { return body_ ? body_->bytes() : ""; }
    uint32_t length() const noexcept { return body_ ? body_->length : 0; }
    std::string_view view() const noexcept { return {c_str(), length()}; }

private:
    struct Body {
        std::atomic<uint32_t> uses;
        uint32_t length;
        char* bytes() { return reinterpret_cast<char*>(this + 1); }
    };
    static constexpr uint32_t immortalUses = UINT32_MAX;

    // Room for a text of that length, used once and ended; null when memory fails.
    static Body* make(size_t length) noexcept {
        auto* body = length < UINT32_MAX - sizeof(Body) ? static_cast<Body*>(KbAlloc(sizeof(Body) + length + 1)) : nullptr;
        if (!body) return nullptr;
        new (&body->uses) std::atomic<uint32_t>(1);
        body->length = static_cast<uint32_t>(length);
        body->bytes()[length] = 0;
        return body;
    }

    void retain() noexcept {
        if (body_ && body_->uses.load(std::memory_order_relaxed) != immortalUses)
            body_->uses.fetch_add(1, std::memory_order_relaxed);
    }
    void release() noexcept {
        if (body_ && body_->uses.load(std::memory_order_relaxed) != immortalUses &&
            body_->uses.fetch_sub(1, std::memory_order_acq_rel) == 1)
            KbFree(body_);
    }

    Body* body_ = nullptr;
};

} // namespace kbann
