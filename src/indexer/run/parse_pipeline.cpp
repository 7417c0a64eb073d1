#include "indexer/run/parse_pipeline.hpp"

#include <algorithm>
#include <utility>

namespace codetext::indexer {

ParsePipeline::ParsePipeline(std::filesystem::path root, std::span<const PlannedFile> files,
                             chunk_store::Layout layout, chunk_store::DictionaryHandle dictionary,
                             unsigned threads)
    : _root(std::move(root)), _files(files) {
    const std::size_t wanted = std::min<std::size_t>(std::max(threads, 1U), files.size());
    for (std::size_t i = 0; i < wanted; ++i) {
        _threads.emplace_back([this, packer = chunk_store::Packer(layout, dictionary)](
                                  const std::stop_token& stop) mutable { _work(stop, packer); });
    }
}

ParsedFile ParsePipeline::next() {
    std::unique_lock lock(_mutex);
    _ready.wait(lock, [this] { return !_window.empty() && _window.front().done; });
    Slot slot = std::move(_window.front());
    _window.pop_front();
    _window_bytes -= slot.size_bytes;
    // Threads that wait for room are woken for a stretch of work, not for every file.
    const bool wake = _is_half_empty();
    lock.unlock();
    if (wake) _room.notify_all();
    if (slot.error) std::rethrow_exception(slot.error);
    return std::move(slot.parsed);
}

bool ParsePipeline::_has_room() const {
    return _window.size() < PIPELINE_FILES && _window_bytes < PIPELINE_BYTES;
}

bool ParsePipeline::_is_half_empty() const {
    return _window.size() < PIPELINE_FILES / 2 && _window_bytes < PIPELINE_BYTES / 2;
}

ParsePipeline::Slot* ParsePipeline::_claim(const std::stop_token& stop, std::size_t& index) {
    std::unique_lock lock(_mutex);
    _room.wait(lock, stop, [this] { return _begun == _files.size() || _has_room(); });
    if (stop.stop_requested() || _begun == _files.size()) return nullptr;
    index = _begun++;
    Slot& slot = _window.emplace_back();
    slot.size_bytes = static_cast<std::size_t>(_files[index].entry.size);
    _window_bytes += slot.size_bytes;
    return &slot;
}

void ParsePipeline::_parse(const PlannedFile& file, chunk_store::Packer& packer, Slot& slot) {
    try {
        slot.parsed = parse_file(_root, file, packer);
    } catch (...) {
        slot.error = std::current_exception();
    }
    const std::size_t size_bytes = slot.parsed.packed.size_bytes();
    bool is_next = false;
    {
        const std::lock_guard lock(_mutex);
        _window_bytes += size_bytes - slot.size_bytes;
        slot.size_bytes = size_bytes;
        slot.done = true;
        is_next = &slot == &_window.front();
    }
    if (is_next) _ready.notify_one();
}

void ParsePipeline::_work(const std::stop_token& stop, chunk_store::Packer& packer) {
    std::size_t index = 0;
    while (Slot* slot = _claim(stop, index)) _parse(_files[index], packer, *slot);
}

}  // namespace codetext::indexer
