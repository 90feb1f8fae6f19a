// What the full-frame renderer does differently: textures specified anew, the view turned and mirrored, every
// kind of overlay.
#pragma once

#include "CLS_ShaderYuv.h"
#include "RendererSteps.h"

class FullFrameSteps : public RendererSteps
{
public:
    FullFrameSteps(CLS_ShaderYuv& renderer, ShaderBaseState& parts)
        : RendererSteps(renderer, parts), m_yuv(renderer)
    {
    }

    // Program and textures of a layout. GUI thread, context current.
    void BuildSources(const PictureLayout& layout);
    void FreeSources();
    // Logs what the context says of itself.
    void LogContext();

protected:
    void ChangeDisplayType(int displayType) override;
    void NoteTaken(int, CopiedFrame) override {}
    tagQRECT PictureRect() const override;
    OvelDrawToRender Sink() const override { return &CLS_ShaderYuv::DrawCallbackToRender; }
    std::atomic<unsigned int>& LastFrameParam() const override { return m_yuv.m_uiDrawFrameParam; }
    void EmitUpdate() override { Q_EMIT m_yuv.signalUpdate(); }
    bool NeedsBuffer(int displayType) const override { return LayoutOf(displayType).IsPainted(); }
    void FreeOutdated() override;
    void PreparePicture(int displayType) override;
    PictureTarget Target(const ViewParameters& view) const override;
    OverlayKinds Kinds() const override { return OverlayKinds::LinesAndShapes; }
    void FreeGlObjects() override { m_yuv.InnerFreeSource(); }

private:
    CLS_ShaderYuv& m_yuv;
};
