#include "core/AssocList.h"

#include <cstring>
#include <string>

#include "text/GrowString.h"

AssocListRep::AssocListRep(bool sorted)
    : sorted_(sorted), records_(sorted ? new OrderedVector<Record> : new Vector<Record>)
{}

AssocListRep::AssocListRep(const char* file, bool sorted) : AssocListRep(sorted)
{
  readFromFile(file);
}

namespace {

// Bisects a vector sorted by name: true and the index of the name, or false
// and the insertion point.
bool bisect(const Vector<AssocListRep::Record>& records, const LightweightString<char>& name,
            unsigned int& index)
{
  int64_t low = -1;
  int64_t high = records.size();
  while (high - low > 1) {
    const int64_t mid = low + (high - low) / 2;
    const LightweightString<char>& item = records.at(unsigned(mid))->name();
    if (item == name) {
      index = unsigned(mid);
      return true;
    }
    if (item < name)
      low = mid;
    else
      high = mid;
  }
  index = unsigned(high);
  return false;
}

} // namespace

AssocListRec* AssocListRep::find(const LightweightString<char>& name) const
{
  if (sorted_) {
    unsigned int index = 0;
    return bisect(*records_, name, index) ? records_->at(index).get() : nullptr;
  }
  const auto hit = index_.find(name);
  return hit == index_.end() ? nullptr : records_->at(hit->second).get();
}

AssocListRec* AssocListRep::intern(const LightweightString<char>& name)
{
  if (AssocListRec* record = find(name)) return record;
  Record record(new AssocListRec(name, LightweightString<char>()));
  if (sorted_) {
    unsigned int index = 0;
    bisect(*records_, name, index);
    records_->insert(record, index);
  } else {
    index_.emplace(name, records_->size());
    records_->add(record);
  }
  return record.get();
}

void AssocListRep::add(const LightweightString<char>& name, const LightweightString<char>& value)
{
  Record record(new AssocListRec(name, value));
  if (sorted_) {
    records_->add(record);
  } else {
    // The first record of a name stays the one that find() gives.
    index_.emplace(name, records_->size());
    records_->add(record);
  }
}

void AssocListRep::set(const LightweightString<char>& name, const LightweightString<char>& value)
{
  if (AssocListRec* record = intern(name)) record->setValue(value);
}

LightweightString<char> AssocListRep::get(const LightweightString<char>& name) const
{
  const AssocListRec* record = find(name);
  return record ? record->value() : LightweightString<char>();
}

AssocListRec* AssocListRep::at(unsigned int index) const
{
  return index < records_->size() ? records_->at(index).get() : nullptr;
}

bool AssocListRep::readFromFile(const char* file)
{
  if (!file) return false;
  FILE* in = std::fopen(file, "r");
  if (!in) return false;
  LightweightString<char> name;
  LightweightString<char> value;
  while (readTokenPair(in, name, value))
    if (!name.empty()) set(name, value);
  std::fclose(in);
  return true;
}

namespace {

bool isEscapable(int c)
{
  return c == '"' || c == '*' || c == '\\' || c == '/';
}

// Writes text in quotes so that readTokenPair gives it back unchanged.
bool writeQuoted(FILE* out, const LightweightString<char>& text)
{
  std::string quoted("\"");
  const char* p = text.c_str();
  const unsigned int n = text.size();
  for (unsigned int i = 0; i < n; ++i) {
    const char c = p[i];
    const int next = i + 1 < n ? static_cast<unsigned char>(p[i + 1]) : '"';
    const bool escape =
        c == '"' || (c == '\\' && isEscapable(next)) || (c == '/' && (next == '/' || next == '*'));
    if (escape) quoted += '\\';
    quoted += c;
  }
  quoted += '"';
  return std::fwrite(quoted.data(), 1, quoted.size(), out) == quoted.size();
}

bool isBlank(int c)
{
  return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f';
}

} // namespace

