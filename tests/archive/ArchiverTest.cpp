#include "archive/Archiver.h"
#include "tests/archive/TestData.h"
#include "tests/platform/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <tuple>

namespace qvx::test {

TEST(Archiver, BytesDoNotDependOnTheNumberOfThreads) {
    const TemporaryFolder folder;
    for (unsigned i = 0; i < 40; ++i) {
        const Bytes data = makeData(static_cast<Texture>(i % 4), i % 9 == 3 ? 3'000'000 : i * 700, i);
        const std::string name = "tree/" + std::to_string(i % 7) + "/" + std::to_string(i);
        std::ignore = folder.file(name, {reinterpret_cast<const char*>(data.data()), data.size()});
    }
    std::string first;
    for (unsigned threads : {1u, 2u, 7u}) {
        const std::string zip = folder.path(std::to_string(threads) + ".zip");
        std::string error;
        ASSERT_TRUE(makeArchive(folder.path("tree"), zip, threads, error)) << error;
        const std::string bytes = contentsOf(zip);
        EXPECT_GT(bytes.size(), 1'000'000u);
        if (first.empty())
            first = bytes;
        EXPECT_TRUE(bytes == first) << threads << " threads";
    }
}

} // namespace qvx::test
