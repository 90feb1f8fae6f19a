// What needs a process of its own: the first picture, and memory per window.
#include "Cells.h"

#include <cstdio>
#include <fstream>

#include <unistd.h>

namespace Bench
{
namespace
{

double ResidentMegabytes()
{
    std::ifstream file("/proc/self/smaps_rollup");
    std::string line;
    while (std::getline(file, line)) {
        double kilobytes = 0;
        if (std::sscanf(line.c_str(), "Pss: %lf kB", &kilobytes) == 1) {
            return kilobytes / 1024;
        }
    }
    return 0;
}

struct ChildResult {
    double cpu = 0;
    double wall = 0;
    double megabytes = 0;
};

ChildResult RunChild(bool library, int count, int width, int height)
{
    const std::string command = settings.program + " --library " + settings.libraryPath + " --child " +
                                (library ? "library " : "thin ") + std::to_string(count) + " " +
                                std::to_string(width) + " " + std::to_string(height);
    ChildResult result;
    const double start = WallMilliseconds();
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe || std::fscanf(pipe, "%lf %lf", &result.cpu, &result.megabytes) != 2) {
        std::fprintf(stderr, "no result from %s\n", command.c_str());
    }
    result.wall = WallMilliseconds() - start;
    if (pipe) {
        pclose(pipe);
    }
    return result;
}

} // namespace

// Runs in a process of its own: shows a picture in every window and says what that took.
int Child(const std::string& side, int count, int width, int height)
{
    const auto clip = Clip(OVEL_DISPLAY_YV12, width, height);
    Stage stage(count, {352, 288}, false,
                [&] { return side == "library" ? NewLibraryDisplay() : NewLimitDisplay(); });
    stage.top.show();
    stage.Together(clip[0]);
    const double cpu = ProcessCpuMilliseconds();
    for (size_t i = 0; i < 8; ++i) {
        stage.Together(clip[i % clip.size()]);
    }
    std::printf("%f %f\n", cpu, ResidentMegabytes());
    std::fflush(stdout);
    _exit(0);
}

void CellFirst()
{
    PrintTitle("A process from its start to its first picture of 352 x 288", "thin widget");
    Series wall;
    const Series cpu = Alternate(
        std::max(9, settings.rounds), [] { return RunChild(false, 1, 352, 288).cpu; },
        [] { return RunChild(true, 1, 352, 288).cpu; });
    PrintRow("CPU time", cpu, "ms", 1.05);
}

void CellMemory()
{
    PrintTitle("Memory per window of 352 x 288 (17 windows less one)", "thin widgets");
    for (const QSize size : {QSize(352, 288), QSize(1920, 1080)}) {
        const auto perWindow = [&](bool library) {
            return (RunChild(library, 17, size.width(), size.height()).megabytes -
                    RunChild(library, 1, size.width(), size.height()).megabytes) /
                   16;
        };
        PrintRow("frames of " + std::to_string(size.width()) + " x " + std::to_string(size.height()),
                 Alternate(
                     5, [&] { return perWindow(false); }, [&] { return perWindow(true); }),
                 "MiB");
    }
}

} // namespace Bench
