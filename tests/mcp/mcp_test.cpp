// `codetext mcp` with a client that stays: pages, cancellations, ends, an index that changes.

#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <rapidjson/document.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/wait.h>

#include <array>
#include <functional>
#include <random>

#include "cli/program.hpp"
#include "mcp/json.hpp"
#include "utils/descriptor.hpp"

namespace codetext::test {
namespace {

namespace fs = std::filesystem;
using mcp::json_text;

/// A running server and its client's side.
class Session {
  public:
    explicit Session(const fs::path& root, const Arguments& options = {}) {
        std::array<int, 2> in{}, out{};
        if (::pipe2(in.data(), O_CLOEXEC) != 0 || ::pipe2(out.data(), O_CLOEXEC) != 0) std::abort();
        _process = ::fork();
        if (_process == 0) {
            ::dup2(in[0], STDIN_FILENO);
            ::dup2(out[1], STDOUT_FILENO);
            std::vector<const char*> arguments = {CODETEXT_PROGRAM, "mcp", root.c_str()};
            for (const std::string& option : options) arguments.push_back(option.c_str());
            arguments.push_back(nullptr);
            ::execv(CODETEXT_PROGRAM, const_cast<char**>(arguments.data()));
            ::_exit(127);
        }
        ::close(in[0]), ::close(out[1]);
        input = Descriptor(in[1]), output = Descriptor(out[0]);
    }
    ~Session() {
        if (_process > 0) ::kill(_process, SIGKILL), status();
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    void send(const std::string& line) const {
        const std::string sent = line + '\n';
        for (std::string_view rest = sent; !rest.empty();) {
            const ssize_t count = ::write(input.number(), rest.data(), rest.size());
            if (count <= 0) return;
            rest.remove_prefix(static_cast<std::size_t>(count));
        }
    }
    void request(int id, const std::string& method, const std::string& params = "{}") const {
        send(fmt::format(R"({{"jsonrpc":"2.0","id":{},"method":"{}","params":{}}})", id, method,
                         params));
    }
    void call(int id, const std::string& tool, const std::string& arguments = "{}") const {
        request(id, "tools/call",
                fmt::format(R"({{"name":"{}","arguments":{}}})", tool, arguments));
    }
    void cancel(int id) const {
        send(fmt::format(R"({{"jsonrpc":"2.0","method":"notifications/cancelled",)"
                         R"("params":{{"requestId":{}}}}})",
                         id));
    }
    /// The next answer; empty at the end, or when none comes for two minutes.
    std::string line() {
        std::size_t end = 0;
        while ((end = _read.find('\n')) == std::string::npos) {
            struct pollfd wait = {output.number(), POLLIN, 0};
            std::array<char, 65536> part;
            const ssize_t count = ::poll(&wait, 1, 120'000) > 0
                                      ? ::read(output.number(), part.data(), part.size())
                                      : 0;
            if (count <= 0) return "";
            _read.append(part.data(), static_cast<std::size_t>(count));
        }
        std::string line = _read.substr(0, end);
        _read.erase(0, end + 1);
        return line;
    }
    /// The structured content of a call's result; null for a failure.
    rapidjson::Document result(const std::string& tool, const std::string& arguments = "{}") {
        call(1, tool, arguments);
        const std::string answer = line();
        rapidjson::Document document;
        document.Parse(answer.c_str());
        EXPECT_FALSE(document.HasParseError()) << answer;
        rapidjson::Document content;
        if (!document.HasMember("result") || !document["result"].HasMember("structuredContent")) {
            last_text = answer;
            return content;
        }
        last_text = document["result"]["content"][0]["text"].GetString();
        content.CopyFrom(document["result"]["structuredContent"], content.GetAllocator());
        return content;
    }
    int status() {
        int status = 0;
        ::waitpid(std::exchange(_process, -1), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    pid_t process() const { return _process; }

    Descriptor input, output;
    std::string last_text;

  private:
    pid_t _process = -1;
    std::string _read;
};

/// The arguments of a page: `fixed` and, from the second on, the cursor.
std::string page_arguments(const std::string& fixed, const std::string& cursor) {
    return "{" + fixed + (cursor.empty() ? "" : ",\"cursor\":" + json_text(cursor)) + "}";
}

/// All pages, as `search code` shows matches; `pages` counts them.
std::string all_pages(Session& session, const std::string& fixed, std::size_t most_bytes,
                      int& pages) {
    std::string lines, cursor;
    for (pages = 1; pages < 10'000; ++pages) {
        const auto page = session.result("search_code", page_arguments(fixed, cursor));
        if (!page.IsObject()) return lines + "no page: " + session.last_text;
        std::int64_t matches = 0;
        for (const auto& file : page["files"].GetArray()) {
            for (const auto& line : file["lines"].GetArray()) {
                if (line.HasMember("context")) continue;
                lines += fmt::format("{}:{}:{}\n", file["path"].GetString(),
                                     line["line"].GetInt64(), line["text"].GetString());
                ++matches;
            }
        }
        EXPECT_EQ(matches, page["matches"].GetInt64());
        EXPECT_LT(session.last_text.size(), most_bytes + 600) << "and the lines about it";
        if (!page.HasMember("next_cursor")) return lines;
        EXPECT_GT(matches, 0);
        cursor = page["next_cursor"].GetString();
    }
    return lines;
}

TEST(mcp, pages_give_each_result_once_in_order) {
    const TempFolder folder;
    std::mt19937 random(5);
    for (int file = 0; file < 400; ++file) {
        std::string text;
        for (std::size_t lines = random() % (file % 50 == 0 ? 400 : 8); lines > 0; --lines) {
            text +=
                std::string(random() % 60, '.') + (random() % 3 == 0 ? "needle" : "other") + '\n';
        }
        folder.write(fmt::format("{}/{}{}.c", "a.b/a"[file % 5], "x-/y"[file % 4], file), text);
    }
    ASSERT_EQ(run({"index"}, folder.path()).status, 0);
    Session session(folder.path());
    for (const std::string pattern : {"needle", "^\\.{40,}n|other$"}) {
        const std::string expected = search({pattern}, folder.path()).output;
        for (const auto& [limit, bytes, context] :
             {std::array{1000, 65536, 0}, {7, 65536, 3}, {100, 1024, 2}, {1000, 4096, 20}}) {
            int pages = 0;
            const std::string fixed =
                fmt::format(R"("pattern":{},"limit":{},"max_bytes":{},"context":{})",
                            json_text(pattern), limit, bytes, context);
            EXPECT_EQ(all_pages(session, fixed, static_cast<std::size_t>(bytes), pages), expected)
                << fixed;
            EXPECT_GT(pages, 1);
        }
    }
    const std::string all =
        run_command({"sh", "-c", "find . -name '*.c' | cut -c3- | LC_ALL=C sort"}, folder.path())
            .output;
    for (const unsigned limit : {40U, 5000U}) {
        std::string paths, cursor;
        const std::string fixed =
            fmt::format(R"("pattern":"*.c","limit":{},"max_bytes":1024)", limit);
        do {
            const auto page = session.result("find_files", page_arguments(fixed, cursor));
            ASSERT_TRUE(page.IsObject()) << session.last_text;
            EXPECT_LE(page["paths"].Size(), limit);
            EXPECT_LT(session.last_text.size(), 1024U + 600);
            for (const auto& path : page["paths"].GetArray()) {
                paths += std::string(path.GetString()) + "\n";
            }
            cursor = page.HasMember("next_cursor") ? page["next_cursor"].GetString() : "";
        } while (!cursor.empty());
        EXPECT_EQ(paths, all);
    }
}

TEST(mcp, a_page_goes_on_where_the_last_one_ended_whatever_has_changed) {
    const TempFolder folder;
    for (const char* name : {"a.c", "b.c", "c.c"}) folder.write(name, "needle 1\nneedle 2\n");
    ASSERT_EQ(run({"index"}, folder.path()).status, 0);
    Session session(folder.path());
    const std::string fixed = R"("pattern":"needle","limit":3)";
    const auto first = session.result("search_code", page_arguments(fixed, ""));
    const std::string cursor = first["next_cursor"].GetString();
    const std::string rest = page_arguments(fixed, cursor);
    folder.write("b.c", "needle 0\nneedle 1\nneedle 2\nneedle 3\n");
    auto next = session.result("search_code", rest);
    EXPECT_EQ(next["files"][0]["lines"][0]["line"].GetInt(), 2);
    EXPECT_EQ(next["matches"].GetInt(), 3) << "the changed file is read as it is";
    fs::remove(folder.path() / "b.c");
    next = session.result("search_code", rest);
    EXPECT_STREQ(next["files"][0]["path"].GetString(), "c.c");
    EXPECT_TRUE(
        session.result("search_code", page_arguments(R"("pattern":"other")", cursor)).IsNull())
        << "a cursor of another search";
}

TEST(mcp, a_cancelled_call_is_not_answered_and_others_are) {
    const TempFolder folder;
    folder.write("1.c", "cd\n");
    ASSERT_EQ(run({"index"}, folder.path()).status, 0);
    Session session(folder.path());
    const Descriptor lock(
        ::open((folder.path() / ".codetext/index/lock").c_str(), O_RDWR | O_CLOEXEC));
    while (::flock(lock.number(), LOCK_EX) != 0) continue;
    session.call(1, "refresh");  // waits for the lock
    session.call(2, "refresh");  // waits for the first
    session.call(2, "read_lines", R"({"path":"1.c"})");
    EXPECT_NE(session.line().find(R"("id":2,"error":{"code":-32600)"), std::string::npos);
    session.request(5, "ping");
    EXPECT_EQ(session.line(), R"({"jsonrpc":"2.0","id":5,"result":{}})");
    for (const int id : {1, 2, 99}) session.cancel(id);
    session.call(4, "search_code", R"({"pattern":"cd"})");
    EXPECT_NE(session.line().find(R"("id":4,"result")"), std::string::npos);
    ::flock(lock.number(), LOCK_UN);
    EXPECT_TRUE(session.result("refresh").IsObject()) << "the id is free again";
    session.input.close();
    EXPECT_EQ(session.line(), "");
    EXPECT_EQ(session.status(), 0);
}

TEST(mcp, a_cancelled_search_ends_before_it_has_read_the_files) {
    const TempFolder folder;
    constexpr int FILES = 600, LINES = 20, LINE_BYTES = 2000;
    std::mt19937 random(3);
    std::string text;
    for (int line = 0; line < LINES; ++line) {
        text += "cd";
        for (int i = 0; i < LINE_BYTES; ++i) text += random() % 2 == 0 ? 'a' : 'b';
        text += '\n';
    }
    // Such files stay on disk: what is read of them shows how far a search got.
    for (int file = 0; file < FILES; ++file) folder.write(fmt::format("{}.json", file), text);
    ASSERT_EQ(run({"index"}, folder.path()).status, 0);
    Session session(folder.path(), {"--no-refresh"});
    session.request(1, "ping");
    EXPECT_NE(session.line(), "");
    session.call(2, "search_code", R"({"pattern":"(?:a[ab]{40}|b[ab]{90}){3}[cd]"})");  // seconds
    session.call(3, "find_files", R"({"pattern":"17.json"})");
    session.cancel(2);
    EXPECT_NE(session.line().find(R"("id":3,"result")"), std::string::npos);
    std::ifstream of_process(fmt::format("/proc/{}/io", session.process()));
    std::string word;
    std::int64_t bytes_read = 0;
    of_process >> word >> bytes_read;
    EXPECT_EQ(word, "rchar:");
    EXPECT_LT(bytes_read, FILES * LINES * LINE_BYTES / 2);
}

TEST(mcp, ends_cleanly_however_the_client_goes) {
    const TempFolder folder;
    folder.write("a.c", std::string(300, 'x') + "\n");
    ASSERT_EQ(run({"index"}, folder.path()).status, 0);
    const std::string big = R"({"pattern":"x","max_bytes":65536})";
    const Descriptor lock(
        ::open((folder.path() / ".codetext/index/lock").c_str(), O_RDWR | O_CLOEXEC));
    const std::function<void(Session&)> ENDS[] = {
        [&](Session& session) {  // in the middle of a wait for another run
            while (::flock(lock.number(), LOCK_EX) != 0) continue;
            session.call(2, "refresh");
            session.request(3, "ping");
            EXPECT_NE(session.line(), "");
            ::kill(session.process(), SIGTERM);
            EXPECT_EQ(session.line(), "") << "no answer";
            ::flock(lock.number(), LOCK_UN);
        },
        [](Session& session) { session.output.close(); },
        [](Session& session) { ::kill(session.process(), SIGTERM); },
        [&](Session& session) {  // in the middle of answers that nobody reads
            for (int id = 10; id < 60; ++id) session.request(id, "tools/list");
            constexpr int MUCH = 30'000;  // of 300,000 bytes, for which the pipe has no room
            for (int there = 0; there < MUCH;) ::ioctl(session.output.number(), FIONREAD, &there);
            ::kill(session.process(), SIGINT);
        },
        [&](Session& session) {
            session.call(2, "search_code", big);
            session.input.close();
            EXPECT_NE(session.line().find(R"("id":2,"result")"), std::string::npos);
        }};
    for (const auto& end : ENDS) {
        Session session(folder.path());
        session.request(1, "ping");
        ASSERT_NE(session.line(), "");
        end(session);
        EXPECT_EQ(session.status(), 0) << &end - ENDS;
    }
}

TEST(mcp, a_line_without_end_takes_no_memory) {
    const TempFolder folder;
    Session session(folder.path());
    const std::string part(1 << 20, '[');
    for (int i = 0; i < 128; ++i) {
        ASSERT_EQ(::write(session.input.number(), part.data(), part.size()), 1 << 20);
    }
    session.send("");
    EXPECT_NE(session.line().find(R"("id":null,"error":{"code":-32600)"), std::string::npos);
    std::ifstream of_process("/proc/" + std::to_string(session.process()) + "/status");
    for (std::string word; of_process >> word && word != "VmHWM:";) continue;
    std::int64_t peak_kb = 0;
    of_process >> peak_kb;
    EXPECT_TRUE(IS_SANITIZED || peak_kb < 32 << 10) << peak_kb;
    session.request(2, "ping");
    EXPECT_EQ(session.line(), R"({"jsonrpc":"2.0","id":2,"result":{}})");
}

TEST(mcp, knows_the_index_that_is_there_now) {
    const TempFolder folder;
    folder.write("a.c", "needle\n");
    Session session(folder.path()), reader(folder.path(), {"--no-refresh"});
    const auto found = [](Session& asked) -> std::int64_t {
        const auto page = asked.result("search_code", R"({"pattern":"needle"})");
        return page.IsObject() ? page["matches"].GetInt64() : -1;
    };
    EXPECT_EQ(found(session), -1);
    ASSERT_TRUE(session.result("refresh").IsObject()) << session.last_text;
    EXPECT_FALSE(session.result("index_status")["stale"].GetBool());
    EXPECT_EQ(found(session), 1);
    EXPECT_EQ(found(reader), 1);
    EXPECT_TRUE(reader.result("index_status")["stale"].GetBool()) << "it has refreshed nothing";
    folder.write("b.c", "needle\n");
    EXPECT_EQ(found(session), 1) << "a fresh index is not refreshed unasked";
    session.result("refresh");
    EXPECT_EQ(found(session), 2);
    EXPECT_EQ(found(reader), 2);
    // Another index in its place, then none
    fs::rename(folder.path() / ".codetext/index", folder.path() / "old");
    folder.write("c.c", "needle\n");
    ASSERT_EQ(run({"index"}, folder.path()).status, 0);
    EXPECT_EQ(found(reader), 3);
    ASSERT_EQ(run({"clean"}, folder.path()).status, 0);
    EXPECT_EQ(found(reader), -1);
    // An index that was there at the start is refreshed in the background.
    ASSERT_EQ(run({"index"}, folder.path()).status, 0);
    folder.write("d.c", "needle\n");
    Session fresh(folder.path());
    while (fresh.result("index_status")["stale"].GetBool()) continue;
    EXPECT_EQ(found(fresh), 4);
    EXPECT_EQ(found(reader), 4);
    EXPECT_TRUE(reader.result("index_status")["stale"].GetBool()) << "it has refreshed nothing";
}

TEST(mcp, an_old_index_can_be_upgraded_while_it_serves) {
    const TempFolder folder;
    const fs::path data = fs::path(CODETEXT_TEST_DATA) / "old_index";
    fs::copy(data / "files", folder.path(), fs::copy_options::recursive);
    folder.write(".codetext/index/x", "");
    fs::copy_file(data / "3.2.0-code_chunks.db", folder.path() / ".codetext/index/code.db");
    Session session(folder.path(), {"--no-refresh"});
    const std::string every_line = R"({"pattern":""})";
    const auto before = session.result("search_code", every_line);
    ASSERT_TRUE(before.IsObject()) << session.last_text;
    EXPECT_EQ(run({"upgrade"}, folder.path()).status, 0);
    const auto after = session.result("search_code", every_line);
    ASSERT_TRUE(after.IsObject()) << session.last_text;
    EXPECT_TRUE(after["files"] == before["files"]) << session.last_text;
}

}  // namespace
}  // namespace codetext::test
