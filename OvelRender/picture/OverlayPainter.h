// Paints the overlay mesh with a flat program of its own.
#pragma once

#include "GlProfile.h"
#include "OverlayMesh.h"
#include "VertexStream.h"

#include <QString>

#include <memory>

class QOpenGLShaderProgram;

class OverlayPainter
{
public:
    OverlayPainter();
    ~OverlayPainter(); // needs Free first

    // The mesh to paint from now on. Needs the context current, as all below.
    void Load(const GlProfile& profile, const OverlayMesh& mesh);
    void PaintOpaque();
    void PaintTranslucent();
    void Free();

    // Why the program could not be built, once per context; else empty.
    QString TakeFailure();

private:
    bool Prepare(const GlProfile& profile);
    void Paint(size_t firstRun, size_t endOfRuns);

    std::unique_ptr<QOpenGLShaderProgram> m_program;
    VertexStream m_stream;
    QString m_failure;
    int m_quadVertices = 0; // the lines follow them
    std::vector<OverlayRun> m_runs;
    size_t m_opaqueRuns = 0;
};
