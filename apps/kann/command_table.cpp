// The rows behind the command line: options and commands. Wording for people stands here once; help, manual page and
// completions take it from these rows.
#include "apps/kann/add_properties.h"
#include "apps/kann/commands.h"

#include <algorithm>
#include <array>

namespace kann {

namespace {

// The first rows belong to every command.
constexpr std::size_t commonOptions = 7;

constexpr auto options = std::to_array<OptionRow>({
    {"quiet", 'q', Arity::flag, "", "no warnings and no progress on standard error, failures alone"},
    {"trace", '\0', Arity::flag, "", "show the library's trace lines on standard error"},
    {"linked-images", '\0', Arity::flag, "",
     "open image files that annotation data of other tools names (regular files alone)"},
    {"max-pixels", '\0', Arity::one, "N", "refuse images of more pixels (default 268435456)"},
    {"max-memory", '\0', Arity::one, "SIZE",
     "take no more memory for data than this, in bytes or with K, M, G (default 4G)"},
    {"max-objects", '\0', Arity::one, "N", "refuse trees of more objects (default 1000000)"},
    {"help", 'h', Arity::flag, "", "show this help"},

    {"output", 'o', Arity::one, "OUT", "write to OUT, \"-\" for standard output; a picture's format goes by the extension",
     ValueKind::file},
    {"format", '\0', Arity::one, "FORMAT", "picture format of OUT, whatever its extension", ValueKind::words,
     "png jpeg tiff bmp pdf"},
    {"out-dir", '\0', Arity::one, "DIR", "several inputs: write one result for each into DIR", ValueKind::folder},
    {"files-from", '\0', Arity::one, "LIST", "take further inputs from the lines of LIST, \"-\" for standard input",
     ValueKind::file},
    {"store", '\0', Arity::one, "STORE", "one store for all images", ValueKind::file},
    {"jobs", 'j', Arity::one, "N", "work on N files at once (default 1)"},
    {"progress", '\0', Arity::flag, "", "tell the progress also when standard error is no terminal"},
    {"page", '\0', Arity::one, "N", "page of the input (default 1)"},
    {"store-page", '\0', Arity::one, "N",
     "page of the store (default: the image's page if there is one and the store has several, else 1)"},
    {"mode", '\0', Arity::one, "MODE", "draw as in run mode or in design mode (default run)", ValueKind::words,
     "run design"},
    {"scale", '\0', Arity::one, "S", "size of the result against the image (default 1)"},
    {"select", '\0', Arity::many, "TAG...", "select the objects with these tags; design mode draws their handles"},
    {"dpi", '\0', Arity::one, "N|X,Y", "dots an inch: N to draw metafiles at (default 150), X,Y to measure by"},
    {"width", '\0', Arity::one, "PIXELS", "draw metafiles so that they have this width"},
    {"key", '\0', Arity::one, "KEY", "key of the lock"},
    {"tag", '\0', Arity::one, "N", "only the objects with this tag"},
    {"json", '\0', Arity::flag, "", "one JSON document; JSON Lines for several inputs"},
    {"to", '\0', Arity::one, "FORM", "form of the result", ValueKind::words, "native coded tifftag wangtag wmf json"},
    {"as", '\0', Arity::one, "FORM", "form of the data in the tag (default: the store's own)", ValueKind::words,
     "native coded tifftag wangtag"},
    {"rect", '\0', Arity::one, "L,T,R,B", "rectangle in the container's units"},
    {"points", '\0', Arity::many, "X,Y...", "points in the container's units; ends at the next option"},
    {"rotate", '\0', Arity::one, "DEGREES", "turn the new object clockwise about its centre"},
    {"parent", '\0', Arity::one, "TAG", "put the object into the container with this tag (default: the root)"},
    {"regions", '\0', Arity::one, "FILE.json", "areas that are to be covered, in pixels of the page as viewed",
     ValueKind::file},
    {"report", '\0', Arity::one, "FILE.json", "write down what was covered, for verify", ValueKind::file},
    {"dry-run", '\0', Arity::flag, "", "write nothing, print what would be covered"},
    {"depth", '\0', Arity::one, "24", "let colours of more than 8 bits a sample be cut to 8", ValueKind::words, "24"},
});

using Names = std::string_view;
constexpr std::array renderOptions{Names("output"), Names("format"),  Names("page"),       Names("store-page"),
                                   Names("mode"),   Names("scale"),   Names("select"),     Names("dpi"),
                                   Names("width"),  Names("out-dir"), Names("files-from"), Names("store"),
                                   Names("jobs"),   Names("progress")};
constexpr std::array burnOptions{Names("output"),     Names("format"), Names("page"),  Names("store-page"),
                                 Names("mode"),       Names("dpi"),    Names("width"), Names("out-dir"),
                                 Names("files-from"), Names("store"),  Names("jobs"),  Names("progress")};
constexpr std::array measureOptions{Names("json"), Names("dpi"), Names("page"), Names("store-page")};
constexpr std::array hitOptions{Names("json"), Names("page"), Names("store-page"), Names("mode")};
constexpr std::array lockOptions{Names("output"), Names("key"), Names("tag"), Names("store-page")};
constexpr std::array infoOptions{Names("json"), Names("page"), Names("files-from"), Names("jobs"), Names("progress")};
constexpr std::array convertOptions{Names("output"),     Names("to"),   Names("page"),    Names("out-dir"),
                                    Names("files-from"), Names("jobs"), Names("progress")};
constexpr std::array pagesOptions{Names("output"), Names("store-page")};
constexpr std::array attachOptions{Names("output"), Names("page"),    Names("store-page"),
                                   Names("as"),     Names("out-dir"), Names("files-from"),
                                   Names("store"),  Names("jobs"),    Names("progress")};
constexpr std::array tagOptions{Names("output"),     Names("page"), Names("out-dir"),
                                Names("files-from"), Names("jobs"), Names("progress")};
constexpr std::array addOptions{Names("output"), Names("rect"),       Names("points"), Names("rotate"),
                                Names("parent"), Names("store-page"), Names("to")};
constexpr std::array redactOptions{Names("output"),  Names("format"),     Names("regions"), Names("report"),
                                   Names("dry-run"), Names("depth"),      Names("page"),    Names("store-page"),
                                   Names("out-dir"), Names("files-from"), Names("store"),   Names("jobs"),
                                   Names("progress")};
constexpr std::array maskOptions{Names("output"), Names("store"), Names("format"),
                                 Names("to"),     Names("page"),  Names("store-page")};
constexpr std::array unmaskOptions{Names("output"), Names("key"), Names("format"), Names("page"), Names("store-page")};
constexpr std::array verifyOptions{Names("regions"), Names("page"), Names("store-page")};

constexpr std::size_t anyNumber = 1u << 24;

constexpr auto commands = std::to_array<CommandRow>({
    {"render", "IMAGE [STORE] -o OUT", "draw an image with its annotations as a viewer shows them",
     "Without STORE the annotations are those that the image carries in its tag. The root container is fitted to the "
     "image, whatever zoom it was stored with. OUT has 24 bits a pixel, the image's resolution, and no annotation "
     "data.\n\n"
     "A metafile is drawn at 150 dots an inch unless --dpi or --width is given. OUT may be a PDF: it takes all pages of "
     "the image unless --page picks one, and the annotations are shapes and text over it. What redactions cover isn't in "
     "the PDF's images.\n\n"
     "With --out-dir or --files-from all operands are images; one store for all of them comes by --store.",
     renderOptions, false, 0, anyNumber, runRender},
    {"burn", "IMAGE [STORE] -o OUT", "make the annotations part of the pixels",
     "Without STORE the annotations are those that the image carries in its tag. Depth, orientation and resolution stay; a "
     "TIFF keeps its other pages and the page's compression, and the page loses its annotation data. Grey of 12 and 16 "
     "bits is refused. OUT may be a PDF, as with render.\n\n"
     "This isn't redaction: the file may hold what was covered elsewhere; see redact.",
     burnOptions, false, 0, anyNumber, runBurn},
    {"info", "FILE... [--json]", "show form, pages and tree of annotation data",
     "Tells each object's type, bounds, tag, name, text and measures, and whether redactions hold pixels that can be "
     "restored. With --json every stored field is told.",
     infoOptions, false, 0, anyNumber, runInfo},
    {"add", "STORE TYPE --rect L,T,R,B | --points X,Y... [--PROPERTY VALUE...] -o OUT", "put one more object in a tree",
     "STORE may be new:WxH for a new tree of that size. TYPE is the name of an object type, such as rect, line, stamp or "
     "ruler. An object is visible unless --visible no is given. A stamp shows a predefined picture (--stamp), a metafile, "
     "an image or a text. Other pages of the store stay as they are; forms of one page hold the changed one alone.",
     addOptions, true, 2, 2, runAdd},
    {"measure", "STORE [IMAGE] [--dpi X,Y] [--json]", "tell lengths, angles and areas",
     "Lengths rest on the resolution of IMAGE, or of the TIFF that carries the annotations, or on --dpi; without any of "
     "them 150 dots an inch are assumed, and that is told. Areas are in pixels of the object's own space.",
     measureOptions, false, 1, 2, runMeasure},
    {"hit", "STORE X Y [--json]", "tell what lies at a pixel of the image",
     "The front-most object at that pixel, without those that are hidden or locked. Unless STORE is a TIFF that carries "
     "its annotations the image is as large as the tree. Coordinates below 0 stand behind \"--\".",
     hitOptions, false, 3, 3, runHit},
    {"lock", "STORE --key KEY -o OUT [--tag N]", "lock objects with a key",
     "All items of all pages, or those of --store-page or --tag. An object that is locked already keeps its key. A lock "
     "guards against changes by hand and against lifting a redaction; it doesn't encrypt.",
     lockOptions, false, 1, 1, runLock},
    {"unlock", "STORE --key KEY -o OUT [--tag N]", "unlock objects that have this key",
     "Objects with another key stay locked, and the status is 3.", lockOptions, false, 1, 1, runUnlock},
    {"convert", "STORE -o OUT --to FORM", "write annotation data in another form",
     "All pages are taken along unless --page picks one; of a TIFF those are the tags of all its images, an empty page for "
     "an image without. The forms of tags, wmf and json hold one page, the first one by default.",
     convertOptions, false, 0, anyNumber, runConvert},
    {"pages", "STORE list | insert N STORE2 | replace N STORE2 | delete N",
     "list, insert, replace and delete pages of a store",
     "Works in place, through a temporary copy, or to OUT. Insert puts a page of STORE2, that of --store-page, before page "
     "N. N of last puts it behind the last page, with replace too; delete last takes the last page away.",
     pagesOptions, false, 2, 4, runPages},
    {"attach", "IMAGE.tif STORE -o OUT.tif [--page N] [--as FORM]", "put annotation data into the tag of a TIFF page",
     "Pixels and other tags stay as they are. One page of the store goes into the tag.", attachOptions, false, 0, anyNumber,
     runAttach},
    {"extract", "IMAGE.tif -o STORE [--page N]", "copy the annotation data out of the tag of a TIFF page",
     "The data is copied as it stands in the tag.", tagOptions, false, 0, anyNumber, runExtract},
    {"detach", "IMAGE.tif -o OUT.tif [--page N]", "take the annotation data out of the tag of a TIFF page",
     "Pixels and other tags stay as they are; the bytes of the data are zeroed.", tagOptions, false, 0, anyNumber,
     runDetach},
    {"mask", "IMAGE STORE -o OUT --store STORE2", "cover areas so that they can be given back",
     "Draws the redactions of STORE, and nothing else, into the pixels. What they cover goes into STORE2, which is a store "
     "with the same tree, in native form unless --to picks the coded one. This is no redaction: whoever has STORE2 has the "
     "covered pixels, and a lock only scrambles them. OUT is written whole and new, without metadata, and never as JPEG.",
     maskOptions, false, 2, 2, runMask},
    {"unmask", "IMAGE STORE2 -o OUT [--key KEY]", "give back what mask has covered",
     "Puts the pixels back that STORE2 holds, bit for bit. Locked redactions need their key; those with another one, or "
     "none given, stay covered, and the status is 3.",
     unmaskOptions, false, 2, 2, runUnmask},
    {"redact", "IMAGE [STORE] -o OUT", "cover areas for good",
     "Makes what redactions cover black, hidden ones too, whatever fill or mode they have; a turned one with the upright "
     "rectangle around it. Without STORE and --regions the redactions are those that the image carries in its tags; both "
     "together count both. Page n of the store belongs to page n of the image unless --page or --store-page picks one.\n\n"
     "The image is written whole and new, all its pages with their resolution, orientation and colour profile and nothing "
     "else. It is then judged as verify does; a result that isn't clean isn't written. Where there is nothing to cover the "
     "command fails.",
     redactOptions, false, 0, anyNumber, runRedact},
    {"verify", "IMAGE [STORE]", "look whether anything is left of what redact has covered",
     "STORE is annotation data with redactions, or a report of redact. Covered areas have to be of one colour, those of a "
     "JPEG black; no other page may show the same uncovered; and the file may hold nothing beside the pixels and what is "
     "needed to show them: no metadata, previews, unused bytes, or annotation data with pictures. What can't be judged "
     "counts as left. Each find is a line on standard error, and the status is 5.",
     verifyOptions, false, 1, 2, runVerify},
});

// Each option has one row, and each name in a command's list stands for one.
consteval bool tablesFit() {
    for (std::size_t i = 0; i < options.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            if (options[i].name == options[j].name) return false;
        }
    }
    return std::ranges::all_of(commands, [](const CommandRow& command) {
        return std::ranges::all_of(command.options, [](std::string_view name) {
            return std::ranges::find(options, name, &OptionRow::name) != options.end();
        });
    });
}
static_assert(tablesFit());

} // namespace

std::span<const OptionRow> optionRows() { return options; }

std::size_t commonOptionCount() { return commonOptions; }

std::span<const CommandRow> commandRows() { return commands; }

const CommandRow* findCommand(std::string_view name) {
    const auto row = std::ranges::find(commands, name, &CommandRow::name);
    return row == commands.end() ? nullptr : &*row;
}

std::vector<const OptionRow*> optionsOf(const CommandRow& command) {
    std::vector<const OptionRow*> rows;
    for (const std::string_view name : command.options) rows.push_back(&*std::ranges::find(options, name, &OptionRow::name));
    if (command.takesProperties) {
        for (const PropertyRow& property : propertyRows()) rows.push_back(&property.option);
    }
    for (std::size_t i = 0; i < commonOptions; ++i) rows.push_back(&options[i]);
    return rows;
}

} // namespace kann
