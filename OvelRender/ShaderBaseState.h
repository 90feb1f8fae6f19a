// What the renderers keep beside the fields of their classes: locks, what is on the screen, GL objects of the
// context.
#pragma once

#include "CLS_ShaderBase.h"
#include "RepaintRequest.h"
#include "picture/FrameCopy.h"
#include "picture/GlProfile.h"
#include "picture/OverlayPainter.h"
#include "picture/PicturePainter.h"

#include <QPointer>

#include <array>
#include <functional>
#include <mutex>

// What commands set and painting reads, as one.
struct ViewParameters {
    tagOvelZoomArea zoom;
    tagOvelZoomArea destination;
    tagOvelVideoRotate rotate;
    tagOvelColor color;
};

// Everything that decides what a paint puts into the framebuffer.
struct PaintedView {
    int displayType = -1;
    quint64 frame = 0;
    quint64 overlays = 0;
    ViewParameters parameters = {};
    QSize size;
    qreal scale = 0;
    unsigned int framebuffer = 0;

    bool operator==(const PaintedView& other) const;
};

// A label's record as it is shown, so that only what differs is touched.
struct ShownLabel {
    QRect geometry;
    quint32 color = 0;
    int fontSize = 0;
    QString text;
};

// A try for the frame lock that ends with the scope, or earlier.
class FrameLock
{
public:
    FrameLock(QMutex& mutex, int milliseconds) : m_mutex(mutex), m_held(mutex.tryLock(milliseconds)) {}
    ~FrameLock() { Unlock(); }
    FrameLock(const FrameLock&) = delete;
    FrameLock& operator=(const FrameLock&) = delete;
    explicit operator bool() const { return m_held; }
    void Unlock()
    {
        if (m_held)
            m_mutex.unlock();
        m_held = false;
    }

private:
    QMutex& m_mutex;
    bool m_held;
};
constexpr int PaintLockMilliseconds = 500;

// Where a renderer keeps the uniform locations of its picture program.
struct PictureUniforms {
    int* plane[3]; // those that the layout has are written
    int& drawFlag;
    int& drawColor;
};

struct ShaderBaseState {
    explicit ShaderBaseState(CLS_ShaderBase& owner) : widget(owner), repaint(owner) {}

    // Any thread.
    ViewParameters Parameters() const;
    void ResetZoom();
    void ResetColor();
    void ResetDestination();
    // Stores the rectangle, and its fractions of the widget unless that is empty; returns the fractions now
    // stored.
    tagOvelZoomArea StoreDestination(const tagQRECT& rect, const QSize& widgetSize);
    QSize WidgetSize() const;
    // A hidden widget is painted when it is shown: nobody is woken for it.
    void RequestRepaint()
    {
        if (visibleSize >= 0 || repaint.IsGuiThread())
            repaint.Send(hasTexts);
    }

    // Asks for the repaint of a new frame by the signal, or without it when only the renderer itself would
    // hear it.
    template <typename Emit> void AnnounceFrame(const Emit& emitUpdate)
    {
        if (updateIsObserved)
            emitUpdate();
        else
            RequestRepaint();
    }
    // What the renderer's connections tell it; not valid when all of an object went.
    void NoteConnection(const QMetaMethod& signal);

    // Overlays and the host's callback; any thread.
    int StoreRecord(const void* pData, int iLen);
    // Asks the host's callback, if there is one, for the graphics of the rectangle that destination() gives.
    template <typename Destination>
    int CallPlayer(unsigned int uiFrameParam, std::atomic<unsigned int>& lastParam, Destination&& destination,
                   OvelDrawToRender sink)
    {
        const std::lock_guard<std::recursive_mutex> lock(mutexCallback);
        if (!widget.m_pfnDrawCallback)
            return 0;
        lastParam = uiFrameParam;
        return RunCallback(uiFrameParam, destination(), sink);
    }
    int RunCallback(unsigned int uiFrameParam, const tagQRECT& rect, OvelDrawToRender sink); // [call] held
    void ForgetCallback();

    // Intake; need the frame lock.
    static bool CanHold(const tagYuvFrameInfo& frame);
    // Whether the frame cannot be held; logs it once per run of such frames while a picture is there.
    bool RefuseFrame(const tagYuvFrameInfo& frame, const char* source);
    // Gives the frame a buffer; a frame that declares less than its picture needs gets enough. False without
    // a buffer.
    bool ResetBufferFor(const tagYuvFrameInfo& frame);
    CopiedFrame Copy(const tagYuvFrameInfo& frame);
    // A zero-filled buffer in the place of none.
    bool AllocateBuffer(size_t bytes);
    void DropBuffer();

