#include "RendererSteps.h"

#include "Guarded.h"

#include <QOpenGLContext>

#include <utility>

RendererSteps::Taken RendererSteps::TakeFrame(const void* pFrame, int iSize, tagYuvFrameInfo& frame)
{
    const std::optional<tagYuvFrameInfo> read = ReadDescriptor<tagYuvFrameInfo>(pFrame, iSize);
    if (!read) {
        return Taken::NoDescriptor;
    }
    frame = *read;
    {
        const FrameLock lock = FrameLock::ForFrame(m_parts.gate);
        FrameStore& frames = m_parts.frames;
        const bool canBeHeld = FrameStore::CanHold(frame.iWidth, frame.iHeight);
        // With a picture there, a frame that cannot be taken must not change how that picture is read.
        if (!canBeHeld && frames.HasPicture()) {
            return Taken::BadSize;
        }
        if (frame.iDisplayType != m_renderer.m_nDisplayType) {
            ChangeDisplayType(frame.iDisplayType);
        }
        if (!canBeHeld) {
            return Taken::NoBuffer;
        }
        frames.ReturnToBuffer();
        if (frames.NeedsReset(frame)) {
            m_renderer.InnerResetYuvBuf(frame.iWidth, frame.iHeight, FrameStore::RoomFor(frame));
            frames.NoteDeclared(frame);
        }
        if (!m_renderer.m_pYuvBuf) {
            return Taken::NoBuffer;
        }
        NoteTaken(frame.iDisplayType, frames.Copy(frame));
        m_renderer.InnerClearDrawInfo();
        AskPlayer(OverlayList::Start::Emptied, frame.uiFrameParam);
    }
    // After the lock: the GUI thread that wakes up may run in this one's place.
    AnnounceFrame();
    return Taken::Yes;
}

RendererSteps::Taken RendererSteps::TakeReference(const void* pFrame, int iSize, tagOvelFrameRef& frame,
                                                  FrameReference& reference)
{
    const std::optional<tagOvelFrameRef> read = ReadDescriptor<tagOvelFrameRef>(pFrame, iSize);
    if (!read) {
        return Taken::NoDescriptor;
    }
    frame = *read;
    {
        const FrameLock lock = FrameLock::ForFrame(m_parts.gate);
        FrameStore& frames = m_parts.frames;
        if (!FrameStore::CanHold(frame.iWidth, frame.iHeight)) {
            return frames.HasPicture() ? Taken::BadSize : Taken::NoBuffer;
        }
        const std::optional<PicturePlanes> planes = PlanesInPlace(LayoutOf(frame.iDisplayType), frame);
        if (!planes || (frame.iHasColor && !IsKnownColor(frame.stColor))) {
            return Taken::BadPlanes;
        }
        if (frame.iDisplayType != m_renderer.m_nDisplayType) {
            ChangeDisplayType(frame.iDisplayType);
        }
        frames.Refer(frame, *planes, std::move(reference));
        NoteTaken(frame.iDisplayType, CopiedFrame::Picture);
        m_renderer.InnerClearDrawInfo();
        // Whatever a callback throws, the frame is taken: the host must not think that it has it back.
        Guarded(0, [&] { return AskPlayer(OverlayList::Start::Emptied, frame.uiFrameParam); });
    }
    Guarded(0, [&] {
        AnnounceFrame();
        return 0;
    });
    return Taken::Yes;
}

int RendererSteps::AskPlayer(OverlayList::Start start, std::optional<unsigned int> frameParam)
{
    const PlayerCallback::Run run(m_parts.callback);
    if (!run) {
        return 0;
    }
    const OverlayList::Started started = m_parts.overlays.StartRun(start, frameParam, LastFrameParam());
    return run.Ask(DescribePicture(started.frameParam, PictureRect(), Sink(), &m_renderer), started.run);
}

void RendererSteps::AnnounceFrame()
{
    if (m_parts.updateIsHeard) {
        EmitUpdate();
    } else if (!m_renderer.signalsBlocked()) {
        RequestRepaint();
    }
}

void RendererSteps::RequestRepaint()
{
    RepaintRequest& request = m_parts.repaintRequest;
    if (!request.IsGuiThread()) {
        if (m_parts.view.IsVisible()) {
            request.Send();
        }
        return;
    }
    m_renderer.update();
    // Labels follow before the paint, where they need not be composed once more.
    if (m_parts.overlays.HasTexts() || m_parts.labels.IsInUse()) {
        request.Send();
    }
}

bool RendererSteps::ForgetOverlays()
{
    // First of all, so that no resize in between brings overlays back.
    if (!m_parts.callback.Forget()) {
        return false;
    }
    m_renderer.InnerClearDrawInfo();
    return true;
}

