// The full-frame renderer: the picture in its destination rectangle, turned and mirrored, overlays in two
// passes.
#pragma once

#include "CLS_ShaderBase.h"
#include "picture/BlackCorners.h"
#include "picture/LineMesh.h"

class QOpenGLShaderProgram;
class QOpenGLTexture;

class OVEL_API CLS_ShaderYuv : public CLS_ShaderBase
{
    Q_OBJECT

public:
    CLS_ShaderYuv();
    ~CLS_ShaderYuv() override;

    void initializeGL() override;
    void resizeGL(int width, int height) override;
    void paintGL() override;
    int Release() override;
    int ShowYuvFrame(void* pFrame, int iSize) override;
    int SetParam(int iCmd, void* pData, int iLen) override;
    int GetParam(int iCmd, void* pData, int iLen) override;
    void ClearDraw() override;
    void InnerFreeSource() override;

    // Build program and textures of one layout. GUI thread, context current.
    void InitGLYV12();
    void InitGLNV12();
    // Draw the picture of one layout. GUI thread, context current, m_mutexYuvBuf held.
    void PaintYV12();
    void PaintNV12();
    // Sets the program's matrix from the rotation command.
    void VideoRotateMirror();
    // Draws the opaque (false) or the translucent (true) overlays. GUI thread, context current.
    void paintDraw(bool bBlendPass);

    // Asks the host's callback for the overlays of the current picture. Its result, or 0 without a callback.
    int DrawCallbackToPlayer(unsigned int uiFrameParam);
    // The sink handed to the callback; see OvelDrawToRender.
    static int DrawCallbackToRender(void* pData, int iLen, void* pRender);
    int SaveDrawGrapInfo(void* pData, int iLen);

    // Turns a polyline into one quad per segment in m_vecRectMesh. Not synchronised.
    void LineTriangulation(double dLineWidth, std::vector<Point2F>& vecPoints);

Q_SIGNALS:
    void signalUpdate();

public Q_SLOTS:
    void onDestroyed(QObject* obj);

public:
    int m_nLocTexY;                         // [gui]
    int m_nLocTexU;                         // [gui]
    int m_nLocTexV;                         // [gui]
    int m_nLocDrawFlag;                     // [gui]
    int m_nLocDrawColor;                    // [gui]
    int m_nLocDrawAlpha;                    // [gui]
    unsigned int m_nTexIdY;                 // [gui]
    unsigned int m_nTexIdU;                 // [gui] interleaved chroma for NV12
    unsigned int m_nTexIdV;                 // [gui]
    QOpenGLTexture* m_pTextureY;            // [gui] owned
    QOpenGLTexture* m_pTextureU;            // [gui] owned
    QOpenGLTexture* m_pTextureV;            // [gui] owned
    std::atomic<bool> m_bDestroyed;         // frames are refused
    QOpenGLShaderProgram* m_pShaderProgram; // [gui] owned
    std::vector<RectMesh> m_vecRectMesh;
    std::atomic<unsigned int> m_uiDrawFrameParam;
};
