// A file for one test, taken away at its end.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

namespace kbann::test {

struct TestFile {
    std::string path;
    explicit TestFile(const char* name) : path(testing::TempDir() + "kbann_" + name) { std::remove(path.c_str()); }
    ~TestFile() { std::remove(path.c_str()); }
    const char* name() const { return path.c_str(); }
    bool exists() const { return std::ifstream(path).good(); }
    void write(const std::string& text) const { std::ofstream(path, std::ios::binary) << text; }
    std::string read() const {
        std::ifstream in(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
};

} // namespace kbann::test
