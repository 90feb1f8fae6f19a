// How the renderers differ in the steps that they share: each says it once, when it is made.
#pragma once

#include "parts/PictureSources.h"

#include <atomic>
#include <functional>
#include <memory>

struct RendererTraits {
    // What a change of display type writes into the log, and the type under which frames of type 4 are kept.
    const char* PictureLayout::*changeMessage = nullptr;
    int typeFor4 = 4;
    // Whether a paint of this type shows nothing without a picture.
    bool (*needsBuffer)(int displayType) = nullptr;
    bool freesInPlace = false;  // InnerFreeSource frees, in the paint; else on any thread, by putting aside
    bool hasPlace = false;      // destination and rotation are honoured; else the picture covers the widget
    bool isBlackAtOnce = false; // without a picture a paint does not wait for the frame lock
    bool* blockFrame = nullptr; // says whether the last frame came as one block of declared size
    OverlayKinds overlays = OverlayKinds::LinesAndShapes;
    OvelDrawToRender sink = nullptr;
    std::atomic<unsigned int>* lastFrameParam = nullptr;
    std::function<void()> emitUpdate;        // the signal
    std::unique_ptr<PictureSources> sources; // program and textures
};
