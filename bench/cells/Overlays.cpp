// What overlays cost, beside a bare loop of one draw per record.
#include "Cells.h"
#include "SampleRecords.h"

namespace Bench
{
namespace
{

void OverlayRow(const std::string& name, Stage& limit, Stage& library, const std::vector<Frame>& clip,
                const Records& records, double target = 1.1)
{
    const Records none;
    const int batch = records.size() > 2000 ? 3 : 10;
    const auto frame = [&](Stage& stage, const Records& shown) {
        stage.First().SetRecords(&shown);
        Stage::FeedAndAwait(stage.First(), clip[0]);
        return CpuOf(batch, [&](size_t i) { Stage::FeedAndAwait(stage.First(), clip[i % clip.size()]); });
    };
    // With and without at once, because a machine's speed drifts.
    const auto alone = [&](Stage& stage) {
        const double without = frame(stage, none);
        return frame(stage, records) - without;
    };
    PrintRow(
        name + ", whole frame",
        Alternate(
            settings.rounds, [&] { return frame(limit, records); }, [&] { return frame(library, records); }),
        "ms");
    if (records.size() >= 1000) {
        PrintRow(name + ", overlays alone",
                 Alternate(
                     settings.rounds, [&] { return alone(limit); }, [&] { return alone(library); }),
                 "ms", target);
    }
    limit.First().SetRecords(nullptr);
    library.First().SetRecords(nullptr);
}

} // namespace

void CellOverlays()
{
    PrintTitle("CPU per frame of 352 x 288 in 1280 x 720 with overlays, store and paint", "bare loop");
    const auto clip = Clip(OVEL_DISPLAY_YV12, 352, 288);
    Stage limit(1, {1280, 720}, false, [] { return NewLimitDisplay(); });
    Stage library(1, {1280, 720}, true, [] { return NewLibraryDisplay(); });
    limit.Show(clip[0]);
    library.Show(clip[0]);
    for (const int count : {0, 10, 100, 1000, 10000}) {
        Records records;
        for (int i = 0; i < count; ++i) {
            records.push_back(Graphic(OVEL_GRAPH_OUTLINE, i, 4));
        }
        OverlayRow(std::to_string(count) + " boxes", limit, library, clip, records);
    }
    for (const int count : {1000, 10000}) {
        Records records;
        for (int i = 0; i < count; ++i) {
            const int kind = i % 10;
            records.push_back(kind < 6   ? Graphic(OVEL_GRAPH_OUTLINE, i, 4)
                              : kind < 8 ? Graphic(OVEL_GRAPH_POLYLINE, i, 16)
                                         : Graphic(OVEL_GRAPH_FILLED, i, 4));
            records.back().fAlpha = kind == 9 ? 0.5f : 0.0f;
        }
        OverlayRow(std::to_string(count) + " boxes, polylines, filled and translucent shapes", limit, library,
                   clip, records);
    }
}

// Lines of width 1, as detectors give them: five boxes, four tracks and one shape in ten.
void CellThin()
{
    const auto clip = Clip(OVEL_DISPLAY_YV12, 352, 288);
    Stage library(1, {1280, 720}, true, [] { return NewLibraryDisplay(); });
    library.Show(clip[0]);
    for (const bool atOnce : {false, true}) {
        PrintTitle("CPU per frame of 352 x 288 in 1280 x 720 with overlays of width 1, store and paint",
                   atOnce ? "one call for all" : "bare loop");
        Stage limit(1, {1280, 720}, false, [atOnce] { return std::make_unique<ThinDisplay>(true, atOnce); });
        limit.Show(clip[0]);
        for (const int count : {1000, 10000}) {
            Records records;
            for (int i = 0; i < count; ++i) {
                records.push_back(i % 10 < 5   ? Graphic(OVEL_GRAPH_OUTLINE, i, 4)
                                  : i % 10 < 9 ? Graphic(OVEL_GRAPH_POLYLINE, i, 16)
                                               : Graphic(OVEL_GRAPH_FILLED, i, 4));
            }
            OverlayRow(std::to_string(count) + " boxes, tracks and shapes", limit, library, clip, records,
                       atOnce ? 1.15 : 1.0);
        }
    }
}

} // namespace Bench
