#include "files/TextFile.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "core/Assert.h"
#include "core/StringList.h"
#include "libOS/OS.h"
#include "libzr/Strings.h"

namespace {

using Line = LightweightString<char>;

constexpr unsigned int kNotFound = 0xFFFFFFFFu;

struct FreeBlock
{
  void operator()(char* p) const { std::free(p); }
};

// Gathers bytes into blocks of the write buffer's size.
class BufferedWriter
{
public:
  explicit BufferedWriter(iFile& file) : file_(file), buffer_(new char[TextFile::kWriteBufferSize]) {}

  bool put(const char* bytes, unsigned int n)
  {
    while (n && ok_) {
      const unsigned int room = TextFile::kWriteBufferSize - used_;
      const unsigned int take = n < room ? n : room;
      std::memcpy(buffer_.get() + used_, bytes, take);
      used_ += take;
      bytes += take;
      n -= take;
      if (used_ == TextFile::kWriteBufferSize) flush();
    }
    return ok_;
  }

  bool flush()
  {
    if (used_ && ok_) ok_ = file_.write(buffer_.get(), used_) == used_;
    used_ = 0;
    return ok_;
  }

private:
  iFile& file_;
  std::unique_ptr<char[]> buffer_;
  unsigned int used_ = 0;
  bool ok_ = true;
};

// An empty name means the file's own; any other becomes the file's own.
bool useName(LightweightString<wchar_t>& name, LightweightString<wchar_t>& own)
{
  if (name.empty())
    name = own;
  else
    own = name;
  return !name.empty();
}

} // namespace

TextFile::TextFile(const LightweightString<wchar_t>& name, bool load) : name_(name)
{
  if (load) this->load(name, 10);
}

TextFile::TextFile(const LightweightString<char>& name, bool load) : TextFile(fromUTF8(name), load) {}

bool TextFile::load(LightweightString<wchar_t> name, char eol, bool keepExisting)
{
  (void)eol;
  if (!useName(name, name_)) return false;

  Zr::Ptr<iFile> file =
      OS()->fileManager()->open(name, iFile::eRead, iFile::eOpenExisting, iFile::eShareRead);
  if (!file) return false;
  const unsigned long size = file->getSize();
  // Lengths are 32-bit here, terminator included.
  if (size >= 0xFFFFFFFFul) return false;
  std::unique_ptr<char, FreeBlock> buffer(static_cast<char*>(std::malloc(size + 1)));
  if (!buffer) return false;
  unsigned long done = 0;
  while (done < size) {
    const unsigned int got = file->read(buffer.get() + done, unsigned(size - done));
    // A file cut short under us is a failed read, not a shorter file.
    if (got == 0) return false;
    done += got;
  }
  buffer.get()[size] = 0;
  file = Zr::Ptr<iFile>();

  const unsigned int bom = getBOMLength(buffer.get(), size);
  const char* text = buffer.get() + bom;
  const unsigned int length = unsigned(size - bom);
  try {
    // The splitting of StringList::buildFromBuffer, straight into strings:
    // one pass to count, so the lines are made in place once.
    unsigned int n = 0;
    StringList::forEachLine(text, length, [&n](const char*, unsigned int) { ++n; });
    if (n == 0) {
      if (!keepExisting) Vector<Line>::clear();
      return true;
    }
    Vector<Line> lines;
    lines.resizeFor(n);
    unsigned int made = 0;
    StringList::forEachLine(
        text, length, [&](const char* first, unsigned int bytes) { lines.at(made++) = Line(first, bytes); });
    lines.size(n);
    buffer.reset();
    if (!keepExisting || size_ == 0) {
      Vector<Line>::consume(lines);
      return true;
    }
    if (uint64_t(size_) + n > 0xFFFFFFFFull) return false;
    // The room is made first, so that nothing past this point can fail.
    Vector<Line>::resizeFor(size_ + n);
    for (unsigned int k = 0; k < n; ++k) array_[size_++] = std::move(lines.at(k));
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

bool TextFile::save(LightweightString<wchar_t> name, eEOLStyle style)
{
  if (!useName(name, name_)) return false;

  Zr::Ptr<iFile> file =
      OS()->fileManager()->open(name, iFile::eWrite, iFile::eCreateAlways, iFile::eShareNone);
  if (!file) return false;
  const char* eol = style == eCRLF ? "\r\n" : "\n";
  const unsigned int eolLength = style == eCRLF ? 2 : 1;
  BufferedWriter writer(*file);
  for (unsigned int k = 0; k < size_; ++k) {
    writer.put(array_[k].c_str(), array_[k].size());
    if (k + 1 < size_) writer.put(eol, eolLength);
  }
  return writer.flush();
}

unsigned int TextFile::getBOMLength(const char* buffer, unsigned long length)
{
  if (!buffer || length < 3) return 0;
  const auto* b = reinterpret_cast<const unsigned char*>(buffer);
  return b[0] == 0xEF && b[1] == 0xBB && b[2] == 0xBF ? 3 : 0;
}

unsigned int TextFile::find(const LightweightString<char>& text, unsigned int from) const
{
  for (unsigned int k = from; k < size_; ++k) {
    const Line& line = array_[k];
    if (line.empty()) continue;
    if (text.empty()) return k;
    // Lines may hold zero bytes, so the search goes by length.
    if (memmem(line.c_str(), line.size(), text.c_str(), text.size())) return k;
  }
  return kNotFound;
}

LightweightString<char> TextFile::operator[](unsigned int index) const
{
  return index < size_ ? array_[index] : Line();
}

void TextFile::changeLine(unsigned int index, const LightweightString<char>& text)
{
  if (!Zr::softAssert(index < size_, "i < size_", "Zr/Vector line 61")) return;
  array_[index] = text;
}

void TextFile::removeLine(unsigned int index)
{
  removeIdx(index);
}

void TextFile::appendLine(const LightweightString<char>& text)
{
  add(text);
}

void TextFile::appendLines(const Vector<LightweightString<char>>& lines)
{
  Vector<Line>::insert(lines, size_);
}

void TextFile::copyFrom(const TextFile& other)
{
  if (&other == this) return;
  Vector<Line>::operator=(other);
}

void TextFile::clear()
{
  Vector<Line>::clear();
}
