// The picture: copied into the frame buffer, with its fields, its size and what lies where in it, or left where
// the host has it. Everything here needs the frame lock unless said otherwise, and a LettingGo outside it where
// a picture of the host may go. Whoever owns the fields frees the buffer (Drop).
#pragma once

#include "FrameReference.h"
#include "picture/FrameCopy.h"
#include "picture/PlaneTextures.h"

#include <atomic>
#include <optional>

// The fields that hold the picture.
struct FrameFields {
    int& width; // of the picture that is shown, copied or not
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
    static bool CanHold(int width, int height);

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

    // Shows the host's picture in place of the buffer, which stays as it is.
    void Refer(const tagOvelFrameRef& frame, const PicturePlanes& planes, FrameReference&& reference);
    // Lets go of the host's picture: the buffer's is the one that is there again.
    void ReturnToBuffer();

    bool HasPicture() const { return m_referred || m_fields.buffer; }
    // Where the planes of the picture lie in this layout; HoldsPicture says whether they may be read.
    PicturePlanes Planes(const PictureLayout& layout) const;
    // The colours that came with the picture, or those of the renderer.
    tagOvelColor ColorOr(const tagOvelColor& color) const;

    // Bytes that may be read and written at the buffer. Of a block that a host put there the heap knows.
    size_t Bytes() const;
    // Whether every byte that a paint of this display type would read is there to be read.
    bool HoldsPicture(int displayType) const;

    // Counts pictures; a glance at it needs no lock.
    uint64_t Serial() const { return m_serial; }
    // A paint has read the picture: the next copy over it goes past the cache, which holds none of it any more.
    void NoteRead() { m_wasRead = m_wasRead || !m_referred; }

private:
    struct Referred {
        int displayType;
        PicturePlanes planes;
        std::optional<tagOvelColor> color;
        FrameReference reference;
        int bufferWidth; // of the picture in the buffer
        int bufferHeight;
    };
    bool Contains(const uint8_t* place, size_t bytes) const;

    const FrameFields m_fields;
    std::atomic<uint64_t> m_serial{0};
    const uint8_t* m_block = nullptr; // the last buffer made here
    size_t m_blockBytes = 0;
    bool m_wasRead = false;
    bool m_isLost = false;
    std::optional<Referred> m_referred;
};
