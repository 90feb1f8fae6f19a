#include "ColorConversion.h"

#include <algorithm>

namespace
{

// The shares of red and blue in the luma of a standard.
struct Primaries {
    double red;
    double blue;
};
constexpr Primaries Standards[] = {{0.299, 0.114}, {0.2126, 0.0722}, {0.2627, 0.0593}}; // from BT.601 on

YuvFormula CoefficientsOf(const Primaries& share)
{
    const double green = 1.0 - share.red - share.blue;
    const double vToRed = 2.0 * (1.0 - share.red);
    const double uToBlue = 2.0 * (1.0 - share.blue);
    return {0.0, vToRed, -uToBlue * share.blue / green, -vToRed * share.red / green, uToBlue};
}

struct Samples {
    double lumaOffset;
    double lumaGain;
    double chromaOffset;
    double chromaGain;
};

Samples SamplesOf(int range, const YuvFormula& formula)
{
    if (range == OVEL_RANGE_LIMITED) {
        return {16.0 / 255.0, 255.0 / 219.0, 128.0 / 255.0, 255.0 / 224.0};
    }
    if (range == OVEL_RANGE_FULL) {
        return {0.0, 1.0, 128.0 / 255.0, 1.0};
    }
    return {formula.lumaOffset, 1.0, 0.5, 1.0};
}

struct Span {
    float start;
    float end;
};

// `first` is where sample 0 lies, in luma samples from the edge; the following ones lie two apart.
Span SpanOf(int luma, double first)
{
    const double chroma = std::max(luma / 2, 1);
    const double start = (0.5 - first / 2.0) / chroma;
    return {static_cast<float>(start), static_cast<float>(start + luma / (2.0 * chroma))};
}

} // namespace

bool IsKnownColor(const tagOvelColor& color)
{
    const auto within = [](int value, int last) { return value >= 0 && value <= last; };
    return within(color.iMatrix, OVEL_MATRIX_BT2020) && within(color.iRange, OVEL_RANGE_FULL) &&
           within(color.iChromaSiting, OVEL_SITING_TOP_LEFT);
}

bool IsPlainColor(const tagOvelColor& color)
{
    return IsSameColor(color, {OVEL_MATRIX_FORMULA, OVEL_RANGE_FORMULA, OVEL_SITING_CENTER});
}

bool IsSameColor(const tagOvelColor& a, const tagOvelColor& b)
{
    return a.iMatrix == b.iMatrix && a.iRange == b.iRange && a.iChromaSiting == b.iChromaSiting;
}

ColorConversion ConversionOf(const YuvFormula& formula, const tagOvelColor& color)
{
    const YuvFormula c = color.iMatrix == OVEL_MATRIX_FORMULA
                             ? formula
                             : CoefficientsOf(Standards[color.iMatrix - OVEL_MATRIX_BT601]);
    const Samples s = SamplesOf(color.iRange, formula);
    ColorConversion conversion = {
        {{{1.0, 0.0, c.vToRed}, {1.0, c.uToGreen, c.vToGreen}, {1.0, c.uToBlue, 0.0}}}, {}};
    for (size_t i = 0; i < conversion.matrix.size(); ++i) {
        auto& row = conversion.matrix[i];
        row = {row[0] * s.lumaGain, row[1] * s.chromaGain, row[2] * s.chromaGain};
        conversion.offset[i] = -row[0] * s.lumaOffset - (row[1] + row[2]) * s.chromaOffset;
    }
    return conversion;
}

ChromaSpan ChromaSpanOf(int siting, int width, int height)
{
    if (siting == OVEL_SITING_CENTER) {
        return {0.0f, 0.0f, 1.0f, 1.0f};
    }
    const Span columns = SpanOf(width, 0.5);
    const Span rows = SpanOf(height, siting == OVEL_SITING_TOP_LEFT ? 0.5 : 1.0);
    return {columns.start, rows.start, columns.end, rows.end};
}
