#include "RendererSteps.h"

#include "Guarded.h"
#include "OsCoreApi.h"
#include "picture/DisplayGeometry.h"

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
            const bool isUpdateDue = OutdateSources();
            LogDisplayType(frame.iDisplayType);
            KeepDisplayType(frame.iDisplayType);
            if (isUpdateDue) {
                Traits().emitUpdate();
            }
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
        AskForOverlays(frame.uiFrameParam);
    }
    // After the lock: the GUI thread that wakes up may run in this one's place.
    AnnounceFrame();
    return Taken::Yes;
}

int RendererSteps::TakeReference(const void* pFrame, int iSize, FrameReference& reference)
{
    const LettingGo lettingGo(&m_renderer); // first: ends without the lock
    const std::optional<tagOvelFrameRef> frame = ReadDescriptor<tagOvelFrameRef>(pFrame, iSize);
    if (!frame) {
        return -1;
    }
    Taken taken = Taken::NoBuffer;
    bool isNewType = false;
    {
        const FrameLock lock = FrameLock::ForFrame(m_parts.gate);
        isNewType = frame->iDisplayType != m_renderer.m_nDisplayType;
        taken = Refer(*frame, reference);
        if (taken == Taken::Yes) {
            AskForOverlays(frame->uiFrameParam);
        }
    }
    if (taken == Taken::BadSize) {
        LogError("RendererSteps", __func__, __LINE__,
                 "ShowYuvFrameRef iWidth = %d iHeight = %d is invalid param", frame->iWidth, frame->iHeight);
    }
    if (taken != Taken::Yes) {
        return -1;
    }
    Guarded([&] {
        AnnounceFrame();
        if (isNewType) {
            LogDisplayType(frame->iDisplayType);
        }
    });
    return 0;
}

RendererSteps::Taken RendererSteps::Refer(const tagOvelFrameRef& frame, FrameReference& reference)
{
    if (!FrameStore::CanHold(frame.iWidth, frame.iHeight)) {
        return m_parts.frames.HasPicture() ? Taken::BadSize : Taken::NoBuffer;
    }
    const std::optional<PicturePlanes> planes = PlanesInPlace(LayoutOf(frame.iDisplayType), frame);
    if (!planes || (frame.iHasColor && !IsKnownColor(frame.stColor))) {
        return Taken::NoDescriptor;
    }
    if (frame.iDisplayType != m_renderer.m_nDisplayType) {
        OutdateSources(); // the signal that may be due follows with the frame
        KeepDisplayType(frame.iDisplayType);
    }
    m_parts.frames.Refer(frame, *planes, std::move(reference));
    NoteTaken(frame.iDisplayType, CopiedFrame::Picture);
    return Taken::Yes;
}

// Whatever a callback throws, the frame is taken: the host must not think that the previous one is still there.
void RendererSteps::AskForOverlays(unsigned int frameParam)
{
    m_renderer.InnerClearDrawInfo();
    Guarded([&] { AskPlayer(OverlayList::Start::Emptied, frameParam); });
}

int RendererSteps::AskPlayer(OverlayList::Start start, std::optional<unsigned int> frameParam)
{
    const PlayerCallback::Run run(m_parts.callback);
    if (!run) {
        return 0;
    }
    const OverlayList::Started started =
        m_parts.overlays.StartRun(start, frameParam, *Traits().lastFrameParam);
    return run.Ask(DescribePicture(started.frameParam, PictureRect(), Traits().sink, &m_renderer),
                   started.run);
}

