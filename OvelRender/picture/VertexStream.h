// A buffer of vertices with a position and one more attribute, and the vertex array object that some contexts
// insist on.
#pragma once

#include <QOpenGLBuffer>
#include <QOpenGLVertexArrayObject>

#include <memory>

class QOpenGLFunctions;

// How the second attribute follows the two floats of the position.
struct VertexLayout {
    int stride;
    int components;
    GLenum type;
    bool normalised;
};

class VertexStream
{
public:
    // All need the context current. Load replaces the vertices; a failed one leaves nothing to draw.
    void Load(const void* vertices, int bytes);
    // The first `count` vertices.
    void DrawStrip(const VertexLayout& layout, int count);
    // `count` vertices, four by four: a, b, c, d are the triangles a b c and c b d.
    void DrawQuads(const VertexLayout& layout, int first, int count);
    void Free();

private:
    template <typename Draw> void WithBuffers(const Draw& draw);
    void PointAt(QOpenGLFunctions& gl, const VertexLayout& layout, int first);
    bool BindIndices(int quads);

    QOpenGLBuffer m_buffer{QOpenGLBuffer::VertexBuffer};
    QOpenGLBuffer m_indices{QOpenGLBuffer::IndexBuffer};
    int m_indexedQuads = 0;
    // Made anew for every context: Qt's object does not let go of an earlier context's functions.
    std::unique_ptr<QOpenGLVertexArrayObject> m_array;
};
