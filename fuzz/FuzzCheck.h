#pragma once

// What the fuzz targets share: a check that stops the run with a message (the fuzzer then keeps the
// input that broke it), and copies of the input shaped as the drivers hold a reply.

#include <QByteArray>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#define FUZZ_CHECK(condition)                                                                                \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            std::fprintf(stderr, "%s:%d: invariant broken: %s\n", __FILE__, __LINE__, #condition);           \
            std::abort();                                                                                    \
        }                                                                                                    \
    } while (0)

// The input as an exactly sized heap block, so that a parser reading one byte past what it was
// given trips AddressSanitizer.
inline std::vector<char> FuzzExactCopy(const uint8_t* data, size_t size) {
    return std::vector<char>(reinterpret_cast<const char*>(data), reinterpret_cast<const char*>(data) + size);
}

// The input as a reply stands in the command channel's buffer: at most 1023 bytes followed by NUL.
inline QByteArray FuzzReply(const uint8_t* data, size_t size) {
    const size_t n = size < 1023 ? size : 1023;
    return QByteArray(reinterpret_cast<const char*>(data), int(n));
}

// The input as a NUL-terminated string in a block exactly one byte longer than the text.
inline std::vector<char> FuzzCString(const uint8_t* data, size_t size) {
    std::vector<char> text(reinterpret_cast<const char*>(data), reinterpret_cast<const char*>(data) + size);
    text.push_back('\0');
    return text;
}

// The bytes of the reply up to its first NUL, as the drivers read a reply as text.
inline QByteArray FuzzTextPart(const QByteArray& reply) {
    const int nul = reply.indexOf('\0');
    return nul < 0 ? reply : reply.left(nul);
}

// Two doubles are the same value (NaN equals NaN, bit patterns aside).
inline bool FuzzSameValue(double a, double b) {
    return (a != a && b != b) || a == b;
}
