// Commands with any payload at any length, between frames, paints, resizes and stops.
#include "FuzzHost.h"

#include <vector>

namespace
{

constexpr int ColorCode = 9; // stands for the command's code, which does not fit a byte

int OnDraw(int, __tagQDrawCallbackInfo* info, int length, void*)
{
    FuzzHost::Require(length == 88 && info->iDstWidth >= 0 && info->iDstHeight >= 0);
    __tagQDrawGraphInfo record = {};
    record.iPointNum = 3;
    record.stPoint[1] = {info->right, info->bottom};
    record.stPoint[2] = {info->left, info->bottom};
    return info->pfnDrawToRender(&record, sizeof(record), info->pRender);
}

// Function pointers are the host's word: of callbacks only whole records or the user value change.
void SendCallback(CLS_ShaderBase& renderer, bool set, int extra)
{
    tagOvelDrawCallback callback[2] = {{set ? &OnDraw : nullptr, &renderer}, {}};
    Ovel_SetParam(&renderer, OVELCMD_SET_DRAW_CALLBACK, callback, 8 + extra % 24);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzHost& host = FuzzHost::Instance();
    InputReader input(data, size);
    for (int round = 0; round < 16 && !input.IsAtEnd(); ++round) {
        const auto flags = input.Take<uint8_t>();
        CLS_ShaderBase& renderer = *host.Renderer(flags);
        const int code = input.Take<int8_t>();
        const int command = code == ColorCode ? int{OVELCMD_SET_COLOR} : code;
        const auto length = input.Take<uint8_t>();
        std::vector<uint8_t> payload(length);
        payload.resize(input.TakeBytes(payload.data(), length));
        payload.shrink_to_fit();
        const int given = static_cast<int>(payload.size());
        if (command == OVELCMD_SET_DRAW_CALLBACK) {
            SendCallback(renderer, flags & 2, given);
        } else if (command == OVELCMD_SET_LABEL_PARENT && (flags & 2)) {
            Ovel_SetParam(&renderer, command, host.Renderer(flags + 1u), 1);
        } else {
            const int result = Ovel_SetParam(&renderer, command, payload.data(), given);
            FuzzHost::Require(result == 0 || result == -1);
            FuzzHost::Require(Ovel_GetParam(&renderer, command, payload.data(), given) == -1);
        }
        if (flags & 4) {
            renderer.resize(1 + given * 7 % 200, 1 + (command & 0x7F));
        }
        if (flags & 8) {
            FuzzHost::ShowFrame(&renderer, flags & 0x10 ? OVEL_DISPLAY_NV12 : OVEL_DISPLAY_YV12);
        }
        if (flags & 0x20) {
            FuzzHost::Paint(renderer, flags & 0x40);
        }
        if (flags & 0x80) {
            Ovel_ClearDraw(&renderer);
        }
    }
    FuzzHost::Settle();
    return 0;
}
