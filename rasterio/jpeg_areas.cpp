// Fills areas of JPEG pictures on their coefficients, and judges whether areas are filled. The picture is never decoded as a
// whole: a block of 8 x 8 samples that touches an area is turned into samples, filled and turned back; all others keep
// their coefficients to the bit. Each component has its own sampling, and a sample that stands for any covered pixel is
// covered. What is written is determined by coefficients, tables of quantisation, resolution, orientation and profile alone:
// so a file that was written here comes out of another pass as the same bytes, and one that doesn't holds something more.
#include "rasterio/color_profile.h"
#include "rasterio/jpeg_io.h"

#include "platform/sys.h"

#include <new>

namespace kb {
namespace {

constexpr int side = DCTSIZE;
constexpr uint32_t enoughBad = 64; // faulty blocks after which a judgement ends
constexpr int coarsestStep = 4000; // beyond, one step leads out of what decoders tell apart

using Block = double[DCTSIZE2];

// Orthonormal cosines, row by frequency.
struct Cosines {
    double c[side][side];
    Cosines() {
        for (int u = 0; u < side; ++u) {
            const double scale = u ? 0.5 : std::sqrt(0.125);
            for (int x = 0; x < side; ++x) c[u][x] = scale * std::cos((2 * x + 1) * u * 3.14159265358979323846 / 16);
        }
    }
};
const Cosines cosines;

// The transform of a block and its inverse, by rows and columns. The factors of JPEG: a flat block of level v has 8 v as its
// first coefficient.
void toFrequencies(const Block& samples, Block& out) {
    Block rows;
    for (int y = 0; y < side; ++y) {
        for (int u = 0; u < side; ++u) {
            double sum = 0;
            for (int x = 0; x < side; ++x) sum += cosines.c[u][x] * samples[y * side + x];
            rows[y * side + u] = sum;
        }
    }
    for (int v = 0; v < side; ++v) {
        for (int u = 0; u < side; ++u) {
            double sum = 0;
            for (int y = 0; y < side; ++y) sum += cosines.c[v][y] * rows[y * side + u];
            out[v * side + u] = sum;
        }
    }
}

void toSamples(const Block& frequencies, Block& out) {
    Block rows;
    for (int y = 0; y < side; ++y) {
        for (int u = 0; u < side; ++u) {
            double sum = 0;
            for (int v = 0; v < side; ++v) sum += cosines.c[v][y] * frequencies[v * side + u];
            rows[y * side + u] = sum;
        }
    }
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            double sum = 0;
            for (int u = 0; u < side; ++u) sum += cosines.c[u][x] * rows[y * side + u];
            out[y * side + x] = sum;
        }
    }
}

// Samples as differences from the middle level, 128.
constexpr double lowest = -128, highest = 127;

// One component's part of the work.
struct Component {
    int blocksAcross, blocksDown;
    int width, height; // in samples
    double level;      // of the fill
    const JQUANT_TBL* steps;
    bool hasFlat;
    JCOEF flat; // first coefficient of the blocks that lie in areas, once one was seen
};

// A block and what of it is covered.
struct CoveredBlock {
    JCOEF* coefficients;
    const uint8_t* covered; // of the block's samples
    int width, height;      // samples that lie in the image
};

JCOEF quantised(double value, double step) {
    constexpr double most = 1023 * 2; // what entropy coding can take as a difference
    return static_cast<JCOEF>(std::clamp(std::round(value / step), -most, most));
}

// First coefficient of a flat block. At the ends of the range it is rounded outwards: so coarse steps still give black and
// white, since decoders cut what lies outside.
JCOEF flatCoefficient(double level, double step) {
    const double value = level * side;
    if (level <= lowest) return static_cast<JCOEF>(std::floor(value / step));
    if (level >= highest) return static_cast<JCOEF>(std::ceil(value / step));
    return quantised(value, step);
}

bool isWhole(const CoveredBlock& block) {
    return std::all_of(block.covered, block.covered + DCTSIZE2, [](uint8_t covered) { return covered != 0; });
}

void dequantise(const Component& component, const JCOEF* coefficients, Block& out) {
    for (int i = 0; i < DCTSIZE2; ++i) out[i] = static_cast<double>(coefficients[i]) * component.steps->quantval[i];
}