bool AssocListRep::writeToFile(const char* file) const
{
  if (!file) return false;
  FILE* out = std::fopen(file, "w");
  if (!out) return false;
  bool ok = true;
  for (unsigned int k = 0; k < records_->size() && ok; ++k) {
    const AssocListRec& record = *records_->at(k);
    ok = writeQuoted(out, record.name()) && std::fputc(' ', out) != EOF && writeQuoted(out, record.value()) &&
         std::fputc('\n', out) != EOF;
  }
  if (std::fclose(out) != 0) ok = false;
  return ok;
}

bool AssocListRep::readTokenPair(FILE* in, LightweightString<char>& name, LightweightString<char>& value)
{
  name = LightweightString<char>();
  value = LightweightString<char>();
  if (!in) return false;
  enum Field
  {
    eName,  // before or inside the name
    eGap,   // between name and value
    eValue, // inside the value
    eRest,  // after the value: skipped up to the newline
  };
  Field field = eName;
  bool quoted = false;
  bool started = false; // the name has begun, if only with a quote

  auto store = [&](char c) {
    switch (field) {
    case eName:
      started = true;
      name.push_back(c);
      break;
    case eGap:
      field = eValue;
      value.push_back(c);
      break;
    case eValue:
      value.push_back(c);
      break;
    case eRest:
      break;
    }
  };

  for (;;) {
    int c = std::getc(in);
    if (c == '/') {
      const int d = std::getc(in);
      if (d == '*') {
        // A comment may span lines; one that never closes ends the reading.
        int previous = 0;
        for (;;) {
          const int e = std::getc(in);
          if (e == EOF) return false;
          if (previous == '*' && e == '/') break;
          previous = e;
        }
        continue;
      }
      if (d == '/') {
        do c = std::getc(in);
        while (c != '\n' && c != EOF);
        // The newline (or the end) is handled below like any other.
      } else {
        if (d != EOF) std::ungetc(d, in);
        store('/');
        continue;
      }
    }
    if (c == EOF) return !quoted && !name.empty();
    if (c == '\\') {
      const int d = std::getc(in);
      if (isEscapable(d)) {
        store(char(d));
      } else {
        if (d != EOF) std::ungetc(d, in);
        store('\\');
      }
      continue;
    }
    if (field == eRest) {
      if (c == '\n') return true;
      continue;
    }
    if (c == '"') {
      quoted = !quoted;
      if (field == eName) started = true;
      if (field == eGap) field = eValue;
      continue;
    }
    if (quoted) {
      store(char(c));
      continue;
    }
    if (c == '\n') return true;
    if (isBlank(c)) {
      if (field == eName && started) field = eGap;
      if (field == eValue) field = eRest;
      continue;
    }
    store(char(c));
  }
}

void AssocListRep::printOn(GrowString& text, const char* format, const char* separator) const
{
  if (!format) return;
  for (unsigned int k = 0; k < records_->size(); ++k) {
    const AssocListRec& record = *records_->at(k);
    if (k && separator) text.append(separator);
    const int n = std::snprintf(nullptr, 0, format, record.name().c_str(), record.value().c_str());
    if (n <= 0) continue;
    std::string line(size_t(n) + 1, '\0');
    std::snprintf(line.data(), line.size(), format, record.name().c_str(), record.value().c_str());
    text.append(line.c_str());
  }
}

AssocListRep& AssocList::demand()
{
  if (!rep_) rep_ = SmartPtr<AssocListRep>(new AssocListRep(sorted_));
  return *rep_;
}

AssocList& AssocList::operator+=(const AssocList& other)
{
  if (!other.rep_ || other.rep_.get() == rep_.get()) return *this;
  AssocListRep& rep = demand();
  for (unsigned int k = 0; k < other.rep_->size(); ++k) {
    const AssocListRec* record = other.rep_->at(k);
    rep.set(record->name(), record->value());
  }
  return *this;
}

LightweightString<char> AssocList::operator[](const LightweightString<char>& name) const
{
  return rep_ ? rep_->get(name) : LightweightString<char>();
}

AssocListRec* AssocList::at(unsigned int index) const
{
  return rep_ ? rep_->at(index) : nullptr;
}
