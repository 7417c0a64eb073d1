// Plays the transcripts of tests/cli/transcripts, and the sessions that documents show: commands of
// a shell and what they show, as a user would see it.
//
//   # What the commands are for.
//   $ printf 'foo\n' >a.c
//   $ codetext index | sed 's/ in .*//'
//   indexed 1 files (1 new, 0 changed, 0 gone, 0 kept on disk, 0 binary skipped, 0 unreadable)
//   $ codetext search code nowhere
//   [1]
//
// A line after "> " goes on with the command above it. Output and errors come in the order in which
// they are written, and [N] where the exit status is not 0; no line of it may begin as a command or
// a remark does. One shell plays a whole file: it begins in an empty directory, `work`, in a
// temporary one that the output names DIR, and HOME is DIR/home. codetext_sql (sql.cpp) changes an
// index behind the program's back. A first line such as "# Needs root." says when the file is
// played. With CODETEXT_UPDATE_TRANSCRIPTS set, the files are rewritten as they came out.
//
// A document's session is the code, indented by 4, between <!-- session: begin --> and
// <!-- session: end -->. A time in it, such as "in 0.02 s", may be any.

#include <gtest/gtest.h>

#include <map>

#include "cli/program.hpp"
#include "storage/chunk_store.hpp"

namespace codetext::test {
namespace {

namespace fs = std::filesystem;

struct Step {
    std::string shown;     ///< remarks and the command, as the file has them
    std::string command;   ///< for the shell; none where only remarks are left
    std::string expected;  ///< with the empty lines behind it
};

std::vector<Step> steps_of(const std::string& transcript) {
    std::vector<Step> steps(1);
    std::vector<std::string> lines = words(transcript, '\n');
    lines.pop_back();  // nothing is behind the last line break
    for (const std::string& line : lines) {
        const bool is_command = line.starts_with("$ ");
        const bool goes_on = line.starts_with("> ") && steps.back().expected.empty();
        if ((is_command || line.starts_with('#')) && !steps.back().command.empty()) {
            steps.emplace_back();
        }
        Step& step = steps.back();
        if (is_command || goes_on) step.command += line.substr(2) + "\n";
        const bool is_shown = is_command || goes_on || step.command.empty();
        (is_shown ? step.shown : step.expected) += line + "\n";
    }
    return steps;
}

std::string trimmed(std::string text) {
    text.erase(text.find_last_not_of('\n') + 1);
    return text.empty() ? text : text + "\n";
}

/// The transcript as it comes out.
std::string played(const std::vector<Step>& steps) {
    const std::string MARK = "\n:end of a step: ";
    const TempFolder folder;
    fs::create_directory(folder.path() / "home");
    fs::create_directory(folder.path() / "work");
    std::string script = "exec 2>&1\n", transcript;
    for (const Step& step : steps) {
        if (!step.command.empty()) script += step.command + "printf '" + MARK + "%d\\n' $?\n";
    }
    const std::string path = CODETEXT_PROGRAMS + std::string(":") + std::getenv("PATH");
    std::string rest = run_command({"env", "-u", "XDG_CONFIG_HOME", "-u", "CODETEXT_CONFIG",
                                    "GIT_CONFIG_NOSYSTEM=1", "PATH=" + path,
                                    "HOME=" + (folder.path() / "home").string(), "LC_ALL=C.UTF-8",
                                    "sh", "-c", script},
                                   folder.path() / "work")
                           .output;
    const std::string root = folder.path();
    for (std::size_t at; (at = rest.find(root)) != rest.npos;) rest.replace(at, root.size(), "DIR");
    for (const Step& step : steps) {
        transcript += step.shown;
        if (step.command.empty()) continue;
        const std::size_t mark = rest.find(MARK), end = rest.find('\n', mark + 1);
        const std::string status =
            mark == rest.npos ? "none" : rest.substr(mark + MARK.size(), end - mark - MARK.size());
        transcript += trimmed(rest.substr(0, mark)) + (status == "0" ? "" : "[" + status + "]\n");
        transcript += step.expected.substr(trimmed(step.expected).size());
        rest.erase(0, mark == rest.npos ? mark : end + 1);
    }
    return transcript;
}

/// What the first line of a transcript may ask for.
const std::map<std::string, bool> CONDITIONS = {
    {"root.", ::geteuid() == 0},
    {"no sanitizer.", !IS_SANITIZED},
    {"the compressed layout.", chunk_store::default_layout() == chunk_store::COMPRESSED}};

class Transcript : public testing::TestWithParam<fs::directory_entry> {};

TEST_P(Transcript, is_what_a_user_sees) {
    const fs::path& path = GetParam().path();
    const std::string written = (std::ostringstream() << std::ifstream(path).rdbuf()).str();
    const std::string needs = written.substr(0, written.find('\n'));
    if (needs.starts_with("# Needs ") && !CONDITIONS.at(needs.substr(8))) GTEST_SKIP() << needs;
    const std::string out = played(steps_of(written));
    EXPECT_EQ(written, out) << "in " << path;
    if (std::getenv("CODETEXT_UPDATE_TRANSCRIPTS")) std::ofstream(path) << out;
}

std::string each_line(const std::string& text, std::string (*changed)(const std::string& line)) {
    std::string result;
    for (const std::string& line : words(text, '\n')) result += changed(line) + "\n";
    result.pop_back();
    return result;
}

std::string without_indent(const std::string& line) {
    return line.starts_with("    ") ? line.substr(4) : line;
}

std::string with_indent(const std::string& line) { return line.empty() ? line : "    " + line; }

/// The line without the time that it ends with, such as "in 0.02 s".
std::string without_time(const std::string& line) {
    const std::size_t time = line.ends_with(" s") ? line.rfind(" in ") : line.npos;
    const bool is_time =
        time != line.npos && line.find_first_not_of("0123456789.", time + 4) == line.size() - 2;
    return is_time ? line.substr(0, time) : line;
}

class DocumentTranscript : public testing::TestWithParam<std::string> {};

TEST_P(DocumentTranscript, is_what_its_reader_sees) {
    const std::string BEGIN = "<!-- session: begin -->\n", END = "<!-- session: end -->\n";
    const fs::path path = fs::path(CODETEXT_DOCUMENTS) / GetParam();
    std::string text = (std::ostringstream() << std::ifstream(path).rdbuf()).str();
    const std::size_t begin = text.find(BEGIN) + BEGIN.size(), end = text.find(END);
    ASSERT_LT(begin, end) << "no session in " << path;
    ASSERT_LT(end, text.size()) << "no end of the session in " << path;
    const std::string shown = text.substr(begin, end - begin);
    const std::string out =
        each_line(played(steps_of(each_line(shown, without_indent))), with_indent);
    EXPECT_EQ(each_line(shown, without_time), each_line(out, without_time));
    if (!HasFailure() || !std::getenv("CODETEXT_UPDATE_TRANSCRIPTS")) return;
    std::ofstream(path) << text.replace(begin, end - begin, out);
}

INSTANTIATE_TEST_SUITE_P(cli, DocumentTranscript, testing::Values("README.md", "docs/EDITORS.md"),
                         [](const auto& test) { return fs::path(test.param).stem().string(); });

INSTANTIATE_TEST_SUITE_P(cli, Transcript,
                         testing::ValuesIn(fs::directory_iterator(CODETEXT_TRANSCRIPTS),
                                           fs::directory_iterator()),
                         [](const auto& test) { return test.param.path().stem().string(); });

}  // namespace
}  // namespace codetext::test
