// Runs a fuzz target on files, for builds without the fuzzing engine. usage: replay_... FILE-OR-FOLDER...

#include "tests/fuzz/Fuzz.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

namespace {

int replay(const std::filesystem::path& path) {
    if (std::filesystem::is_directory(path)) {
        int count = 0;
        for (const auto& entry : std::filesystem::directory_iterator(path)) {
            count += replay(entry.path());
        }
        return count;
    }
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(file)), {});
    LLVMFuzzerTestOneInput(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    return 1;
}

} // namespace

int main(int argc, char* argv[]) {
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        count += replay(argv[i]);
    }
    std::cout << count << " inputs replayed\n";
    return count > 0 ? 0 : 1;
}
