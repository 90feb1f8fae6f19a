// The same 1080p pictures in 1280 x 720 by SDL2's renderers: CPU time per frame, to compare with
// bench_window.
#include "Measure.h"

#include <SDL.h>

#include <cstdio>
#include <vector>

namespace
{

double CpuPerFrame(SDL_Renderer* renderer, SDL_Texture* texture, const std::vector<uint8_t>& bytes,
                   int frames)
{
    const double start = Bench::ProcessCpuMilliseconds();
    for (int i = 0; i < frames; ++i) {
        const uint8_t* luma = bytes.data() + i % 4 * 1920;
        const uint8_t* chroma = luma + 1920 * 1080;
        SDL_UpdateYUVTexture(texture, nullptr, luma, 1920, chroma, 960, chroma + 960 * 540, 960);
        SDL_RenderCopy(renderer, texture, nullptr, nullptr);
        SDL_RenderPresent(renderer);
        SDL_PumpEvents();
    }
    return (Bench::ProcessCpuMilliseconds() - start) / frames;
}

} // namespace

int main(int, char**)
{
    if (SDL_Init(SDL_INIT_VIDEO) != 0) {
        return 2;
    }
    SDL_SetHint(SDL_HINT_RENDER_SCALE_QUALITY, "linear");
    std::vector<uint8_t> bytes(1920 * 1084 * 3 / 2);
    for (size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<uint8_t>((i / 1920 * 3 + i % 1920 * 5) >> 3);
    }
    for (const char* driver : {"opengl", "opengles2", "software"}) {
        SDL_SetHint(SDL_HINT_RENDER_DRIVER, driver);
        SDL_Window* window = SDL_CreateWindow(driver, 0, 0, 1280, 720, SDL_WINDOW_SHOWN);
        SDL_Renderer* renderer = window ? SDL_CreateRenderer(window, -1, 0) : nullptr;
        if (renderer) {
            SDL_Texture* texture =
                SDL_CreateTexture(renderer, SDL_PIXELFORMAT_IYUV, SDL_TEXTUREACCESS_STREAMING, 1920, 1080);
            std::vector<double> costs;
            for (int round = 0; round < 7; ++round) {
                costs.push_back(CpuPerFrame(renderer, texture, bytes, 20));
            }
            std::printf("SDL2, %s renderer: %.3f ms CPU per 1080p frame in 1280 x 720\n", driver,
                        Bench::Median(costs));
            SDL_DestroyTexture(texture);
            SDL_DestroyRenderer(renderer);
        }
        SDL_DestroyWindow(window);
    }
    SDL_Quit();
    return 0;
}
