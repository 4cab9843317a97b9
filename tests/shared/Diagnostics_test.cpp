#include "shared/Diagnostics.h"

#include <gtest/gtest.h>

#include "shared/Categories/MD5.h"

namespace qvx {

TEST(Diagnostics, AWarningNamesItsPlaceWhenItHasOne) {
    testing::internal::CaptureStdout();
    QVXLogXcodeWarningAtPath("a%@.m", UINT64_MAX, "%d", 5);
    QVXLogXcodeWarningAtPath("", 7, "x");
    QVXLogXcodeWarningAtPathNonVariadic(std::nullopt, 7, "%s");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "a%@.m:18446744073709551615: warning: 5\nwarning: x\nwarning: %s\n");
}

TEST(MD5, OfATextEndsAtItsNULAndOfDataDoesNot) {
    platform::Data pieces = platform::Data::withBytes({"abc\0", 4});
    pieces.append(platform::Data::withBytes("d"));
    EXPECT_EQ(MD5(pieces), "8e108aa8729ef4b71516b96a146593bf");
    EXPECT_EQ(MD5(pieces.string()), "900150983cd24fb0d6963f7d28e17f72");
}

} // namespace qvx
