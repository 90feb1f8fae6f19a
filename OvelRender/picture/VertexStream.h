// A buffer of vertices with a position and one more attribute, and the vertex array object that some contexts
// insist on.
#pragma once

#include <QOpenGLBuffer>
#include <QOpenGLVertexArrayObject>

#include <memory>

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
    // Made anew for every context: Qt's object does not let go of an earlier context's functions.
    std::unique_ptr<QOpenGLVertexArrayObject> m_array;
};
