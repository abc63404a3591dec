// DLList, a circular doubly linked list of intrusive records, with a
// traversal that survives the removal of the record it is visiting.
//
// The list takes no lock. It checks instead that one thread uses it at a
// time: each operation claims the list for the calling thread by a
// compare-and-swap of the owner id, and a claim by a second thread while the
// first holds it fails at once, without waiting. A class that shares a list
// between threads guards it with a lock of its own.
#pragma once

#include <cstdint>

// A record that links itself into a list. A reset record points to itself.
class DLListRec
{
public:
  DLListRec() noexcept : next_(this), previous_(this) {}
  // A copy is a new record, linked nowhere.
  DLListRec(const DLListRec&) noexcept : next_(this), previous_(this) {}
  DLListRec& operator=(const DLListRec&) noexcept { return *this; }
  virtual ~DLListRec();
  // Identity by default: a record is equal only to itself.
  virtual bool operator==(const DLListRec& other) const;

  // Points the record to itself, forgetting its neighbours.
  void reset() noexcept { next_ = previous_ = this; }
  // Links this record in just before `before`.
  void insert(DLListRec* before) noexcept;
  // Joins the neighbours to each other and resets this record.
  void remove() noexcept;

  DLListRec* next() const noexcept { return next_; }
  DLListRec* previous() const noexcept { return previous_; }

private:
  DLListRec* next_;
  DLListRec* previous_;
};

class DLList
{
public:
  // Called on each record by apply(); it may extract or remove that record.
  using ApplyFn = void (*)(DLListRec* record, void* argument);

  explicit DLList(bool ownsRecords = false) noexcept : ownsRecords_(ownsRecords) {}
  DLList(const DLList&) = delete;
  // Clears: an owning list deletes its records.
  virtual ~DLList();
  // Clears this list, then takes the other's records and owns flag and leaves
  // it empty.
  DLList& operator=(DLList& other);

  DLListRec* first() const noexcept { return head_; }
  DLListRec* last() const noexcept { return head_ ? head_->previous() : nullptr; }
  bool ownsRecords() const noexcept { return ownsRecords_; }
  void ownsRecords(bool owns) noexcept { ownsRecords_ = owns; }
  bool isEmpty() const noexcept { return head_ == nullptr; }
  unsigned int size() const noexcept { return count_; }

  // Adds at the head. A null record is ignored, as in every operation below.
  void insert(DLListRec* record);
  // Adds before `before`, which becomes second if it was the head. A null
  // `before` appends.
  void insertAt(DLListRec* record, DLListRec* before);
  // Adds at the tail.
  void append(DLListRec* record);
  // Unlinks a record of this list without deleting it; a traversal that was
  // to visit it moves on to the record after it.
  void extract(DLListRec* record);
  // Extracts, then deletes if the list owns its records.
  void remove(DLListRec* record);
  // An owning list removes every record; one that does not own only forgets
  // them, leaving their links as they were.
  void clear();
  // The record after the head becomes the head.
  void rotate();
  // Calls fn on each record from the head on. fn may remove the record it is
  // given, and may run apply on the same list again.
  void apply(ApplyFn fn, void* argument);
  // True if a record equal to this one is in the list.
  bool member(const DLListRec* record) const;

  // Claims the list for the calling thread, nesting. True if the caller owns
  // it afterwards; false, at once, when another thread holds it.
  bool beginOwnership();
  // Releases one claim of the owner; other threads' calls do nothing.
  void endOwnership();
  // The owner's thread id, or -1 when nobody holds the list.
  int owner() const noexcept;

private:
  // The place of one running apply(), linked to the apply it runs inside.
  struct Cursor
  {
    DLListRec* record;
    Cursor* outer;
  };
  friend class DLListIterator;
  class Scope;

  void unlink(DLListRec* record);

  DLListRec* head_ = nullptr;
  bool ownsRecords_ = false;
  Cursor* cursor_ = nullptr;
  uint32_t count_ = 0;
  // Mutable: a const operation claims the list too.
  mutable int32_t ownerThread_ = -1;
  mutable int32_t ownershipDepth_ = 0;
};

// A position in a list: a record, or null past either end.
class DLListIterator
{
public:
  explicit DLListIterator(DLList& list) noexcept : list_(list), current_(list.first()) {}

  DLListRec* current() const noexcept { return current_; }
  explicit operator bool() const noexcept { return current_ != nullptr; }
  // To the next record; null after the tail.
  DLListIterator& operator++();
  // To the previous record; null before the head.
  DLListIterator& operator--();
  // Removes the current record (deleting it if the list owns records) and
  // moves to the next.
  void remove();
  // Extracts the current record and moves to the next; the caller gets it.
  DLListRec* extract();
  // Inserts before the current record, or at the tail when past the end.
  void insert(DLListRec* record);
  // Moves to the first record equal to this one; false, and past the end, if none.
  bool find(const DLListRec* record);

private:
  DLListRec* following(DLListRec* record) const;

  DLList& list_;
  DLListRec* current_;
};
