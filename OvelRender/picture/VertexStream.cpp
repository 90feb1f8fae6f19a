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
        for (const int corner : {0, 1, 2, 2, 1, 3}) {
            indices.push_back(static_cast<uint16_t>(4 * quad + corner));
        }
    }
    return indices;
}

const void* BufferOffset(size_t bytes)
{
    return reinterpret_cast<const void*>(bytes);
}

} // namespace

void VertexStream::Load(const void* vertices, int bytes, const void* more, int moreBytes)
{
    if (!m_buffer.isCreated() && !m_buffer.create()) {
        return;
    }
    if (!m_array) {
        m_array = std::make_unique<QOpenGLVertexArrayObject>();
        m_array->create();
    }
    m_buffer.setUsagePattern(QOpenGLBuffer::StreamDraw);
    m_buffer.bind();
    if (bytes > 0 && moreBytes > 0) {
        m_buffer.allocate(bytes + moreBytes);
        m_buffer.write(0, vertices, bytes);
        m_buffer.write(bytes, more, moreBytes);
    } else {
        m_buffer.allocate(bytes > 0 ? vertices : more, bytes + moreBytes);
    }
    m_buffer.release();
}

bool VertexStream::BindIndices(int quads)
{
    if (!m_indices.isCreated() && !m_indices.create()) {
        return false;
    }
    m_indices.bind();
    if (quads > m_indexedQuads) {
        // By doubling, so that overlays which grow do not build them anew every frame.
        int room = 64;
        while (room < quads) {
            room *= 2;
        }
        const std::vector<uint16_t> indices = QuadIndices(room);
        m_indices.allocate(indices.data(), static_cast<int>(indices.size() * sizeof(uint16_t)));
        m_indexedQuads = room;
    }
    return true;
}

// Contexts without vertex array objects take the pointers directly.
VertexStream::Drawing::Drawing(VertexStream& stream, const VertexLayout& layout, int quads)
    : m_stream(stream), m_layout(layout)
{
    if (!stream.m_buffer.isCreated()) {
        return;
    }
    m_gl = QOpenGLContext::currentContext()->functions();
    m_hasArray = stream.m_array && stream.m_array->isCreated();
    if (m_hasArray) {
        stream.m_array->bind();
    }
    stream.m_buffer.bind();
    m_gl->glEnableVertexAttribArray(0);
    m_gl->glEnableVertexAttribArray(1);
    m_hasIndices = quads > 0 && stream.BindIndices(std::min(quads, MostQuads));
}

VertexStream::Drawing::~Drawing()
{
    if (!m_gl) {
        return;
    }
    if (m_hasIndices) {
        m_stream.m_indices.release();
    }
    m_stream.m_buffer.release();
    if (m_hasArray) {
        m_stream.m_array->release();
    } else {
        m_gl->glDisableVertexAttribArray(0);
        m_gl->glDisableVertexAttribArray(1);
    }
}

void VertexStream::Drawing::PointAt(int first)
{
    if (first == m_base) {
        return;
    }
    m_base = first;
    const size_t start = static_cast<size_t>(first) * static_cast<size_t>(m_layout.stride);
    m_gl->glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, m_layout.stride, BufferOffset(start));
    m_gl->glVertexAttribPointer(1, m_layout.components, m_layout.type,
                                m_layout.normalised ? GL_TRUE : GL_FALSE, m_layout.stride,
                                BufferOffset(start + 2 * sizeof(float)));
}

void VertexStream::Drawing::Strip(int count)
{
    if (!m_gl) {
        return;
    }
    PointAt(0);
    m_gl->glDrawArrays(GL_TRIANGLE_STRIP, 0, count);
}

void VertexStream::Drawing::Lines(int first, int count)
{
    if (!m_gl) {
        return;
    }
    // The pointers stay where the quads need them: to move them costs more than the draw.
    if (m_base < 0 || first < m_base) {
        PointAt(0);
    }
    m_gl->glDrawArrays(GL_LINES, first - m_base, count);
}

void VertexStream::Drawing::Quads(int first, int count)
{
    if (!m_hasIndices) {
        return;
    }
    constexpr int reach = 4 * MostQuads;
    for (const int end = first + count; first < end;) {
        const int base = first / reach * reach;
        const int next = std::min(end, base + reach);
        PointAt(base);
        // Six indices of two bytes for each quad of four vertices.
        m_gl->glDrawElements(GL_TRIANGLES, (next - first) / 4 * 6, GL_UNSIGNED_SHORT,
                             BufferOffset(static_cast<size_t>(first - base) * 3));
        first = next;
    }
}

void VertexStream::Free()
{
    m_buffer.destroy();
    m_indices.destroy();
    m_indexedQuads = 0;
    m_array.reset();
}
