#include "Displays.h"

#include "Measure.h"

#include <QCoreApplication>
#include <QLabel>
#include <QThread>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>

namespace Bench
{

Frame::Frame(int displayType, int width, int height, int pitch, unsigned int seed, bool separatePlanes)
{
    const size_t row = static_cast<size_t>(pitch > 0 ? pitch : width);
    const size_t rows =
        pitch > 0 ? static_cast<size_t>((height + 15) / 16 * 16) : static_cast<size_t>(height);
    m_bytes.resize(row * rows * 3 / 2);
    for (size_t i = 0; i < m_bytes.size(); ++i) {
        m_bytes[i] = static_cast<uint8_t>((i / row * 3 + i % row * 5 + seed * 40) >> 3);
    }
    info.pYuvData = m_bytes.data();
    if (separatePlanes) {
        info.pPlaneY = m_bytes.data();
        info.pPlaneUV = m_bytes.data() + row * rows;
    }
    info.iWidth = width;
    info.iHeight = height;
    info.iPitch = pitch;
    info.iDisplayType = displayType;
    const bool nv12 = displayType == OVEL_DISPLAY_NV12;
    const uint8_t* const chroma = m_bytes.data() + row * rows;
    reference = {width, height, displayType, 0, {m_bytes.data(), chroma, chroma}, {}, 0, {}, {}};
    reference.iPitch[0] = reference.iPitch[1] = nv12 ? pitch : 0;
    if (!nv12) {
        reference.pPlane[2] = chroma + row * rows / 4;
    }
}

size_t Frame::PictureBytes() const
{
    return static_cast<size_t>(info.iWidth) * static_cast<size_t>(info.iHeight) * 3 / 2;
}

std::vector<Frame> Clip(int displayType, int width, int height, int pitch, bool separatePlanes)
{
    std::vector<Frame> frames;
    for (unsigned int seed = 0; seed < 4; ++seed) {
        frames.emplace_back(displayType, width, height, pitch, seed, separatePlanes);
    }
    return frames;
}

void Display::CountSwaps()
{
    QObject::connect(Widget(), &QOpenGLWidget::frameSwapped, Widget(), [this] {
        ++swaps;
        lastSwap = WallMilliseconds();
    });
}

Library::Library(const std::string& path)
{
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        std::fprintf(stderr, "%s\n", dlerror());
        std::exit(2);
    }
    const auto find = [handle](auto& function, const char* name) {
        function = reinterpret_cast<std::decay_t<decltype(function)>>(dlsym(handle, name));
    };
    find(create, "Ovel_CreateEx");
    find(release, "Ovel_Release");
    find(show, "Ovel_ShowYuvFrame");
    find(lend, "Ovel_ShowYuvFrameRef");
    find(set, "Ovel_SetParam");
    int (*load)(const char*) = nullptr;
    find(load, "LoadOSSDK");
    load(OVEL_EMPTY_OSSDK);
}

LibraryDisplay::LibraryDisplay(const Library& library, int typeCode, bool lends)
    : m_library(library), m_handle(library.create(&typeCode, sizeof(typeCode))), m_lends(lends)
{
}

