// Both probes against the reference, on whatever bytes the fuzzer finds.
#include "OvelHelpers.h"
#include "ProbeReference.h"

#include <cstdlib>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // A copy of exactly this size, so that the address sanitizer sees a byte read too far.
    const std::unique_ptr<unsigned char[]> bytes(new unsigned char[size]);
    for (size_t i = 0; i < size; ++i) {
        bytes[i] = data[i];
    }
    const int length = static_cast<int>(size);
    if (H264_Probe(bytes.get(), length) != ReferenceH264(bytes.get(), length) ||
        H265_Probe(bytes.get(), length) != ReferenceH265(bytes.get(), length)) {
        std::abort();
    }
    for (const StartCodes::Search search : Searches()) {
        if (!FindsAll(search, bytes.get(), size)) {
            std::abort();
        }
    }
    return 0;
}
