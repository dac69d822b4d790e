#include "pattern/generator/crc32c.h"

#include <array>
#include <bit>
#include <cstring>

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#include <nmmintrin.h>
#define TESSAROC_CRC32C_X86 1
#endif

namespace tessaroc::pattern {

namespace {

constexpr uint32_t kPolynomial = 0x82F63B78u;

constexpr std::array<uint32_t, 256> MakeTable() {
  std::array<uint32_t, 256> table{};
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t c = i;
    for (int k = 0; k < 8; ++k) c = (c & 1u) ? (c >> 1) ^ kPolynomial : c >> 1;
    table[i] = c;
  }
  return table;
}

constexpr std::array<uint32_t, 256> kTable = MakeTable();

}  // namespace

uint32_t Crc32cExtendTable(uint32_t state, const unsigned char* data, size_t size) {
  for (size_t i = 0; i < size; ++i) state = kTable[(state ^ data[i]) & 0xFFu] ^ (state >> 8);
  return state;
}

#ifdef TESSAROC_CRC32C_X86

bool Crc32cHardwareAvailable() { return __builtin_cpu_supports("sse4.2"); }

// Compiled for SSE4.2 alone, so the rest of the library stays on the baseline
// target and this runs only behind the check above.
__attribute__((target("sse4.2"))) uint32_t Crc32cExtendHardware(uint32_t state, const unsigned char* data,
                                                                size_t size) {
  uint64_t s = state;
  while (size >= 8) {
    uint64_t word;
    std::memcpy(&word, data, 8);  // x86 is little-endian: the bytes in order
    s = _mm_crc32_u64(s, word);
    data += 8;
    size -= 8;
  }
  uint32_t s32 = static_cast<uint32_t>(s);
  for (; size > 0; --size, ++data) s32 = _mm_crc32_u8(s32, *data);
  return s32;
}

#else

bool Crc32cHardwareAvailable() { return false; }
uint32_t Crc32cExtendHardware(uint32_t state, const unsigned char* data, size_t size) {
  return Crc32cExtendTable(state, data, size);
}

#endif

uint32_t Crc32cExtend(uint32_t state, const unsigned char* data, size_t size) {
  return Crc32cHardwareAvailable() ? Crc32cExtendHardware(state, data, size) : Crc32cExtendTable(state, data, size);
}

uint32_t Crc32cExtendDouble(uint32_t state, double value) {
  const uint64_t bits = std::bit_cast<uint64_t>(value);
  unsigned char bytes[8];
  for (int i = 0; i < 8; ++i) bytes[i] = static_cast<unsigned char>(bits >> (8 * i));
  return Crc32cExtend(state, bytes, 8);
}

}  // namespace tessaroc::pattern
