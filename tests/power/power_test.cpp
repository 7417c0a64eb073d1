// The power goes while an index is made and refreshed. What is there afterwards opens, is whole,
// and is the work up to some commit: no earlier one than the last that a checkpoint has put into
// the database file. The next run goes on from there.

#include <gmock/gmock.h>

#include <cstdlib>
#include <iostream>

#include "indexer/run/index_store.hpp"
#include "power/power_cut.hpp"
#include "storage/temp_index.hpp"
#include "storage/verify.hpp"

namespace codetext {
namespace {

using indexer::PlannedFile;
using ::testing::EndsWith;

constexpr int GENERATIONS = 6, MOST_FILES = 16;
/// What a file without chunks has for a text.
const std::string NOT_YET = "(no chunks yet)";

/// The number that the environment variable holds, or another.
int number_from(const char* name, int otherwise) {
    const char* text = std::getenv(name);
    return text == nullptr ? otherwise : std::atoi(text);
}

/// The text of each file by its path.
using State = std::map<std::string, std::string>;

State state_of(const Database& db, chunk_store::Layout layout) {
    State state;
    for (const Row& row : db.fetchall("SELECT id, path FROM files")) {
        const auto [first, end] = chunk_store::file_rowids(row.integer(0));
        std::string text;
        for (const auto& chunk : chunk_store::stored_rows(db, layout, first, end)) {
            text += std::string(chunk.text.view()) + "\n";
        }
        state[row.text(1)] = text.empty() ? NOT_YET : text;
    }
    return state;
}

/// Runs of an indexer over files that are there in thought only.
class Runs {
  public:
    Runs(std::filesystem::path root, chunk_store::Layout layout, std::uint32_t seed)
        : _root(std::move(root)), _layout(layout), _random(seed) {}

    /// One run on the index as it is, in batches, with a checkpoint at its end or none.
    void run() {
        Database db = schema::open_or_create_index(_root, _layout);
        _state = state_of(db, _layout);
        indexer::IndexStore store(db, _layout);
        indexer::ChangePlan plan = _plan(db);
        _note();
        store.begin_changes(plan);
        chunk_store::Packer packer(_layout, nullptr);
        for (const PlannedFile& file : plan.to_read) {
            std::string& text = _state[file.entry.path];
            text = test_support::numbered_lines(1 + static_cast<int>(_random() % 400),
                                                std::to_string(_random()) + " ");
            store.put(file, {.outcome = indexer::Outcome::CHUNKS,
                             .stamp = {.size = std::ssize(text)},
                             .content_hash = 0,
                             .packed = packer.pack(code_text::code_chunks(text)),
                             .error = ""});
            if (_random() % 4 > 0) continue;
            _note();
            store.commit();
        }
        _note();
        store.commit();
        schema::set_filled(db);
        if (_random() % 2 == 0) {
            db.fetchone("PRAGMA wal_checkpoint(TRUNCATE)");
            _checkpointed = _states.size() - 1;
        }
    }

    /// Whether a power cut may leave this.
    bool may_be_left(const State& state) const {
        return std::find(_states.begin() + static_cast<std::ptrdiff_t>(_checkpointed),
                         _states.end(), state) != _states.end();
    }
    const State& last() const { return _states.back(); }

  private:
    void _note() { _states.push_back(_state); }

    /// A plan that drops, edits and adds some files, and reads all that have no chunks.
    indexer::ChangePlan _plan(const Database& db) {
        indexer::ChangePlan plan;
        for (const Row& row : db.fetchall("SELECT id, path FROM files ORDER BY id")) {
            const std::string path = row.text(1);
            const auto what = _random() % 6;
            if (what == 0) {
                plan.gone.push_back(row.integer(0));
                _state.erase(path);
            } else if (what < 3 || _state[path] == NOT_YET) {
                plan.to_read.push_back({{path, 0, 0}, "text", std::nullopt, std::nullopt});
                plan.to_read.back().known.emplace().id = row.integer(0);
            }
        }
        for (int i = 0; i < MOST_FILES; ++i) {
            const std::string path = "new" + std::to_string(_random());
            if (_state.size() >= MOST_FILES || _random() % 3 == 0) continue;
            plan.to_read.push_back({{path, 0, 0}, "text", std::nullopt, std::nullopt});
            _state[path] = NOT_YET;
        }
        return plan;
    }

    std::filesystem::path _root;
    chunk_store::Layout _layout;
    std::mt19937 _random;
    State _state;
    std::vector<State> _states{{}};  ///< after each commit, the one under way too
    std::size_t _checkpointed = 0;
};

class PowerCuts : public ::testing::TestWithParam<chunk_store::Layout> {
  protected:
    PowerCuts() { power_cut::install(); }

    static void run_all(Runs& runs) {
        for (int i = 0; i < GENERATIONS; ++i) runs.run();
    }

    /// Operations of the runs with this seed when nothing goes wrong.
    static long all_operations(std::uint32_t seed) {
        const test_support::TempFolder folder;
        Runs runs(folder.path(), GetParam(), seed);
        power_cut::arm(0, seed);
        run_all(runs);
        power_cut::restart();
        return power_cut::operations();
    }

    /// The index opens and is whole, but for files that the next run has to read.
    static State whole_state(const std::filesystem::path& root) {
        const Database db = schema::open_or_create_index(root, GetParam());
        for (const std::string& problem : schema::verify(db)) {
            EXPECT_THAT(problem, EndsWith(": has no chunks yet"));
        }
        return state_of(db, GetParam());
    }
};

TEST_P(PowerCuts, leave_the_work_up_to_a_commit) {
    const int cuts = number_from("CODETEXT_CUTS", 40), seed = number_from("CODETEXT_SEED", 1);
    int lost = 0;
    for (int i = 0; i < cuts && !HasFailure(); ++i) {
        const auto cut_seed = static_cast<std::uint32_t>(seed + i);
        std::mt19937 random(cut_seed);
        const long operations = all_operations(cut_seed);
        const long cut = 1 + static_cast<long>(random() % operations);
        SCOPED_TRACE("CODETEXT_SEED=" + std::to_string(cut_seed) + ", cut at operation " +
                     std::to_string(cut) + " of " + std::to_string(operations));
        const test_support::TempFolder folder;
        Runs runs(folder.path(), GetParam(), cut_seed);
        power_cut::arm(cut, cut_seed);
        try {
            run_all(runs);
        } catch (const DatabaseError&) {  // not when the power goes while the last run closes
        }
        ASSERT_TRUE(power_cut::is_dark());
        power_cut::restart();
        const State left = whole_state(folder.path());
        EXPECT_TRUE(runs.may_be_left(left));
        lost += left == runs.last() ? 0 : 1;
        runs.run();
        EXPECT_EQ(whole_state(folder.path()), runs.last());
    }
    std::cout << cuts << " cuts, " << lost << " of which lost a commit or more\n";
}

INSTANTIATE_TEST_SUITE_P(layouts, PowerCuts, ::testing::ValuesIn(test_support::layouts()),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace codetext
