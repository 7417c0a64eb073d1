#include "storage/code_text/disk_text.hpp"

#include <utility>

namespace codetext::code_text {

DiskText::DiskText(std::filesystem::path repo_root, std::optional<std::string> needle,
                   bool case_sensitive, FileReader read)
    : _root(std::move(repo_root)),
      _needle(std::move(needle)),
      _case_sensitive(case_sensitive),
      _read_file(std::move(read)) {}

const std::optional<Lines>& DiskText::_load(std::int64_t file_id, const std::string& path) {
    if (!_read || _read->first != file_id) {
        const auto read = [this](const std::filesystem::path& file) {
            return _read_file(file, _most_bytes);
        };
        std::optional<Lines> lines = _lines_holding(_root / path, _needle, _case_sensitive, read);
        _read.emplace(file_id, std::move(lines));
    }
    return _read->second;
}

SegmentList DiskText::segments(std::int64_t file_id, const std::string& path) {
    const std::optional<Lines>& lines = _load(file_id, path);
    if (!lines) return SegmentList();
    return SegmentList({Segment{1, *lines, true}});
}

Lines DiskText::lines(std::int64_t file_id, const std::string& path) {
    const std::optional<Lines>& lines = _load(file_id, path);
    return lines && !lines->empty() ? *lines : Lines();
}

}  // namespace codetext::code_text
