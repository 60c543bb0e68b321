// A folder for one test, taken away at its end with all that is in it.
#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

struct TemporaryFolder {
    std::filesystem::path path;

    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "kbann_test_XXXXXX").string();
        if (!::mkdtemp(name.data())) throw std::system_error(errno, std::generic_category(), name);
        path = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    std::string file(std::string_view name) const { return (path / name).string(); }
};
