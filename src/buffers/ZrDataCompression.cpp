#include "buffers/ZrDataCompression.h"

#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace ZrDataCompression {
namespace {

constexpr unsigned int kHeader = 4;
// Deflate codes at best a 258-byte match in 2 bits.
constexpr uint64_t kMaxExpansion = 1032;
constexpr uint64_t kExpansionSlack = 1024;
constexpr uint64_t kMaxBlock = 0xFFFFFFFFu;

void putBigEndian(unsigned char* p, uint32_t value)
{
  p[0] = uint8_t(value >> 24);
  p[1] = uint8_t(value >> 16);
  p[2] = uint8_t(value >> 8);
  p[3] = uint8_t(value);
}

uint32_t getBigEndian(const unsigned char* p)
{
  return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | uint32_t(p[3]);
}

} // namespace

Zr::Ptr<ByteBufferImpl> zlibCompress(const Zr::Ptr<iMemHolder>& data, int level)
{
  if (!data || data->getUsed() == 0 || !data->getBuffer()) return nullptr;
  const unsigned int length = data->getUsed();
  uint64_t bound = uint64_t(length) + length / 100 + 13;

  Zr::Ptr<ByteBufferImpl> out(new ByteBufferImpl);
  for (;;) {
    if (bound + kHeader > kMaxBlock || !out->alloc(unsigned(bound + kHeader))) return nullptr;
    uLongf produced = uLongf(bound);
    const int rc = compress2(out->getBuffer() + kHeader, &produced, data->getBuffer(), length, level);
    if (rc == Z_OK) {
      out->setUsed(unsigned(produced) + kHeader);
      putBigEndian(out->getBuffer(), length);
      return out;
    }
    if (rc == Z_MEM_ERROR) return nullptr;
    if (rc != Z_BUF_ERROR) return out;
    bound *= 2;
  }
}

Zr::Ptr<ByteBufferImpl> zlibUncompress(const Zr::Ptr<iMemHolder>& data)
{
  if (!data || data->getUsed() < kHeader + 1 || !data->getBuffer()) return nullptr;
  const unsigned char* in = data->getBuffer();
  const unsigned int inLength = data->getUsed() - kHeader;
  uint32_t expected = getBigEndian(in);
  if (expected == 0) expected = 1;

  const uint64_t mostPossible = inLength * kMaxExpansion + kExpansionSlack;
  uint64_t capacity = std::min<uint64_t>(expected, mostPossible);
  Zr::Ptr<ByteBufferImpl> out(new ByteBufferImpl);
  for (;;) {
    if (!out->alloc(unsigned(capacity))) return nullptr;
    uLongf produced = uLongf(capacity);
    const int rc = uncompress(out->getBuffer(), &produced, in + kHeader, inLength);
    if (rc == Z_OK) {
      if (produced == expected) {
        out->setUsed(unsigned(produced));
        return out;
      }
      if (expected > 0x7FFFFFFFu) return nullptr;
      Zr::Ptr<ByteBufferImpl> exact(new ByteBufferImpl);
      if (!exact->alloc(unsigned(produced))) return nullptr;
      exact->append(out->getBuffer(), unsigned(produced));
      return exact;
    }
    if (rc != Z_BUF_ERROR) return nullptr;
    // With room for the most that the input could ever give, a shortage is
    // of input, not of room: the block is truncated, and doubling on would
    // only reach for gigabytes.
    if (capacity >= mostPossible || capacity * 2 > kMaxBlock) return nullptr;
    capacity = std::min(capacity * 2, mostPossible);
  }
}

} // namespace ZrDataCompression
