// A PDF is written as its bytes come, so that a document of many scans takes the memory of one. Each page has the size of its
// image in pixels; redactions go into the image before it is embedded, everything else is drawn on top as what it is.
#include "apps/kann/page_output.h"

#include "apps/kann/failure.h"
#include "apps/kann/fit.h"
#include "apps/kann/page_image.h"
#include "apps/kann/vector_image.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace kann {

namespace {

constexpr int maxDpi = 32767;

class PdfFile {
public:
    PdfFile(OutputFile& output) : name_(output.name()), file_(std::fopen(output.workPath().c_str(), "wb")) {
        if (!file_) throw systemFailure(name_, ERROR_FILE_OPEN, errno);
        context_ = KbCreatePdfDC(writeBytes, this);
        if (!context_) {
            std::fclose(file_);
            throw failure(name_, ERROR_NO_MEMORY);
        }
    }
    ~PdfFile() {
        if (context_) DeleteDC(context_);
        if (file_) std::fclose(file_);
    }
    PdfFile(const PdfFile&) = delete;
    PdfFile& operator=(const PdfFile&) = delete;

    HDC startPage(int width, int height, const Resolution& resolution) {
        const auto dpi = [](double value) {
            return value < 1 ? assumedDpi : static_cast<int>(std::min(value, static_cast<double>(maxDpi)));
        };
        if (!KbStartPdfPage(context_, width, height, dpi(resolution.x), dpi(resolution.y))) throw writeFailure();
        return context_;
    }

    void close() {
        const bool written = KbClosePdfDC(std::exchange(context_, nullptr)) != FALSE;
        const bool closed = std::fclose(std::exchange(file_, nullptr)) == 0;
        if (!closed && error_ == 0) error_ = errno;
        if (!written || !closed) throw writeFailure();
    }

private:
    static BOOL writeBytes(void* context, const void* bytes, size_t count) {
        auto* self = static_cast<PdfFile*>(context);
        if (self->error_ == 0 && std::fwrite(bytes, 1, count, self->file_) != count) self->error_ = errno;
        return self->error_ == 0 ? TRUE : FALSE;
    }

    Failure writeFailure() const {
        return error_ != 0 ? systemFailure(name_, ERROR_FILE_WRITE, error_)
                           : failure(name_, ERROR_FAILURE, "a page can't be made");
    }

    std::string name_;
    std::FILE* file_;
    HDC context_ = nullptr;
    int error_ = 0; // of the first write that failed
};

} // namespace

void writePdf(const Job& job, const InputFile& image, const PageChoice& choice, OutputFile& output, JobLog& log) {
    TreeSource source(openStoreOf(job), image, choice);
    const int pages = choice.oneAlone ? 1 : imagePages(image);
    bool annotated = false;
    std::string whyNone;
    PdfFile pdf(output);
    for (int i = 0; i < pages; ++i) {
        const int page = choice.oneAlone ? choice.page : i + 1;
        Bitmap picture = forPdfPage(loadImage(image, page), image.name);
        std::string why;
        Tree tree;
        if (choice.oneAlone || source.reaches(page)) {
            tree = source.load(page, why);
        } else {
            log.warnings.push_back(source.name() + ": it has no page " + std::to_string(page));
        }
        annotated = annotated || tree;
        if (whyNone.empty()) whyNone = why;

        const KernelBitmap& pixels = picture.record;
        RECT view{};
        if (tree) {
            measureBy(tree, resolutionOf(pixels), source.name());
            realize(picture.record, tree, true, source.name());
            view = fitView(tree, pixels.Width, pixels.Height, source.name());
        }
        const HDC context = pdf.startPage(pixels.Width, pixels.Height, resolutionOf(pixels));
        const RECT whole{0, 0, pixels.Width, pixels.Height};
        check(K_PaintBitmap(context, &pixels, nullptr, nullptr, &whole, nullptr, SRCCOPY), image.name);
        if (tree) check(K_AnnPrint(context, &view, tree.get()), source.name());
    }
    if (!annotated && !whyNone.empty()) log.warnings.push_back(whyNone);
    pdf.close();
}

} // namespace kann
