// SPDX-License-Identifier: Apache-2.0
// The kernel for every x86-64 processor; for other architectures, whatever the compiler makes of the vector types.
#include "matching/score_lanes.h"

#include <algorithm>
#include <array>
#include <cstring>
#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace tarn::server {

namespace {

using Bytes = uint8_t __attribute__((vector_size(16)));
using Words = int16_t __attribute__((vector_size(16))); // below 2^15, and compared as signed numbers

Bytes sum(Bytes a, Bytes b) {
#if defined(__x86_64__)
    return reinterpret_cast<Bytes>(_mm_adds_epu8(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b)));
#else
    const Bytes wrapped = a + b;
    return wrapped | reinterpret_cast<Bytes>(wrapped < a);
#endif
}

Words sum(Words a, Words b) { return a + b; }

Bytes difference(Bytes a, Bytes b) {
#if defined(__x86_64__)
    return reinterpret_cast<Bytes>(_mm_subs_epu8(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b)));
#else
    return (a > b ? a : b) - b;
#endif
}

Words difference(Words a, Words b) {
#if defined(__x86_64__)
    return reinterpret_cast<Words>(_mm_subs_epu16(reinterpret_cast<__m128i>(a), reinterpret_cast<__m128i>(b)));
#else
    return (a > b ? a : b) - b;
#endif
}

// v moved up by that many bytes; the last bytes of `before` fill the gap.
template <int kBytes, class Half>
Half moved(Half before, Half v) {
#if defined(__x86_64__)
    return reinterpret_cast<Half>(_mm_or_si128(_mm_slli_si128(reinterpret_cast<__m128i>(v), kBytes),
                                               _mm_srli_si128(reinterpret_cast<__m128i>(before), 16 - kBytes)));
#else
    std::array<uint8_t, 2 * sizeof v> both;
    std::memcpy(both.data(), &before, sizeof v);
    std::memcpy(both.data() + sizeof v, &v, sizeof v);
    std::memcpy(&v, both.data() + sizeof v - kBytes, sizeof v);
    return v;
#endif
}

template <class Half>
struct Lanes {
    struct Vector {
        Half low;
        Half high;
    };

    static Vector plus(Vector a, Vector b) { return {sum(a.low, b.low), sum(a.high, b.high)}; }
    static Vector less(Vector a, Vector b) { return {difference(a.low, b.low), difference(a.high, b.high)}; }
    static Vector larger(Vector a, Vector b) {
        return {a.low > b.low ? a.low : b.low, a.high > b.high ? a.high : b.high};
    }
    static Vector lowToHigh(Vector v) { return {Half{}, v.low}; }
};

struct ByteLanes : Lanes<Bytes> {
    using Number = uint8_t;

    template <int kBy>
    static Vector movedUp(Vector before, Vector v) {
        return {moved<kBy>(before.low, v.low), moved<kBy>(before.high, v.high)};
    }
    static Vector halves(uint8_t low, uint8_t high) { return {Bytes{} + low, Bytes{} + high}; }
    static Vector scores(const uint8_t* low, const uint8_t* high) {
        Vector v;
        std::memcpy(&v.low, low, sizeof v.low);
        std::memcpy(&v.high, high, sizeof v.high);
        return v;
    }
    // Whether a sum has saturated at the largest byte, before its bias is subtracted.
    static bool reachesEnd(Vector sums) {
        const Bytes end = Bytes{} + uint8_t{UINT8_MAX - kScoreBias};
        const auto ended = (sums.low == end) | (sums.high == end);
        uint64_t parts[2];
        std::memcpy(parts, &ended, sizeof parts);
        return (parts[0] | parts[1]) != 0;
    }
};

struct WordLanes : Lanes<Words> {
    using Number = uint16_t;

    template <int kBy>
    static Vector movedUp(Vector before, Vector v) {
        return {moved<2 * kBy>(before.low, v.low), moved<2 * kBy>(before.high, v.high)};
    }
    static Vector halves(uint8_t low, uint8_t high) { return {Words{} + int16_t{low}, Words{} + int16_t{high}}; }
    static Words widened(const uint8_t* from) {
#if defined(__x86_64__)
        const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from));
        return reinterpret_cast<Words>(_mm_unpacklo_epi8(bytes, _mm_setzero_si128()));
#else
        uint8_t __attribute__((vector_size(8))) bytes;
        std::memcpy(&bytes, from, sizeof bytes);
        return __builtin_convertvector(bytes, Words);
#endif
    }
    static Vector scores(const uint8_t* low, const uint8_t* high) { return {widened(low), widened(high)}; }
    static bool reachesEnd(Vector /*sums*/) { return false; }
};

} // namespace

} // namespace tarn::server

#include "matching/score_lanes_code.inc"

namespace tarn::server {

const ScoreLanes kBaselineScoreLanes = {"baseline", &bestSum};

} // namespace tarn::server
