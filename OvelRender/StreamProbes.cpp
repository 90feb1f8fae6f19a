// Tells H.264 and H.265 elementary streams from everything else by their NAL unit headers.
#include "OvelHelpers.h"
#include "StartCodes.h"

namespace
{

// What a probe has seen of an H.264 stream so far.
struct H264Units {
    int sps = 0;
    int pps = 0;
    int idr = 0;
    int slices = 0;
    int reserved = 0;

    // Takes a NAL unit header with the two bytes after it; false if no stream can hold it.
    bool Take(const unsigned char* header)
    {
        if ((header[0] & 0x80) != 0) {
            return false;
        }
        const bool isReference = (header[0] & 0x60) != 0;
        switch (header[0] & 0x1F) {
        case 1:
            ++slices;
            return true;
        case 2:
        case 3:
        case 4:
        case 19:
            return true;
        case 5:
            ++idr;
            return isReference;
        case 6:
        case 9:
        case 10:
        case 11:
        case 12:
            return !isReference;
        case 7:
            ++sps;
            return isReference && (header[2] & 3) == 0;
        case 8:
            ++pps;
            return isReference;
        case 13:
            return isReference;
        default:
            // Zeros after a start code are padding, not a unit.
            reserved += header[0] != 0 || header[1] != 0 || header[2] != 0;
            return true;
        }
    }

    bool IsStream() const
    {
        return sps > 0 && pps > 0 && (idr > 0 || slices >= 4) && reserved < sps + pps + idr;
    }
};

// What a probe has seen of an H.265 stream so far.
struct H265Units {
    bool vps = false;
    bool sps = false;
    bool pps = false;
    bool randomAccess = false;

    // Takes the two bytes of a NAL unit header; false if no single-layer stream can hold it.
    bool Take(const unsigned char* header)
    {
        if ((header[0] & 0x81) != 0 || header[1] > 7) {
            return false;
        }
        const int type = header[0] >> 1;
        randomAccess = randomAccess || (type >= 16 && type <= 21);
        vps = vps || type == 32;
        sps = sps || type == 33;
        pps = pps || type == 34;
        return true;
    }

    bool IsStream() const { return vps && sps && pps && randomAccess; }
};

// headerBytes: what a header needs in the buffer to be looked at.
template <typename Units> int Probe(const unsigned char* bytes, int length, int headerBytes)
{
    constexpr int codeBytes = 3;
    if (bytes == nullptr) {
        return -1;
    }
    if (length < codeBytes + headerBytes) {
        return 0;
    }
    Units units;
    const int limit = length - codeBytes - headerBytes + 1;
    const auto take = [&units](const unsigned char* header) { return units.Take(header); };
    return StartCodes::ForEach(bytes, static_cast<size_t>(limit), StartCodes::BestSearch(), take) &&
                   units.IsStream()
               ? 1
               : 0;
}

} // namespace

int H264_Probe(unsigned char* buf, int len)
{
    return Probe<H264Units>(buf, len, 3);
}

int H265_Probe(unsigned char* buf, int len)
{
    return Probe<H265Units>(buf, len, 2);
}
