// Compiled for AVX2, where the compiler can. Includes nothing with functions that other files
// share: a copy of such a function made here would fail on other processors.

#include "utils/hash_avx2.hpp"

#ifdef CODETEXT_HAS_AVX2_HASH
#define XXH_INLINE_ALL
#include <xxhash.h>

namespace codetext {

std::uint64_t xxh3_avx2(std::string_view bytes, std::uint64_t seed) {
    return XXH3_64bits_withSeed(bytes.data(), bytes.size(), seed);
}

}  // namespace codetext
#endif
