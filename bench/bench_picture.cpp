// Frame copy against memcpy of the same bytes, and the arithmetic of a paint.
#include "picture/DisplayGeometry.h"
#include "picture/FrameCopy.h"
#include "picture/LineMesh.h"
#include "picture/OverlayMesh.h"

#include <benchmark/benchmark.h>

#include <cstring>

namespace
{

struct Size {
    int width;
    int height;
};
constexpr Size Sizes[] = {{352, 288}, {1920, 1080}, {3840, 2160}};

struct Source {
    std::vector<uint8_t> bytes;
    tagYuvFrameInfo info = {};

    Source(Size size, int displayType, int pitch, bool planes)
    {
        info.iDisplayType = displayType;
        info.iWidth = size.width;
        info.iHeight = size.height;
        info.iPitch = pitch;
        const size_t row = static_cast<size_t>(pitch > 0 ? pitch : size.width);
        const size_t rows = static_cast<size_t>((size.height + 15) / 16 * 16);
        bytes.assign(row * rows * 3 / 2, 0x55);
        info.pYuvData = bytes.data();
        if (planes) {
            info.pPlaneY = bytes.data();
            info.pPlaneUV = bytes.data() + row * rows;
        }
    }
};

void Copy(benchmark::State& state, Size size, int displayType, int pitch, bool planes)
{
    const Source source(size, displayType, pitch, planes);
    const auto bytes = static_cast<size_t>(PictureBytes(size.width, size.height));
    std::vector<uint8_t> buffer(bytes);
    for (auto _ : state) {
        CopyFrame(source.info, size.width, size.height, {buffer.data(), bytes});
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(static_cast<uint64_t>(state.iterations()) * bytes));
}

void Memcpy(benchmark::State& state, Size size)
{
    const Source source(size, OVEL_DISPLAY_YV12, 0, false);
    const auto bytes = static_cast<size_t>(PictureBytes(size.width, size.height));
    std::vector<uint8_t> buffer(bytes);
    for (auto _ : state) {
        std::memcpy(buffer.data(), source.bytes.data(), bytes);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(static_cast<uint64_t>(state.iterations()) * bytes));
}

std::vector<__tagQDrawGraphInfo> Records(int count, int type, int points)
{
    std::vector<__tagQDrawGraphInfo> records(static_cast<size_t>(count));
    for (size_t i = 0; i < records.size(); ++i) {
        __tagQDrawGraphInfo& record = records[i];
        record.iGraphType = type;
        record.uiColor = static_cast<uint32_t>(i * 2654435761u);
        record.iPointNum = points;
        for (int p = 0; p < points; ++p) {
            record.stPoint[p] = {static_cast<int>(i * 7 % 1200) + p % 2 * 40,
                                 static_cast<int>(i * 13 % 660) + p / 2 * 40};
        }
    }
    return records;
}

void Mesh(benchmark::State& state, int type, int points)
{
    const auto records = Records(1000, type, points);
    OverlayView view;
    view.mapping = ComputeOverlayMapping(1280, 720, WholeArea);
    view.viewportWidth = 1280;
    view.viewportHeight = 720;
    OverlayMesh mesh;
    for (auto _ : state) {
        BuildOverlayMesh(records.data(), static_cast<int>(records.size()), OverlayKinds::LinesAndShapes, view,
                         mesh);
    }
    state.SetItemsProcessed(static_cast<int64_t>(static_cast<uint64_t>(state.iterations()) * records.size()));
}

void Descriptor(benchmark::State& state)
{
    const tagYuvFrameInfo info = {};
    for (auto _ : state) {
        benchmark::DoNotOptimize(ReadDescriptor<tagYuvFrameInfo>(&info, sizeof(info)));
    }
}
BENCHMARK(Descriptor);

void FitAspectRect(benchmark::State& state)
{
    for (auto _ : state) {
        tagQRECT rect{0, 0, 1279, 719};
        benchmark::DoNotOptimize(rect);
        FitAspect(rect, 352, 288);
        benchmark::DoNotOptimize(rect);
    }
}
BENCHMARK(FitAspectRect);

void Quad(benchmark::State& state)
{
    tagOvelZoomArea zoom{0.25, 0.25, 0.75, 0.75};
    float vertices[8];
    for (auto _ : state) {
        benchmark::DoNotOptimize(zoom);
        ComputeQuad(WholeArea, zoom, vertices);
        benchmark::DoNotOptimize(vertices);
    }
}
BENCHMARK(Quad);

void OverlayMappingOfView(benchmark::State& state)
{
    tagOvelZoomArea zoom{0.25, 0.25, 0.75, 0.75};
    for (auto _ : state) {
        benchmark::DoNotOptimize(zoom);
        benchmark::DoNotOptimize(ComputeOverlayMapping(1280, 720, zoom));
    }
}
BENCHMARK(OverlayMappingOfView);

void ViewMatrix(benchmark::State& state)
{
    tagOvelVideoRotate rotate{0, 90, 1};
    for (auto _ : state) {
        benchmark::DoNotOptimize(rotate);
        benchmark::DoNotOptimize(ComputeViewMatrix(rotate));
    }
}
BENCHMARK(ViewMatrix);

void LineTriangles(benchmark::State& state)
{
    std::vector<Point2F> points(static_cast<size_t>(state.range(0)));
    for (size_t i = 0; i < points.size(); ++i) {
        points[i] = {static_cast<float>(i), static_cast<float>(i % 5)};
    }
    std::vector<RectMesh> mesh;
    for (auto _ : state) {
        TriangulateLine(2.0, points, mesh);
    }
}
BENCHMARK(LineTriangles)->Arg(4)->Arg(32);

void RegisterCopies()
{
    for (const Size size : Sizes) {
        const std::string name = std::to_string(size.width) + "x" + std::to_string(size.height);
        const auto add = [&](const char* layout, auto function, auto... arguments) {
            benchmark::RegisterBenchmark((name + "/" + layout).c_str(), function, size, arguments...);
        };
        add("memcpy", Memcpy);
        add("three planes", Copy, OVEL_DISPLAY_YV12, 0, false);
        add("NV12", Copy, OVEL_DISPLAY_NV12, 0, false);
        add("NV12 in two planes", Copy, OVEL_DISPLAY_NV12, 0, true);
        add("NV12, pitch w + 64", Copy, OVEL_DISPLAY_NV12, size.width + 64, false);
        add("NV12, pitch w + 64, two planes", Copy, OVEL_DISPLAY_NV12, size.width + 64, true);
    }
    benchmark::RegisterBenchmark("mesh of 1,000 boxes", Mesh, OVEL_GRAPH_OUTLINE, 4);
    benchmark::RegisterBenchmark("mesh of 1,000 polylines of 32", Mesh, OVEL_GRAPH_POLYLINE, 32);
    benchmark::RegisterBenchmark("mesh of 1,000 filled shapes", Mesh, OVEL_GRAPH_FILLED, 4);
}

} // namespace

int main(int argc, char** argv)
{
    RegisterCopies();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
