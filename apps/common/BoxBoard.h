// The boxes that somebody found in the pictures of one tile, kept until their picture is drawn and for the times that
// it is drawn again.
#pragma once

#include "BoxLine.h"
#include "OverlayRecords.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <vector>

// A box belongs to the picture whose time it names, or to the newest one drawn. It vanishes with the next picture
// that has boxes of its own, and when its time is over at the latest. All members on any thread.
class BoxBoard
{
public:
    // Beyond so many boxes those of the earliest pictures are forgotten.
    BoxBoard(double framesPerSecond, size_t mostBoxes);

    void Add(const BoxLine& line);
    void SetRate(double framesPerSecond); // of a source that has just told
    void SetView(const ViewState& view, QSize widget);
    void Draw(const __tagQDrawCallbackInfo& info); // in the renderer's draw callback

    // Called by Announce when the picture drawn last has got boxes; must return soon. Null: nobody listens any
    // more once this has returned.
    void OnChange(std::function<void()> changed);
    void Announce();

private:
    struct Box {
        std::optional<QRectF> Place;
        uint32_t LineColor;
        double Stays; // seconds, after its own picture
        OverlayLabel Label;
    };
    using Clock = std::chrono::steady_clock;

    uint32_t Number(double seconds) const;
    bool IsOver(const Box& box, uint32_t own) const;
    void DrawBox(const __tagQDrawCallbackInfo& info, const Box& box) const;
    void AddToNewest(Box box);

    const size_t m_mostBoxes;
    std::mutex m_mutex; // of all below
    double m_framesPerSecond;
    std::multimap<double, Box> m_timed; // by seconds
    std::vector<Box> m_newest;
    std::optional<uint32_t> m_newestNumber; // of the picture that they belong to
    Clock::time_point m_newestSince;
    std::vector<const Box*> m_shown; // in a picture being drawn
    uint32_t m_drawn = 0;
    bool m_hasDrawn = false;
    bool m_isChanged = false;
    TileView m_view;
    std::function<void()> m_changed;
};
