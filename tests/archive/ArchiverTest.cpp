#include "archive/Archiver.h"
#include "tests/archive/TestData.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace qvx::test {
namespace {

TEST(Archiver, BytesDoNotDependOnTheNumberOfThreads) {
    std::string pattern = (std::filesystem::temp_directory_path() / "archive_tests.XXXXXX").string();
    ASSERT_TRUE(::mkdtemp(pattern.data()));
    const std::filesystem::path folder = pattern;
    const std::filesystem::path tree = folder / "tree";
    for (unsigned i = 0; i < 40; ++i) {
        const std::filesystem::path inner = tree / std::to_string(i % 7);
        std::filesystem::create_directories(inner);
        const Bytes data = makeData(static_cast<Texture>(i % 5), i % 9 == 3 ? 3'000'000 : i * 700, i);
        std::ofstream(inner / std::to_string(i), std::ios::binary)
            .write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
    }
    std::string first;
    for (unsigned threads : {1u, 2u, 7u}) {
        const std::filesystem::path zip = folder / (std::to_string(threads) + ".zip");
        std::string error;
        ASSERT_TRUE(makeArchive(tree.string(), zip.string(), threads, error)) << error;
        std::ifstream file(zip, std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        EXPECT_GT(bytes.size(), 1'000'000u);
        if (first.empty())
            first = bytes;
        EXPECT_TRUE(bytes == first) << threads << " threads";
    }
    std::filesystem::remove_all(folder);
}

} // namespace
} // namespace qvx::test
