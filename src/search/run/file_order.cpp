#include "search/run/file_order.hpp"

#include <algorithm>
#include <limits>
#include <system_error>
#include <utility>

namespace codetext::search {
namespace {

constexpr std::int64_t UNKNOWN = std::numeric_limits<std::int64_t>::min();

std::int64_t time_of(const code_text::FileRow& file, FileOrder::By by, TreeReader::Stamps& stamps) {
    try {
        if (by == FileOrder::By::CREATED) return stamps.created_ns(file.path).value_or(UNKNOWN);
        const std::optional<FileStamp> stamp = stamps.of(file.path);
        return stamp ? stamp->mtime_ns : UNKNOWN;
    } catch (const std::system_error&) {
        return UNKNOWN;  // reading the file will tell
    }
}

}  // namespace

void sort_files(std::vector<code_text::FileRow>& files, FileOrder order,
                TreeReader::Stamps stamps) {
    if (order.by != FileOrder::By::PATH) {
        std::vector<std::pair<std::int64_t, code_text::FileRow>> timed;
        timed.reserve(files.size());
        for (code_text::FileRow& file : files) {
            const std::int64_t time = time_of(file, order.by, stamps);
            timed.emplace_back(time, std::move(file));
        }
        std::ranges::stable_sort(timed, {}, [](const auto& entry) { return entry.first; });
        std::ranges::transform(timed, files.begin(),
                               [](auto& entry) { return std::move(entry.second); });
    }
    if (order.is_reversed) std::ranges::reverse(files);
}

}  // namespace codetext::search
