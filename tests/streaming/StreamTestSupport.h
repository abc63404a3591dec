// Helpers shared by the stream, persist stream and streamed object tests.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "libOS/LightweightString.h"
#include "libzr/Strings.h"
#include "streaming/PStream.h"
#include "streaming/StreamFile.h"
#include "support/FileHelpers.h"
#include "support/SaveTrials.h"
#include "support/TestEnv.h"

namespace streamtest {

using zrtest::captureStdout;
using zrtest::exists;
using zrtest::wide;

using Bytes = std::vector<unsigned char>;

inline Bytes fileBytes(const std::string& path)
{
  const std::string text = zrtest::readFile(path);
  return Bytes(text.begin(), text.end());
}

inline void writeBytes(const std::string& path, const Bytes& bytes)
{
  zrtest::writeFile(path, std::string(bytes.begin(), bytes.end()));
}

// The bytes of a value in memory order, which is the files' order here.
template <class T> void appendRaw(Bytes& out, T value)
{
  unsigned char raw[sizeof value];
  std::memcpy(raw, &value, sizeof value);
  out.insert(out.end(), raw, raw + sizeof value);
}

inline void appendText(Bytes& out, const std::string& text)
{
  out.insert(out.end(), text.begin(), text.end());
  out.push_back(0);
}

// Runs fn over a PStream on a fresh StreamFile, flushes, and gives the
// file's bytes.
inline Bytes written(const std::function<void(PStream&)>& fn)
{
  const std::string path = zrtest::makeTempDir("strmw") + "out.bin";
  StreamFile file;
  EXPECT_TRUE(file.create(wide(path), iFile::eCreateAlways));
  PStream s(&file);
  fn(s);
  EXPECT_FALSE(s.hasError()) << s.errorText();
  EXPECT_TRUE(file.flush());
  return fileBytes(path);
}

// Writes bytes as a file and opens it for reading, with a PStream on it.
struct Reader
{
  explicit Reader(const Bytes& bytes) : path(zrtest::makeTempDir("strmr") + "in.bin"), stream(&file)
  {
    writeBytes(path, bytes);
    file.create(wide(path), iFile::eOpenExisting);
  }
  std::string path;
  StreamFile file;
  PStream stream;
};

// Saves bytes to path through a StreamFile, as a writer of objects does.
inline bool saveThroughStreamFile(const std::string& path, const std::string& content)
{
  StreamFile file;
  if (!file.create(wide(path), iFile::eCreateAlways)) return false;
  return file.write(content.data(), unsigned(content.size())) && file.flush();
}

using zrtest::pattern;

} // namespace streamtest
