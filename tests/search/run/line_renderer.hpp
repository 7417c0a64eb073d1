#pragma once

// A renderer made of a function.

#include <memory>
#include <string>
#include <utility>

#include "search/run/search_run.hpp"

namespace codetext::test_support {

/// Appends `shown(file, line)` for each line.
template <typename Shown>
search::MakeRenderer renderer(Shown shown) {
    class LineRenderer : public search::Renderer {
      public:
        explicit LineRenderer(Shown shown) : _shown(std::move(shown)) {}
        void begin(const code_text::FileRow& file, search::OutputBuffer&) override {
            _file = &file;
        }
        void line(const search::ResultLine& line, search::OutputBuffer& out) override {
            out.text() += _shown(*_file, line);
        }
        std::int64_t end(const search::Stats&, search::OutputBuffer&) override { return 0; }

      private:
        Shown _shown;
        const code_text::FileRow* _file = nullptr;
    };
    return [shown] { return std::make_unique<LineRenderer>(shown); };
}

}  // namespace codetext::test_support
