// Helpers shared by the buffer tests.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>

#include "buffers/ByteBufferImpl.h"

namespace buffertest {

// Standard output written while fn runs.
inline std::string captureStdout(const std::function<void()>& fn)
{
  testing::internal::CaptureStdout();
  fn();
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

// A buffer holding the bytes of text as its data.
inline Zr::Ptr<ByteBufferImpl> bufferOf(const std::string& text)
{
  Zr::Ptr<ByteBufferImpl> buffer(new ByteBufferImpl(unsigned(text.size())));
  buffer->append(reinterpret_cast<const unsigned char*>(text.data()), unsigned(text.size()));
  return buffer;
}

// The data bytes of a buffer, from its read offset.
inline std::string dataOf(const iMemHolder& buffer)
{
  return std::string(reinterpret_cast<const char*>(buffer.getBuffer()), buffer.getUsed());
}

} // namespace buffertest
