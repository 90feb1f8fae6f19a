// Runs a fuzz target over the files of directories: what the fuzzer once found stays fixed, with every
// compiler.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv)
{
    int files = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            std::ifstream file(entry.path(), std::ios::binary);
            const std::vector<char> text{std::istreambuf_iterator<char>(file), {}};
            const std::vector<uint8_t> bytes(text.begin(), text.end());
            LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
            ++files;
        }
    }
    std::printf("%d inputs\n", files);
    std::fflush(stdout);
    std::_Exit(files > 0 ? 0 : 1); // the renderers of the target live as long as the process
}