LibraryDisplay::~LibraryDisplay()
{
    m_library.release(m_handle);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void LibraryDisplay::Feed(const Frame& frame)
{
    if (m_lends) {
        static std::atomic<int> returned{0};
        m_library.lend(
            m_handle, const_cast<tagOvelFrameRef*>(&frame.reference), sizeof(frame.reference),
            [](void* count) { ++*static_cast<std::atomic<int>*>(count); }, &returned);
        return;
    }
    m_library.show(m_handle, const_cast<tagYuvFrameInfo*>(&frame.info), sizeof(frame.info));
}

void LibraryDisplay::SetRecords(const Records* records)
{
    tagOvelDrawCallback callback = {nullptr, const_cast<Records*>(records)};
    if (records) {
        callback.pfnDrawCallback = [](int, __tagQDrawCallbackInfo* info, int, void* user) {
            for (const __tagQDrawGraphInfo& record : *static_cast<const Records*>(user)) {
                info->pfnDrawToRender(const_cast<__tagQDrawGraphInfo*>(&record), sizeof(record),
                                      info->pRender);
            }
            return 0;
        };
    }
    m_library.set(m_handle, OVELCMD_SET_DRAW_CALLBACK, &callback, sizeof(callback));
}

ThinWidget::ThinWidget()
{
    // Saves Qt's clear of what is painted over.
    setUpdateBehavior(QOpenGLWidget::PartialUpdate);
}

ThinWidget::~ThinWidget()
{
    makeCurrent();
    m_picture.removeAllShaders();
    m_flat.removeAllShaders();
    m_colored.removeAllShaders();
    if (m_textures[0]) {
        glDeleteTextures(3, m_textures);
    }
    doneCurrent();
}

void ThinWidget::Feed(const Frame& frame, bool copies)
{
    m_gate.lock();
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_gate.unlock();
    m_bytes = static_cast<const uint8_t*>(frame.info.pYuvData);
    if (copies) {
        m_copy.resize(frame.PictureBytes());
        std::memcpy(m_copy.data(), m_bytes, m_copy.size());
        m_bytes = m_copy.data();
    }
    m_width = frame.info.iWidth;
    m_height = frame.info.iHeight;
    m_nv12 = frame.info.iDisplayType == OVEL_DISPLAY_NV12;
    m_isNew = true;
}

void ThinWidget::initializeGL()
{
    initializeOpenGLFunctions();
    glGenTextures(3, m_textures);
    m_flat.addShaderFromSourceCode(QOpenGLShader::Vertex,
                                   "attribute vec2 position;\n"
                                   "void main() { gl_Position = vec4(position, 0.0, 1.0); }");
    m_flat.addShaderFromSourceCode(QOpenGLShader::Fragment, "uniform vec4 color;\n"
                                                            "void main() { gl_FragColor = color; }");
    m_flat.bindAttributeLocation("position", 0);
    m_flat.link();
    m_color = m_flat.uniformLocation("color");
    m_colored.addShaderFromSourceCode(
        QOpenGLShader::Vertex, "attribute vec2 position;\n"
                               "attribute vec4 color;\n"
                               "varying vec4 shown;\n"
                               "void main() { gl_Position = vec4(position, 0.0, 1.0); shown = color; }");
    m_colored.addShaderFromSourceCode(QOpenGLShader::Fragment, "varying vec4 shown;\n"
                                                               "void main() { gl_FragColor = shown; }");
    m_colored.bindAttributeLocation("position", 0);
    m_colored.bindAttributeLocation("color", 1);
    m_colored.link();
}

void ThinWidget::Upload()
{
    const int planes = m_nv12 ? 2 : 3;
    const uint8_t* bytes = m_bytes;
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    for (int i = 0; i < planes; ++i) {
        const int width = i == 0 ? m_width : m_width / 2;
        const int height = i == 0 ? m_height : m_height / 2;
        const GLenum format = m_nv12 && i == 1 ? GL_RG : GL_RED;
        glActiveTexture(GL_TEXTURE0 + static_cast<GLenum>(i));
        glBindTexture(GL_TEXTURE_2D, m_textures[i]);
        if (!m_hasStorage) {
            glTexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(format), width, height, 0, format,
                         GL_UNSIGNED_BYTE, bytes);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
        } else {
            glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, width, height, format, GL_UNSIGNED_BYTE, bytes);
        }
        bytes += static_cast<ptrdiff_t>(width) * height * (format == GL_RG ? 2 : 1);
    }
    if (!m_hasStorage) {
        m_picture.addShaderFromSourceCode(
            QOpenGLShader::Vertex,
            "attribute vec4 vertex;\n"
            "varying vec2 at;\n"
            "void main() { gl_Position = vec4(vertex.xy, 0.0, 1.0); at = vertex.zw; }");
        m_picture.addShaderFromSourceCode(
            QOpenGLShader::Fragment,
            QByteArray("uniform sampler2D planeY;\nuniform sampler2D planeU;\nuniform sampler2D planeV;\n"
                       "varying vec2 at;\n"
                       "void main() {\n") +
                (m_nv12
                     ? "vec3 yuv = vec3(texture2D(planeY, at).r, texture2D(planeU, at).rg) - vec3(0.0625, "
                       "0.5, 0.5);\n"
                       "gl_FragColor = vec4(yuv.x + 1.13983 * yuv.z, yuv.x - 0.39465 * yuv.y - 0.5806 * "
                       "yuv.z,"
                       " yuv.x + 2.03211 * yuv.y, 1.0); }"
                     : "vec3 yuv = vec3(texture2D(planeY, at).r, texture2D(planeU, at).r, texture2D(planeV, "
                       "at).r)"
                       " - vec3(0.0, 0.5, 0.5);\n"
                       "gl_FragColor = vec4(yuv.x + 1.4075 * yuv.z, yuv.x - 0.3455 * yuv.y - 0.7169 * yuv.z,"
                       " yuv.x + 1.779 * yuv.y, 1.0); }"));
        m_picture.bindAttributeLocation("vertex", 0);
        m_picture.link();
        m_picture.bind();
        m_picture.setUniformValue("planeY", 0);
        m_picture.setUniformValue("planeU", 1);
        m_picture.setUniformValue("planeV", 2);
    }
    m_hasStorage = true;
    m_isNew = false;
}

