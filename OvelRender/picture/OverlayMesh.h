// Overlay records as flat coloured quads in device coordinates. No GL, no widget.
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

// Quads a, b, c, d of the triangles a b c and c b d; those drawn later lie on top. The storage grows and
// stays, for the next frame has as many.
struct OverlayMesh {
    std::vector<OverlayVertex> vertices;
    size_t opaque = 0; // vertices of the opaque quads, which come first
    size_t count = 0;  // vertices of all quads
};

// Whether a record is painted by blending.
bool IsTranslucent(const __tagQDrawGraphInfo& record);

// Replaces the mesh by that of the records. Lines of every width are quads, so that they look the same in
// every context: a segment covers what a wide line without antialiasing covers, its width measured along the
// axis that it runs across more steeply.
void BuildOverlayMesh(const __tagQDrawGraphInfo* records, int count, OverlayKinds kinds,
                      const OverlayView& view, OverlayMesh& mesh);
