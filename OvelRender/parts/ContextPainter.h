// What lives and dies with a GL context, and what that context's framebuffer shows. GUI thread; all but the
// plain questions need the context current.
#pragma once

#include "ViewStore.h"
#include "picture/GlProfile.h"
#include "picture/OverlayPainter.h"
#include "picture/PicturePainter.h"

#include <QVector>

#include <vector>

class QOpenGLFunctions;
class QOpenGLShaderProgram;

// The framebuffer that is painted into.
struct Surface {
    QSize size; // widget pixels
    qreal scale = 1;
    unsigned int framebuffer = 0;

    QSize Pixels() const { return (size * scale).expandedTo(QSize(1, 1)); }
    bool operator==(const Surface& other) const
    {
        return size == other.size && scale == other.scale && framebuffer == other.framebuffer;
    }
};

// Everything that decides what a paint puts into the framebuffer.
struct PaintedView {
    int displayType = -1;
    quint64 frame = 0;
    quint64 overlays = 0;
    ViewParameters parameters = {};
    Surface surface;

    bool operator==(const PaintedView& other) const;
};

// Where a renderer keeps the uniform locations of its picture program.
struct PictureUniforms {
    int* plane[3]; // those that the layout has are written
    int& drawFlag;
    int& drawColor;
};

// With what a picture is drawn, and where.
struct PictureTarget {
    QOpenGLShaderProgram* program; // null: cannot be drawn
    unsigned int textures[3];
    TextureStorage storage;
    tagOvelZoomArea destination = {};
    tagOvelVideoRotate rotate = {};
};

class ContextPainter
{
public:
    // A new context: what was known of the last one is void.
    void Enter();
    // Lets go of every GL object.
    void Free();
    const GlProfile& Profile() const { return m_profile; }

    // Whether the framebuffer shows this view already.
    bool HasShown(const PaintedView& view) const { return m_paintedIsValid && m_painted == view; }
    void SetShown(const PaintedView& view);
    // The framebuffer is another one, or was painted over.
    void ForgetShown() { m_paintedIsValid = false; }

    void Clear();
    void PaintBlack();
    // Leaves the picture as it is; black where there is none yet.
    void KeepPicture(const Surface& surface);
    // Qt truncates the viewport of a fractional scale but rounds the framebuffer: without this a row stays
    // black.
    void FillFramebuffer(const Surface& surface);

    // Writes what failed since the last time to the log. Not under a lock: the log is another's code.
    void LogFailures();

    // Builds a program, with the samplers at the units of their planes and no overlay colour. Where that fails,
    // which is said once per context, the program draws nothing.
    QOpenGLShaderProgram* BuildProgram(const PictureLayout& layout, PictureProgramKind kind,
                                       const PictureUniforms& uniforms);
    // Hands the rotation to the program, which must be bound, if there is one and it has a matrix.
    void SetMatrix(QOpenGLShaderProgram* program, const tagOvelVideoRotate& rotate);
    // Whether the context can show a picture of this size; that it cannot is said once.
    bool FitsContext(int width, int height);
    // What became of a picture: it is in the textures from now on, was there already, or cannot be shown.
    enum class Drawn { Uploaded, Again, Nothing };
    // Uploads the planes of the picture with this serial, of this layout, if they are not in the textures yet
    // and draws them, the surroundings black.
    Drawn DrawPicture(const PictureTarget& target, const PictureLayout& layout, const PicturePlanes& planes,
                      quint64 serial, const ViewParameters& view);

    // Meshes the records unless the mesh is of this view already. Needs no context; the caller holds the
    // records' lock.
    void MeshOverlays(const QVector<__tagQDrawGraphInfo>& records, OverlayKinds kinds,
                      const PaintedView& view);
    // Paint the mesh.
    void PaintOpaqueOverlays();
    void PaintTranslucentOverlays();

private:
    struct Failure {
        const char* function;
        int line;
        QString text;
    };
    void LoadMesh();

    QOpenGLFunctions* m_functions = nullptr; // the context's
    GlProfile m_profile;
    PicturePainter m_picturePainter;
    OverlayMesh m_mesh;
    PaintedView m_meshOf;
    bool m_meshIsLoaded = true;
    OverlayPainter m_overlayPainter;
    PaintedView m_painted;
    bool m_paintedIsValid = false;
    bool m_refusedSize = false;   // said that the picture is too large
    bool m_programFailed = false; // said that a program cannot be built
    int m_matrixLocation = -1;
    std::vector<Failure> m_failures; // not in the log yet
};
