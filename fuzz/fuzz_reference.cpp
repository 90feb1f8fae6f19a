// Descriptors of frames that stay where they are through the exported intake: each is given back once.
#include "FrameSources.h"
#include "FuzzHost.h"

#include <vector>

namespace
{

int s_out = 0;

// Memory for one plane, to the byte; null when it would be too large to try.
const void* Place(Source& source, const tagOvelFrameRef& frame, int plane)
{
    const bool nv12 = frame.iDisplayType == OVEL_DISPLAY_NV12;
    const int64_t rows = plane == 0 ? frame.iHeight : frame.iHeight / 2;
    const int64_t bytes = plane == 0 ? frame.iWidth : frame.iWidth / 2 * (nv12 ? 2 : 1);
    const int64_t packed = plane > 0 && !nv12 ? frame.iWidth / 2 : frame.iWidth;
    const int64_t pitch = frame.iPitch[plane] ? frame.iPitch[plane] : packed;
    Extent extent;
    if (bytes > 0 && std::llabs(pitch) * rows <= MostSourceBytes) {
        extent.AddRows(0, pitch, rows, bytes);
        return source.Reserve(extent);
    }
    return nullptr;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzHost& host = FuzzHost::Instance();
    InputReader input(data, size);
    Source sources[2][3];
    for (unsigned int round = 0; round < 8 && !input.IsAtEnd(); ++round) {
        const auto flags = input.Take<uint8_t>();
        CLS_ShaderBase& renderer = *host.Renderer(flags);
        tagOvelFrameRef frame = {};
        const bool wide = flags & 2;
        frame.iWidth = wide ? input.Take<int32_t>() : input.Take<int8_t>();
        frame.iHeight = wide ? input.Take<int32_t>() : input.Take<int8_t>();
        frame.iDisplayType = flags & 4 ? int{OVEL_DISPLAY_NV12} : input.Take<int8_t>();
        frame.iHasColor = flags & 8;
        frame.stColor = {input.Take<int8_t>(), input.Take<int8_t>(), input.Take<int8_t>()};
        Source fresh[3];
        for (int i = 0; i < 3; ++i) {
            frame.iPitch[i] = wide ? input.Take<int32_t>() : input.Take<int16_t>();
            frame.pPlane[i] = Place(fresh[i], frame, i);
        }
        const int bytes = flags & 0x20 ? input.Take<uint8_t>() : 72;
        if (bytes < 72) { // a pitch that is cut away promises other bytes
            std::memset(frame.pPlane, 0, sizeof(frame.pPlane));
        }
        std::vector<uint8_t> descriptor(static_cast<size_t>(std::max(bytes, 1)));
        std::memcpy(descriptor.data(), &frame, std::min(descriptor.size(), sizeof(frame)));
        if (flags & 0x10) {
            FuzzHost::ShowFrame(&renderer, OVEL_DISPLAY_YV12);
        }

        const int before = s_out++;
        const int width = renderer.m_nVideoWidth;
        const int result = Ovel_ShowYuvFrameRef(
            &renderer, descriptor.data(), bytes, [](void*) { --s_out; }, nullptr);
        FuzzHost::Require(result == 0 || result == -1);
        FuzzHost::Require(result == 0 ? s_out <= 2 && s_out > 0 : s_out == before);
        FuzzHost::Require(renderer.m_nVideoWidth == (result == 0 ? frame.iWidth : width));
        if (result == 0) {
            for (int i = 0; i < 3; ++i) {
                sources[flags % 2][i] = std::move(fresh[i]);
            }
        }
        if (flags & 0x40) {
            FuzzHost::Paint(renderer, false);
        }
        if (flags & 0x80) {
            Ovel_ClearDraw(&renderer);
        }
    }
    for (unsigned int i = 0; i < 2; ++i) {
        Ovel_ClearDraw(host.Renderer(i));
    }
    FuzzHost::Require(s_out == 0);
    FuzzHost::Settle();
    return 0;
}
