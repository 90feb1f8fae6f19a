// The border that no exception crosses.
#pragma once

template <typename Result, typename Work> Result Guarded(Result failure, Work&& work) noexcept
{
    try {
        return work();
    } catch (...) {
        return failure;
    }
}

template <typename Work> void Guarded(Work&& work) noexcept
{
    try {
        work();
    } catch (...) {
        return;
    }
}
