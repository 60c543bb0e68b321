/* Numbers of the exported interface: object types, the values that properties take, filter flags, stored forms, tools,
 * events and menus. Return codes stand in contracts/return_codes.h, save flags in contracts/raster_io.h, the numbers of
 * texts in kbann/auto_text.h. */
#ifndef KBANN_CONSTANTS_H
#define KBANN_CONSTANTS_H

/* Kinds of objects; fixed when an object is made. */
typedef enum AnnObjectType {
    ANN_OBJECT_CONTAINER = 0,
    ANN_OBJECT_POINTER = 1,
    ANN_OBJECT_AUDIO = 2,
    ANN_OBJECT_BUTTON = 3,
    ANN_OBJECT_ELLIPSE = 4,
    ANN_OBJECT_FREEHAND = 5,
    ANN_OBJECT_HILITE = 6,
    ANN_OBJECT_HOTSPOT = 7,
    ANN_OBJECT_LINE = 8,
    ANN_OBJECT_NOTE = 9,
    ANN_OBJECT_POLYGON = 10,
    ANN_OBJECT_POLYLINE = 11,
    ANN_OBJECT_RECT = 12,
    ANN_OBJECT_REDACT = 13,
    ANN_OBJECT_STAMP = 14,
    ANN_OBJECT_TEXT = 15,
    ANN_OBJECT_AUTOMATION = 16,
    ANN_OBJECT_RULER = 17,
    ANN_OBJECT_CROSSPRODUCT = 18,
    ANN_OBJECT_POINT = 19,
    ANN_OBJECT_PROTRACTOR = 20,
    ANN_OBJECT_VIDEO = 21,
    ANN_OBJECT_PUSHPIN = 22,
    ANN_OBJECT_FREEHANDHOTSPOT = 23,
    ANN_OBJECT_LAST = 24, /* one past the last type */
    ANN_OBJECT_ALL = -1   /* any type, where a function says so */
} AnnObjectType;

/* Filter flags of tree walks, properties and transforms; any of them or-ed. */
typedef enum AnnFlagConstants {
    ANN_FLAG_SELECTED = 0x01,     /* only objects that are selected */
    ANN_FLAG_NOTCONTAINER = 0x02, /* containers are passed over */
    ANN_FLAG_NOTTHIS = 0x04,      /* start at the object's first child and go through its list */
    ANN_FLAG_RECURSE = 0x08,      /* go down into children */
    ANN_FLAG_NOINVALIDATE = 0x10, /* request no repaint; what is derived is brought up to date all the same */
    ANN_FLAG_CHECKMENU = 0x20,    /* only objects for which the operation's menu item is enabled */
    ANN_FLAG_USER = 0x40          /* only objects whose user is in the caller's list */
} AnnFlagConstants;

/* Active state of objects that react, and of an automation. */
typedef enum AnnActiveConstants { ANN_ACTIVE_DISABLED = 0, ANN_ACTIVE_ENABLED = 1 } AnnActiveConstants;

/* User mode of a whole tree: design edits, run follows links and presses buttons. */
typedef enum AnnUserModeConstants { ANN_USERMODE_DESIGN = 0, ANN_USERMODE_RUN = 1 } AnnUserModeConstants;

/* How much of what lies below a fill hides. */
typedef enum AnnFillModeConstants {
    ANN_FILLMODE_TRANSPARENT = 0,
    ANN_FILLMODE_TRANSLUCENT = 1,
    ANN_FILLMODE_OPAQUE = 2
} AnnFillModeConstants;

/* Fill and hatch patterns. */
typedef enum AnnFillPatternConstants {
    ANN_FILLPATTERN_SOLID = 0,
    ANN_FILLPATTERN_BDIAGONAL = 1,
    ANN_FILLPATTERN_CROSS = 2,
    ANN_FILLPATTERN_DIAGCROSS = 3,
    ANN_FILLPATTERN_FDIAGONAL = 4,
    ANN_FILLPATTERN_HORIZONTAL = 5,
    ANN_FILLPATTERN_VERTICAL = 6
} AnnFillPatternConstants;

/* Line styles. */
typedef enum AnnLineStyleConstants {
    ANN_LINE_SOLID = 0,
    ANN_LINE_DASH = 1,
    ANN_LINE_DOT = 2,
    ANN_LINE_DASHDOT = 3,
    ANN_LINE_DASHDOTDOT = 4,
    ANN_LINE_NULL = 5 /* no line */
} AnnLineStyleConstants;