void RendererSteps::Resize(int width, int height)
{
    m_renderer.CLS_ShaderBase::resizeGL(width, height);
    m_parts.painter.ForgetShown();
    m_parts.view.NoteWidget(m_renderer.isVisible(), m_renderer.size());
    m_renderer.InnerClearDrawInfo();
    AskPlayer(OverlayList::Start::Emptied, std::nullopt);
}

void RendererSteps::EnterContext(std::function<void()> leave)
{
    QOpenGLContext* const context = m_renderer.context();
    m_parts.painter.Enter();
    QObject::disconnect(m_parts.contextLost);
    m_parts.contextLost = QObject::connect(context, &QOpenGLContext::aboutToBeDestroyed, context,
                                           std::move(leave), Qt::DirectConnection);
}

void RendererSteps::LeaveContext()
{
    QObject::disconnect(m_parts.contextLost);
    if (!m_renderer.context()) {
        return;
    }
    m_renderer.makeCurrent();
    FreeGlObjects();
    m_parts.painter.Free();
    m_renderer.doneCurrent();
}

void RendererSteps::Paint()
{
    if (IsBlackAtAGlance()) {
        PaintBlack();
        return;
    }
    FrameLock lock = FrameLock::ForPaint(m_parts.gate);
    if (!lock) {
        return;
    }
    FreeOutdated();
    const int displayType = m_renderer.m_nDisplayType;
    const bool isPainted = LayoutOf(displayType).IsPainted();
    const bool hasBuffer = m_parts.frames.HasPicture() || !NeedsBuffer(displayType);
    if (displayType == NoPicture || (!hasBuffer && !m_parts.frames.IsLost())) {
        PaintBlack();
    } else if (!hasBuffer || (isPainted && !m_parts.frames.HoldsPicture(displayType))) {
        m_parts.painter.KeepPicture(CurrentSurface());
    } else {
        Compose(lock, displayType);
    }
}

void RendererSteps::PaintBlack()
{
    m_parts.painter.PaintBlack();
    m_parts.labels.Hide();
}

// What belongs together is taken together under the frame lock: picture, overlays and texts.
void RendererSteps::Compose(FrameLock& lock, int displayType)
{
    const bool isPainted = LayoutOf(displayType).IsPainted();
    if (isPainted) {
        PreparePicture(displayType);
    }
    ContextPainter& painter = m_parts.painter;
    PaintedView view = CurrentView();
    view.parameters.color = m_parts.frames.ColorOr(view.parameters.color);
    const bool labelsChange = TakeOverlays(view);
    if (!painter.HasShown(view)) {
        painter.FillFramebuffer(view.surface);
        if (!isPainted || !PaintPlanes(displayType, view.parameters)) {
            painter.Clear();
        }
        lock.Unlock(); // intake need not wait for what follows
        painter.PaintOpaqueOverlays();
        painter.PaintTranslucentOverlays();
        painter.SetShown(view);
    }
    lock.Unlock();
    m_parts.labels.FinishPass(labelsChange);
    m_parts.repaintRequest.Forget();
}

bool RendererSteps::TakeOverlays(PaintedView& view)
{
    bool labelsChange = false;
    m_parts.overlays.Read([&](QVector<__tagQDrawGraphInfo>& records, quint64 serial) {
        view.overlays = serial;
        m_parts.painter.MeshOverlays(records, Kinds(), view);
        labelsChange = m_parts.labels.Take(records, serial);
    });
    return labelsChange;
}

void RendererSteps::MeshOverlays()
{
    PaintedView view = CurrentView();
    m_parts.overlays.Read([&](const QVector<__tagQDrawGraphInfo>& records, quint64 serial) {
        view.overlays = serial;
        m_parts.painter.MeshOverlays(records, Kinds(), view);
    });
}

bool RendererSteps::PaintPlanes(int displayType, const ViewParameters& view)
{
    const PictureTarget target = Target(view);
    if (!target.program || !m_parts.frames.HoldsPicture(displayType)) {
        return false;
    }
    const PictureLayout& layout = LayoutOf(displayType);
    const ContextPainter::Drawn drawn = m_parts.painter.DrawPicture(
        target, layout, m_parts.frames.Planes(layout), m_parts.frames.Serial(), view);
    if (drawn == ContextPainter::Drawn::Uploaded) {
        m_parts.frames.NoteRead();
    }
    return drawn != ContextPainter::Drawn::Nothing;
}

PaintedView RendererSteps::CurrentView() const
{
    PaintedView view;
    view.displayType = m_renderer.m_nDisplayType;
    view.frame = m_parts.frames.Serial();
    view.parameters = m_parts.view.Get();
    view.surface = CurrentSurface();
    return view;
}

Surface RendererSteps::CurrentSurface() const
{
    return {m_renderer.size(), m_renderer.devicePixelRatioF(), m_renderer.defaultFramebufferObject()};
}
