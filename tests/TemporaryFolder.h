#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace qvx::test {

/// A fresh folder that goes away with everything in it.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern = std::filesystem::temp_directory_path() / "unit-tests-XXXXXX";
        path_ = ::mkdtemp(pattern.data());
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() {
        std::error_code error;
        std::filesystem::remove_all(path_, error);
    }

    [[nodiscard]] std::string path(std::string_view name = "") const {
        return name.empty() ? path_ : path_ / name;
    }

    /// Writes a file, with the folders above it, and gives its path.
    [[nodiscard]] std::string file(std::string_view name, std::string_view bytes) const {
        const std::filesystem::path place = path_ / name;
        std::filesystem::create_directories(place.parent_path());
        std::ofstream(place, std::ios::binary) << bytes;
        return place;
    }

private:
    std::filesystem::path path_;
};

inline std::string contentsOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace qvx::test