/* Which insides of a self-crossing polygon are filled. */
typedef enum AnnPolyFillModeConstants { ANN_POLYFILL_WINDING = 0, ANN_POLYFILL_ALTERNATE = 1 } AnnPolyFillModeConstants;

/* How drawing mixes with what lies below. */
typedef enum AnnROP2Constants { ANN_ROP2_COPY = 0, ANN_ROP2_AND = 1, ANN_ROP2_XOR = 2 } AnnROP2Constants;

/* What a measurement object shows; bits. */
typedef enum AnnShowConstants { ANN_SHOW_NONE = 0, ANN_SHOW_LENGTH = 1, ANN_SHOW_GAUGE = 2 } AnnShowConstants;

/* Units of length. */
typedef enum AnnUnitConstants {
    ANN_UNIT_INCHES = 0,
    ANN_UNIT_FEET = 1,
    ANN_UNIT_YARDS = 2,
    ANN_UNIT_MICROMETERS = 3,
    ANN_UNIT_MILIMETERS = 4,
    ANN_UNIT_CENTIMETERS = 5,
    ANN_UNIT_METERS = 6,
    ANN_UNIT_TWIPS = 7,
    ANN_UNIT_POINTS = 8,
    ANN_UNIT_PIXELS = 9,
    ANN_UNIT_DEF_ABBR = 16384 /* or-ed in: the unit's own abbreviation */
} AnnUnitConstants;

/* Units of angles. */
typedef enum AnnAngleConstants {
    ANN_ANGLE_DEGREES = 0,
    ANN_ANGLE_RADIANS = 1,
    ANN_ANGLE_DEF_ABBR = 16384 /* or-ed in: the unit's own abbreviation */
} AnnAngleConstants;

/* What a hit test has found. */
typedef enum AnnHitConstants { ANN_HIT_NONE = 0, ANN_HIT_BODY = 1, ANN_HIT_HANDLE = 2, ANN_HIT_NAME = 3 } AnnHitConstants;

/* Stored forms. */
typedef enum AnnFMTConstants {
    ANN_FMT_NATIVE = 0,  /* text form, paged */
    ANN_FMT_WMF = 1,     /* placeable metafile, written only */
    ANN_FMT_TIFFTAG = 2, /* Wang marks with named blocks of our own */
    ANN_FMT_WANGTAG = 3, /* Wang marks alone */
    ANN_FMT_ENCODED = 4  /* coded form, paged */
} AnnFMTConstants;

/* TIFF tag that carries annotation data. */
typedef enum AnnReadTagConstants {
    ANN_TAG_TIFF = 32932 /* 0x80A4, type bytes */
} AnnReadTagConstants;

/* Predefined metafiles. */
typedef enum AnnMetafileModeConstants {
    ANN_METAFILE_USER = 32767, /* a metafile of the application */
    ANN_METAFILE_APPROVED = 0,
    ANN_METAFILE_ASSIGNED = 1,
    ANN_METAFILE_CHECKED = 2,
    ANN_METAFILE_CLATPRV = 3,
    ANN_METAFILE_COPY = 4,
    ANN_METAFILE_DRAFT = 5,
    ANN_METAFILE_EXTENDED = 6,
    ANN_METAFILE_FAX = 7,
    ANN_METAFILE_FAXED = 8,
    ANN_METAFILE_IMPORTANT = 9,
    ANN_METAFILE_INVOICE = 10,
    ANN_METAFILE_NOTICE = 11,
    ANN_METAFILE_OFFICIAL = 12,
    ANN_METAFILE_ONFILE = 13,
    ANN_METAFILE_PAID = 14,
    ANN_METAFILE_PASSED = 15,
    ANN_METAFILE_PENDING = 16,
    ANN_METAFILE_PROCESSED = 17,
    ANN_METAFILE_RECEIVED = 18,
    ANN_METAFILE_REJECTED = 19,
    ANN_METAFILE_RELEASE = 20,
    ANN_METAFILE_SENT = 21,
    ANN_METAFILE_SHIPPED = 22,
    ANN_METAFILE_TOPSECRET = 23,
    ANN_METAFILE_URGENT = 24,
    ANN_METAFILE_VOID = 25,
    ANN_METAFILE_HOTSPOT = 26, /* default picture of hotspots */
    ANN_METAFILE_LAST = 27     /* one past the last */
} AnnMetafileModeConstants;

