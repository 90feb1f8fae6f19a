// What the recording OS SDK notes, as the tests read it.
#pragma once

#include <array>
#include <cstdint>
#include <type_traits>

struct RecordedCall {
    char name[48];
    int count;
    std::array<uint64_t, 5> arguments;
    char text[8192];
};

struct Recording {
    uint64_t result;       // what every function returns, cut to its type
    int calls;             // since it was set to 0
    RecordedCall first[8]; // the first calls, then the latest one in the last place
};

template <typename T> uint64_t ToBits(T value)
{
    if constexpr (std::is_pointer_v<T>) {
        return reinterpret_cast<uintptr_t>(value);
    } else {
        return static_cast<uint64_t>(static_cast<int64_t>(value));
    }
}

template <typename T> T FromBits(uint64_t bits)
{
    if constexpr (std::is_pointer_v<T>) {
        return reinterpret_cast<T>(bits);
    } else {
        return static_cast<T>(bits);
    }
}
