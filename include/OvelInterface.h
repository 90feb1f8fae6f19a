/**
 * @file OvelInterface.h
 * @brief libOvelRender: decoded video in Qt widgets with OpenGL.
 * The one header a host needs, in C and in C++.
 *
 * A host creates one renderer per video window, hands it decoded frames from any thread and steers it by
 * numbered commands. The renderer is a `QOpenGLWidget`; the handle is its address.
 *
 * @section threads Threads
 * - `Ovel_Create`, `Ovel_CreateEx` and `Ovel_Release` belong on the GUI thread (the thread of the
 *   `QApplication`). Creating elsewhere, or without a `QApplication`, gives null and an error entry in the
 *   log; releasing elsewhere works, the widget is then detached and deleted by the GUI thread a little later.
 * - `Ovel_ShowYuvFrame`, `Ovel_ShowYuvFrameRef`, `Ovel_SetParam`, `Ovel_GetParam` and `Ovel_ClearDraw` may be
 *   called on any thread, also at the same time for the same handle: they are serialised per renderer.
 * - `Ovel_ShowYuvFrame` drops a frame rather than wait longer than 500 ms for another call of the same
 *   handle. Of paints it waits for its own window's only, one that is at work or that waits for the frame
 *   before: a paint that is due goes before further frames, however fast they come.
 * - The draw callback runs inside the call that brings a frame, on the caller's thread, and on the GUI
 *   thread after a resize, which does not wait for the other: it may run on two threads at once. The run that
 *   began last counts, what an earlier one still sends is taken and dropped.
 * - Locks in the callback: for a frame the library holds those of this one renderer, for a resize none. A
 *   recursive lock of the host's may be held around `Ovel_ShowYuvFrame` and taken in the callback. Waiting
 *   for the GUI thread is safe only while that thread does not wait for this renderer (a command, a release,
 *   a first show or a new parent).
 * - From inside any draw callback, and from a slot of the renderer's signals that runs within a call of the
 *   library, calls for the same handle are refused (-1); from a draw callback calls for other handles work,
 *   but give -1 when that renderer stays busy for 500 ms.
 *
 * @section lifetime Lifetime
 * - A handle is valid from the create call until its `Ovel_Release`. `Ovel_Release` waits for calls of the
 *   handle that are in flight; calls that come later find the handle unknown and get -1.
 * - A renderer whose Qt parent deletes it leaves the registry by itself: later calls give -1, a later
 *   `Ovel_Release` 0.
 * - Memory that a call points to is never read after that call has returned, except the planes of
 *   `Ovel_ShowYuvFrameRef`: until their release has been called.
 * - Once a renderer has been created the library stays mapped until the process ends, because Qt may still
 *   hold events for its widgets; a `dlclose` is then without effect. Without a renderer it unloads normally.
 * - The widget's surface format is the application's default without multisampling, which video gains nothing
 *   from and pays for in every paint.
 *
 * @section results Results
 * Functions return 0 for success and -1 for failure, create functions a handle or null. No exception leaves the
 * library; running out of memory is a failure like any other. A failed call changes nothing on the screen.
 *
 * A frame that was taken is not yet seen: without an OpenGL context (a platform without OpenGL, a driver that
 * refuses) frames are taken as ever and nothing is shown. One error entry per renderer says so with the reason,
 * when it is to be painted; from then on its `QOpenGLWidget::isValid()` tells. In a window that has a context
 * the renderer shows its frames.
 *
 * @section formats Picture formats
 * 8-bit 4:2:0 in two layouts; W and H are the width and height of the luma plane, chroma sizes truncate
 * (W/2, H/2).
 *
 * Three planes (#OVEL_DISPLAY_YV12, despite its name in the order Y, U, V), one block at `pYuvData`; 8 x 4
 * pixels:
 *
 *     offset  0   Y   4 rows of 8 bytes
 *     offset 32   U   2 rows of 4 bytes      (W * H)
 *     offset 40   V   2 rows of 4 bytes      (5 * W * H / 4)
 *     48 bytes in all                        (3 * W * H / 2)
 *
 * NV12 (#OVEL_DISPLAY_NV12), two planes with one pitch; 8 x 4 pixels, `iPitch` 16:
 *
 *     pPlaneY   + 16 * row   8 bytes of luma are read, 8 bytes of padding skipped     rows 0 to 3
 *     pPlaneUV  + 16 * row   4 pairs U, V are read, 8 bytes of padding skipped        rows 0 to 1
 *
 * Colours: three planes R = Y + 1.4075 V, G = Y - 0.3455 U - 0.7169 V, B = Y + 1.779 U; NV12 with Y' = Y -
 * 0.0625: R = Y' + 1.13983 V, G = Y' - 0.39465 U - 0.5806 V, B = Y' + 2.03211 U (U and V less 0.5, all in
 * units of 255). Chroma is spread over the picture, between its samples the GPU interpolates.
 *
 * These formulas fit no stream exactly. A host that knows what its stream is says so by #OVELCMD_SET_COLOR;
 * each field stands for itself, 0 keeps that part of the display type's own formula:
 * - the matrix decides the coefficients: R = Y + 2 (1 - Kr) V, B = Y + 2 (1 - Kb) U, and G so that Y is
 *   Kr R + Kg G + Kb B with Kg = 1 - Kr - Kb. Kr and Kb are 0.299 and 0.114 (BT.601), 0.2126 and 0.0722
 *   (BT.709), 0.2627 and 0.0593 (BT.2020);
 * - the range decides offsets and gains: limited takes (Y - 16) / 219, (U - 128) / 224 and (V - 128) / 224,
 *   full takes Y / 255, (U - 128) / 255 and (V - 128) / 255;
 * - the siting decides where the chroma samples lie. Left and top left are exact for odd sizes too: sample i
 *   lies on luma column 2 i, sample j on row 2 j (top left) or between the rows 2 j and 2 j + 1 (left).
 *
 * @section coordinates Coordinates
 * Widget pixels are Qt's logical pixels: origin at the widget's top-left corner, y down. The zoom area and
 * the destination rectangle are fractions of the widget; (0, 0, 1, 1) is all of it. Overlay points are widget
 * pixels of the unzoomed view: the renderer applies zoom, rotation and mirror to them as it does to the
 * picture.
 *
 * Worked example: a detector found a box from (0.25, 0.50) to (0.75, 1.00) of the picture. The callback got
 * left 100, top 0, right 700, bottom 600, so the box goes to x = 100 + 0.25 * 600 = 250 up to
 * 100 + 0.75 * 600 = 550 and to y = 0 + 0.5 * 600 = 300 up to 600. Send these four corners as a closed outline
 * (#OVEL_GRAPH_OUTLINE).
 */