/* Kinds of hyperlinks. */
typedef enum AnnLinkConstants {
    ANN_LINK_NONE = 0,
    ANN_LINK_KBANN_EVENT = 1,
    ANN_LINK_USERMSG = 2,
    ANN_LINK_RUN = 3,
    ANN_LINK_WEBPAGE = 4
} AnnLinkConstants;

/* Message forms of a hyperlink that tells the application. */
typedef enum AnnHyperlinkTypeConstants {
    ANN_LINK_ANNEVENTNONE = 0,
    ANN_LINK_ANNEVENT = 1,
    ANN_LINK_ANNEVENT5 = 2
} AnnHyperlinkTypeConstants;

/* States of interactive definition. */
typedef enum AnnDefineConstants {
    ANN_DEFINE_BEGINSET = 0,
    ANN_DEFINE_BEGINMOVE = 1,
    ANN_DEFINE_BEGINROTATE = 2,
    ANN_DEFINE_BEGINRESIZE = 3,
    ANN_DEFINE_BEGINSELECT = 4,
    ANN_DEFINE_APPEND = 5,
    ANN_DEFINE_UPDATE = 6,
    ANN_DEFINE_END = 7,
    ANN_DEFINE_BEGINMOVESELECTED = 8,
    ANN_DEFINE_BEGINROTATESELECTED = 9,
    ANN_DEFINE_BEGINRESIZESELECTED = 10,
    ANN_DEFINE_BEGINMOVEPOINT = 11,
    ANN_DEFINE_BEGINMOVENAME = 12
} AnnDefineConstants;

/* Tools: 0 to 22 proper, 23 to 48 one for each predefined stamp, 256 to 512 of the application. */
typedef enum AnnToolConstants {
    ANN_TOOL_SELECT = 0,
    ANN_TOOL_LINE = 1,
    ANN_TOOL_RECT = 2,
    ANN_TOOL_ELLIPSE = 3,
    ANN_TOOL_POLYLINE = 4,
    ANN_TOOL_POLYGON = 5,
    ANN_TOOL_POINTER = 6,
    ANN_TOOL_FREEHAND = 7,
    ANN_TOOL_HILITE = 8,
    ANN_TOOL_REDACT = 9,
    ANN_TOOL_TEXT = 10,
    ANN_TOOL_NOTE = 11,
    ANN_TOOL_STAMP = 12,
    ANN_TOOL_BUTTON = 13,
    ANN_TOOL_HOTSPOT = 14,
    ANN_TOOL_AUDIO = 15,
    ANN_TOOL_RULER = 16,
    ANN_TOOL_CROSSPRODUCT = 17,
    ANN_TOOL_POINT = 18,
    ANN_TOOL_PROTRACTOR = 19,
    ANN_TOOL_VIDEO = 20,
    ANN_TOOL_PUSHPIN = 21,
    ANN_TOOL_FREEHANDHOTSPOT = 22,
    ANN_TOOL_STAMP_FIRST = 23,
    ANN_TOOL_STAMP_APPROVED = 23,
    ANN_TOOL_STAMP_ASSIGNED = 24,
    ANN_TOOL_STAMP_CHECKED = 25,
    ANN_TOOL_STAMP_CLATPRV = 26,
    ANN_TOOL_STAMP_COPY = 27,
    ANN_TOOL_STAMP_DRAFT = 28,
    ANN_TOOL_STAMP_EXTENDED = 29,
    ANN_TOOL_STAMP_FAX = 30,
    ANN_TOOL_STAMP_FAXED = 31,
    ANN_TOOL_STAMP_IMPORTANT = 32,
    ANN_TOOL_STAMP_INVOICE = 33,
    ANN_TOOL_STAMP_NOTICE = 34,
    ANN_TOOL_STAMP_OFFICIAL = 35,
    ANN_TOOL_STAMP_ONFILE = 36,
    ANN_TOOL_STAMP_PAID = 37,
    ANN_TOOL_STAMP_PASSED = 38,
    ANN_TOOL_STAMP_PENDING = 39,
    ANN_TOOL_STAMP_PROCESSED = 40,
    ANN_TOOL_STAMP_RECEIVED = 41,
    ANN_TOOL_STAMP_REJECTED = 42,
    ANN_TOOL_STAMP_RELEASE = 43,
    ANN_TOOL_STAMP_SENT = 44,
    ANN_TOOL_STAMP_SHIPPED = 45,
    ANN_TOOL_STAMP_TOPSECRET = 46,
    ANN_TOOL_STAMP_URGENT = 47,
    ANN_TOOL_STAMP_VOID = 48,
    ANN_TOOL_STAMP_LAST = 48,
    ANN_TOOL_LAST = 48,
    ANN_TOOL_USER_FIRST = 256,
    ANN_TOOL_USER_LAST = 512
} AnnToolConstants;