void fillBlock(const Component& component, const CoveredBlock& block) {
    if (isWhole(block)) {
        std::fill_n(block.coefficients, DCTSIZE2, JCOEF{0});
        block.coefficients[0] = flatCoefficient(component.level, component.steps->quantval[0]);
        return;
    }
    Block frequencies, samples;
    dequantise(component, block.coefficients, frequencies);
    toSamples(frequencies, samples);
    for (int i = 0; i < DCTSIZE2; ++i)
        samples[i] = block.covered[i] ? component.level : std::clamp(std::round(samples[i]), lowest, highest);
    // Samples behind the image's edge are the encoder's: they repeat the last ones, so that nothing of old ones stays.
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            if (x >= block.width || y >= block.height)
                samples[y * side + x] = samples[std::min(y, block.height - 1) * side + std::min(x, block.width - 1)];
        }
    }
    toFrequencies(samples, frequencies);
    for (int i = 0; i < DCTSIZE2; ++i) block.coefficients[i] = quantised(frequencies[i], component.steps->quantval[i]);
}

// Could any block whose covered samples have the fill's level have been coded to these coefficients? Looked for by going
// back and forth between the two conditions: each coefficient within half a step of what is stored, each covered sample at
// the level. Both sets are convex, so the way ends in a common point when there is one. What other content leaves behind in
// covered samples beyond the coarseness of the steps has no such point.
bool couldBeFilled(const Component& component, const CoveredBlock& block) {
    constexpr int rounds = 400;
    constexpr double nearEnough = 0.2; // mean error in levels: decoders and encoders round
    Block center, frequencies, samples;
    dequantise(component, block.coefficients, center);
    std::copy_n(center, DCTSIZE2, frequencies);
    for (int round = 0; round < rounds; ++round) {
        toSamples(frequencies, samples);
        for (int i = 0; i < DCTSIZE2; ++i)
            samples[i] = block.covered[i] ? component.level : std::clamp(samples[i], lowest, highest);
        toFrequencies(samples, frequencies);
        double away = 0;
        for (int i = 0; i < DCTSIZE2; ++i) {
            const double half = component.steps->quantval[i] / 2.0;
            const double inside = std::clamp(frequencies[i], center[i] - half, center[i] + half);
            away += (frequencies[i] - inside) * (frequencies[i] - inside);
            frequencies[i] = inside;
        }
        if (away <= DCTSIZE2 * nearEnough * nearEnough) return true;
    }
    return false;
}

bool isFilled(Component& component, const CoveredBlock& block) {
    if (!isWhole(block)) return couldBeFilled(component, block);
    if (std::any_of(block.coefficients + 1, block.coefficients + DCTSIZE2, [](JCOEF c) { return c != 0; })) return false;
    const double step = component.steps->quantval[0];
    const JCOEF first = block.coefficients[0];
    if (component.hasFlat) return first == component.flat;
    component.hasFlat = true;
    component.flat = first;
    return first == flatCoefficient(component.level, step) || first == quantised(component.level * side, step);
}

enum class Work { fill, judge };

struct Recoder {
    jpeg_decompress_struct in;
    jpeg_compress_struct out;
    JpegSession session;
    JpegTarget target;
    ByteView data, profile;
    LoadLimits limits;
    Work work;
    const RECT* areas; // stored pixels, cut to the image
    uint32_t areaCount;
    COLORREF color;
    uint32_t bad;
};

// Level of the fill in a component, as a difference from the middle.
double levelOf(const jpeg_decompress_struct& jpeg, int component, COLORREF color) {
    const double red = GetRValue(color), green = GetGValue(color), blue = GetBValue(color);
    const double channels[] = {red, green, blue};
    if (jpeg.jpeg_color_space == JCS_RGB) return channels[component] - 128;
    const double luma = 0.299 * red + 0.587 * green + 0.114 * blue;
    const double levels[] = {luma - 128, (blue - luma) / 1.772, (red - luma) / 1.402};
    return std::clamp(std::round(levels[component]), lowest, highest);
}

// Samples of one row of blocks that are covered. `mask` has 64 bytes a block. False when none is.
bool coverRow(const Recoder& r, const jpeg_component_info& info, const Component& component, int blockRow, uint8_t* mask) {
    const auto across = static_cast<int64_t>(r.in.max_h_samp_factor), down = static_cast<int64_t>(r.in.max_v_samp_factor);
    const int64_t h = info.h_samp_factor, v = info.v_samp_factor;
    const int64_t top = int64_t{blockRow} * side, bottom = std::min<int64_t>(top + side, component.height);
    bool any = false;
    for (uint32_t i = 0; i < r.areaCount; ++i) {
        const RECT& area = r.areas[i];
        const int64_t first = std::max(area.top * v / down, top);
        const int64_t end = std::min((area.bottom * v + down - 1) / down, bottom);
        const int64_t left = area.left * h / across;
        const int64_t right = std::min<int64_t>((area.right * h + across - 1) / across, component.width);
        if (first >= end || left >= right) continue;
        if (!any) std::memset(mask, 0, static_cast<size_t>(component.blocksAcross) * DCTSIZE2);
        any = true;
        for (int64_t y = first; y < end; ++y) {
            for (int64_t x = left; x < right; ++x) mask[x / side * DCTSIZE2 + (y - top) * side + x % side] = 1;
        }
    }
    return any;
}