void RendererSteps::AnnounceFrame()
{
    if (m_parts.updateIsHeard) {
        Traits().emitUpdate();
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

void RendererSteps::EnterContext()
{
    QOpenGLContext* const context = m_renderer.context();
    m_parts.painter.Enter();
    QObject::disconnect(m_parts.contextLost);
    CLS_ShaderBase& renderer = m_renderer;
    m_parts.contextLost = QObject::connect(
        context, &QOpenGLContext::aboutToBeDestroyed, context,
        [&renderer] { RendererSteps(renderer).LeaveContext(); }, Qt::DirectConnection);
}

void RendererSteps::LogContext(const char* renderer)
{
    const std::pair<GLenum, const char*> lines[] = {
        {GL_VERSION, "GL_VERSION"},
        {GL_VENDOR, "GL_VENDOR"},
        {GL_RENDERER, "GL_RENDERER"},
        {GL_SHADING_LANGUAGE_VERSION, "GL_SHADING_LANGUAGE_VERSION"}};
    for (const auto& [name, label] : lines) {
        const GLubyte* text = m_renderer.glGetString(name);
        api_sdk_log_msg("[%s]%s: %s", renderer, label, text ? reinterpret_cast<const char*>(text) : "");
    }
}

void RendererSteps::LeaveContext()
{
    QObject::disconnect(m_parts.contextLost);
    if (!m_renderer.context()) {
        return;
    }
    m_renderer.makeCurrent();
    {
        const FrameLock lock = FrameLock::ForContext(m_parts.gate); // a frame may put the program aside
        if (Traits().freesInPlace) {
            m_renderer.InnerFreeSource();
        } else {
            Traits().sources->Free();
            m_renderer.m_bGLInited = false;
        }
        m_parts.painter.Free();
    }
    m_renderer.doneCurrent();
}

bool RendererSteps::OutdateSources()
{
    bool* const blockFrame = Traits().blockFrame;
    const bool wasBlock = !blockFrame || *blockFrame;
    if (Traits().freesInPlace) {
        m_renderer.m_bNeedFreeSource = true;
    } else {
        // As a block frame keeps its type: a paint looks for "no picture" without the lock, and would show black
        // between the two.
        *blockFrame = true;
        m_renderer.InnerFreeSource();
        *blockFrame = wasBlock;
    }
    return !wasBlock;
}

void RendererSteps::LogDisplayType(int displayType) const
{
    api_sdk_log_msg("%s", LayoutOf(displayType).*Traits().changeMessage);
}

void RendererSteps::KeepDisplayType(int displayType)
{
    m_renderer.m_nDisplayType = displayType == 4 ? Traits().typeFor4 : displayType;
}

void RendererSteps::NoteTaken(int displayType, CopiedFrame copied)
{
    bool* const blockFrame = Traits().blockFrame;
    if (blockFrame && (displayType == OVEL_DISPLAY_NV12 || copied != CopiedFrame::Nothing)) {
        *blockFrame = displayType != OVEL_DISPLAY_NV12 && copied == CopiedFrame::DeclaredBlock;
    }
}

tagQRECT RendererSteps::PictureRect() const
{
    const QSize size = m_parts.WidgetSize(m_renderer);
    if (!Traits().hasPlace) {
        return {0, 0, size.width() - 1, size.height() - 1};
    }
    const tagOvelZoomArea part = m_parts.view.Get().destination;
    return {TruncateToInt(part.left * size.width()), TruncateToInt(part.top * size.height()),
            TruncateToInt(part.right * size.width()), TruncateToInt(part.bottom * size.height())};
}

void RendererSteps::FreeOutdated()
{
    Traits().sources->FreeProgramAside();
    if (!m_renderer.m_bNeedFreeSource) {
        return;
    }
    if (Traits().freesInPlace) {
        m_renderer.InnerFreeSource();
    } else {
        Traits().sources->FreeProgram();
    }
    m_renderer.m_bNeedFreeSource = false;
}

void RendererSteps::PreparePicture(int displayType)
{
    const int width = m_renderer.m_nVideoWidth;
    const int height = m_renderer.m_nVideoHeight;
    const bool isReady = m_renderer.m_bGLInited && Traits().sources->Serve(width, height);
    if (!isReady && m_parts.painter.FitsContext(width, height)) {
        BuildSources(displayType);
        m_renderer.m_bGLInited = true;
    }
}

void RendererSteps::BuildSources(int displayType)
{
    if (Traits().freesInPlace) {
        m_renderer.InnerFreeSource();
    }
    const PictureLayout& layout = LayoutOf(displayType);
    Traits().sources->Build(m_parts.painter, layout, m_parts.frames.Planes(layout));
}

void RendererSteps::Paint()
{
    if (Traits().isBlackAtOnce && m_renderer.m_nDisplayType == NoPicture) {
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
    const bool hasBuffer = m_parts.frames.HasPicture() || !Traits().needsBuffer(displayType);
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
    painter.LogFailures();
    m_parts.labels.FinishPass(labelsChange);
    m_parts.repaintRequest.Forget();
}

bool RendererSteps::TakeOverlays(PaintedView& view)
{
    bool labelsChange = false;
    m_parts.overlays.Read([&](QVector<__tagQDrawGraphInfo>& records, quint64 serial) {
        view.overlays = serial;
        m_parts.painter.MeshOverlays(records, Traits().overlays, view);
        labelsChange = m_parts.labels.Take(records, serial);
    });
    return labelsChange;
}

void RendererSteps::MeshOverlays()
{
    PaintedView view = CurrentView();
    m_parts.overlays.Read([&](const QVector<__tagQDrawGraphInfo>& records, quint64 serial) {
        view.overlays = serial;
        m_parts.painter.MeshOverlays(records, Traits().overlays, view);
    });
}

bool RendererSteps::PaintPlanes(int displayType, const ViewParameters& view)
{
    PictureTarget target = Traits().sources->Target();
    target.destination = Traits().hasPlace ? view.destination : WholeArea;
    target.rotate = Traits().hasPlace ? view.rotate : tagOvelVideoRotate{};
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