    // Painting; GUI thread, context current unless said otherwise.
    void EnterContext(std::function<void()> freeSources);
    void LeaveContext(); // makes the context current itself
    void FreeContextObjects();
    bool HasShown(const PaintedView& view) const { return paintedIsValid && painted == view; }
    void SetShown(const PaintedView& view);
    // Paints what is to be seen unless it is there already. The frame lock goes once the planes are in their
    // textures: intake need not wait for what follows.
    template <typename Picture, typename Overlays>
    void Compose(FrameLock& lock, Picture&& paintPicture, Overlays&& paintOverlays)
    {
        const PaintedView view = CurrentView();
        if (HasShown(view))
            return;
        FillFramebuffer();
        pictureDrawn = false;
        paintPicture();
        lock.Unlock();
        if (!pictureDrawn)
            Clear();
        paintOverlays();
        SetShown(view);
    }
    // Qt truncates the viewport of a fractional scale but rounds the framebuffer: without this a row stays
    // black.
    void FillFramebuffer();
    QSize FramebufferSize() const;
    PaintedView CurrentView() const;
    void Clear();
    void PaintBlack();
    // Leaves the picture as it is; black where there is none yet.
    void KeepPicture();
    // Uploads the planes if they are not in the textures yet and draws them, the surroundings black. Nothing
    // is drawn without a linked program.
    void DrawPicture(QOpenGLShaderProgram& program, const PictureLayout& layout, const uint8_t* buffer,
                     const unsigned int (&textures)[3], TextureStorage storage, const float (&vertices)[8],
                     const tagOvelVideoRotate& rotate);
    // Hands the view's rotation to the program, which must be bound, if it has a matrix.
    void SetMatrix(QOpenGLShaderProgram& program, const tagOvelVideoRotate& rotate);
    // Whether the context can show a picture of this size; logs it once when it cannot.
    bool FitsContext(int width, int height);
    // Meshes the overlay records for the current view if they or it changed.
    void LoadOverlays(OverlayKinds kinds);
    // Builds a program, with the samplers at the units of their planes and no overlay colour, and logs, once
    // per context, why it failed.
    QOpenGLShaderProgram* BuildProgram(const PictureLayout& layout, PictureProgramKind kind,
                                       const PictureUniforms& uniforms, const char* source,
                                       const char* function);

    // Labels; GUI thread, no lock held.
    void SyncLabels();
    void ShowLabel(int slot, const __tagQDrawGraphInfo& record);
    void ClearLabel(int slot);
    QWidget* LabelParent();
    QLabel* LabelOf(int slot);

    CLS_ShaderBase& widget;

    // Locks; their order is in CLS_ShaderBase.h.
    std::recursive_mutex mutexCallback; // recursive: a callback may replace itself through the object
    mutable std::mutex mutexParameters;
    tagOvelColor pictureColor = {}; // [param]

    // [frame]
    void* bufferBlock = nullptr;   // malloc; the frame buffer lies in it
    size_t bufferBytes = 0;        // real size of the frame buffer
    std::atomic<quint64> frame{0}; // counts pictures; atomic for a glance without the lock
    bool refusedFrame = false;     // the last frame was refused for its size: said once
    bool bufferWasRead = false;    // a paint has read the buffer since the last frame
    // [draw], atomic for a glance without the lock
    std::atomic<quint64> overlays{1};  // counts changes of the overlay list
    std::atomic<bool> hasTexts{false}; // text records in the list, or labels with text
    // Any thread: whether somebody but the renderer may hear signalUpdate. To emit it for oneself costs a
    // feeding thread whose caches a paint has emptied 7 us, a quarter of a hand-over beside its copy.
    std::atomic<bool> updateIsObserved{false};
    // [gui]
    GlProfile gl;
    OverlayMesh mesh;
    PaintedView meshOf;
    OverlayPainter overlayPainter;
    PicturePainter picturePainter;
    PaintedView painted;
    bool paintedIsValid = false; // the framebuffer holds what `painted` says
    bool pictureDrawn = false;   // in this paint
    bool refusedSize = false;    // said that the picture is too large for this context
    bool programFailed = false;  // said that a program cannot be built in this context
    int matrixLocation = -1;
    std::function<void()> freeSources;
    QMetaObject::Connection contextLost;
    std::array<ShownLabel, OVEL_LABELS> labels;
    quint64 labelsOf = 0;           // overlay list that the labels show
    QWidget* labelsUnder = nullptr; // label parent of the last pass, as set
    QPointer<QWidget> labelParent;  // the same, known to be alive
    int missingFontSizes = 0;       // text records of the last pass without a font size
    // any thread
    std::atomic<qint64> visibleSize{-1}; // the visible widget's size, -1 when it is hidden
    RepaintRequest repaint;
};