// What repeats a covered sample behind the image's edge is covered too.
void coverEdge(uint8_t* covered, int width, int height) {
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            if (x >= width || y >= height)
                covered[y * side + x] = covered[std::min(y, height - 1) * side + std::min(x, width - 1)];
        }
    }
}

// Nothing here and below may need a destructor.
int workOnComponent(Recoder& r, int index, jvirt_barray_ptr array) {
    const jpeg_component_info& info = r.in.comp_info[index];
    const auto samples = [](JDIMENSION pixels, int factor, int most) {
        return static_cast<int>((int64_t{pixels} * factor + most - 1) / most);
    };
    Component component{};
    component.width = samples(r.in.image_width, info.h_samp_factor, r.in.max_h_samp_factor);
    component.height = samples(r.in.image_height, info.v_samp_factor, r.in.max_v_samp_factor);
    component.blocksAcross = (component.width + side - 1) / side;
    component.blocksDown = (component.height + side - 1) / side;
    component.level = levelOf(r.in, index, r.color);
    component.steps = info.quant_table ? info.quant_table : r.in.quant_tbl_ptrs[info.quant_tbl_no];
    if (!r.areaCount) return SUCCESS;
    if (!component.steps) return ERROR_FILE_READ;
    const auto& steps = component.steps->quantval;
    if (std::find(steps, steps + DCTSIZE2, 0) != steps + DCTSIZE2) return ERROR_FILE_READ;
    if (steps[0] > coarsestStep) return ERROR_FEATURE_NOT_SUPPORTED;
    const auto common = reinterpret_cast<j_common_ptr>(&r.in);
    auto* mask = static_cast<uint8_t*>(
        r.in.mem->alloc_large(common, JPOOL_IMAGE, static_cast<size_t>(component.blocksAcross) * DCTSIZE2));
    for (int row = 0; row < component.blocksDown && r.bad < enoughBad; ++row) {
        if (!coverRow(r, info, component, row, mask)) continue;
        JBLOCKROW blocks = r.in.mem->access_virt_barray(common, array, static_cast<JDIMENSION>(row), 1, TRUE)[0];
        for (int column = 0; column < component.blocksAcross && r.bad < enoughBad; ++column) {
            uint8_t* covered = mask + static_cast<size_t>(column) * DCTSIZE2;
            if (std::none_of(covered, covered + DCTSIZE2, [](uint8_t c) { return c != 0; })) continue;
            const CoveredBlock block{blocks[column], covered, std::min(side, component.width - column * side),
                                     std::min(side, component.height - row * side)};
            coverEdge(covered, block.width, block.height);
            if (r.work == Work::fill)
                fillBlock(component, block);
            else if (!isFilled(component, block))
                ++r.bad;
        }
    }
    return SUCCESS;
}

void cutAreas(Recoder& r, RECT* areas, const RECT* given) {
    uint32_t kept = 0;
    const auto width = static_cast<int32_t>(r.in.image_width), height = static_cast<int32_t>(r.in.image_height);
    for (uint32_t i = 0; i < r.areaCount; ++i) {
        const RECT cut{std::max(given[i].left, 0), std::max(given[i].top, 0), std::min(given[i].right, width),
                       std::min(given[i].bottom, height)};
        if (cut.left < cut.right && cut.top < cut.bottom) areas[kept++] = cut;
    }
    r.areas = areas;
    r.areaCount = kept;
}

void writePicture(Recoder& r, jvirt_barray_ptr* arrays) {
    const int perspective = jpegPerspective(r.in);
    jpeg_create_compress(&r.out);
    writeJpegTo(&r.out, r.target);
    jpeg_copy_critical_parameters(&r.in, &r.out);
    r.out.density_unit = r.in.density_unit;
    r.out.X_density = r.in.X_density;
    r.out.Y_density = r.in.Y_density;
    // Fresh tables: those of the input tell how often each code came, also where it came in what is covered now.
    r.out.optimize_coding = TRUE;
    r.out.restart_interval = r.in.restart_interval;
    if (r.in.progressive_mode) jpeg_simple_progression(&r.out);
    jpeg_write_coefficients(&r.out, arrays);
    writeJpegOrientation(&r.out, perspective);
    if (profileFits(r.profile, r.in.num_components == 1))
        jpeg_write_icc_profile(&r.out, r.profile.data(), static_cast<unsigned int>(r.profile.size()));
    jpeg_finish_compress(&r.out);
}

