// What playing a file may cost. A file is a program: a few bytes can ask for the work of an hour, and for objects that are
// thousands of times as large as the records that make them. Whatever may cost more than reading its record pays here before
// it is done; when there is nothing left, the play has failed, as with a broken record.
//
// Work is paid in nanoseconds as estimated, not clocked, so that a file plays alike on every machine. There are two seconds,
// half a microsecond for each byte of the file, and a microsecond for each pixel that can be seen, 2^24 of them at most.
// What a file holds at a time and puts into recordings and documents may be 64 MiB and 16 bytes for each byte of the file.
// Beside that there are temporary pictures no larger than what can be seen, a path of 2^20 points and its outline, and one
// region of 2^22 rectangles.
#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>

namespace kb::gdi {

// Estimates in nanoseconds, somewhat above what was measured.
namespace cost {
inline constexpr double fillPixel = 0.5;
inline constexpr double blitPixel = 6;
inline constexpr double composedPixel = 32; // read back, worked out, written again
inline constexpr double floodPixel = 48;
inline constexpr double linePixel = 3;
inline constexpr double letter = 100, letterPixel = 3;
inline constexpr double vertex = 20;
inline constexpr double edgeRow = 10;   // an edge of a polygon in one row
inline constexpr double regionBox = 60; // made, sorted, combined
} // namespace cost

class PlayBudget {
public:
    PlayBudget(size_t fileBytes, double seenPixels)
        : work_(2e9 + static_cast<double>(fileBytes) * 500 + std::clamp(seenPixels, 0.0, 16'777'216.0) * 1000),
          bytes_((size_t{64} << 20) + fileBytes * 16) {}
    PlayBudget(const PlayBudget&) = delete;
    PlayBudget& operator=(const PlayBudget&) = delete;

    bool exhausted() const { return exhausted_; }
    // False when that is more than there is; the budget is exhausted then.
    bool pay(double nanoseconds) {
        work_ -= nanoseconds;
        exhausted_ = exhausted_ || !(work_ >= 0);
        return !exhausted_;
    }
    // The same for memory that isn't given back.
    bool keep(size_t bytes) {
        exhausted_ = exhausted_ || bytes > bytes_;
        if (!exhausted_) bytes_ -= bytes;
        return !exhausted_;
    }
    size_t bytesLeft() const { return exhausted_ ? 0 : bytes_; }

    // Memory that is given back when this goes. It must not outlive the budget.
    class Held {
    public:
        Held() = default;
        Held(Held&& other) noexcept
            : budget_(std::exchange(other.budget_, nullptr)), bytes_(std::exchange(other.bytes_, 0)) {}
        Held& operator=(Held&& other) noexcept {
            std::swap(budget_, other.budget_);
            std::swap(bytes_, other.bytes_);
            return *this;
        }
        Held(const Held&) = delete;
        Held& operator=(const Held&) = delete;
        ~Held() {
            if (budget_) budget_->bytes_ += bytes_;
        }

    private:
        friend class PlayBudget;
        Held(PlayBudget* budget, size_t bytes) : budget_(budget), bytes_(bytes) {}
        PlayBudget* budget_ = nullptr;
        size_t bytes_ = 0;
    };
    // Holds nothing when the budget is exhausted.
    Held hold(size_t bytes) { return keep(bytes) ? Held(this, bytes) : Held(); }

private:
    double work_;
    size_t bytes_;
    bool exhausted_ = false;
};

} // namespace kb::gdi
