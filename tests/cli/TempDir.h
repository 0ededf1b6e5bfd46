// A scratch directory for one test, removed with everything in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

class TempDir {
public:
    TempDir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "zemcal-cli-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) std::abort();
        path_ = pattern;
    }
    ~TempDir() {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    /// A path inside the directory.
    std::string file(const std::string& name) const { return (path_ / name).string(); }
    /// Whole files inside the directory, as bytes (empty when unreadable).
    std::string read(const std::string& name) const {
        std::ostringstream s;
        s << std::ifstream(file(name), std::ios::binary).rdbuf();
        return s.str();
    }
    void write(const std::string& name, const std::string& bytes) const {
        std::ofstream(file(name), std::ios::binary) << bytes;
    }

private:
    std::filesystem::path path_;
};