void ThinWidget::paintGL()
{
    static const float quad[16] = {-1, -1, 0, 1, 1, -1, 1, 1, -1, 1, 0, 0, 1, 1, 1, 0};
    m_gate.lock();
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_gate.unlock();
    if (m_isNew) {
        Upload();
    }
    if (!m_hasStorage) {
        return;
    }
    for (int i = 0; i < 3; ++i) {
        glActiveTexture(GL_TEXTURE0 + static_cast<GLenum>(i));
        glBindTexture(GL_TEXTURE_2D, m_textures[i]);
    }
    m_picture.bind();
    glVertexAttribPointer(0, 4, GL_FLOAT, GL_FALSE, 0, quad);
    glEnableVertexAttribArray(0);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    if (records && atOnce) {
        DrawRecordsAtOnce();
    } else if (records) {
        DrawRecords();
    }
    glDisableVertexAttribArray(0);
}

void ThinWidget::DrawRecords()
{
    const float kx = 2.0f / static_cast<float>(width());
    const float ky = 2.0f / static_cast<float>(height());
    float points[2 * OVEL_GRAPH_POINTS];
    m_flat.bind();
    glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, points);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    for (const __tagQDrawGraphInfo& record : *records) {
        if (record.iGraphType == OVEL_GRAPH_TEXT) {
            continue;
        }
        for (int i = 0; i < record.iPointNum; ++i) {
            points[2 * i] = static_cast<float>(record.stPoint[i].x) * kx - 1.0f;
            points[2 * i + 1] = 1.0f - static_cast<float>(record.stPoint[i].y) * ky;
        }
        const bool filled = record.iGraphType == OVEL_GRAPH_FILLED;
        const bool blends = filled && record.fAlpha != 0.0f;
        glUniform4f(m_color, static_cast<float>(record.uiColor & 255) / 126.0f - 1.0f,
                    static_cast<float>(record.uiColor >> 8 & 255) / 126.0f - 1.0f,
                    static_cast<float>(record.uiColor >> 16 & 255) / 126.0f - 1.0f,
                    blends ? record.fAlpha : 1.0f);
        if (blends) {
            glEnable(GL_BLEND);
        }
        glDrawArrays(filled                                    ? GL_TRIANGLE_STRIP
                     : record.iGraphType == OVEL_GRAPH_OUTLINE ? GL_LINE_LOOP
                                                               : GL_LINE_STRIP,
                     0, record.iPointNum);
        if (blends) {
            glDisable(GL_BLEND);
        }
    }
}

