// Array, the older array of counted records held by pointer, and ArrayRec,
// the record base that classes join by derivation.
//
// An owning array counts each record in while it holds it and deletes a
// record whose count falls to 0, so one record may sit in several owning
// arrays at once. A sorted array keeps its order by the records' compare (or
// the compare function set on it) and is searched by bisection.
//
// No locking: an array belongs to one thread at a time, and so do the counts
// of the records it owns.
#pragma once

#include <cstdint>

class GrowString;

class ArrayRec
{
public:
  ArrayRec() noexcept = default;
  // A copy is a new record: it is in no array yet.
  ArrayRec(const ArrayRec&) noexcept : refCount_(0) {}
  ArrayRec& operator=(const ArrayRec&) noexcept { return *this; }
  virtual ~ArrayRec();

  // Order against another record: below 0, 0 or above 0. Every record ties by default.
  virtual int compare(const ArrayRec& other) const;
  // compare() equal to 0.
  virtual bool operator==(const ArrayRec& other) const;
  virtual bool operator!=(const ArrayRec& other) const;
  // Appends the record's text; a plain record appends nothing.
  virtual void printOn(GrowString& text) const;

  // The owning arrays that hold this record.
  int refCount() const noexcept { return refCount_; }
  int incRef() noexcept { return ++refCount_; }
  int decRef() noexcept { return --refCount_; }

private:
  int32_t refCount_ = 0;
};

class Array
{
public:
  // The compare function receives pointers to two slots, that is two ArrayRec**.
  using CompareFn = int (*)(const void*, const void*);

  explicit Array(bool owning = true) noexcept;
  // Holds the same records (counted again if owning), with the same flags.
  Array(const Array& other);
  // Releases every record.
  virtual ~Array();

  // Appends each record's text: "(", the texts separated by one blank, ")".
  virtual void printOn(GrowString& text) const;
  // Stores the record at index (clamped to the count), counting it in if
  // owning. The sorted flag is not touched: the caller keeps the order.
  // False for a null record or when memory runs out.
  virtual bool insertDatum(ArrayRec* record, unsigned int index);
  // insertDatum at the end.
  virtual bool appendDatum(ArrayRec* record);
  // Puts the record in the slot, releasing the one it held. False past the
  // end or for a null record.
  virtual bool replaceDatum(unsigned int index, ArrayRec* record);

  // Releases every record, frees the block and clears the sorted flag and
  // compare function. The owning flag stays.
  void init();
  // Sorts unless already sorted, then marks the array sorted.
  void sort();
  // true sorts; false only clears the flag.
  void sorted(bool on);
  bool isSorted() const noexcept { return sorted_; }
  // Orders by fn instead of the records' compare; null goes back to compare.
  // A sorted array is sorted again by the new order.
  void overrideCompareFn(CompareFn fn);
  CompareFn compareFn() const noexcept { return compareFn_; }
  // Makes room for n records: 0 releases the records and frees the block; a
  // need above the capacity grows to twice the capacity or n (a need of 9 or
  // under counts as 10), whichever is larger. False when memory runs out,
  // with nothing changed.
  bool sizeFor(unsigned int n);

  // Appends the record wherever the order says; clears the sorted flag. The
  // index, or -1 for null or when memory runs out.
  int append(ArrayRec* record);
  // Inserts at index (clamped); clears the sorted flag. The index or -1.
  int insert(ArrayRec* record, unsigned int index);
  // Appends, or in a sorted array inserts in order beside equal records.
  // The index, or -1 for null or when memory runs out.
  int add(ArrayRec* record);
  // Adds each record of the other array.
  void add(const Array& other);
  // Adds the record unless an equal one is there; true if it was added.
  // index receives the new or the equal record's place. With an equal record
  // present, an owning array deletes the new record if nothing counts it.
  bool intern(ArrayRec* record, unsigned int& index);

  // The index of a record equal to this one, or -1.
  int find(const ArrayRec* record) const;
  // True and the index of an equal record; otherwise false and the index at
  // the count (unsorted) or at the insertion point (sorted).
  bool locate(const ArrayRec* record, unsigned int& index) const;
  // Bisection over a sorted array: true and an equal record's index, or
  // false and the insertion point. Which of several equal records is hit is
  // not fixed.
  bool locateSorted(const ArrayRec* record, unsigned int& index) const;

  // Releases the record at index and closes the gap. False past the end.
  bool remove(unsigned int index);
  // Removes a record equal to this one; false if none.
  bool remove(const ArrayRec* record);
  // Removes this very record. It searches the equal records for the pointer
  // (forward over the rest of an unsorted array; both ways over the run of a
  // sorted one). If the pointer is not there but exactly one equal record is,
  // that one is removed instead. False if nothing was removed.
  bool removeIdenticle(const ArrayRec* record);
  // Releases every record; the capacity and flags stay.
  void clear();

  // Same count and pairwise equal records.
  bool operator==(const Array& other) const;
  bool operator!=(const Array& other) const { return !(*this == other); }
  // Takes the other's records (counted if owning) and its flags.
  Array& operator=(const Array& other);

  unsigned int size() const noexcept { return count_; }
  unsigned int capacity() const noexcept { return capacity_; }
  bool isEmpty() const noexcept { return count_ == 0; }
  bool owning() const noexcept { return owning_; }
  // The record at index, or null past the end.
  ArrayRec* operator[](unsigned int index) const noexcept { return index < count_ ? data_[index] : nullptr; }

protected:
  // Takes the record out of slot index without closing the gap: counts it
  // out if owning and deletes it when nothing counts it any more.
  void release(unsigned int index);
  // Counts an owned record out, deleting it when nothing counts it any more.
  static void releaseRecord(ArrayRec* record);
  int compareAt(unsigned int index, const ArrayRec* record) const;

  ArrayRec** data_ = nullptr;
  uint32_t count_ = 0;
  uint32_t capacity_ = 0;
  bool owning_ = true;
  bool sorted_ = false;
  CompareFn compareFn_ = nullptr;
};
