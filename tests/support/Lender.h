// A decoder that lends its pictures: it counts what it gets back, and what it got back is spoilt and gone, so
// that a picture that is read too late shows and the address sanitizer sees it.
#pragma once

#include "Reference.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <set>

namespace OvelTest
{

// How the planes of a picture lie: 0 without gaps, negative bottom up.
using Pitches = std::array<int, 3>;

// A picture in memory of its own, every plane allocated to the byte.
class Loan
{
public:
    Loan(const Picture& picture, int displayType, const Pitches& pitches = {})
    {
        info.iWidth = picture.width;
        info.iHeight = picture.height;
        info.iDisplayType = displayType;
        const bool nv12 = displayType == OVEL_DISPLAY_NV12;
        Plane pairs{picture.u.width * 2, picture.u.height};
        for (size_t i = 0; i < picture.u.data.size(); ++i) {
            pairs.data.push_back(picture.u.data[i]);
            pairs.data.push_back(picture.v.data[i]);
        }
        Lay(0, picture.luma, picture.width, pitches);
        Lay(1, nv12 ? pairs : picture.u, nv12 ? picture.width : picture.width / 2, pitches);
        if (!nv12) {
            Lay(2, picture.v, picture.width / 2, pitches);
        }
    }
    Loan(Loan&&) = default;

    void Describe(const tagOvelColor& color)
    {
        info.iHasColor = 1;
        info.stColor = color;
    }
    void Spoil()
    {
        for (std::vector<uint8_t>& bytes : planes) {
            std::fill(bytes.begin(), bytes.end(), PaddingMarker);
        }
    }

    tagOvelFrameRef info{};
    std::vector<uint8_t> planes[3];

private:
    void Lay(size_t index, const Plane& plane, int packed, const Pitches& pitches)
    {
        info.iPitch[index] = pitches[index];
        const int pitch = pitches[index] ? pitches[index] : packed;
        if (plane.data.empty()) {
            return;
        }
        const size_t step = static_cast<size_t>(std::abs(pitch));
        const size_t row = static_cast<size_t>(plane.width);
        const size_t rows = static_cast<size_t>(plane.height);
        planes[index].assign(step * (rows - 1) + row, PaddingMarker);
        for (size_t y = 0; y < rows; ++y) {
            const size_t place = (pitch < 0 ? rows - 1 - y : y) * step;
            std::copy_n(&plane.data[y * row], row, &planes[index][place]);
        }
        info.pPlane[index] = planes[index].data() + (pitch < 0 ? (rows - 1) * step : 0);
    }
};

class Lender
{
public:
    ~Lender() { EXPECT_EQ(Out(), 0) << "never given back"; }

    // The result of the hand-over.
    int Lend(void* handle, Loan&& loan, int size = sizeof(tagOvelFrameRef))
    {
        auto* out = new Loaned{this, std::move(loan)};
        {
            const std::lock_guard<std::mutex> guard(lock);
            loans.insert(out);
        }
        ++lent;
        return Ovel_ShowYuvFrameRef(handle, &out->loan.info, size, &Lender::TakeBack, out);
    }
    int Out() const { return lent - returned; }

    std::atomic<int> lent{0};
    std::atomic<int> returned{0};
    std::atomic<int> strangers{0}; // given back that were not out
    std::function<void()> whenReturned;

private:
    struct Loaned {
        Lender* lender;
        Loan loan;
    };
    static void TakeBack(void* user)
    {
        auto* out = static_cast<Loaned*>(user);
        out->lender->Return(out);
    }
    void Return(Loaned* out)
    {
        {
            const std::lock_guard<std::mutex> guard(lock);
            if (loans.erase(out) == 0) {
                ++strangers;
                return;
            }
        }
        out->loan.Spoil();
        delete out;
        ++returned;
        if (whenReturned) {
            whenReturned();
        }
    }

    std::mutex lock;
    std::set<Loaned*> loans;
};

} // namespace OvelTest
