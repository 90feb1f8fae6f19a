// Frame descriptors through the exported intake.
#include "FrameSources.h"
#include "FuzzHost.h"

#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzHost& host = FuzzHost::Instance();
    InputReader input(data, size);
    for (int round = 0; round < 8 && !input.IsAtEnd(); ++round) {
        const auto flags = input.Take<uint8_t>();
        CLS_ShaderBase& renderer = *host.Renderer(flags);
        tagYuvFrameInfo frame = {};
        const bool wide = flags & 2;
        frame.iWidth = wide ? input.Take<int32_t>() : input.Take<int8_t>();
        frame.iHeight = wide ? input.Take<int32_t>() : input.Take<int8_t>();
        frame.iPitch = wide ? input.Take<int32_t>() : input.Take<int8_t>();
        frame.iDataSize = wide ? input.Take<int32_t>() : input.Take<int16_t>();
        frame.iDisplayType = input.Take<int8_t>();
        Sources sources;
        Promise(frame, flags >> 2, sources);
        const int bytes = flags & 0x20 ? input.Take<uint8_t>() : 112;
        std::vector<uint8_t> descriptor(static_cast<size_t>(std::max(bytes, 1)));
        std::memcpy(descriptor.data(), &frame, std::min(descriptor.size(), sizeof(frame)));
        if (bytes < 92) { // without its promise of lengths and pitches a descriptor reads differently
            std::memset(descriptor.data(), 0, std::min<size_t>(descriptor.size(), 8));
        }
        if (bytes < 92 && descriptor.size() > 48) {
            std::memset(descriptor.data() + 48, 0, std::min<size_t>(descriptor.size() - 48, 16));
        }

        const bool hadPicture = renderer.m_pYuvBuf;
        const int oldWidth = renderer.m_nVideoWidth;
        const int result = Ovel_ShowYuvFrame(&renderer, descriptor.data(), bytes);
        FuzzHost::Require(result == 0 || result == -1);
        FuzzHost::Require(result != 0 || renderer.m_pYuvBuf);
        if (result != 0 && hadPicture && renderer.m_pYuvBuf) {
            FuzzHost::Require(renderer.m_nVideoWidth == oldWidth);
        }
        if (flags & 0x40) {
            FuzzHost::Paint(renderer, false);
        }
        if (flags & 0x80) {
            Ovel_ClearDraw(&renderer);
        }
    }
    FuzzHost::Settle();
    return 0;
}
