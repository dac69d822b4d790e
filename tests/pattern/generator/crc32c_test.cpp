// CRC-32C against the published check value and the iSCSI test vectors
// (RFC 3720, B.4), on the table path and, where the processor has it, on the
// instruction path.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "pattern/generator/crc32c.h"

namespace tessaroc::pattern {
namespace {

struct CrcCase {
  std::vector<unsigned char> bytes;
  uint32_t crc;
};

std::vector<CrcCase> PublishedVectors() {
  std::vector<CrcCase> v;
  const std::string check = "123456789";
  v.push_back({{check.begin(), check.end()}, 0xE3069283u});
  v.push_back({std::vector<unsigned char>(32, 0x00), 0x8A9136AAu});
  v.push_back({std::vector<unsigned char>(32, 0xFF), 0x62A8AB43u});
  std::vector<unsigned char> up(32), down(32);
  for (int i = 0; i < 32; ++i) {
    up[i] = static_cast<unsigned char>(i);
    down[i] = static_cast<unsigned char>(31 - i);
  }
  v.push_back({up, 0x46DD794Eu});
  v.push_back({down, 0x113FDB5Cu});
  v.push_back({{}, 0x00000000u});
  return v;
}

TEST(Crc32c, TablePathMatchesPublishedVectors) {
  for (const CrcCase& t : PublishedVectors())
    EXPECT_EQ(~Crc32cExtendTable(kCrc32cStart, t.bytes.data(), t.bytes.size()), t.crc);
  EXPECT_EQ(Crc32c("123456789"), 0xE3069283u);
}

TEST(Crc32c, HardwarePathMatchesPublishedVectors) {
  if (!Crc32cHardwareAvailable()) GTEST_SKIP() << "this processor has no CRC32 instruction";
  for (const CrcCase& t : PublishedVectors())
    EXPECT_EQ(~Crc32cExtendHardware(kCrc32cStart, t.bytes.data(), t.bytes.size()), t.crc);
}

TEST(Crc32c, PathsAgreeOnEveryLengthAndSplit) {
  std::vector<unsigned char> data(67);
  for (size_t i = 0; i < data.size(); ++i) data[i] = static_cast<unsigned char>(i * 37 + 11);
  for (size_t n = 0; n <= data.size(); ++n) {
    const uint32_t whole = Crc32cExtendTable(kCrc32cStart, data.data(), n);
    // Feeding in two pieces gives the same state as feeding at once.
    const size_t half = n / 3;
    EXPECT_EQ(Crc32cExtend(Crc32cExtend(kCrc32cStart, data.data(), half), data.data() + half, n - half), whole);
    if (Crc32cHardwareAvailable()) {
      EXPECT_EQ(Crc32cExtendHardware(kCrc32cStart, data.data(), n), whole);
    }
  }
}

TEST(Crc32c, DoublesAreTakenAsLittleEndianBytes) {
  const double x = -1234.5678;
  unsigned char bytes[8];
  uint64_t bits;
  std::memcpy(&bits, &x, 8);
  for (int i = 0; i < 8; ++i) bytes[i] = static_cast<unsigned char>(bits >> (8 * i));
  EXPECT_EQ(Crc32cExtendDouble(kCrc32cStart, x), Crc32cExtendTable(kCrc32cStart, bytes, 8));
  // 0.0 and -0.0 differ in their bytes, so moving a knot across zero is seen.
  EXPECT_NE(Crc32cExtendDouble(kCrc32cStart, 0.0), Crc32cExtendDouble(kCrc32cStart, -0.0));
}

}  // namespace
}  // namespace tessaroc::pattern
