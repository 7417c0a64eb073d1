#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <string_view>
#include <vector>

#include "cli/status_report.hpp"
#include "cli/times.hpp"
#include "utils/unicode.hpp"
#include "utils/wall_clock.hpp"

namespace codetext::cli {
namespace {

using Json = rapidjson::Writer<rapidjson::StringBuffer>;

void key(Json& json, std::string_view name) {
    json.Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
}

void text(Json& json, std::string_view value) {
    const std::string decoded = unicode::decode(std::string(value));
    json.String(decoded.data(), static_cast<rapidjson::SizeType>(decoded.size()));
}

void text(Json& json, std::string_view name, std::string_view value) {
    key(json, name);
    text(json, value);
}

void number(Json& json, std::string_view name, std::int64_t value) {
    key(json, name);
    json.Int64(value);
}

void texts(Json& json, std::string_view name, const std::vector<std::string>& values) {
    key(json, name);
    json.StartArray();
    for (const std::string& value : values) text(json, value);
    json.EndArray();
}

void counts(Json& json, const indexer::IndexStatus& status) {
    text(json, "schema", status.schema_version);
    text(json, "layout", status.layout);
    number(json, "database_bytes", status.database_bytes);
    number(json, "files", status.files);
    number(json, "file_bytes", status.file_bytes);
    number(json, "chunks", status.chunks);
    number(json, "kept_on_disk", status.kept_on_disk);
    number(json, "kept_on_disk_bytes", status.kept_on_disk_bytes);
    number(json, "without_chunks", status.without_chunks);
    number(json, "binary", status.binary_files);
    number(json, "unreadable", status.unreadable_files);
}

void freshness(Json& json, const StatusReport& report) {
    key(json, "indexed_at");
    if (report.indexed_at_ns) {
        text(json, utc_time(*report.indexed_at_ns / NS_PER_S));
    } else {
        json.Null();
    }
    key(json, "watched");
    json.Bool(report.is_watched);
    key(json, "watcher");
    if (!report.watcher) {
        json.Null();
        return;
    }
    json.StartObject();
    number(json, "process", report.watcher->process);
    text(json, "since", utc_time(report.watcher->since_s));
    json.EndObject();
}

void pending(Json& json, const std::optional<indexer::PendingChanges>& changes) {
    key(json, "check");
    if (!changes) {
        json.Null();
        return;
    }
    json.StartObject();
    key(json, "up_to_date");
    json.Bool(changes->none());
    key(json, "upgrade");
    json.Bool(changes->is_older);
    texts(json, "new", changes->new_files);
    texts(json, "changed", changes->changed);
    texts(json, "gone", changes->gone);
    json.EndObject();
}

void languages(Json& json, const Database& db) {
    key(json, "languages");
    json.StartArray();
    for (const indexer::LanguageShare& share : indexer::languages_of(db)) {
        json.StartObject();
        text(json, "language", share.language);
        number(json, "files", share.files);
        number(json, "bytes", share.bytes);
        json.EndObject();
    }
    json.EndArray();
}

void skipped(Json& json, const Database& db) {
    key(json, "skipped");
    json.StartArray();
    indexer::each_skipped_file(db, [&](std::string_view path, std::string_view reason) {
        json.StartObject();
        text(json, "path", path);
        text(json, "reason", reason);
        json.EndObject();
    });
    json.EndArray();
}

}  // namespace

std::string status_json(const StatusReport& report, const Database& db) {
    rapidjson::StringBuffer out;
    Json json(out);
    json.StartObject();
    text(json, "index", report.index.native());
    texts(json, "above", {report.above.begin(), report.above.end()});
    freshness(json, report);
    counts(json, report.status);
    pending(json, report.pending);
    languages(json, db);
    skipped(json, db);
    json.EndObject();
    return {out.GetString(), out.GetSize()};
}

}  // namespace codetext::cli