/* Where a tool bar stands; the two axes are or-ed. */
typedef enum AnnToolAlignConstants {
    ANN_TOOLALIGN_LEFT = 0,
    ANN_TOOLALIGN_RIGHT = 1,
    ANN_TOOLALIGN_TOP = 0,
    ANN_TOOLALIGN_BOTTOM = 2
} AnnToolAlignConstants;

/* Events: the first parameter of WM_KBANNEVENT. */
typedef enum AnnEventConstants {
    ANN_EVENT_TOOLCHECKED = 0,
    ANN_EVENT_TOOLCREATE = 1,
    ANN_EVENT_TOOLDESTROY = 2,
    ANN_EVENT_ACTIVATE = 3,
    ANN_EVENT_DEACTIVATE = 4,
    ANN_EVENT_INSERT = 5,
    ANN_EVENT_REMOVE = 6,
    ANN_EVENT_AUTOBEGINSET = 7,
    ANN_EVENT_AUTOENDSET = 8,
    ANN_EVENT_AUTOCLICKED = 9,
    ANN_EVENT_AUTOCHANGED = 10,
    ANN_EVENT_AUTOITEMCHANGED = 11,
    ANN_EVENT_AUTOSELECT = 12,
    ANN_EVENT_LOCKED = 13,
    ANN_EVENT_UNLOCKED = 14,
    ANN_EVENT_HYPERLINK = 15,
    ANN_EVENT_HYPERLINKMENU = 16,
    ANN_EVENT_LBUTTONDOWN = 17,
    ANN_EVENT_MOUSEMOVE = 18,
    ANN_EVENT_LBUTTONUP = 19,
    ANN_EVENT_MENU = 20,
    ANN_EVENT_AUTOITEMCHANGING = 21
} AnnEventConstants;

/* Menu numbers that an application may use for items of its own. */
typedef enum AnnUserMenuIDConstants { ANN_EVENT_MENUFIRST = 256, ANN_EVENT_MENULAST = 511 } AnnUserMenuIDConstants;

/* Options of an automation; bits. */
typedef enum AnnAutoConstants {
    ANN_AUTO_TABBEDDIALOG = 1,    /* property items open pages of one dialog */
    ANN_AUTO_CTRLENTERCOMMITS = 2 /* Ctrl+Enter ends in-place editing, Enter breaks the line */
} AnnAutoConstants;

/* State of a menu item for an object or an automation. */
typedef enum AnnMenuConstants { ANN_MENU_DISABLED = 0, ANN_MENU_ENABLED = 1, ANN_MENU_DEFAULT = 2 } AnnMenuConstants;

/* Kinds of menu items. */
typedef enum AnnMenuItemTypeConstants {
    ANN_MENUITEMTYPE_NORMAL = 0,
    ANN_MENUITEMTYPE_SEPARATOR = 1,
    ANN_MENUITEMTYPE_SUBMENU = 2
} AnnMenuItemTypeConstants;

/* Progress of a remote data transfer. */
typedef enum FeedStateConstants { FEED_NOTSTARTED = 0, FEED_JUSTSTARTED = 1, FEED_STARTED = 2 } FeedStateConstants;

/* Readiness of data that arrives in the background. */
typedef enum AnnReadyStateConstants {
    ANN_READYSTATE_UNINITIALIZED = 0,
    ANN_READYSTATE_LOADING = 1,
    ANN_READYSTATE_LOADED = 2,
    ANN_READYSTATE_INTERACTIVE = 3,
    ANN_READYSTATE_COMPLETE = 4
} AnnReadyStateConstants;

/* Window messages. WM_KBANNEVENT goes synchronously to the window of a tree, with an ANN_EVENT_* number and an object's
 * handle or the address of a record (kbann/types.h). */
enum { WM_KBANNEVENT = 0x600, WM_ANN_TOOLBAR = 0x601 };

#endif
