#include <gtest/gtest.h>

#include "checks/DeploymentTarget.h"
#include "checks/Host.h"

namespace qvx {

TEST(DeploymentTarget, OldestOSXVersion) {
    const struct {
        uint32_t major, minor;
        bool unsupported;
    } rows[] = {{10, 6, true}, {9, 9, true},   {0, 0, true},
                {11, 0, true}, {11, 7, false}, {UINT32_MAX, UINT32_MAX, false}};
    for (const auto& row : rows)
        EXPECT_EQ(OSXDeploymentTargetIsUnsupported({row.major, row.minor, 9}), row.unsupported)
            << row.major << '.' << row.minor;
}

TEST(Host, SearchPathsAreCutAtEveryBlankAndLoseTheirQuotes) {
    EXPECT_EQ(searchPathsToArray(" a  \"b c\"\t"), (std::vector<std::string>{"", "a", "", "b", "c\t"}));
    EXPECT_EQ(searchPathsToArray(""), std::vector<std::string>{""});
}

} // namespace qvx
