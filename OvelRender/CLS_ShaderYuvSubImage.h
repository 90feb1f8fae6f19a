// The sub-image renderer: the picture over the whole widget from textures of fixed storage, lines in one
// pass.
#pragma once

#include "CLS_ShaderBase.h"
#include "picture/LineMesh.h"

#include <QSharedPointer>

class QOpenGLShaderProgram;
class QOpenGLTexture;

class OVEL_API CLS_ShaderYuvSubImage : public CLS_ShaderBase
{
    Q_OBJECT

public:
    CLS_ShaderYuvSubImage();
    ~CLS_ShaderYuvSubImage() override;

    void initializeGL() override;
    void resizeGL(int width, int height) override;
    void paintGL() override;
    int Release() override;
    int ShowYuvFrame(void* pFrame, int iSize) override;
    int SetParam(int iCmd, void* pData, int iLen) override;
    void ClearDraw() override;
    void InnerFreeSource() override;

    // Build program and textures of one layout. GUI thread, context current.
    void InitGLYV12();
    void InitGLNV12();
    // Draw the picture of one layout. GUI thread, context current, m_mutexYuvBuf held.
    void PaintYV12();
    void PaintNV12();
    // Kept for hosts that were built against it; paints nothing.
    void PaintDXGL();
    // Draws the line overlays. GUI thread, context current.
    void paintDraw();

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
    int m_nLocTexY;                              // [gui]
    int m_nLocTexU;                              // [gui]
    int m_nLocTexV;                              // [gui]
    int m_nLocDrawFlag;                          // [gui]
    int m_nLocDrawColor;                         // [gui]
    unsigned int m_nTexIdY;                      // [gui]
    unsigned int m_nTexIdU;                      // [gui] interleaved chroma for NV12
    unsigned int m_nTexIdV;                      // [gui]
    QSharedPointer<QOpenGLTexture> m_spTextureY; // [gui]
    QSharedPointer<QOpenGLTexture> m_spTextureU; // [gui]
    QSharedPointer<QOpenGLTexture> m_spTextureV; // [gui]
    std::atomic<bool> m_blDestroyed;             // frames are refused
    QOpenGLShaderProgram* m_pShaderProgram;      // [frame] owned
    std::vector<RectMesh> m_vecRectMesh;
    bool m_blBlockFrame; // [frame] the last frame came as one block of declared size: it keeps its display
                         // type
    std::atomic<unsigned int> m_uiDrawFrameParam;
};
