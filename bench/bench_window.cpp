// What the library costs in windows, cell by cell beside the least that the same job can cost. See --help.
#include "cells/Cells.h"

#include <QApplication>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace
{

const std::pair<const char*, void (*)()> Cells[] = {
    {"intake", Bench::CellIntake},     {"paint", Bench::CellPaint},   {"reference", Bench::CellReference},
    {"overlays", Bench::CellOverlays}, {"thin", Bench::CellThin},     {"labels", Bench::CellLabels},
    {"wall", Bench::CellWall},         {"native", Bench::CellNative}, {"feeders", Bench::CellFeeders},
    {"latency", Bench::CellLatency},   {"first", Bench::CellFirst},   {"memory", Bench::CellMemory},
    {"idle", Bench::CellIdle},
};

int Usage()
{
    std::printf("bench_window [--rounds N] [--idle SECONDS] [--library FILE] [--against FILE] [CELL...]\n"
                "--against measures another build of the library in the place of the thin widget.\nCells:");
    for (const auto& cell : Cells) {
        std::printf(" %s", cell.first);
    }
    std::printf("\n");
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    Bench::Settings& settings = Bench::settings;
    settings.program = argv[0];
    settings.libraryPath = OVEL_LIBRARY;
    QApplication application(argc, argv);
    std::vector<std::string> wanted;
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        const auto value = [&] { return i + 1 < argc ? argv[++i] : ""; };
        if (option == "--rounds") {
            settings.rounds = std::max(5, std::atoi(value()));
        } else if (option == "--idle") {
            settings.idleSeconds = std::atoi(value());
        } else if (option == "--library") {
            settings.libraryPath = value();
        } else if (option == "--against") {
            settings.againstPath = value();
        } else if (option == "--child" && i + 4 < argc) {
            const std::string side = argv[i + 1];
            const int count = std::atoi(argv[i + 2]);
            const int width = std::atoi(argv[i + 3]);
            const int height = std::atoi(argv[i + 4]);
            return side == "native" || side == "shared"
                       ? Bench::ChildWall(side == "native", count, width, height)
                       : Bench::Child(side, count, width, height);
        } else if (option[0] == '-') {
            return Usage();
        } else {
            wanted.push_back(option);
        }
    }
    for (const auto& [name, cell] : Cells) {
        if (wanted.empty() || std::find(wanted.begin(), wanted.end(), name) != wanted.end()) {
            cell();
        }
    }
    return 0;
}
