// find_lines DIRECTORY TEXT: indexes the directory and prints the lines with the text, by the
// library alone.

#include <cstdio>
#include <memory>
#include <string_view>

#include "indexer/run/index_run.hpp"
#include "search/run/search_run.hpp"
#include "storage/schema.hpp"

namespace {

class Lines : public codetext::search::Renderer {
  public:
    void begin(const codetext::code_text::FileRow& file, codetext::search::OutputBuffer&) override {
        _path = file.path;
    }
    void line(const codetext::search::ResultLine& line,
              codetext::search::OutputBuffer& out) override {
        out.text().append(_path).append(":").append(std::to_string(line.number));
        out.text().append(":").append(line.text).append("\n");
    }
    std::int64_t end(const codetext::search::Stats&, codetext::search::OutputBuffer&) override {
        return 0;
    }

  private:
    std::string _path;
};

}  // namespace

int main(int argc, char** argv) {
    using namespace codetext;
    if (argc != 3) return 2;
    indexer::index_repository(argv[1]);
    Database db = schema::open_index(schema::index_path(argv[1]), Access::READ_ONLY);
    const search::SearchResult result = search::run_search(
        db, {.query = search::make_query({.patterns = {argv[2]}})},
        [] { return std::make_unique<Lines>(); },
        [](std::string_view part, bool) {
            return std::fwrite(part.data(), 1, part.size(), stdout) == part.size();
        });
    return result.from_index && result.results > 0 ? 0 : 1;
}
