// Runs a fuzz target over files, where no fuzzer drives it. Each input is also cut at every length, up to a
// bound.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
    constexpr std::size_t kMostCuts = 300;
    if (argc < 2) {
        std::fputs("no inputs\n", stderr);
        return 1;
    }
    for (int i = 1; i < argc; ++i) {
        std::ifstream file(argv[i], std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
        if (!file.is_open() || bytes.empty()) {
            std::fprintf(stderr, "%s cannot be read, or is empty\n", argv[i]);
            return 1;
        }
        const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
        LLVMFuzzerTestOneInput(input.data(), input.size());
        for (std::size_t size = 0; size < std::min(input.size(), kMostCuts); ++size) {
            LLVMFuzzerTestOneInput(input.data(), size);
        }
    }
    std::printf("%d inputs held\n", argc - 1);
    return 0;
}
