/* What the sample pages and the annotations on them agree on: sizes, the letter's lines, the cells of the sampler page.
 * Lengths are pixels of the scan at 300 dots an inch. */
#ifndef EXAMPLES_PAGE_LAYOUT_H
#define EXAMPLES_PAGE_LAYOUT_H

enum PageLayout {
    PAGE_WIDTH = 2480,
    PAGE_HEIGHT = 3508,
    PAGE_DPI = 300,
    PHOTO_WIDTH = 1600,
    PHOTO_HEIGHT = 1200,

    /* The letter on page 1: a line's text stands between its top and its top + BODY_SIZE. */
    MARGIN = 310,
    BODY_TOP = 1120,
    BODY_PITCH = 76,
    BODY_SIZE = 52,
    BODY_LINES = 18,

    /* The sampler on page 2: captions are printed, the cells are filled by annotations. */
    CELL_COLUMNS = 4,
    CELL_ROWS = 8,
    CELL_LEFT = 200,
    CELL_TOP = 470,
    CELL_WIDTH = 520,
    CELL_HEIGHT = 350,
    CAPTION_HEIGHT = 56,
    SCANNED_ROW = 2 /* here words are printed, which fills hide or not */
};

#define BODY_FACE "Liberation Serif"
static const char* const bodyLines[BODY_LINES] = {
    "Dear Ms Okafor,",
    "",
    "thank you for sending the drawings of the boathouse. We have gone through them with",
    "the county office and enclose our estimate. The north wall stands up to 35 mm out of",
    "plumb and has to be underpinned before the roof is lifted; the timber of the slipway",
    "can be kept.",
    "",
    "The work would take eleven weeks from the first of March. We hold the price of",
    "\243 48,650 until the end of January; the deposit of ten per cent is due with the order.",
    "",
    "Please note that account 4711 0815 23 is the only one that we take payments on.",
    "Messages that name another account are not from us.",
    "",
    "Two points are still open, and we would like to hear from you about them:",
    "     1.   Is the crane on the quay available in the second week?",
    "     2.   Who holds the keys of the upper store room?",
    "",
    "With kind regards,",
};

static const char* const cellCaptions[CELL_ROWS][CELL_COLUMNS] = {
    {"rectangle, solid", "dash, width 4", "dot, width 6", "dash dot, width 8"},
    {"ellipse, backward hatch", "cross", "diagonal cross", "forward hatch"},
    {"horizontal", "vertical, opaque", "solid, opaque", "solid, translucent"},
    {"lines, five styles", "polyline", "polygon, winding", "polygon, alternate"},
    {"pointers", "freehand", "rectangles, turned", "ellipses, turned"},
    {"text", "turned text", "wrapped text", "note"},
    {"copy", "and", "xor", "highlight, redaction"},
    {"buttons", "group in a group", "names", "line widths"},
};

#endif
