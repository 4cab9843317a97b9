#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "driver/Arguments.h"
#include "driver/BuildRecord.h"
#include "platform/PropertyList.h"
#include "platform/UserDefaults.h"
#include "tests/platform/TemporaryFolder.h"

namespace qvx {

using namespace std::string_literals;

namespace {

std::string repeated(size_t count, std::string_view text) {
    std::string result;
    while (count-- > 0)
        result += text;
    return result;
}

} // namespace

TEST(Arguments, KeyAndSecret) {
    const struct {
        std::string argument;
        bool isKey, isSecret;
    } rows[] = {{repeated(40, "k"), true, false},  {repeated(39, "k"), false, false},
                {repeated(41, "k"), false, false}, {repeated(20, "😀"), true, false},
                {repeated(40, "é"), true, false},  {repeated(39, "k") + "\xFF", false, false},
                {repeated(64, "s"), false, true},  {repeated(65, "s"), false, false},
                {repeated(32, "é"), false, true},  {repeated(63, "s") + "\xC3", false, false},
                {repeated(16, "😀"), false, true},  {"", false, false}};
    for (const auto& row : rows) {
        const char* argv[] = {"run", "key", row.argument.c_str(), "more"};
        EXPECT_EQ(apiKeyFromArgument(argv[2]).has_value(), row.isKey) << row.argument;
        EXPECT_EQ(buildSecretFromArguments(4, argv), row.isSecret ? row.argument : "") << row.argument;
        EXPECT_EQ(buildSecretFromArguments(2, argv), "");
    }
}

TEST(Arguments, SetOfLowerCaseWords) {
    const char* argv[] = {"./Run", "NO-Warn-Missing-dSYM", "ÀÉ", "\xFF", "x", "X"};
    EXPECT_EQ(argsToSet(6, argv), (ArgumentSet{"./run", "no-warn-missing-dsym", "àé", "x"}));
}

TEST(UserDefaults, ArgumentsBeforeTheFile) {
    const test::TemporaryFolder folder;
    static_cast<void>(folder.file("com.quorvex.run.plist",
                                  platform::xmlPropertyList({{"debug", true}, {"real", 0.5}, {"none", 0}})));
    ::setenv("XDG_CONFIG_HOME", folder.path().c_str(), 1);
    const char* argv[] = {"-debug", "NO", "key", "-other", "-debug", "no", "-debug", "yes"};
    const auto isTrue = [&](const char* key, int argc) {
        const auto value = platform::userDefault(key, argc, argv);
        return value && platform::isTrue(*value);
    };
    EXPECT_TRUE(isTrue("debug", 4)); // the program's name is no option
    EXPECT_TRUE(isTrue("debug", 5)); // nor is one without a value
    EXPECT_FALSE(isTrue("debug", 8));
    EXPECT_TRUE(isTrue("real", 8));
    EXPECT_FALSE(isTrue("none", 8));
    EXPECT_FALSE(isTrue("missing", 8));
    ::setenv("XDG_CONFIG_HOME", folder.path("elsewhere").c_str(), 1);
    EXPECT_FALSE(isTrue("debug", 4));
    ::unsetenv("XDG_CONFIG_HOME");
}

TEST(BuildRecord, ReadsBackWhateverTheEnvironmentHolds) {
    const test::TemporaryFolder folder;
    static_cast<void>(folder.file("Info.plist", platform::xmlPropertyList({{"CFBundleVersion", 7},
                                                                           {"CFBundleIdentifier", "a.b"},
                                                                           {"CFBundleName", "%@ é"}})));
    platform::Environment::Variables variables{{"BUILT_PRODUCTS_DIR", folder.path()},
                                               {"INFOPLIST_PATH", "Info.plist"},
                                               {"CONFIGURATION", ""},
                                               {"LINES", "a\r\nb\n\tc"},
                                               {"BYTES", "\x1B[1m\xFF%@"}};
    for (int index = 0; index < 10'000; ++index)
        variables.emplace("V" + std::to_string(index), "x");
    const platform::Dictionary record =
        buildRecord(platform::Environment(variables), "key", {"/c/a.dSYM", "/c/b\x01.dSYM"});
    ASSERT_FALSE(platform::writeToFileAtomically(record, folder.path("Build.plist")));
    const auto read = platform::dictionaryWithContentsOfFile(folder.path("Build.plist"));
    ASSERT_TRUE(read);
    std::string keys;
    for (const auto& [key, value] : read->items())
        keys += key + " ";
    EXPECT_EQ(
        keys,
        "CONFIGURATION QUORVEX_FRAMEWORK_PATH QUORVEX_API_KEY QUORVEX_RUN_VERSION dSYMs CFBundleVersion "
        "CFBundleName CFBundleIdentifier Runner_Environment_Dictionary ");
    EXPECT_EQ(*read->find("dSYMs"),
              (platform::Value(platform::Value::Array{"/c/a.dSYM", "/c/b\uFFFD.dSYM"})));
    EXPECT_EQ(*read->find("CFBundleVersion"), platform::Value(7));
    const auto* environment = read->find("Runner_Environment_Dictionary")->get<platform::Dictionary>();
    ASSERT_TRUE(environment);
    EXPECT_EQ(environment->items().size(), variables.size());
    EXPECT_EQ(environment->string("LINES"), "a\r\nb\n\tc");
    EXPECT_EQ(environment->string("BYTES"), "\uFFFD[1m\uFFFD%@");

    // An independent reader agrees.
    const std::string script = "import plistlib, sys\n"
                               "p = plistlib.load(open(sys.argv[1], 'rb'))\n"
                               "e = p['Runner_Environment_Dictionary']\n"
                               "assert e['LINES'] == 'a\\r\\nb\\n\\tc', e['LINES']\n"
                               "assert e['BYTES'] == '\\ufffd[1m\\ufffd%@', e['BYTES']\n"
                               "assert len(e) == 10005 and p['CFBundleName'] == '%@ \\xe9' and len(p) == 9\n";
    EXPECT_EQ(std::system((QVX_PYTHON " -c \"" + script + "\" '" + folder.path("Build.plist") + "'").c_str()),
              0);
}

} // namespace qvx
