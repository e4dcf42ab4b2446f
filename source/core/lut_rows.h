// Row kernels of 256-entry byte tables, shared by the table engine (lut/) and
// the shadow/highlight stretch (colour/).
#pragma once

#include <cstddef>
#include <cstdint>

namespace imge {

// p[i] = t[p[i]] for n bytes.
void LutBytes(uint8_t *p, std::size_t n, const uint8_t *t);
// Bytes 0, 1, 2 of each of n 4-byte pixels through t0, t1, t2; byte 3 kept.
void LutQuads(uint8_t *p, std::size_t n, const uint8_t *t0, const uint8_t *t1, const uint8_t *t2);
// Byte k of each of n 3-byte pixels through tk.
void LutTriples(uint8_t *p, std::size_t n, const uint8_t *t0, const uint8_t *t1, const uint8_t *t2);

// The same with one table, through vectors where the machine has them.
void LutBytesOne(uint8_t *p, std::size_t n, const uint8_t *t);
void LutQuadsOne(uint8_t *p, std::size_t n, const uint8_t *t);
// LutTriples and LutQuads through vectors where the machine has them.
void LutTriplesThree(uint8_t *p, std::size_t n, const uint8_t *t0, const uint8_t *t1, const uint8_t *t2);
void LutQuadsThree(uint8_t *p, std::size_t n, const uint8_t *t0, const uint8_t *t1, const uint8_t *t2);

// Vector kernels for the complement table (v -> 255 - v): n bytes all
// inverted, or n 4-byte pixels with bytes 0..2 inverted and byte 3 kept.
void InvertBytes(uint8_t *p, std::size_t n);
void InvertQuads(uint8_t *p, std::size_t n);

}  // namespace imge
