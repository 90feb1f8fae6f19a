// What labels cost, beside plain QLabels.
#include "Cells.h"
#include "SampleRecords.h"

#include <QCoreApplication>

#include <cstdio>

namespace Bench
{

void CellLabels()
{
    PrintTitle("CPU per 1080p frame in 1280 x 720 with labels", "thin widget with QLabels");
    const auto clip = Clip(OVEL_DISPLAY_YV12, 1920, 1080);
    for (const int count : {0, 5, 48}) {
        for (const bool changing : {false, true}) {
            if (count == 0 && changing) {
                continue;
            }
            Stage limit(1, {1280, 720}, false, [] { return NewLimitDisplay(); });
            Stage library(1, {1280, 720}, true, [] { return NewLibraryDisplay(); });
            Records records = Labels(count, 0);
            int round = 0;
            limit.Show(clip[0]);
            library.Show(clip[0]);
            limit.First().SetRecords(&records);
            library.First().SetRecords(&records);
            int compositions[2] = {};
            int frames[2] = {};
            Stage* stages[2] = {&limit, &library};
            for (const int side : {0, 1}) {
                QObject::connect(stages[side]->First().Widget(), &QOpenGLWidget::aboutToCompose,
                                 [&compositions, side] { ++compositions[side]; });
            }
            const auto cost = [&](int side) {
                return CpuOf(10, [&](size_t i) {
                    if (changing) {
                        records = Labels(count, ++round);
                    }
                    Stage::FeedAndAwait(stages[side]->First(), clip[i % clip.size()]);
                    QCoreApplication::processEvents();
                    ++frames[side];
                });
            };
            const Series series = Alternate(
                settings.rounds, [&] { return cost(0); }, [&] { return cost(1); });
            char text[120];
            std::snprintf(text, sizeof(text), "%d %s labels, %.2f and %.2f compositions per frame", count,
                          changing ? "changing" : "unchanged", 1.0 * compositions[0] / frames[0],
                          1.0 * compositions[1] / frames[1]);
            PrintRow(text, series, "ms", changing ? 1.1 : 1.05);
            limit.First().SetRecords(nullptr);
            library.First().SetRecords(nullptr);
        }
    }
}

} // namespace Bench
