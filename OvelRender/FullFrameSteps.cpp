#include "FullFrameSteps.h"

#include "OsCoreApi.h"
#include "picture/DisplayGeometry.h"

#include <QOpenGLShaderProgram>
#include <QOpenGLTexture>

namespace
{

// The code under which frames of display type 4 are kept.
constexpr int ToolboxType = 5;

const char* GlString(QOpenGLFunctions& gl, GLenum name)
{
    const GLubyte* text = gl.glGetString(name);
    return text ? reinterpret_cast<const char*>(text) : "";
}

unsigned int NewTexture(QOpenGLTexture*& texture)
{
    texture = new QOpenGLTexture(QOpenGLTexture::Target2D);
    texture->create();
    return texture->textureId();
}

void DeleteTexture(QOpenGLTexture*& texture)
{
    if (texture) {
        texture->destroy();
    }
    delete texture;
    texture = nullptr;
}

} // namespace

void FullFrameSteps::BuildSources(const PictureLayout& layout)
{
    m_yuv.InnerFreeSource();
    m_yuv.m_pShaderProgram =
        m_parts.painter.BuildProgram(layout, PictureProgramKind::FullFrame,
                                     {{&m_yuv.m_nLocTexY, &m_yuv.m_nLocTexU, &m_yuv.m_nLocTexV},
                                      m_yuv.m_nLocDrawFlag,
                                      m_yuv.m_nLocDrawColor});
    m_yuv.m_nLocDrawAlpha = m_yuv.m_pShaderProgram->uniformLocation("u_fDrawAlpha");
    QOpenGLTexture** const textures[] = {&m_yuv.m_pTextureY, &m_yuv.m_pTextureU, &m_yuv.m_pTextureV};
    unsigned int* const names[] = {&m_yuv.m_nTexIdY, &m_yuv.m_nTexIdU, &m_yuv.m_nTexIdV};
    for (int i = 0; i < layout.planes; ++i) {
        *names[i] = NewTexture(*textures[i]);
    }
}

void FullFrameSteps::FreeSources()
{
    DeleteTexture(m_yuv.m_pTextureY);
    DeleteTexture(m_yuv.m_pTextureU);
    DeleteTexture(m_yuv.m_pTextureV);
    delete m_yuv.m_pShaderProgram;
    m_yuv.m_pShaderProgram = nullptr;
    m_yuv.m_bGLInited = false;
}

void FullFrameSteps::LogContext()
{
    api_sdk_log_msg("[CLS_ShaderYuv]GL_VERSION: %s", GlString(m_yuv, GL_VERSION));
    api_sdk_log_msg("[CLS_ShaderYuv]GL_VENDOR: %s", GlString(m_yuv, GL_VENDOR));
    api_sdk_log_msg("[CLS_ShaderYuv]GL_RENDERER: %s", GlString(m_yuv, GL_RENDERER));
    api_sdk_log_msg("[CLS_ShaderYuv]GL_SHADING_LANGUAGE_VERSION: %s",
                    GlString(m_yuv, GL_SHADING_LANGUAGE_VERSION));
}

void FullFrameSteps::ChangeDisplayType(int displayType)
{
    m_yuv.m_bNeedFreeSource = true;
    api_sdk_log_msg("%s", LayoutOf(displayType).fullFrameMessage);
    m_yuv.m_nDisplayType = displayType == 4 ? ToolboxType : displayType;
}

tagQRECT FullFrameSteps::PictureRect() const
{
    const tagOvelZoomArea part = m_parts.view.Get().destination;
    const QSize size = m_parts.WidgetSize(m_yuv);
    return {TruncateToInt(part.left * size.width()), TruncateToInt(part.top * size.height()),
            TruncateToInt(part.right * size.width()), TruncateToInt(part.bottom * size.height())};
}

void FullFrameSteps::FreeOutdated()
{
    if (m_yuv.m_bNeedFreeSource) {
        m_yuv.InnerFreeSource();
    }
    m_yuv.m_bNeedFreeSource = false;
}

void FullFrameSteps::PreparePicture(int displayType)
{
    if (m_yuv.m_bGLInited) {
        return;
    }
    if (displayType == OVEL_DISPLAY_NV12) {
        m_yuv.InitGLNV12();
    } else {
        m_yuv.InitGLYV12();
    }
    m_yuv.m_bGLInited = true;
}

PictureTarget FullFrameSteps::Target(const ViewParameters& view) const
{
    return {m_yuv.m_pShaderProgram,
            {m_yuv.m_nTexIdY, m_yuv.m_nTexIdU, m_yuv.m_nTexIdV},
            TextureStorage::Respecified,
            view.destination,
            view.rotate};
}
