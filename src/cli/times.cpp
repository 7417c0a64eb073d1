#include "cli/times.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <string_view>

namespace codetext::cli {
namespace {

std::string formatted(const char* format, const struct tm& time) {
    std::array<char, 64> text{};
    return {text.data(), std::strftime(text.data(), text.size(), format, &time)};
}

}  // namespace

std::string local_time(std::int64_t time_s) {
    const auto time = static_cast<std::time_t>(time_s);
    struct tm parts {};
    ::localtime_r(&time, &parts);
    return formatted("%Y-%m-%d %H:%M:%S", parts);
}

std::string utc_time(std::int64_t time_s) {
    const auto time = static_cast<std::time_t>(time_s);
    struct tm parts {};
    ::gmtime_r(&time, &parts);
    return formatted("%Y-%m-%dT%H:%M:%SZ", parts);
}

std::string age(std::int64_t age_s) {
    struct Unit {
        std::string_view name;
        std::int64_t seconds;
    };
    constexpr std::array<Unit, 3> UNITS = {{{"days", 86'400}, {"h", 3600}, {"min", 60}}};
    for (const Unit& unit : UNITS) {
        if (age_s >= 2 * unit.seconds)
            return fmt::format("{} {} ago", age_s / unit.seconds, unit.name);
    }
    return fmt::format("{} s ago", std::max<std::int64_t>(age_s, 0));
}

}  // namespace codetext::cli
