// A buffer of vertices with a position and one more attribute, and the vertex array object that some contexts
// insist on.
#pragma once

#include <QOpenGLBuffer>
#include <QOpenGLVertexArrayObject>

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
    void Draw(const VertexLayout& layout, GLenum mode, int first, int count);
    void Free();

private:
    QOpenGLBuffer m_buffer{QOpenGLBuffer::VertexBuffer};
    QOpenGLVertexArrayObject m_array;
};
