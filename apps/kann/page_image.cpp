// Pictures become what results need: upright, without opacity, of another size or depth.
#include "apps/kann/page_image.h"

#include "apps/kann/failure.h"

#include <algorithm>
#include <cmath>

namespace kann {

namespace {

// Smaller by averaging the area that falls into a pixel, larger by repeating pixels; axis by axis.
struct AxisSpan {
    int first;
    std::vector<float> weights;
};

std::vector<AxisSpan> axisSpans(int from, int to) {
    std::vector<AxisSpan> spans(static_cast<std::size_t>(to));
    const double step = static_cast<double>(from) / to;
    for (int i = 0; i < to; ++i) {
        AxisSpan& span = spans[static_cast<std::size_t>(i)];
        const double begin = i * step, end = std::min<double>(from, (i + 1) * step);
        if (step <= 1) {
            span = {std::min(from - 1, static_cast<int>((i + 0.5) * step)), {1.0f}};
            continue;
        }
        span.first = static_cast<int>(begin);
        for (int at = span.first; at < end && at < from; ++at) {
            span.weights.push_back(
                static_cast<float>((std::min(end, at + 1.0) - std::max(begin, static_cast<double>(at))) / (end - begin)));
        }
    }
    return spans;
}

} // namespace

Bitmap onWhite(Bitmap image, const std::string& name) {
    check(K_NormalizeBitmap(&image.record), name);
    const KernelBitmap& source = image.record;
    if (source.BitsPerPixel == 24 && source.Order == KB_ORDER_BGR) return image;
    Bitmap result;
    if (source.BitsPerPixel != 32) {
        check(K_ChangeBitmapDepth(&source, &result.record, 24, 0, 0, 0, 0, 0, 0), name);
        if (result.record.Order == KB_ORDER_BGR) return result;
        image = std::move(result);
        result = Bitmap();
    }
    check(K_CreateBitmap(&result.record, 1, source.Width, source.Height, 24, KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0, 0),
          name);
    result.record.XResolution = source.XResolution;
    result.record.YResolution = source.YResolution;
    const int step = source.BitsPerPixel / 8;
    const int blue = source.Order == KB_ORDER_RGB ? 2 : 0;
    for (int y = 0; y < source.Height; ++y) {
        const std::uint8_t* from = K_BitmapRowPointer(&source, y);
        std::uint8_t* to = K_WritableBitmapRow(&result.record, y);
        if (!from || !to) throw failure(name, ERROR_NO_MEMORY);
        for (int x = 0; x < source.Width; ++x, from += step, to += 3) {
            const unsigned opacity = step == 4 && source.Alpha ? from[3] : 255;
            const auto over = [opacity](unsigned value) {
                return static_cast<std::uint8_t>((value * opacity + 255 * (255 - opacity) + 127) / 255);
            };
            to[0] = over(from[blue]);
            to[1] = over(from[1]);
            to[2] = over(from[2 - blue]);
        }
    }
    return result;
}

Bitmap scaled(const Bitmap& image, int width, int height, const std::string& name) {
    const KernelBitmap& source = image.record;
    Bitmap result;
    check(K_CreateBitmap(&result.record, 1, width, height, 24, KB_ORDER_BGR, nullptr, KB_VIEW_TOP_LEFT, 0, 0), name);
    const auto resolution = [](int value, int now, int before) {
        return static_cast<int>(static_cast<double>(value) * now / before + 0.5);
    };
    result.record.XResolution = resolution(source.XResolution, width, source.Width);
    result.record.YResolution = resolution(source.YResolution, height, source.Height);
    const std::vector<AxisSpan> columns = axisSpans(source.Width, width), rows = axisSpans(source.Height, height);
    std::vector<float> sums(static_cast<std::size_t>(source.Width) * 3);
    for (int y = 0; y < height; ++y) {
        const AxisSpan& row = rows[static_cast<std::size_t>(y)];
        std::ranges::fill(sums, 0.0f);
        for (std::size_t i = 0; i < row.weights.size(); ++i) {
            const std::uint8_t* from = K_BitmapRowPointer(&source, row.first + static_cast<int>(i));
            for (std::size_t x = 0; x < sums.size(); ++x) sums[x] += row.weights[i] * static_cast<float>(from[x]);
        }
        std::uint8_t* to = K_WritableBitmapRow(&result.record, y);
        for (const AxisSpan& column : columns) {
            float value[3] = {0.5f, 0.5f, 0.5f};
            for (std::size_t i = 0; i < column.weights.size(); ++i) {
                const float* sum = &sums[(static_cast<std::size_t>(column.first) + i) * 3];
                for (int c = 0; c < 3; ++c) value[c] += column.weights[i] * sum[c];
            }
            for (const float one : value) *to++ = static_cast<std::uint8_t>(std::min(one, 255.0f));
        }
    }
    return result;
}

Bitmap forPdfPage(Bitmap image, const std::string& name) {
    const KernelBitmap& source = image.record;
    const bool wideGrey = (source.BitsPerPixel == 12 || source.BitsPerPixel == 16) && K_IsGrayscaleBitmap(&source) == 1;
    if (source.BitsPerPixel > 8 && !wideGrey) return onWhite(std::move(image), name);
    check(K_NormalizeBitmap(&image.record), name);
    if (!wideGrey) return image;
    Bitmap result;
    check(K_ChangeBitmapDepth(&source, &result.record, 8, 0, 0, 0, 0, 0, 0), name);
    return result;
}

} // namespace kann
