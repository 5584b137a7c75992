#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace zrktest {

/// A test with an empty folder of its own, which is removed afterwards.
class TemporaryFolder : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::string pattern = ::testing::TempDir() + "zrk-XXXXXX";
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        folder = pattern;
    }
    void TearDown() override { std::filesystem::remove_all(folder); }

    std::string path(const std::string& name) const { return (folder / name).string(); }

    std::string content(const std::string& name) const
    {
        std::ifstream file(folder / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    void put(const std::string& name, const std::string& text) const
    {
        std::ofstream(folder / name, std::ios::binary) << text;
    }

    std::ptrdiff_t entryCount() const
    {
        return std::distance(std::filesystem::directory_iterator(folder), {});
    }

    std::filesystem::path folder;
};

} // namespace zrktest
