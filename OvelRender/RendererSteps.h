// The order of steps that both renderers go through: a frame is taken, the widget is resized, a context is
// made, a picture is painted. What a renderer does differently it says in its traits.
#pragma once

#include "CLS_ShaderBase.h"
#include "ShaderBaseState.h"

#include <functional>
#include <optional>

constexpr int NoPicture = -1;

// Made on the stack for one step: all state is the renderer's.
class RendererSteps
{
public:
    explicit RendererSteps(CLS_ShaderBase& renderer) : m_renderer(renderer), m_parts(*renderer.m_pState) {}
    RendererSteps(const RendererSteps&) = delete;
    RendererSteps& operator=(const RendererSteps&) = delete;

    // What became of a frame.
    enum class Taken {
        Yes,
        NoDescriptor, // none, or one that describes no picture
        BadSize,      // a picture of this size cannot be taken; the previous one is still there
        NoBuffer      // nothing to copy into
    };
    // Any thread. Reads the descriptor into `frame`.
    Taken TakeFrame(const void* pFrame, int iSize, tagYuvFrameInfo& frame);
    // The same for a picture that stays where it is; the reference is taken over with it. 0 or -1.
    int TakeReference(const void* pFrame, int iSize, FrameReference& reference);
    // Runs the host's callback for the picture that is there, for this parameter or for the last one. Its
    // result, or 0 without a callback. Any thread.
    int AskPlayer(OverlayList::Start start, std::optional<unsigned int> frameParam);
    // Any thread. False, and nothing is forgotten, when the callback runs elsewhere for longer than this
    // thread may wait.
    bool ForgetOverlays();
    // GUI thread. Whether the widget may be taken apart here and now.
    bool CanGo() const { return !m_parts.labels.IsInside(); }
    // Where calls wait for the renderer mutex.
    CallTurn& Turn() { return m_parts.turn; }
    // Any thread. A hidden widget is painted when it is shown: nobody is woken for it.
    void RequestRepaint();

    // GUI thread, context current.
    void Resize(int width, int height);
    void EnterContext();
    void LogContext(const char* renderer);
    void Paint();
    // Program and textures for a layout.
    void BuildSources(int displayType);
    // Draws the picture in the layout of this display type. Frame lock held.
    void PaintPlanes(int displayType) { PaintPlanes(displayType, m_parts.view.Get()); }
    // Meshes the overlays if they or the view changed since the last time.
    void MeshOverlays();
    // GUI thread; makes the context current itself.
    void LeaveContext();

private:
    Taken Refer(const tagOvelFrameRef& frame, FrameReference& reference);
    const RendererTraits& Traits() const { return *m_parts.traits; }
    // A change of display type, in this order.
    bool OutdateSources(); // true when signalUpdate is due
    void LogDisplayType(int displayType) const;
    void KeepDisplayType(int displayType);
    void NoteTaken(int displayType, CopiedFrame copied);
    void AskForOverlays(unsigned int frameParam);
    tagQRECT PictureRect() const;
    void AnnounceFrame();
    void FreeOutdated();
    void PreparePicture(int displayType);
    void PaintBlack();
    void Compose(FrameLock& lock, int displayType);
    bool PaintPlanes(int displayType, const ViewParameters& view);
    bool TakeOverlays(PaintedView& view);
    PaintedView CurrentView() const;
    Surface CurrentSurface() const;

    CLS_ShaderBase& m_renderer;
    ShaderBaseState& m_parts;
};
