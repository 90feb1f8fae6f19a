// What a window costs that shows its last picture.
#include "Cells.h"
#include "SampleRecords.h"

#include <QTimer>

#include <cstdio>

namespace Bench
{

void CellIdle()
{
    const auto clip = Clip(OVEL_DISPLAY_YV12, 1920, 1080);
    Records records = Labels(5, 0);
    for (int i = 0; i < 20; ++i) {
        records.push_back(Graphic(OVEL_GRAPH_OUTLINE, i, 4));
    }
    PrintNote("Idle with picture, 20 overlays and 5 labels for " + std::to_string(settings.idleSeconds) +
              " s");
    for (const bool isLibrary : {false, true}) {
        Stage stage(1, {1280, 720}, false,
                    [&] { return isLibrary ? NewLibraryDisplay() : NewLimitDisplay(); });
        stage.First().SetRecords(&records);
        stage.Show(clip[0]);
        RunFor(500);
        int compositions = 0;
        QObject::connect(stage.First().Widget(), &QOpenGLWidget::aboutToCompose, [&] { ++compositions; });
        const int swaps = stage.First().swaps;
        const double start = ProcessCpuMilliseconds();
        bool over = false;
        QTimer::singleShot(settings.idleSeconds * 1000, [&] { over = true; });
        int wakeUps = 0;
        RunUntil([&] { return ++wakeUps, over; });
        char text[160];
        std::snprintf(text, sizeof(text), "- %s: %d paints, %d compositions, %d wake-ups, CPU %.4f %%",
                      isLibrary ? "library" : "thin widget", stage.First().swaps - swaps, compositions,
                      wakeUps - 1, (ProcessCpuMilliseconds() - start) / (settings.idleSeconds * 10.0));
        PrintNote(text);
        stage.First().SetRecords(nullptr);
    }
}

} // namespace Bench
