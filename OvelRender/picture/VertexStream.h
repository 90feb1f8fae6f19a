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
    // All need the context current. Load replaces the vertices by one or two blocks of them; a failed one
    // leaves nothing to draw.
    void Load(const void* vertices, int bytes, const void* more = nullptr, int moreBytes = 0);
    void Free();

    // Draws ranges of the vertices, with everything bound as long as it lives.
    class Drawing
    {
    public:
        // `quads` is how many of them lie in the first block.
        Drawing(VertexStream& stream, const VertexLayout& layout, int quads);
        ~Drawing();
        Drawing(const Drawing&) = delete;
        Drawing& operator=(const Drawing&) = delete;

        void Strip(int count);
        void Lines(int first, int count);
        // Four by four, `first` a multiple of four: a, b, c, d are the triangles a b c and c b d.
        void Quads(int first, int count);

    private:
        void PointAt(int first);

        VertexStream& m_stream;
        const VertexLayout m_layout;
        QOpenGLFunctions* m_gl = nullptr; // null: nothing to draw
        bool m_hasArray = false;
        bool m_hasIndices = false;
        int m_base = -1; // vertex that the pointers point at
    };

private:
    bool BindIndices(int quads);

    QOpenGLBuffer m_buffer{QOpenGLBuffer::VertexBuffer};
    QOpenGLBuffer m_indices{QOpenGLBuffer::IndexBuffer};
    int m_indexedQuads = 0;
    // Made anew for every context: Qt's object does not let go of an earlier context's functions.
    std::unique_ptr<QOpenGLVertexArrayObject> m_array;
};
