// Compresses a file with one call of the library, on one core: deflate FILE
// Prints the seconds of that call.

#include <libdeflate.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

namespace {

constexpr int level = 5; // the archiver's

} // namespace

int main(int argc, char** argv) {
    if (argc != 2)
        return 2;
    std::ifstream file(argv[1], std::ios::binary | std::ios::ate);
    std::vector<char> input(file ? static_cast<size_t>(file.tellg()) : 0);
    file.seekg(0).read(input.data(), static_cast<std::streamsize>(input.size()));
    const std::unique_ptr<libdeflate_compressor, decltype(&libdeflate_free_compressor)> compressor(
        libdeflate_alloc_compressor(level), libdeflate_free_compressor);
    if (!file || !compressor)
        return 1;
    // Written to, so that its pages are there before the clock starts.
    std::vector<char> output(libdeflate_deflate_compress_bound(compressor.get(), input.size()), 1);

    const auto start = std::chrono::steady_clock::now();
    const size_t size = libdeflate_deflate_compress(compressor.get(), input.data(), input.size(),
                                                    output.data(), output.size());
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    if (size == 0)
        return 1;
    std::printf("%.6f\n", elapsed.count());
    return 0;
}
