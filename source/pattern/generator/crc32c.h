// CRC-32C (Castagnoli polynomial, reflected 0x82F63B78): a checksum used to
// notice when a node's inputs changed. The running state starts at
// 0xFFFFFFFF and the checksum is its complement.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tessaroc::pattern {

inline constexpr uint32_t kCrc32cStart = 0xFFFFFFFFu;

// Whether this processor has the CRC32 instruction (SSE4.2 on x86).
bool Crc32cHardwareAvailable();

// Extends a running state by bytes, with the byte table.
uint32_t Crc32cExtendTable(uint32_t state, const unsigned char* data, size_t size);
// The same with the processor's instruction; only where Crc32cHardwareAvailable().
uint32_t Crc32cExtendHardware(uint32_t state, const unsigned char* data, size_t size);
// The instruction where there is one, else the table.
uint32_t Crc32cExtend(uint32_t state, const unsigned char* data, size_t size);

// Extends a running state by the eight little-endian bytes of a 64-bit float.
uint32_t Crc32cExtendDouble(uint32_t state, double value);

// The checksum of a whole text.
inline uint32_t Crc32c(std::string_view text) {
  return ~Crc32cExtend(kCrc32cStart, reinterpret_cast<const unsigned char*>(text.data()), text.size());
}

}  // namespace tessaroc::pattern
