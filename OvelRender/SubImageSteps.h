// What the sub-image renderer does differently: textures of fixed size, the picture over the whole widget and
// never turned, lines alone.
#pragma once

#include "CLS_ShaderYuvSubImage.h"
#include "RendererSteps.h"

class SubImageSteps : public RendererSteps
{
public:
    SubImageSteps(CLS_ShaderYuvSubImage& renderer, ShaderBaseState& parts)
        : RendererSteps(renderer, parts), m_yuv(renderer)
    {
    }

    // Program and textures of a layout; errors name this function of the renderer. GUI thread, context
    // current.
    void BuildSources(const PictureLayout& layout, const char* function);

protected:
    void ChangeDisplayType(int displayType) override;
    void NoteTaken(int displayType, CopiedFrame copied) override;
    tagQRECT PictureRect() const override;
    OvelDrawToRender Sink() const override { return &CLS_ShaderYuvSubImage::DrawCallbackToRender; }
    std::atomic<unsigned int>& LastFrameParam() const override { return m_yuv.m_uiDrawFrameParam; }
    void EmitUpdate() override { Q_EMIT m_yuv.signalUpdate(); }
    bool IsBlackAtAGlance() const override { return m_yuv.m_nDisplayType == NoPicture; }
    bool NeedsBuffer(int displayType) const override;
    void FreeOutdated() override;
    void PreparePicture(int displayType) override;
    PictureTarget Target(const ViewParameters& view) const override;
    OverlayKinds Kinds() const override { return OverlayKinds::LinesOnly; }
    void FreeGlObjects() override;

private:
    void DeleteProgram();

    CLS_ShaderYuvSubImage& m_yuv;
};
