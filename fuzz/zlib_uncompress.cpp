// Reads arbitrary bytes as a compressed block. Nothing may read outside the
// bytes given (the buffer is exactly their size), and whatever decodes must
// compress again into a block that decodes to the same bytes.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "buffers/ZrDataCompression.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
  if (size > 1u << 20) return 0;
  Zr::Ptr<ByteBufferImpl> block(new ByteBufferImpl(unsigned(size)));
  if (size) block->append(data, unsigned(size));
  Zr::Ptr<ByteBufferImpl> plain = ZrDataCompression::zlibUncompress(block);
  if (!plain) return 0;
  if (plain->getUsed() > plain->getSize()) abort();
  if (plain->getUsed() == 0) return 0;
  Zr::Ptr<ByteBufferImpl> again = ZrDataCompression::zlibCompress(plain, 6);
  if (!again) abort();
  Zr::Ptr<ByteBufferImpl> back = ZrDataCompression::zlibUncompress(again);
  if (!back || back->getUsed() != plain->getUsed()) abort();
  if (std::memcmp(back->getBuffer(), plain->getBuffer(), plain->getUsed()) != 0) abort();
  return 0;
}
