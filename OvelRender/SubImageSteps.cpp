#include "SubImageSteps.h"

#include "OsCoreApi.h"
#include "picture/DisplayGeometry.h"

#include <QOpenGLShaderProgram>
#include <QOpenGLTexture>

#include <new>
#include <utility>

namespace
{

constexpr int DxglType = 6; // shown from elsewhere: paints its overlays without a buffer

// The line numbers are part of the text that log readers know.
constexpr int ThreePlaneLines[] = {150, 156, 162};
constexpr int TwoPlaneLines[] = {273, 279};

bool NewTexture(QSharedPointer<QOpenGLTexture>& texture, const char* function, int line)
{
    texture.reset(new (std::nothrow) QOpenGLTexture(QOpenGLTexture::Target2D));
    if (!texture) {
        LogError("CLS_ShaderYuvSubImage", function, line, "new QOpenGLTexture faild,can not malloc memory!");
    }
    return !texture.isNull();
}

bool Holds(const QSharedPointer<QOpenGLTexture>& texture, int width, int height)
{
    return texture && texture->width() == width && texture->height() == height;
}

} // namespace

void SubImageSteps::BuildSources(const PictureLayout& layout, const char* function)
{
    DeleteProgram();
    m_yuv.m_pShaderProgram =
        m_parts.painter.BuildProgram(layout, PictureProgramKind::SubImage,
                                     {{&m_yuv.m_nLocTexY, &m_yuv.m_nLocTexU, &m_yuv.m_nLocTexV},
                                      m_yuv.m_nLocDrawFlag,
                                      m_yuv.m_nLocDrawColor});
    QSharedPointer<QOpenGLTexture>* const textures[] = {&m_yuv.m_spTextureY, &m_yuv.m_spTextureU,
                                                        &m_yuv.m_spTextureV};
    unsigned int* const names[] = {&m_yuv.m_nTexIdY, &m_yuv.m_nTexIdU, &m_yuv.m_nTexIdV};
    const int* const lines = layout.planes == 3 ? ThreePlaneLines : TwoPlaneLines;
    for (int i = 0; i < layout.planes; ++i) {
        if (!NewTexture(*textures[i], function, lines[i])) {
            return;
        }
    }
    const PicturePlanes planes =
        PlanesInBuffer(layout, m_yuv.m_pYuvBuf, m_yuv.m_nVideoWidth, m_yuv.m_nVideoHeight);
    for (int i = 0; i < layout.planes; ++i) {
        *names[i] = AllocatePlane(m_parts.painter.Profile(), **textures[i], planes.plane[i]);
    }
}

void SubImageSteps::ChangeDisplayType(int displayType)
{
    // The type is kept meanwhile: a paint looks for "no picture" without the lock, and would show black.
    const bool wasBlock = std::exchange(m_yuv.m_blBlockFrame, true);
    m_yuv.InnerFreeSource();
    m_yuv.m_blBlockFrame = wasBlock;
    api_sdk_log_msg("%s", LayoutOf(displayType).subImageMessage);
    m_yuv.m_nDisplayType = displayType;
    if (!wasBlock) {
        EmitUpdate();
    }
}

void SubImageSteps::NoteCopied(const tagYuvFrameInfo& frame, CopiedFrame copied)
{
    if (frame.iDisplayType == OVEL_DISPLAY_NV12) {
        m_yuv.m_blBlockFrame = false;
    } else if (copied != CopiedFrame::Nothing) {
        m_yuv.m_blBlockFrame = copied == CopiedFrame::DeclaredBlock;
    }
}

tagQRECT SubImageSteps::PictureRect() const
{
    const QSize size = m_parts.WidgetSize(m_yuv);
    return {0, 0, size.width() - 1, size.height() - 1};
}

bool SubImageSteps::NeedsBuffer(int displayType) const
{
    return displayType != DxglType;
}

void SubImageSteps::FreeOutdated()
{
    if (m_yuv.m_bNeedFreeSource) {
        DeleteProgram();
    }
    m_yuv.m_bNeedFreeSource = false;
}

// The storage is fixed: another size needs other textures.
void SubImageSteps::PreparePicture(int displayType)
{
    const bool isReady =
        m_yuv.m_bGLInited && Holds(m_yuv.m_spTextureY, m_yuv.m_nVideoWidth, m_yuv.m_nVideoHeight);
    if (isReady || !m_parts.painter.FitsContext(m_yuv.m_nVideoWidth, m_yuv.m_nVideoHeight)) {
        return;
    }
    if (displayType == OVEL_DISPLAY_NV12) {
        m_yuv.InitGLNV12();
    } else {
        m_yuv.InitGLYV12();
    }
    m_yuv.m_bGLInited = true;
}

PictureTarget SubImageSteps::Target(const ViewParameters&) const
{
    return {m_yuv.m_pShaderProgram,
            {m_yuv.m_nTexIdY, m_yuv.m_nTexIdU, m_yuv.m_nTexIdV},
            TextureStorage::Fixed,
            WholeArea,
            {}};
}

void SubImageSteps::FreeGlObjects()
{
    m_yuv.m_spTextureV.reset();
    m_yuv.m_spTextureU.reset();
    m_yuv.m_spTextureY.reset();
    DeleteProgram();
    m_yuv.m_bGLInited = false;
}

void SubImageSteps::DeleteProgram()
{
    delete m_yuv.m_pShaderProgram;
    m_yuv.m_pShaderProgram = nullptr;
}
