// A scratch directory for one test, removed with everything in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

struct TempDir {
    TempDir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "zemcal-test-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) std::abort();
        path = pattern;
    }
    ~TempDir() { std::error_code ec; std::filesystem::remove_all(path, ec); }
    TempDir(const TempDir&) = delete;

    /// A path inside the directory.
    std::string file(const std::string& name) const { return (path / name).string(); }
    /// A whole file inside the directory, as bytes (empty when unreadable).
    std::string read(const std::string& name) const {
        std::ifstream f(file(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(f), {}};
    }
    void write(const std::string& name, const std::string& s) const { std::ofstream(file(name), std::ios::binary) << s; }

    std::filesystem::path path;
};
