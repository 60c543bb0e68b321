// Documents of pages: images with their annotations drawn over them as shapes and text.
#pragma once

#include "apps/kann/batch.h"
#include "apps/kann/output_file.h"
#include "apps/kann/tree_source.h"

namespace kann {

// Writes all pages of an image, or the chosen one, as a PDF. What redactions cover is gone from the images in it. The output
// isn't committed. Throws Failure.
void writePdf(const Job& job, const InputFile& image, const PageChoice& choice, OutputFile& output, JobLog& log);

} // namespace kann
