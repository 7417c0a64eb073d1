#include "sample_text.hpp"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <stdexcept>

#include "utils/fsio.hpp"
#include "utils/unicode.hpp"

namespace codetext::bench {
namespace {

constexpr std::int64_t MOST_BYTES = 16 << 20;

std::int64_t size_of(const std::vector<std::string>& texts) {
    std::int64_t bytes = 0;
    for (const std::string& text : texts) bytes += static_cast<std::int64_t>(text.size());
    return bytes;
}

std::set<std::filesystem::path> source_files(const std::filesystem::path& directory) {
    static const std::set<std::string> EXTENSIONS = {".c", ".h", ".cc", ".cpp", ".hpp"};
    std::set<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
        const bool wanted = EXTENSIONS.count(entry.path().extension().string()) > 0;
        if (wanted && entry.is_regular_file() && !entry.is_symlink()) files.insert(entry.path());
    }
    return files;
}

std::vector<std::string> read_texts() {
    const char* chosen = std::getenv("CODETEXT_BENCH_INPUT");
    const std::filesystem::path directory = chosen ? chosen : CODETEXT_BENCH_INPUT;
    std::vector<std::string> texts;
    std::int64_t bytes = 0;
    for (const std::filesystem::path& file : source_files(directory)) {
        texts.push_back(fsio::read_bytes_no_follow(file));
        bytes += static_cast<std::int64_t>(texts.back().size());
        if (bytes >= MOST_BYTES) break;
    }
    if (bytes == 0) throw std::runtime_error("no source text below " + directory.string());
    return texts;
}

std::vector<std::string> read_lines() {
    std::vector<std::string> all;
    for (const std::string& text : sample_texts()) {
        if (auto lines = unicode::joined_lines(unicode::decode(text))) all.push_back(*lines);
    }
    return all;
}

}  // namespace

const std::vector<std::string>& sample_texts() {
    static const std::vector<std::string> texts = read_texts();
    return texts;
}

std::int64_t sample_bytes() {
    static const std::int64_t bytes = size_of(sample_texts());
    return bytes;
}

const std::vector<std::string>& sample_lines() {
    static const std::vector<std::string> lines = read_lines();
    return lines;
}

}  // namespace codetext::bench
