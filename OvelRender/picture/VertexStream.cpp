#include "VertexStream.h"

#include <QOpenGLContext>
#include <QOpenGLFunctions>

void VertexStream::Load(const void* vertices, int bytes)
{
    if (!m_buffer.isCreated() && !m_buffer.create())
        return;
    if (!m_array) {
        m_array = std::make_unique<QOpenGLVertexArrayObject>();
        m_array->create();
    }
    m_buffer.setUsagePattern(QOpenGLBuffer::DynamicDraw);
    m_buffer.bind();
    m_buffer.allocate(vertices, bytes);
    m_buffer.release();
}

void VertexStream::Draw(const VertexLayout& layout, GLenum mode, int first, int count)
{
    if (!m_buffer.isCreated() || count < 1)
        return;
    QOpenGLFunctions* gl = QOpenGLContext::currentContext()->functions();
    // Contexts without vertex array objects take the pointers directly.
    const bool hasArray = m_array && m_array->isCreated();
    if (hasArray)
        m_array->bind();
    m_buffer.bind();
    gl->glEnableVertexAttribArray(0);
    gl->glEnableVertexAttribArray(1);
    gl->glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, layout.stride, nullptr);
    gl->glVertexAttribPointer(1, layout.components, layout.type, layout.normalised ? GL_TRUE : GL_FALSE,
                              layout.stride, reinterpret_cast<const void*>(2 * sizeof(float)));
    gl->glDrawArrays(mode, first, count);
    m_buffer.release();
    if (hasArray) {
        m_array->release();
    } else {
        gl->glDisableVertexAttribArray(0);
        gl->glDisableVertexAttribArray(1);
    }
}

void VertexStream::Free()
{
    m_buffer.destroy();
    m_array.reset();
}
