// The order of steps that both renderers go through: a frame is taken, the widget is resized, a context is
// made, a picture is painted. What a renderer does differently it says by overriding a hook.
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
    RendererSteps(CLS_ShaderBase& renderer, ShaderBaseState& parts) : m_renderer(renderer), m_parts(parts) {}
    virtual ~RendererSteps() = default;
    RendererSteps(const RendererSteps&) = delete;
    RendererSteps& operator=(const RendererSteps&) = delete;

    // What became of a frame.
    enum class Taken {
        Yes,
        NoDescriptor,
        BadPlanes, // the descriptor of a host's own picture does not lead to one
        BadSize,   // a picture of this size cannot be taken; the previous one is still there
        NoBuffer   // nothing to copy into
    };
    // Any thread. Reads the descriptor into `frame`.
    Taken TakeFrame(const void* pFrame, int iSize, tagYuvFrameInfo& frame);
    // The same for a picture that stays where it is; the reference is taken over with it.
    Taken TakeReference(const void* pFrame, int iSize, tagOvelFrameRef& frame, FrameReference& reference);
    // Runs the host's callback for the picture that is there, for this parameter or for the last one. Its
    // result, or 0 without a callback. Any thread.
    int AskPlayer(OverlayList::Start start, std::optional<unsigned int> frameParam);
    // Any thread. False, and nothing is forgotten, when the callback runs elsewhere for longer than this
    // thread may wait.
    bool ForgetOverlays();
    // Any thread. A hidden widget is painted when it is shown: nobody is woken for it.
    void RequestRepaint();

    // GUI thread, context current.
    void Resize(int width, int height);
    void EnterContext(std::function<void()> leave);
    void Paint();
    // Draws the picture in the layout of this display type. Frame lock held.
    void PaintPlanes(int displayType) { PaintPlanes(displayType, m_parts.view.Get()); }
    // Meshes the overlays if they or the view changed since the last time.
    void MeshOverlays();
    // GUI thread; makes the context current itself.
    void LeaveContext();

protected:
    // Frame lock held.
    virtual void ChangeDisplayType(int displayType) = 0;
    virtual void NoteTaken(int displayType, CopiedFrame copied) = 0;
    // Any thread, with the frame lock or without a lock.
    virtual tagQRECT PictureRect() const = 0;
    virtual OvelDrawToRender Sink() const = 0;
    virtual std::atomic<unsigned int>& LastFrameParam() const = 0;
    virtual void EmitUpdate() = 0;
    // GUI thread, context current, frame lock held unless said otherwise.
    virtual bool IsBlackAtAGlance() const { return false; } // before the lock
    virtual bool NeedsBuffer(int displayType) const = 0;
    virtual void FreeOutdated() = 0;
    virtual void PreparePicture(int displayType) = 0;
    // Program, textures and place of the picture.
    virtual PictureTarget Target(const ViewParameters& view) const = 0;
    virtual OverlayKinds Kinds() const = 0;
    virtual void FreeGlObjects() = 0; // without the lock

    CLS_ShaderBase& m_renderer;
    ShaderBaseState& m_parts;

private:
    void AnnounceFrame();
    void PaintBlack();
    void Compose(FrameLock& lock, int displayType);
    bool PaintPlanes(int displayType, const ViewParameters& view);
    bool TakeOverlays(PaintedView& view);
    PaintedView CurrentView() const;
    Surface CurrentSurface() const;
};