#ifndef OVEL_INTERFACE_H
#define OVEL_INTERFACE_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define OVEL_API __attribute__((visibility("default")))
#else
#define OVEL_API
#endif

#ifdef __cplusplus
#define OVEL_STATIC_ASSERT(condition, text) static_assert(condition, text)
extern "C" {
#else
#define OVEL_STATIC_ASSERT(condition, text) _Static_assert(condition, text)
#endif

/** Renderer type codes for #Ovel_CreateEx. 3 to 6 name the same renderer as 0; other codes are refused. */
enum {
    OVEL_RENDER_FULL = 0,     /**< full-frame renderer: every display parameter, two overlay passes */
    OVEL_RENDER_SUB_IMAGE = 7 /**< sub-image renderer: picture over the whole widget, zoom only, lines only;
                                   after its first show and under a new parent black until the next frame */
};

/** Display type codes (tagYuvFrameInfo::iDisplayType). Frames of other types are taken but not painted. */
enum {
    OVEL_DISPLAY_YV12 = 0, /**< three planes Y, U, V */
    OVEL_DISPLAY_NV12 = 3  /**< luma plane and interleaved U, V plane */
};

/** Command codes of #Ovel_SetParam. 3 has no command. */
enum {
    /** Payload #tagOvelDrawCallback; takes effect with the next frame or resize. */
    OVELCMD_SET_DRAW_CALLBACK = 0,
    /** Payload #tagOvelZoomArea; repaints at once. */
    OVELCMD_SET_EZOOM_AREA = 1,
    /** `pData` itself is the `QWidget*`, `iSize` any value from 1; it is not read here. It must belong to the
     *  GUI thread. Existing labels move to it. */
    OVELCMD_SET_LABEL_PARENT = 2,
    /** Payload one int32: nonzero keeps the last frame at #Ovel_ClearDraw. */
    OVELCMD_SET_STOPDRAW_PARA = 4,
    /** Payload #tagOvelVideoRotate; next paint. Full-frame renderer only. */
    OVELCMD_SET_VIDEO_ROTATE = 5,
    /** Payload one int32: 0 fits the current frame's aspect into the widget (the whole widget before the first
     *  frame), else fills it. Computed once, from the current sizes: repeat it after a resize. Full-frame
     *  renderer only. */
    OVELCMD_SET_DRAW_RATIO_MODE = 6,
    /** Payload #tagQRECT in widget pixels, at least 2 x 2 (smaller: -1, the picture stays where it is); not
     *  clipped. Full-frame renderer only. */
    OVELCMD_SET_DRAW_DST_RECT = 7,
    /** Extension. Payload #tagOvelColor; repaints at once. A value that none of its enumerations lists: -1,
     *  and nothing changes. */
    OVELCMD_SET_COLOR = 0x1001
};

/** Extension: matrices from YUV to RGB (tagOvelColor::iMatrix). */
enum {
    OVEL_MATRIX_FORMULA = 0, /**< the display type's own coefficients (see Colours) */
    OVEL_MATRIX_BT601 = 1,   /**< BT.601, SD video */
    OVEL_MATRIX_BT709 = 2,   /**< BT.709, HD video */
    OVEL_MATRIX_BT2020 = 3   /**< BT.2020 with non-constant luminance, UHD video */
};

/** Extension: ranges of the samples (tagOvelColor::iRange). */
enum {
    OVEL_RANGE_FORMULA = 0, /**< the display type's own offsets, no gain (see Colours) */
    OVEL_RANGE_LIMITED = 1, /**< luma 16 to 235, chroma 16 to 240 around 128 */
    OVEL_RANGE_FULL = 2     /**< 0 to 255, chroma around 128 */
};

/** Extension: where a chroma sample lies among its four luma samples (tagOvelColor::iChromaSiting). */
enum {
    OVEL_SITING_CENTER = 0,  /**< between all four */
    OVEL_SITING_LEFT = 1,    /**< between the two left ones: H.264 and H.265 unless they say otherwise */
    OVEL_SITING_TOP_LEFT = 2 /**< on the top left one: BT.2020 */
};

/** Kinds of overlay graphics (__tagQDrawGraphInfo::iGraphType). */
enum {
    OVEL_GRAPH_POLYLINE = 0, /**< open line through the points */
    OVEL_GRAPH_OUTLINE = 1,  /**< closed line through the points; 2 means the same */
    OVEL_GRAPH_TEXT = 3,     /**< text label (a `QLabel`) */
    OVEL_GRAPH_FILLED = 6    /**< filled shape: triangle strip through the points; full-frame renderer only */
};

/** Encodings of __tagQDrawGraphInfo::szText; every other value means the system's local 8-bit encoding. */
enum {
    OVEL_TEXT_GBK = 1, /**< GBK, two bytes for a Chinese character */
    OVEL_TEXT_UTF8 = 2 /**< UTF-8 */
};

/** Fixed sizes of the overlay record. */
enum {
    OVEL_GRAPH_POINTS = 32,      /**< points in a record */
    OVEL_GRAPH_TEXT_BYTES = 136, /**< bytes of a label's text */
    OVEL_LABELS = 48 /**< labels that one renderer shows at a time; the records that came last win */
};

/** Rectangle in widget pixels; right and bottom are inclusive as in `QRect`. */
typedef struct tagQRECT {
    int32_t left;   /**< +0 */
    int32_t top;    /**< +4 */
    int32_t right;  /**< +8 */
    int32_t bottom; /**< +12 */
} tagQRECT;

/** Point in widget pixels of the unzoomed view. */
typedef struct tagQPOINT {
    int32_t x; /**< +0, to the right */
    int32_t y; /**< +4, downwards */
} tagQPOINT;

/**
 * One frame. The host fills it for #Ovel_ShowYuvFrame; zero what is not used. A descriptor passed with a
 * smaller size reads as one whose tail is zero. Bytes called reserved are never read.
 */
typedef struct tagYuvFrameInfo {
    void* pYuvData;        /**< +0 the frame as one block; NV12 uses it when a plane pointer is null */
    uint8_t reserved1[4];  /**< +8 */
    uint32_t uiFrameParam; /**< +12 handed unchanged to the draw callback */
    int32_t iWidth;        /**< +16 luma samples per row, at least 1 */
    int32_t iHeight;       /**< +20 luma rows, at least 1 */
    uint8_t reserved2[16]; /**< +24 */
    int32_t iDisplayType;  /**< +40 #OVEL_DISPLAY_YV12 or #OVEL_DISPLAY_NV12 */
    uint8_t reserved3[4];  /**< +44 */
    void* pPlaneY;         /**< +48 NV12 luma plane; must cover iHeight rows of iPitch bytes */
    void* pPlaneUV;        /**< +56 NV12 chroma plane; must cover iHeight/2 rows of iPitch bytes, packed
                                 iWidth * iHeight / 2 bytes */
    uint8_t reserved4[8];  /**< +64 */
    int32_t iPitch; /**< +72 bytes from row to row in NV12 data; 0: rows of iWidth bytes. In a pitched block
                       at pYuvData the chroma starts after iHeight rounded up to 16 rows. */
    uint8_t reserved5[12]; /**< +76 */
    int32_t iDataSize; /**< +88 bytes at pYuvData, 0 when not given: then the layout decides. All of them are
                          read (not for NV12). A change of this value gives a new, zeroed frame buffer. */
    uint8_t reserved6[20]; /**< +92 */
} tagYuvFrameInfo;

/** One overlay graphic or label, pushed into the sink that the draw callback gets. */
typedef struct __tagQDrawGraphInfo {
    int32_t iGraphType; /**< +0 #OVEL_GRAPH_POLYLINE and so on; other values are stored and show nothing */
    uint32_t uiColor;  /**< +4 bits 0-7 red, 8-15 green, 16-23 blue. Lines and shapes show each component c as
                            c / 126 - 1: 0 to 126 dark, 252 and above full. Labels show it as given. */
    int32_t iFontSize; /**< +8 label: font size in points (50 if not above 0; 999 at most). Lines: width in
                          widget pixels, times the screen's scale in device pixels; below 1 counts as 1. */
    int32_t iPointNum; /**< +12 valid points; a graphic needs 1 and shows at most 32, a label needs 2 */
    tagQPOINT stPoint[OVEL_GRAPH_POINTS]; /**< +16 a label's box is (left, top), (right, bottom) */
    char szText[OVEL_GRAPH_TEXT_BYTES];   /**< +272 label text up to a zero byte or the end of the field; rich
                                             text if it looks like it (`Qt::AutoText`): escape what comes
                                             from a stream */
    int32_t iTextCode;                    /**< +408 #OVEL_TEXT_GBK, #OVEL_TEXT_UTF8, else local 8-bit */
    float fAlpha; /**< +412 nonzero: opacity of a filled shape; everything else is opaque */
} __tagQDrawGraphInfo;

/** Sink for overlay records: record, its length in bytes (at most 416 count), the renderer from the
 * descriptor. Any thread, during the callback or later. @return 0, also for a record that is dropped because
 * a newer run of the callback has begun; -1 for a null record, a length below 1, or a renderer that is null
 * or gone. */
typedef int (*OvelDrawToRender)(void* pData, int iLen, void* pRender);

/** What the draw callback gets; valid only during the call. */
typedef struct __tagQDrawCallbackInfo {
    int32_t reserved1[2];             /**< +0 zero */
    uint32_t uiFrameParam;            /**< +8 of the current frame */
    int32_t iDstWidth;                /**< +12 absolute value of right - left */
    int32_t iDstHeight;               /**< +16 absolute value of bottom - top */
    int32_t left;                     /**< +20 where the picture lies, widget pixels of the unzoomed view */
    int32_t top;                      /**< +24 */
    int32_t right;                    /**< +28 */
    int32_t bottom;                   /**< +32 */
    uint8_t reserved2[36];            /**< +36 zero */
    OvelDrawToRender pfnDrawToRender; /**< +72 the sink */
    void* pRender;                    /**< +80 third argument for the sink */
} __tagQDrawCallbackInfo;

/** Draw callback: always 0, the descriptor, always 88, the user value. Called after each frame and each
 * resize to collect the overlays of the picture, which are empty at that moment. Its result is not used.
 * Opaque graphics lie in the order in which they are sent, the last one on top; translucent ones above them,
 * the first one on top; labels over all. See Threads for where it runs and what it may do. */
typedef int (*OvelDrawCallback)(int iReserved, __tagQDrawCallbackInfo* pInfo, int iLen, void* pUser);

/** Payload of #OVELCMD_SET_DRAW_CALLBACK. Once a call that replaces or clears the pair has returned, the old
 * one does not run on any other thread and is not called any more; the call waits for a run under way. */
typedef struct tagOvelDrawCallback {
    OvelDrawCallback pfnDrawCallback; /**< +0 null: none */
    void* pUser;                      /**< +8 handed back to the callback */
} tagOvelDrawCallback;

/** Payload of #OVELCMD_SET_EZOOM_AREA: the part of the widget to magnify over all of it. An empty or inverted
 * area shows the picture over the whole widget. */
typedef struct tagOvelZoomArea {
    double left;   /**< +0 fraction of the widget's width */
    double top;    /**< +8 fraction of the widget's height */
    double right;  /**< +16 */
    double bottom; /**< +24 */
} tagOvelZoomArea;

/** Payload of #OVELCMD_SET_VIDEO_ROTATE. The view turns first, then mirrors, stretched to the widget. */
typedef struct tagOvelVideoRotate {
    int32_t iDirection;  /**< +0 zero: 90 turns clockwise; else counter-clockwise (270 the other way round) */
    int32_t iAngle;      /**< +4 degrees: 90, 180 or 270; other values do not turn */
    int32_t iMirrorType; /**< +8 1: left and right swapped, 2: upside down, else not mirrored */
} tagOvelVideoRotate;

/** Extension. Payload of #OVELCMD_SET_COLOR: what the samples of the stream mean. All zero, as every renderer
 * begins and as a release leaves it, shows them by the display type's own formula. Kept over frames, changes
 * of size or display type, and new parents. */
typedef struct tagOvelColor {
    int32_t iMatrix;       /**< +0 OVEL_MATRIX_ code */
    int32_t iRange;        /**< +4 OVEL_RANGE_ code */
    int32_t iChromaSiting; /**< +8 OVEL_SITING_ code */
} tagOvelColor;

/**
 * Extension. One frame that stays where it lies. The host fills it for #Ovel_ShowYuvFrameRef; zero what is not
 * used. A descriptor passed with a smaller size reads as one whose tail is zero. Bytes called reserved are
 * never read.
 *
 * Planes are Y, U, V for #OVEL_DISPLAY_YV12 and Y, UV for #OVEL_DISPLAY_NV12, each with an address and a pitch
 * of its own. Of plane i `rows` rows of `bytes` bytes are read, row r at pPlane[i] + r * iPitch[i]: H rows of W
 * bytes of luma, H/2 rows of W/2 bytes of each of U and V, H/2 rows of W/2 pairs of UV.
 */
typedef struct tagOvelFrameRef {
    int32_t iWidth;        /**< +0 luma samples per row, at least 1 */
    int32_t iHeight;       /**< +4 luma rows, at least 1 */
    int32_t iDisplayType;  /**< +8 #OVEL_DISPLAY_YV12 or #OVEL_DISPLAY_NV12 */
    uint32_t uiFrameParam; /**< +12 handed unchanged to the draw callback */
    const void* pPlane[3]; /**< +16 the first (top) row of each plane; not used where it has no samples */
    int32_t iPitch[3];     /**< +40 bytes from row to row, at least a row's; negative for pictures that lie
                              bottom up; 0: no gaps (W, for U and V W/2, for UV W) */
    int32_t iHasColor;     /**< +52 nonzero: stColor describes this frame, whatever #OVELCMD_SET_COLOR says */
    tagOvelColor stColor;  /**< +56 */
    uint8_t reserved[4];   /**< +68 */
} tagOvelFrameRef;

/** Extension. Gives a frame of #Ovel_ShowYuvFrameRef back: its planes are not read any more. Gets the user value
 * of that call. */
typedef void (*OvelFrameRelease)(void* pUser);

OVEL_STATIC_ASSERT(sizeof(tagQRECT) == 16, "tagQRECT is 16 bytes");
OVEL_STATIC_ASSERT(sizeof(tagYuvFrameInfo) == 112, "tagYuvFrameInfo is 112 bytes");
OVEL_STATIC_ASSERT(offsetof(tagYuvFrameInfo, uiFrameParam) == 12, "uiFrameParam");
OVEL_STATIC_ASSERT(offsetof(tagYuvFrameInfo, iWidth) == 16, "iWidth");
OVEL_STATIC_ASSERT(offsetof(tagYuvFrameInfo, iHeight) == 20, "iHeight");
OVEL_STATIC_ASSERT(offsetof(tagYuvFrameInfo, iDisplayType) == 40, "iDisplayType");
OVEL_STATIC_ASSERT(offsetof(tagYuvFrameInfo, pPlaneY) == 48, "pPlaneY");
OVEL_STATIC_ASSERT(offsetof(tagYuvFrameInfo, pPlaneUV) == 56, "pPlaneUV");
OVEL_STATIC_ASSERT(offsetof(tagYuvFrameInfo, iPitch) == 72, "iPitch");
OVEL_STATIC_ASSERT(offsetof(tagYuvFrameInfo, iDataSize) == 88, "iDataSize");
OVEL_STATIC_ASSERT(sizeof(__tagQDrawGraphInfo) == 416, "__tagQDrawGraphInfo is 416 bytes");
OVEL_STATIC_ASSERT(offsetof(__tagQDrawGraphInfo, stPoint) == 16, "stPoint");
OVEL_STATIC_ASSERT(offsetof(__tagQDrawGraphInfo, szText) == 272, "szText");
OVEL_STATIC_ASSERT(offsetof(__tagQDrawGraphInfo, iTextCode) == 408, "iTextCode");
OVEL_STATIC_ASSERT(offsetof(__tagQDrawGraphInfo, fAlpha) == 412, "fAlpha");
OVEL_STATIC_ASSERT(sizeof(__tagQDrawCallbackInfo) == 88, "__tagQDrawCallbackInfo is 88 bytes");
OVEL_STATIC_ASSERT(offsetof(__tagQDrawCallbackInfo, uiFrameParam) == 8, "uiFrameParam");
OVEL_STATIC_ASSERT(offsetof(__tagQDrawCallbackInfo, left) == 20, "left");
OVEL_STATIC_ASSERT(offsetof(__tagQDrawCallbackInfo, pfnDrawToRender) == 72, "pfnDrawToRender");
OVEL_STATIC_ASSERT(offsetof(__tagQDrawCallbackInfo, pRender) == 80, "pRender");
OVEL_STATIC_ASSERT(sizeof(tagOvelDrawCallback) == 16, "tagOvelDrawCallback is 16 bytes");
OVEL_STATIC_ASSERT(sizeof(tagOvelZoomArea) == 32, "tagOvelZoomArea is 32 bytes");
OVEL_STATIC_ASSERT(sizeof(tagOvelVideoRotate) == 12, "tagOvelVideoRotate is 12 bytes");
OVEL_STATIC_ASSERT(sizeof(tagOvelColor) == 12, "tagOvelColor is 12 bytes");
OVEL_STATIC_ASSERT(offsetof(tagOvelColor, iChromaSiting) == 8, "iChromaSiting");
OVEL_STATIC_ASSERT(sizeof(tagOvelFrameRef) == 72, "tagOvelFrameRef is 72 bytes");
OVEL_STATIC_ASSERT(offsetof(tagOvelFrameRef, uiFrameParam) == 12, "uiFrameParam");
OVEL_STATIC_ASSERT(offsetof(tagOvelFrameRef, pPlane) == 16, "pPlane");
OVEL_STATIC_ASSERT(offsetof(tagOvelFrameRef, iPitch) == 40, "iPitch");
OVEL_STATIC_ASSERT(offsetof(tagOvelFrameRef, iHasColor) == 52, "iHasColor");
OVEL_STATIC_ASSERT(offsetof(tagOvelFrameRef, stColor) == 56, "stColor");

/**
 * Creates a full-frame renderer. GUI thread only.
 * @param pLayout `QLayout*` that takes the widget (`addWidget`), or null: the widget then has no parent; cast
 * the handle to `QWidget*` to place it.
 * @return the handle, owned by the host until #Ovel_Release; null without a `QApplication`, off its thread,
 * out of memory, or when the registry stayed locked for 2 s (each with an error entry in the log).
 */
OVEL_API void* Ovel_Create(void* pLayout);

/**
 * Creates a renderer by type code, in no layout. GUI thread only.
 * @param pParam points to a little-endian int32 type code (#OVEL_RENDER_FULL, #OVEL_RENDER_SUB_IMAGE).
 * @param iSize bytes at pParam; missing bytes count as zero, more than 4 are not read.
 * @return as #Ovel_Create; null also for null pParam (nothing logged), for a negative iSize and for a code
 * that names no renderer (both logged).
 */
OVEL_API void* Ovel_CreateEx(void* pParam, int iSize);

/**
 * Releases a renderer with its picture, overlays and labels; the widget is detached from its parent and
 * deleted by the event loop. Waits for calls of this handle that are in flight. GUI thread (see Threads).
 * @param pcls handle, or null.
 * @return 0, also for an unknown handle; -1 for null, from inside a call for it (see Threads), or from inside
 * another draw callback when this renderer stays busy for 500 ms: it is then as it was.
 */
OVEL_API int Ovel_Release(void* pcls);

/**
 * Shows a frame: copies it and schedules a repaint. Any thread. Frames that come faster than the screen are
 * coalesced. Runs the draw callback before it returns.
 * @param pcls handle.
 * @param pFrame #tagYuvFrameInfo; its pictures are not read after the return.
 * @param iSize bytes at pFrame, at least 1; at most 112 are read.
 * @return 0; -1 for an unknown handle, a null or empty descriptor, a width or height below 1 (each such frame is
 * logged by the full-frame renderer while a picture is there), a picture above 2 GiB, out of memory, a busy
 * renderer (500 ms), or from inside a call for it (see Threads). The previous picture then stays. A frame without
 * source pointers is taken (0) and keeps the buffer; so is one whose draw callback throws.
 */
OVEL_API int Ovel_ShowYuvFrame(void* pcls, void* pFrame, int iSize);

/**
 * Extension. Shows a frame without copying it: the planes are read where they lie, by the GUI thread when it
 * paints, and again when the picture has to be built anew (another window, a context that was lost). Otherwise
 * as #Ovel_ShowYuvFrame, and both may be mixed on one handle. Any thread. For decoders that lend their pictures
 * (reference-counted frames, a pool): the call costs the same whatever the size.
 *
 * *Ownership.* From the call on until `release` is called the planes stay where they are and are not written.
 * `release(pUser)` is called exactly once for every call:
 * - before the call returns when it gives -1;
 * - else by the call that takes the frame off: the next frame taken, copied or not, an #Ovel_ClearDraw that does
 *   not keep the frame, #Ovel_Release, or the widget's destruction; after its locks, before it returns. From
 *   then on the planes are not read any more. A repaint of the same picture, an event loop that stands still or
 *   a hidden widget give nothing back.
 *
 * So a renderer holds one picture at a time, two for the length of a call: a decoder's pool needs that many more.
 * A process that ends without releasing its renderers gets nothing back.
 *
 * *Threads.* `release` runs on whichever thread made the call that lets go, the GUI thread for a widget that Qt
 * deletes. No lock of the library is held, so that it may call the library; inside a draw callback those that
 * the callback runs under are. An exception from it is dropped.
 *
 * The frame buffer of copied frames stays as it is meanwhile: a later copied frame without source pointers shows
 * what was copied last.
 * @param pcls handle.
 * @param pFrame #tagOvelFrameRef; the descriptor itself is not read after the return.
 * @param iSize bytes at pFrame, at least 1; at most 72 are read.
 * @param release null: nothing is called, for planes that outlive the renderer.
 * @param pUser handed to `release`.
 * @return 0; -1 as #Ovel_ShowYuvFrame, and for another display type, a plane without an address, a pitch smaller
 * than a row, or a colour out of range. The previous picture then stays.
 */
OVEL_API int Ovel_ShowYuvFrameRef(void* pcls, void* pFrame, int iSize, OvelFrameRelease release, void* pUser);

/**
 * Sets a display parameter. Any thread.
 * @param pcls handle.
 * @param iCmd OVELCMD_ code. @param pData its payload. @param iSize bytes at pData, at least 1: a shorter
 * payload changes only the leading bytes of what is stored (commands 6 and 7: missing bytes count as zero), a
 * longer one counts up to its record.
 * @return 0; -1 for an unknown handle or code, null or empty payload, a destination smaller than 2 x 2
 * pixels, a colour value out of range, from inside a call for it (see Threads), or from inside another draw
 * callback when this renderer stays busy for 500 ms.
 */
OVEL_API int Ovel_SetParam(void* pcls, int iCmd, void* pData, int iSize);

/**
 * Reserved for reading parameters. Any thread.
 * @param pcls handle. @param iCmd not used. @param pData not written. @param iSize not used.
 * @return -1 for every code.
 */
OVEL_API int Ovel_GetParam(void* pcls, int iCmd, void* pData, int iSize);

/**
 * Takes overlays and labels off the screen and forgets the draw callback; drops the picture too (black, zoom
 * and destination back to the whole widget, colours back to the formula) unless #OVELCMD_SET_STOPDRAW_PARA
 * keeps it. Any thread. Does nothing for an unknown handle, from inside a call for it (see Threads), or from
 * inside another draw callback when this renderer stays busy for 500 ms.
 * @param pcls handle.
 */
OVEL_API void Ovel_ClearDraw(void* pcls);

#ifdef __cplusplus
}
#endif

#endif
