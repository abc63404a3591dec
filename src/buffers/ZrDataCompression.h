// ZrDataCompression, the compressed block: a 4-byte big-endian length of the
// original data, then the zlib stream that compress2 makes of it. Plain zlib
// reads a block from offset 4 and makes one given the header.
#pragma once

#include "buffers/ByteBufferImpl.h"

namespace ZrDataCompression {

// A new block holding the used bytes of `data` compressed at zlib `level`
// (0 to 9, or -1 for zlib's default). Null for a null handle, no data, or
// no memory. A level zlib refuses gives an empty block (used 0).
// Thread-safe.
Zr::Ptr<ByteBufferImpl> zlibCompress(const Zr::Ptr<iMemHolder>& data, int level);

// A new buffer holding the data of a compressed block. Null for a null
// handle, fewer than 5 bytes, a stream zlib rejects (corrupt or cut short),
// or no memory. A header that disagrees with the stream is not trusted: the
// buffer holds what the stream gives. A header of 0 counts as 1.
//
// The first output block is the smaller of the header's length and the most
// that the stream could give, 1032 bytes per compressed byte (deflate's
// greatest expansion) plus 1 KiB: a header that lies about the length cannot
// make us allocate more than the data itself could produce. A header above
// 0x7FFFFFFF that the stream does not match gives null. Thread-safe.
Zr::Ptr<ByteBufferImpl> zlibUncompress(const Zr::Ptr<iMemHolder>& data);

} // namespace ZrDataCompression
