// Overlay records as flat coloured quads and lines in device coordinates. No GL, no widget.
#pragma once

#include "DisplayGeometry.h"

#include <vector>

struct OverlayVertex {
    float x;
    float y;
    uint8_t color[4]; // red, green, blue, alpha
};
static_assert(sizeof(OverlayVertex) == 12, "vertex buffer layout");

// What the overlays are seen through.
struct OverlayView {
    OverlayMapping mapping = {};
    tagOvelVideoRotate rotate = {};
    float viewportWidth = 1;  // device pixels
    float viewportHeight = 1; // device pixels
    float scale = 1;          // device pixels per widget pixel
};

enum class OverlayKinds { LinesAndShapes, LinesOnly };

// Vertices of one kind. The storage grows and stays, for the next frame has as many.
struct OverlayVertices {
    std::vector<OverlayVertex> storage;
    size_t count = 0;
};

// Consecutive vertices of one kind.
struct OverlayRun {
    bool lines;
    int first;
    int count;
};

// Quads a, b, c, d of the triangles a b c and c b d, and lines of two vertices that are one pixel wide. What
// belongs to a later run lies on top.
struct OverlayMesh {
    OverlayVertices quads;
    OverlayVertices lines;
    std::vector<OverlayRun> runs;
    size_t opaqueRuns = 0; // runs of the opaque graphics, which come first
};

// Whether a record is painted by blending.
bool IsTranslucent(const __tagQDrawGraphInfo& record);

// Replaces the mesh by that of the records. Lines one device pixel wide stay lines. Wider ones are quads, so
// that they look the same in every context: a segment covers what a wide line without antialiasing covers,
// its width measured along the axis that it runs across more steeply.
void BuildOverlayMesh(const __tagQDrawGraphInfo* records, int count, OverlayKinds kinds,
                      const OverlayView& view, OverlayMesh& mesh);
