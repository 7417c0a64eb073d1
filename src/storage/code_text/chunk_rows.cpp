#include "storage/code_text/chunk_rows.hpp"

#include <algorithm>

namespace codetext::code_text {

bool text_kept_on_disk(std::string_view language, std::int64_t text_bytes) {
    const bool large_data_language =
        std::find(LARGE_DATA_LANGUAGES.begin(), LARGE_DATA_LANGUAGES.end(), language) !=
        LARGE_DATA_LANGUAGES.end();
    return large_data_language && text_bytes > LARGE_DATA_TEXT_BYTES;
}

}  // namespace codetext::code_text
