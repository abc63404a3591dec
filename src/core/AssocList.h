// AssocList, a list of name and value pairs with a plain text file form:
// one pair per line, `"name" "value"`, with C comments.
//
// AssocListRep holds the pairs, in the order they came or, when made with
// true, sorted by name. AssocList is a shared handle that makes its rep at
// first use. Names compare exactly. No locking: one thread at a time.
#pragma once

#include <cstdio>
#include <memory>
#include <unordered_map>

#include "Zr/Vector.h"
#include "core/LightweightString.h"
#include "core/SmartPtr.h"

class GrowString;

class AssocListRec
{
public:
  AssocListRec() = default;
  AssocListRec(const LightweightString<char>& name, const LightweightString<char>& value)
      : name_(name), value_(value)
  {}

  const LightweightString<char>& name() const noexcept { return name_; }
  const LightweightString<char>& value() const noexcept { return value_; }
  void setValue(const LightweightString<char>& value) { value_ = value; }

  // By name only, so that the sorted form orders and finds by name.
  bool operator==(const AssocListRec& other) const { return name_ == other.name_; }
  bool operator<=(const AssocListRec& other) const { return !(other.name_ < name_); }

private:
  // Fixed once made: the rep's index depends on it.
  LightweightString<char> name_;
  LightweightString<char> value_;
};

class AssocListRep
{
public:
  using Record = SmartPtr<AssocListRec>;

  // An empty list; sorted keeps the pairs in name order.
  explicit AssocListRep(bool sorted = false);
  // Reads the file as readFromFile does; a file that does not open gives an
  // empty list.
  AssocListRep(const char* file, bool sorted = false);
  AssocListRep(const AssocListRep&) = delete;
  AssocListRep& operator=(const AssocListRep&) = delete;

  // The record of that name, or null.
  AssocListRec* find(const LightweightString<char>& name) const;
  // The record of that name, made with an empty value if there is none.
  // Null only when memory runs out.
  AssocListRec* intern(const LightweightString<char>& name);
  // Adds a record even if the name is there already; find() then keeps
  // giving the first.
  void add(const LightweightString<char>& name, const LightweightString<char>& value);
  // Finds or makes the record and stores the value; an empty value clears
  // it, and the record stays.
  void set(const LightweightString<char>& name, const LightweightString<char>& value);
  // The value, or empty when the name is absent.
  LightweightString<char> get(const LightweightString<char>& name) const;

  unsigned int size() const noexcept { return records_->size(); }
  // The record at index, or null past the end.
  AssocListRec* at(unsigned int index) const;

  // Sets every pair of a UTF-8 named file, in file order. Lines with an empty
  // name set nothing. False if the file does not open.
  bool readFromFile(const char* file);
  // Writes every pair as `"name" "value"` and a newline, replacing the file.
  // Characters that would read back differently (a double quote, and a
  // backslash or slash that would start an escape or a comment) get a
  // backslash. False if the file does not open or a write fails.
  bool writeToFile(const char* file) const;
  // Reads one pair from the next line. Within a line:
  //  - /* to */ is a comment wherever it stands and may span lines; // ends
  //    the line's content;
  //  - a backslash before a double quote, asterisk, backslash or slash takes
  //    that character literally; any other backslash is ordinary;
  //  - a double quote toggles quoting and is not stored;
  //  - outside quotes, white space before the name is skipped, the first run
  //    after it ends the name, and a run after the value ends the value and
  //    the rest of the line is skipped;
  //  - a newline outside quotes ends the pair: true.
  // The end of the file gives false, and so does one that ends inside a
  // comment or quotes; a last line with a name but no newline still gives
  // true, so a hand-edited file keeps its last pair.
  static bool readTokenPair(FILE* file, LightweightString<char>& name, LightweightString<char>& value);
  // Appends each pair formatted by the printf format (name, then value, both
  // as %s), with the separator between pairs.
  void printOn(GrowString& text, const char* format, const char* separator) const;

private:
  bool sorted_;
  std::unique_ptr<Vector<Record>> records_;
  // Name to first index, for the unsorted form: keeps reading a file of many
  // pairs linear. The sorted form bisects instead.
  std::unordered_map<LightweightString<char>, unsigned int> index_;
};

// A shared handle on an AssocListRep, made at first use. Copies share the
// pairs.
class AssocList
{
public:
  explicit AssocList(bool sorted = false) : sorted_(sorted) {}

  // The rep, made now if there is none yet.
  AssocListRep& demand();
  // Sets every pair of the other list here.
  AssocList& operator+=(const AssocList& other);
  // The value of the name, or empty.
  LightweightString<char> operator[](const LightweightString<char>& name) const;
  // The record at index, or null past the end.
  AssocListRec* at(unsigned int index) const;
  unsigned int size() const { return rep_ ? rep_->size() : 0; }

private:
  friend class AssocListIter;
  SmartPtr<AssocListRep> rep_;
  bool sorted_;
};

// Walks the records of a list in order.
class AssocListIter
{
public:
  explicit AssocListIter(const AssocList& list) : list_(list) {}

  // The current record; null past the end.
  AssocListRec* operator*() const { return list_.at(index_); }
  AssocListIter& operator++()
  {
    ++index_;
    return *this;
  }
  explicit operator bool() const { return index_ < list_.size(); }

private:
  const AssocList& list_;
  unsigned int index_ = 0;
};
