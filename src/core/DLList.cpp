#include "core/DLList.h"

#include <atomic>

DLListRec::~DLListRec() = default;

bool DLListRec::operator==(const DLListRec& other) const
{
  return this == &other;
}

void DLListRec::insert(DLListRec* before) noexcept
{
  next_ = before;
  previous_ = before->previous_;
  previous_->next_ = this;
  before->previous_ = this;
}

void DLListRec::remove() noexcept
{
  previous_->next_ = next_;
  next_->previous_ = previous_;
  reset();
}

namespace {

// A small id per thread, never -1, that costs no call into the OS: every
// list operation asks for it.
int32_t callingThread() noexcept
{
  static std::atomic<int32_t> lastId{0};
  thread_local const int32_t id = ++lastId;
  return id;
}

} // namespace

// Holds the list for the calling thread for the length of one operation.
class DLList::Scope
{
public:
  explicit Scope(DLList& list) : list_(list) { list_.beginOwnership(); }
  ~Scope() { list_.endOwnership(); }
  Scope(const Scope&) = delete;
  Scope& operator=(const Scope&) = delete;

private:
  DLList& list_;
};

DLList::~DLList()
{
  clear();
}

DLList& DLList::operator=(DLList& other)
{
  if (&other == this) return *this;
  Scope scope(*this);
  Scope otherScope(other);
  clear();
  ownsRecords_ = other.ownsRecords_;
  head_ = other.head_;
  count_ = other.count_;
  other.head_ = nullptr;
  other.count_ = 0;
  // A traversal of the other list has nothing left to visit.
  for (Cursor* c = other.cursor_; c; c = c->outer) c->record = nullptr;
  return *this;
}

void DLList::insert(DLListRec* record)
{
  if (!record) return;
  Scope scope(*this);
  if (head_)
    record->insert(head_);
  else
    record->reset();
  head_ = record;
  ++count_;
}

void DLList::insertAt(DLListRec* record, DLListRec* before)
{
  if (!record) return;
  if (!before || !head_) {
    append(record);
    return;
  }
  Scope scope(*this);
  record->insert(before);
  if (before == head_) head_ = record;
  ++count_;
}

void DLList::append(DLListRec* record)
{
  if (!record) return;
  Scope scope(*this);
  if (head_) {
    // Before the head of a circle is its tail.
    record->insert(head_);
  } else {
    record->reset();
    head_ = record;
  }
  ++count_;
}

void DLList::unlink(DLListRec* record)
{
  DLListRec* next = record->next();
  const bool alone = next == record;
  // The head is compared before it moves: a cursor on the tail has nowhere
  // to go, but one on the head goes on to the new head.
  for (Cursor* c = cursor_; c; c = c->outer)
    if (c->record == record) c->record = (alone || next == head_) ? nullptr : next;
  if (record == head_) head_ = alone ? nullptr : next;
  record->remove();
  --count_;
}

void DLList::extract(DLListRec* record)
{
  if (!record || !head_) return;
  Scope scope(*this);
  unlink(record);
}

void DLList::remove(DLListRec* record)
{
  if (!record || !head_) return;
  Scope scope(*this);
  unlink(record);
  if (ownsRecords_) delete record;
}

void DLList::clear()
{
  Scope scope(*this);
  if (ownsRecords_) {
    while (head_) remove(head_);
  } else {
    head_ = nullptr;
    count_ = 0;
  }
  for (Cursor* c = cursor_; c; c = c->outer) c->record = nullptr;
}

void DLList::rotate()
{
  Scope scope(*this);
  if (head_) head_ = head_->next();
}

void DLList::apply(ApplyFn fn, void* argument)
{
  if (!fn) return;
  Scope scope(*this);
  Cursor cursor{head_, cursor_};
  cursor_ = &cursor;
  // Unchained however fn leaves, so the list never points at a dead cursor.
  struct Pop
  {
    DLList& list;
    Cursor& cursor;
    ~Pop() { list.cursor_ = cursor.outer; }
  } pop{*this, cursor};
  while (cursor.record) {
    DLListRec* record = cursor.record;
    fn(record, argument);
    // A record that fn extracted has already moved the cursor on.
    if (cursor.record == record) {
      DLListRec* next = record->next();
      cursor.record = next == head_ ? nullptr : next;
    }
  }
}

bool DLList::member(const DLListRec* record) const
{
  if (!record || !head_) return false;
  Scope scope(const_cast<DLList&>(*this));
  DLListRec* r = head_;
  do {
    if (*r == *record) return true;
    r = r->next();
  } while (r != head_);
  return false;
}

bool DLList::beginOwnership()
{
  const int32_t self = callingThread();
  std::atomic_ref<int32_t> owner(ownerThread_);
  if (owner.load() != self) {
    int32_t expected = -1;
    if (!owner.compare_exchange_strong(expected, self)) return false;
  }
  ++ownershipDepth_;
  return true;
}

void DLList::endOwnership()
{
  std::atomic_ref<int32_t> owner(ownerThread_);
  if (owner.load() != callingThread()) return;
  if (ownershipDepth_ <= 1) {
    ownershipDepth_ = 0;
    owner.store(-1);
  } else {
    --ownershipDepth_;
  }
}

int DLList::owner() const noexcept
{
  return std::atomic_ref<int32_t>(const_cast<int32_t&>(ownerThread_)).load();
}

DLListRec* DLListIterator::following(DLListRec* record) const
{
  DLListRec* next = record->next();
  return next == list_.first() ? nullptr : next;
}

DLListIterator& DLListIterator::operator++()
{
  if (current_) current_ = following(current_);
  return *this;
}

DLListIterator& DLListIterator::operator--()
{
  if (current_) current_ = current_ == list_.first() ? nullptr : current_->previous();
  return *this;
}

void DLListIterator::remove()
{
  if (!current_) return;
  DLListRec* next = following(current_);
  list_.remove(current_);
  current_ = next;
}

DLListRec* DLListIterator::extract()
{
  DLListRec* record = current_;
  if (!record) return nullptr;
  current_ = following(record);
  list_.extract(record);
  return record;
}

void DLListIterator::insert(DLListRec* record)
{
  if (current_)
    list_.insertAt(record, current_);
  else
    list_.append(record);
}

bool DLListIterator::find(const DLListRec* record)
{
  for (current_ = list_.first(); current_; current_ = following(current_))
    if (record && *current_ == *record) return true;
  return false;
}
