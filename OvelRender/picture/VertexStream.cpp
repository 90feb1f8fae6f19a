#include "VertexStream.h"

#include <QOpenGLContext>
#include <QOpenGLFunctions>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace
{

// As far as 16-bit indices reach, which every context has.
constexpr int MostQuads = 65536 / 4;

std::vector<uint16_t> QuadIndices(int quads)
{
    std::vector<uint16_t> indices;
    indices.reserve(static_cast<size_t>(quads) * 6);
    for (int quad = 0; quad < quads; ++quad) {
        for (const int corner : {0, 1, 2, 2, 1, 3})
            indices.push_back(static_cast<uint16_t>(4 * quad + corner));
    }
    return indices;
}

const void* BufferOffset(size_t bytes)
{
    return reinterpret_cast<const void*>(bytes);
}

} // namespace

void VertexStream::Load(const void* vertices, int bytes)
{
    if (!m_buffer.isCreated() && !m_buffer.create())
        return;
    if (!m_array) {
        m_array = std::make_unique<QOpenGLVertexArrayObject>();
        m_array->create();
    }
    m_buffer.setUsagePattern(QOpenGLBuffer::StreamDraw);
    m_buffer.bind();
    m_buffer.allocate(vertices, bytes);
    m_buffer.release();
}

// Contexts without vertex array objects take the pointers directly.
template <typename Draw> void VertexStream::WithBuffers(const Draw& draw)
{
    if (!m_buffer.isCreated())
        return;
    QOpenGLFunctions& gl = *QOpenGLContext::currentContext()->functions();
    const bool hasArray = m_array && m_array->isCreated();
    if (hasArray)
        m_array->bind();
    m_buffer.bind();
    gl.glEnableVertexAttribArray(0);
    gl.glEnableVertexAttribArray(1);
    draw(gl);
    m_buffer.release();
    if (hasArray) {
        m_array->release();
    } else {
        gl.glDisableVertexAttribArray(0);
        gl.glDisableVertexAttribArray(1);
    }
}

void VertexStream::PointAt(QOpenGLFunctions& gl, const VertexLayout& layout, int first)
{
    const size_t start = static_cast<size_t>(first) * static_cast<size_t>(layout.stride);
    gl.glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, layout.stride, BufferOffset(start));
    gl.glVertexAttribPointer(1, layout.components, layout.type, layout.normalised ? GL_TRUE : GL_FALSE,
                             layout.stride, BufferOffset(start + 2 * sizeof(float)));
}

void VertexStream::DrawStrip(const VertexLayout& layout, int count)
{
    WithBuffers([&](QOpenGLFunctions& gl) {
        PointAt(gl, layout, 0);
        gl.glDrawArrays(GL_TRIANGLE_STRIP, 0, count);
    });
}

bool VertexStream::BindIndices(int quads)
{
    if (!m_indices.isCreated() && !m_indices.create())
        return false;
    m_indices.bind();
    if (quads > m_indexedQuads) {
        // By doubling, so that overlays which grow do not build them anew every frame.
        int room = 64;
        while (room < quads)
            room *= 2;
        const std::vector<uint16_t> indices = QuadIndices(room);
        m_indices.allocate(indices.data(), static_cast<int>(indices.size() * sizeof(uint16_t)));
        m_indexedQuads = room;
    }
    return true;
}

void VertexStream::DrawQuads(const VertexLayout& layout, int first, int count)
{
    WithBuffers([&](QOpenGLFunctions& gl) {
        if (!BindIndices(std::min(count / 4, MostQuads)))
            return;
        for (const int end = first + count; first < end; first += 4 * MostQuads) {
            PointAt(gl, layout, first);
            const int quads = std::min((end - first) / 4, MostQuads);
            gl.glDrawElements(GL_TRIANGLES, 6 * quads, GL_UNSIGNED_SHORT, nullptr);
        }
        m_indices.release();
    });
}

void VertexStream::Free()
{
    m_buffer.destroy();
    m_indices.destroy();
    m_indexedQuads = 0;
    m_array.reset();
}
