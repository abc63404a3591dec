#include "core/StringList.h"

#include <strings.h>

#include "text/GrowString.h"

int StringRec::compare(const ArrayRec& other) const
{
  return LightweightString<char>::compare(text_.c_str(), static_cast<const StringRec&>(other).text_.c_str());
}

void StringRec::printOn(GrowString& text) const
{
  text.append(text_.c_str());
}

namespace {

int compareNoCase(const void* a, const void* b)
{
  const StringRec* left = *static_cast<StringRec* const*>(a);
  const StringRec* right = *static_cast<StringRec* const*>(b);
  return strcasecmp(left->text().c_str(), right->text().c_str());
}

} // namespace

void StringList::setSortMode(int mode)
{
  overrideCompareFn(mode == eCaseInsensitive ? &compareNoCase : nullptr);
}

StringRec* StringList::findRec(const LightweightString<char>& text) const
{
  for (uint32_t k = 0; k < count_; ++k) {
    StringRec* record = static_cast<StringRec*>(data_[k]);
    if (record->text() == text) return record;
  }
  return nullptr;
}

bool StringList::remove(const LightweightString<char>& text)
{
  for (uint32_t k = 0; k < count_; ++k)
    if (static_cast<StringRec*>(data_[k])->text() == text) return Array::remove(k);
  return false;
}

int StringList::add(const LightweightString<char>& text)
{
  StringRec* record = new StringRec(text);
  const int index = Array::add(record);
  // Not taken in, so not counted: it would leak.
  if (index < 0) delete record;
  return index;
}

bool StringList::set(unsigned int index, const LightweightString<char>& text)
{
  if (index >= count_) return false;
  static_cast<StringRec*>(data_[index])->setText(text);
  // New text may not belong where the old one stood.
  sorted_ = false;
  return true;
}

LightweightString<char> StringList::get(unsigned int index) const
{
  return index < count_ ? static_cast<StringRec*>(data_[index])->text() : LightweightString<char>();
}

int StringList::storeText(const char* first, const char* last)
{
  const unsigned int n = first && last >= first ? unsigned(last - first + 1) : 0;
  return storeBytes(first, n);
}

int StringList::storeBytes(const char* first, unsigned int n)
{
  return add(LightweightString<char>(first, n));
}

void StringList::buildFromBuffer(const char* text, unsigned int length)
{
  forEachLine(text, length, [this](const char* first, unsigned int n) { storeBytes(first, n); });
}
