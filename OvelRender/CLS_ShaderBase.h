// The abstract render widget: state every renderer shares, parameter commands, destination geometry, text
// labels.
#pragma once

#include "OvelInterface.h"

#include <QMutex>
#include <QOpenGLExtraFunctions>
#include <QOpenGLWidget>
#include <QRect>
#include <QVector>

#include <atomic>
#include <memory>

class QLabel;
class RendererSteps;
struct ShaderBaseState;

// All locks of the library, outermost first; none is ever taken while one further down is held:
//
//   registry lock     handle to renderer; dropped before the renderer mutex is taken
//   turn              held by a call while it waits for the next lock, so that a thread which calls without
//                     pauses does not overtake it
//   renderer mutex    one exported call per renderer at a time
//   gate              held by a paint while it waits for the next lock; frames pass through it, so that they
//                     do not overtake the paint
//   m_mutexYuvBuf     [frame] the frame lock: frame buffer, what it holds, display type
//   m_mutexDrawInfo   [draw]  overlay records and whose run may add to them
//
// Leaves, held to copy or to count; nothing is taken under them:
//
//   [call]            callback and user value as a pair, and the runs of it that are under way
//   [param]           what commands store and painting reads
//   live renderers    who exists and who is inside, for calls and for the sink; also under the registry lock
//   loader's mutex    the OS SDK's handle, while it is opened or closed
//
// While the host's draw callback runs for a frame, the renderer mutex and the frame lock are held; for a
// resize none is. A thread inside a draw callback waits at most 500 ms for another renderer.
//
// [gui] marks what only the GUI thread touches. The fields are public for hosts and tests that look at a
// renderer from outside; they are changed only by the class.
class OVEL_API CLS_ShaderBase : public QOpenGLWidget, public QOpenGLExtraFunctions
{
    Q_OBJECT

public:
    explicit CLS_ShaderBase(QWidget* parent);
    ~CLS_ShaderBase() override;
    CLS_ShaderBase(const CLS_ShaderBase&) = delete;
    CLS_ShaderBase& operator=(const CLS_ShaderBase&) = delete;

    bool event(QEvent* e) override;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    void resizeGL(int width, int height) override;

    // Adds the widget to the host's QLayout. GUI thread. 0, or -1 for null.
    virtual int Create(void* pLayout);
    // Drops the picture. Any thread. Always 0.
    virtual int Release();
    // Takes one frame; see Ovel_ShowYuvFrame.
    virtual int ShowYuvFrame(void* pFrame, int iLen) = 0;
    // Runs one command; see Ovel_SetParam.
    virtual int SetParam(int iCmd, void* pData, int iLen);
    virtual int GetParam(int iCmd, void* pData, int iLen);
    // Takes overlays, labels and, unless kept, the picture away; see Ovel_ClearDraw.
    virtual void ClearDraw();
    // Replaces the frame buffer by a zeroed one of iSize bytes, or of a 4:2:0 picture's size when iSize < 1.
    // Needs m_mutexYuvBuf. -1: size not positive (nothing changed), or too large or no memory (no buffer
    // left).
    virtual int InnerResetYuvBuf(int iWidth, int iHeight, int iSize);
    // Lets go of GL objects.
    virtual void InnerFreeSource();
    // Empties the overlay list. Any thread.
    virtual void InnerClearDrawInfo();

    bool isOpenGLES();

    void OnSetVideoRotatePara(void* pData, int iLen);
    int SetDrawRatioMode(void* payload, int size);
    int SetDrawDstRect(void* payload, int size);
    // Where the picture lies, in widget pixels, corners rounded down to even values; any thread.
    QRect GetDrawDstRect();
    // The picture's corners in device coordinates, y up: bottom-left, bottom-right, top-left, top-right. Any
    // thread.
    void CalcuVertex(float (&vertices)[8]);

    // The label pass: labels show the text records of the overlay list, last-arrived first. GUI thread.
    void DrawTextInfo();
    // Shows one text record in a slot. GUI thread.
    void AddLabel(int iIndex, __tagQDrawGraphInfo* pInfo);
    // Empties every label's text. GUI thread.
    void ClearLabel();

Q_SIGNALS:
    void signalDrawTextInfo();

protected:
    void connectNotify(const QMetaMethod& signal) override;
    void disconnectNotify(const QMetaMethod& signal) override;

public Q_SLOTS:
    // Deletes every label. GUI thread.
    void DeleteLabels();

public:
    QMutex m_mutexYuvBuf;
    QMutex m_mutexDrawInfo;
    int m_nVideoWidth;                               // [frame], written under the renderer mutex too
    int m_nVideoHeight;                              // [frame], written under the renderer mutex too
    uint8_t* m_pYuvBuf;                              // [frame] a block of the heap: what free takes
    uint8_t* m_pNV12Y;                               // [frame] into m_pYuvBuf, or null
    uint8_t* m_pNV12UV;                              // [frame] into m_pYuvBuf, or null
    std::atomic<int> m_nDisplayType;                 // written under [frame]; -1: no picture
    std::atomic<bool> m_bGLInited;                   // program and textures stand for the display type
    int m_nYuvBufSize;                               // [frame] as the last reset was given it
    OvelDrawCallback m_pfnDrawCallback;              // [call]
    void* m_pDrawCallbackUser;                       // [call]
    tagOvelZoomArea m_stEZoomArea;                   // [param]
    QVector<__tagQDrawGraphInfo> m_vecDrawGraphInfo; // [draw]
    QRect m_rcDrawDst;                               // [param]
    tagOvelZoomArea m_stDrawDstNorm;                 // [param]
    std::atomic<QWidget*> m_pLabelParent; // not owned; never followed before it is known to be alive
    QLabel* m_pLabel[OVEL_LABELS];        // [gui] owned by their Qt parent
    bool m_bLabelShown;                   // [gui] the last pass counted a text record
    std::atomic<int> blReserveLastFrm;
    bool m_bNeedFreeSource;      // [frame] free GL objects at the next paint
    int m_nVideoRotateDirection; // [param]
    int m_nVideoRotateAngle;     // [param]
    int mirrorType;              // [param]

protected:
    friend class RendererSteps;
    std::unique_ptr<ShaderBaseState> m_pState;
};

// Fits a w x h picture into the rectangle in place, keeping its aspect. 0, or -1 for null. Sizes below 1
// leave it alone.
OVEL_API int DrawAdjustDstSurfaceRect(tagQRECT* rect, int width, int height);
// True exactly when all four coordinates are 0.
OVEL_API bool IsRectEmpty(QRect rect);
// Each coordinate rounded down to an even number.
OVEL_API QRect RectAlign2(QRect rect);
