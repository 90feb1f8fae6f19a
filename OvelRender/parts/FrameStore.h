// The frame buffer: its fields, its size, what lies where in it. Everything here needs the frame lock unless
// said otherwise. Whoever owns the fields frees the buffer (Drop).
#pragma once

#include "picture/FrameCopy.h"

#include <atomic>

// The fields that hold the picture.
struct FrameFields {
    int& width;
    int& height;
    int& declaredBytes; // as the last reset was given it
    uint8_t*& buffer;   // malloc
    uint8_t*& nv12Luma; // into the buffer, or null
    uint8_t*& nv12Chroma;
};

class FrameStore
{
public:
    explicit FrameStore(const FrameFields& fields) : m_fields(fields) {}
    FrameStore(const FrameStore&) = delete;
    FrameStore& operator=(const FrameStore&) = delete;

    // Whether a picture of this size can be held at all: positive, at most 2 GiB. Any thread.
    static bool CanHold(const tagYuvFrameInfo& frame);

    // Replaces the buffer by a zeroed one of `bytes` bytes, or of a 4:2:0 picture's size when below 1. -1:
    // size not positive (nothing changed), or too large or no memory (no buffer left).
    int Reset(int width, int height, int bytes);
    void Drop();
    // The picture went for want of memory: what is on the screen stays there.
    bool IsLost() const { return m_isLost; }

    // Whether the frame needs a buffer other than the one that is there.
    bool NeedsReset(const tagYuvFrameInfo& frame) const;
    // The bytes to reset to: a frame that declares less than its picture needs gets enough.
    static int RoomFor(const tagYuvFrameInfo& frame);
    // What the frame declared, for the next one to be compared with.
    void NoteDeclared(const tagYuvFrameInfo& frame) { m_fields.declaredBytes = frame.iDataSize; }
    CopiedFrame Copy(const tagYuvFrameInfo& frame);

    // Bytes that may be read and written at the buffer. Of a block that a host put there the heap knows.
    size_t Bytes() const;
    // Whether every byte that a paint of this display type would read lies in the buffer.
    bool HoldsPicture(int displayType) const;

    // Counts pictures; a glance at it needs no lock.
    uint64_t Serial() const { return m_serial; }
    // A paint has read the buffer: the next copy goes past the cache, which holds none of it any more.
    void NoteRead() { m_wasRead = true; }

private:
    bool Contains(const uint8_t* place, size_t bytes) const;

    const FrameFields m_fields;
    std::atomic<uint64_t> m_serial{0};
    const uint8_t* m_block = nullptr; // the last buffer made here
    size_t m_blockBytes = 0;
    bool m_wasRead = false;
    bool m_isLost = false;
};
