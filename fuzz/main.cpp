// Runs the target: for libFuzzer, or, without it, once for each file in the directories given.

#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    codetext::fuzz::target(
        codetext::fuzz::Input({reinterpret_cast<const char*>(data), data ? size : 0}));
    return 0;
}

#ifndef CODETEXT_FUZZ
int main(int count, char** arguments) {
    int files = 0;
    for (int i = 1; i < count; ++i) {
        for (const auto& file : std::filesystem::recursive_directory_iterator(arguments[i])) {
            if (!file.is_regular_file()) continue;
            std::ifstream stream(file.path(), std::ios::binary);
            const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
            std::printf("%s\n", file.path().c_str());
            std::fflush(stdout);
            codetext::fuzz::target(codetext::fuzz::Input(bytes));
            ++files;
        }
    }
    return files > 0 ? 0 : 1;
}
#endif
