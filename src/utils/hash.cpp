#include "utils/hash.hpp"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include "utils/hash_avx2.hpp"

namespace codetext {

std::uint64_t xxh3(std::string_view bytes, std::uint64_t seed) {
#ifdef CODETEXT_HAS_AVX2_HASH
    constexpr std::size_t WORTH_A_CALL_BYTES = 256;
    static const bool HAS_AVX2 = __builtin_cpu_supports("avx2") != 0;
    if (HAS_AVX2 && bytes.size() >= WORTH_A_CALL_BYTES) return xxh3_avx2(bytes, seed);
#endif
    return XXH3_64bits_withSeed(bytes.data(), bytes.size(), seed);
}

}  // namespace codetext