void ThinWidget::DrawRecordsAtOnce()
{
    const float kx = 2.0f / static_cast<float>(width());
    const float ky = 2.0f / static_cast<float>(height());
    for (auto& vertices : m_vertices) {
        vertices.clear();
    }
    for (const __tagQDrawGraphInfo& record : *records) {
        const auto byte = [&](int shift) {
            const float shown = static_cast<float>(record.uiColor >> shift & 255) / 126.0f - 1.0f;
            return static_cast<uint8_t>(std::min(std::max(shown, 0.0f), 1.0f) * 255.0f);
        };
        const Vertex color = {0, 0, {byte(0), byte(8), byte(16), 255}};
        const bool filled = record.iGraphType == OVEL_GRAPH_FILLED;
        std::vector<Vertex>& vertices = m_vertices[filled];
        const auto add = [&](int i) {
            vertices.push_back(color);
            vertices.back().x = static_cast<float>(record.stPoint[i].x) * kx - 1.0f;
            vertices.back().y = 1.0f - static_cast<float>(record.stPoint[i].y) * ky;
        };
        for (int i = filled ? 2 : 1; i < record.iPointNum; ++i) {
            for (int corner = filled ? i - 2 : i - 1; corner <= i; ++corner) {
                add(corner);
            }
        }
        if (record.iGraphType == OVEL_GRAPH_OUTLINE) {
            add(record.iPointNum - 1);
            add(0);
        }
    }
    m_colored.bind();
    glEnableVertexAttribArray(1);
    for (const bool filled : {false, true}) {
        const std::vector<Vertex>& vertices = m_vertices[filled];
        if (vertices.empty()) {
            continue;
        }
        glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, sizeof(Vertex), &vertices[0].x);
        glVertexAttribPointer(1, 4, GL_UNSIGNED_BYTE, GL_TRUE, sizeof(Vertex), vertices[0].color);
        glDrawArrays(filled ? GL_TRIANGLES : GL_LINES, 0, static_cast<int>(vertices.size()));
    }
    glDisableVertexAttribArray(1);
}

void ThinDisplay::Feed(const Frame& frame)
{
    m_widget.Feed(frame, m_copies);
    if (QThread::currentThread() == m_widget.thread()) {
        ShowFrame();
    } else if (!m_isAsked.exchange(true)) {
        QMetaObject::invokeMethod(
            &m_widget,
            [this] {
                m_isAsked = false;
                ShowFrame();
            },
            Qt::QueuedConnection);
    }
}

void ThinDisplay::ShowFrame()
{
    if (m_widget.records) {
        SetLabels();
    }
    m_widget.update();
}

void ThinDisplay::SetRecords(const Records* records)
{
    m_widget.records = records;
    if (!records) {
        SetLabels();
    }
}

void ThinDisplay::SetLabels()
{
    size_t used = 0;
    for (const __tagQDrawGraphInfo& record : m_widget.records ? *m_widget.records : Records()) {
        if (record.iGraphType != OVEL_GRAPH_TEXT) {
            continue;
        }
        if (used == m_labels.size()) {
            auto* label = new QLabel(&m_widget);
            label->setStyleSheet(QStringLiteral("color: rgb(255, 255, 0);background-color: rgb(0, 0, 0);"));
            label->setAttribute(Qt::WA_TranslucentBackground);
            label->setFont(QFont(QString(), record.iFontSize));
            label->setGeometry(QRect(record.stPoint[0].x, record.stPoint[0].y - 11,
                                     record.stPoint[1].x - record.stPoint[0].x,
                                     record.stPoint[1].y - record.stPoint[0].y + 22));
            label->show();
            m_labels.push_back(label);
        }
        m_labels[used++]->setText(QString::fromUtf8(record.szText)); // does nothing for the same text
    }
    while (m_labels.size() > used) {
        delete m_labels.back();
        m_labels.pop_back();
    }
}

} // namespace Bench
