// Runs a fuzz target without libFuzzer, so that the corpus (and any input
// that once crashed) is an ordinary test under any compiler.
//
// Usage: <target>_replay PATH...   Each PATH is a file or a directory whose
// regular files are all run, in name order. A finding aborts (see
// FuzzSupport.h); otherwise the exit status is 0, or 1 when no input was
// found (a missing corpus must not pass silently).
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "FuzzSupport.h"

namespace fs = std::filesystem;

int main(int argc, char** argv) {
    std::vector<fs::path> inputs;
    for (int i = 1; i < argc; ++i) {
        const fs::path arg(argv[i]);
        if (fs::is_directory(arg)) {
            std::vector<fs::path> files;
            for (const auto& entry : fs::directory_iterator(arg)) {
                if (entry.is_regular_file()) files.push_back(entry.path());
            }
            std::sort(files.begin(), files.end());
            inputs.insert(inputs.end(), files.begin(), files.end());
        } else {
            inputs.push_back(arg);
        }
    }

    for (const fs::path& p : inputs) {
        std::ifstream in(p, std::ios::binary);
        if (!in) {
            std::fprintf(stderr, "cannot read %s\n", p.c_str());
            return 1;
        }
        const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        std::fprintf(stderr, "%s\n", p.c_str());
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }
    std::fprintf(stderr, "%zu inputs ran without a finding\n", inputs.size());
    return inputs.empty() ? 1 : 0;
}
