#pragma once

// Many files parsed by several threads, the results handed out in the files' order to the one
// thread that stores them.
//
//   ParsePipeline pipeline(root, plan.to_read, layout, dictionary, 2);
//   for (const PlannedFile& file : plan.to_read) store(file, pipeline.next());

#include <condition_variable>
#include <deque>
#include <exception>
#include <filesystem>
#include <mutex>
#include <span>
#include <stop_token>
#include <thread>
#include <vector>

#include "indexer/run/parse_file.hpp"

namespace codetext::indexer {

/// Memory that results, and files being read, may take before no further file is begun; one file at
/// a time is always worked on.
inline constexpr std::size_t PIPELINE_BYTES = 64 << 20;
/// Most files that may be read ahead of the one whose result is handed out next.
inline constexpr std::size_t PIPELINE_FILES = 4096;

class ParsePipeline {
  public:
    /// Begins with the first of `files`, which must outlive the pipeline.
    ParsePipeline(std::filesystem::path root, std::span<const PlannedFile> files,
                  chunk_store::Layout layout, chunk_store::DictionaryHandle dictionary,
                  unsigned threads);
    /// Lets the files being parsed be finished and begins no other.
    ~ParsePipeline() = default;
    ParsePipeline(const ParsePipeline&) = delete;
    ParsePipeline& operator=(const ParsePipeline&) = delete;

    /// The result of the next file. Throws what parsing it threw.
    /// REQUIRES: called at most once a file.
    ParsedFile next();

  private:
    struct Slot {
        bool done = false;
        ParsedFile parsed;
        std::exception_ptr error;
        std::size_t size_bytes = 0;
    };

    void _work(const std::stop_token& stop, chunk_store::Packer& packer);
    Slot* _claim(const std::stop_token& stop, std::size_t& index);
    bool _has_room() const;
    bool _is_half_empty() const;
    void _parse(const PlannedFile& file, chunk_store::Packer& packer, Slot& slot);

    std::filesystem::path _root;
    std::span<const PlannedFile> _files;
    std::mutex _mutex;
    std::condition_variable_any _room;
    std::condition_variable _ready;
    std::deque<Slot>
        _window;  ///< files begun and not yet handed out; references to them stay valid
    std::size_t _begun = 0;
    std::size_t _window_bytes = 0;
    std::vector<std::jthread> _threads;  ///< last: stopped and joined before the rest goes
};

}  // namespace codetext::indexer
