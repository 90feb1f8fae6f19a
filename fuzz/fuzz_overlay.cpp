// Overlay records of any content and length through the sink, then mesh, paint and label pass.
#include "FuzzHost.h"

#include <vector>

namespace
{

OvelDrawToRender s_sink = nullptr;

int OnDraw(int, __tagQDrawCallbackInfo* info, int, void*)
{
    s_sink = info->pfnDrawToRender;
    return 0;
}

// A record as a host fills it, with the input's numbers where they matter, so that text and points are
// reached early.
size_t FillRecord(InputReader& input, unsigned int flags, std::vector<uint8_t>& bytes)
{
    __tagQDrawGraphInfo record = {};
    record.iGraphType = input.Take<uint8_t>() % 8;
    record.uiColor = input.Take<uint32_t>();
    record.iFontSize = flags & 2 ? input.Take<int32_t>() : input.Take<int8_t>();
    record.iPointNum = flags & 4 ? input.Take<int32_t>() : input.Take<int8_t>() % 34;
    const size_t points = record.iPointNum < 0 ? 0 : static_cast<size_t>(record.iPointNum) % 33;
    for (size_t i = 0; i < points; ++i) {
        record.stPoint[i].x = flags & 8 ? input.Take<int32_t>() : input.Take<int8_t>();
        record.stPoint[i].y = flags & 8 ? input.Take<int32_t>() : input.Take<int8_t>();
    }
    record.iTextCode = input.Take<uint8_t>() % 4;
    record.fAlpha = flags & 2 ? input.Take<float>() : 0.0f;
    if (record.iGraphType == OVEL_GRAPH_TEXT) {
        input.TakeBytes(record.szText, input.Take<uint8_t>() % 137u);
    }
    bytes.resize(sizeof(record));
    std::memcpy(bytes.data(), &record, sizeof(record));
    return flags & 0x10 ? input.Take<uint16_t>() % 417u : sizeof(record);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    InputReader input(data, size);
    const auto choice = input.Take<uint8_t>();
    CLS_ShaderBase& renderer = *FuzzHost::Instance().Renderer(choice);
    tagOvelDrawCallback callback{&OnDraw, nullptr};
    Ovel_SetParam(&renderer, OVELCMD_SET_DRAW_CALLBACK, &callback, sizeof(callback));
    FuzzHost::ShowFrame(&renderer, choice & 2 ? OVEL_DISPLAY_NV12 : OVEL_DISPLAY_YV12);
    for (int count = 0; count < 64 && !input.IsAtEnd(); ++count) {
        std::vector<uint8_t> bytes;
        const auto flags = input.Take<uint8_t>();
        bytes.resize(FillRecord(input, flags, bytes));
        bytes.shrink_to_fit();
        const int length = static_cast<int>(bytes.size());
        FuzzHost::Require(s_sink(bytes.data(), length, &renderer) == (length > 0 ? 0 : -1));
    }
    FuzzHost::Paint(renderer, choice & 4);
    renderer.DrawTextInfo();
    FuzzHost::Settle();
    return 0;
}