int recode(Recoder& r, RECT* areas, const RECT* given) {
    prepareJpeg(reinterpret_cast<j_common_ptr>(&r.in), r.session);
    prepareJpeg(reinterpret_cast<j_common_ptr>(&r.out), r.session);
    if (setjmp(r.session.back)) return jpegFault(r.session);
    jpeg_create_decompress(&r.in);
    limitJpegScans(reinterpret_cast<j_common_ptr>(&r.in), r.session);
    jpeg_save_markers(&r.in, JPEG_APP0 + 1, 0xFFFF);
    jpeg_save_markers(&r.in, JPEG_APP0 + 2, 0xFFFF);
    jpeg_mem_src(&r.in, r.data.data(), static_cast<unsigned long>(r.data.size()));
    if (jpeg_read_header(&r.in, TRUE) != JPEG_HEADER_OK) return ERROR_FILE_READ;
    if (const int result = checkSize(r.in.image_width, r.in.image_height, r.limits); result != SUCCESS) return result;
    const J_COLOR_SPACE space = r.in.jpeg_color_space;
    if (space != JCS_GRAYSCALE && space != JCS_YCbCr && space != JCS_RGB) return ERROR_FEATURE_NOT_SUPPORTED;
    jvirt_barray_ptr* arrays = jpeg_read_coefficients(&r.in);
    if (!arrays || r.session.endsEarly) return ERROR_FILE_READ;
    cutAreas(r, areas, given);
    for (int i = 0; i < r.in.num_components; ++i) {
        if (const int result = workOnComponent(r, i, arrays[i]); result != SUCCESS) return result;
    }
    if (r.work == Work::fill) writePicture(r, arrays);
    return SUCCESS;
}

int run(Recoder& r, const void* data, size_t size, const RECT* areas, uint32_t count, COLORREF color) {
    if (!data || (count && !areas)) return ERROR_INV_PARAMETER;
    r.data = {static_cast<const uint8_t*>(data), size};
    r.limits = limitsOf(nullptr);
    r.areaCount = count;
    r.color = color;
    int result;
    try {
        std::vector<RECT> cut(count);
        const bool isJpeg = K_RecognizeFormat(data, size) == KB_FORMAT_JPEG;
        Bytes profile;
        if (isJpeg && r.work == Work::fill && readProfile(r.data, KB_FORMAT_JPEG, 1, &profile)) {
            profile = plainProfile(profile);
            r.profile = profile;
        }
        result = isJpeg ? recode(r, cut.data(), areas) : ERROR_FILE_FORMAT;
        r.profile = {};
    } catch (const std::bad_alloc&) {
        result = ERROR_NO_MEMORY;
    }
    jpeg_destroy_compress(&r.out);
    jpeg_destroy_decompress(&r.in);
    return result;
}

} // namespace
} // namespace kb

using namespace kb;

extern "C" {

int K_FillJpegAreas(const void* pData, size_t size, const RECT* pAreas, uint32_t nAreas, COLORREF color, HGLOBAL* phMem,
                    size_t* puSize) {
    if (!phMem || !puSize) return ERROR_INV_PARAMETER;
    Recoder recoder{};
    recoder.work = Work::fill;
    int result = run(recoder, pData, size, pAreas, nAreas, color);
    if (result == SUCCESS) {
        const HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, recoder.target.size);
        if (block) {
            std::memcpy(GlobalLock(block), recoder.target.bytes, recoder.target.size);
            GlobalUnlock(block);
            *phMem = block;
            *puSize = recoder.target.size;
        } else {
            result = ERROR_NO_MEMORY;
        }
    }
    std::free(recoder.target.bytes);
    return result;
}

int K_CheckJpegAreas(const void* pData, size_t size, const RECT* pAreas, uint32_t nAreas, COLORREF color, uint32_t* pnBad) {
    if (!pnBad) return ERROR_INV_PARAMETER;
    Recoder recoder{};
    recoder.work = Work::judge;
    const int result = run(recoder, pData, size, pAreas, nAreas, color);
    if (result == SUCCESS) *pnBad = recoder.bad;
    return result;
}

} // extern "C"
