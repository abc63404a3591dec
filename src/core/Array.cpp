#include "core/Array.h"

#include <cstdlib>
#include <cstring>

#include "text/GrowString.h"

ArrayRec::~ArrayRec() = default;

int ArrayRec::compare(const ArrayRec&) const
{
  return 0;
}

bool ArrayRec::operator==(const ArrayRec& other) const
{
  return compare(other) == 0;
}

bool ArrayRec::operator!=(const ArrayRec& other) const
{
  return !(*this == other);
}

void ArrayRec::printOn(GrowString&) const {}

namespace {

// The order of sort() when no compare function is set.
int compareRecords(const void* a, const void* b)
{
  const ArrayRec* left = *static_cast<ArrayRec* const*>(a);
  const ArrayRec* right = *static_cast<ArrayRec* const*>(b);
  return left->compare(*right);
}

} // namespace

Array::Array(bool owning) noexcept : owning_(owning) {}

Array::Array(const Array& other) : owning_(other.owning_)
{
  *this = other;
}

Array::~Array()
{
  clear();
  std::free(data_);
}

void Array::printOn(GrowString& text) const
{
  text.append('(');
  for (uint32_t k = 0; k < count_; ++k) {
    if (k) text.append(' ');
    data_[k]->printOn(text);
  }
  text.append(')');
}

bool Array::insertDatum(ArrayRec* record, unsigned int index)
{
  if (!record) return false;
  if (count_ == capacity_ && (count_ == UINT32_MAX || !sizeFor(count_ + 1))) return false;
  if (index > count_) index = count_;
  if (index < count_) std::memmove(data_ + index + 1, data_ + index, (count_ - index) * sizeof(ArrayRec*));
  data_[index] = record;
  ++count_;
  if (owning_) record->incRef();
  return true;
}

bool Array::appendDatum(ArrayRec* record)
{
  return insertDatum(record, count_);
}

bool Array::replaceDatum(unsigned int index, ArrayRec* record)
{
  if (!record || index >= count_) return false;
  if (record == data_[index]) return true;
  // Counted in before the old one goes, in case the old one's deletion
  // would take the new one with it.
  if (owning_) record->incRef();
  release(index);
  data_[index] = record;
  return true;
}

void Array::init()
{
  sizeFor(0);
  sorted_ = false;
  compareFn_ = nullptr;
}

void Array::sort()
{
  if (!sorted_ && count_ > 0)
    std::qsort(data_, count_, sizeof(ArrayRec*), compareFn_ ? compareFn_ : &compareRecords);
  sorted_ = true;
}

void Array::sorted(bool on)
{
  if (on)
    sort();
  else
    sorted_ = false;
}

void Array::overrideCompareFn(CompareFn fn)
{
  compareFn_ = fn;
  if (sorted_) {
    sorted_ = false;
    sort();
  }
}

bool Array::sizeFor(unsigned int n)
{
  if (n == 0) {
    clear();
    std::free(data_);
    data_ = nullptr;
    capacity_ = 0;
    return true;
  }
  if (n <= capacity_) return true;
  const uint64_t need = n <= 9 ? 10 : n;
  const uint64_t doubled = uint64_t(capacity_) * 2;
  const uint64_t grown = doubled > need ? doubled : need;
  if (grown > UINT32_MAX || grown > SIZE_MAX / sizeof(ArrayRec*)) return false;
  void* block = std::realloc(data_, size_t(grown) * sizeof(ArrayRec*));
  if (!block) return false;
  data_ = static_cast<ArrayRec**>(block);
  capacity_ = uint32_t(grown);
  return true;
}

int Array::append(ArrayRec* record)
{
  if (!appendDatum(record)) return -1;
  sorted_ = false;
  return int(count_ - 1);
}

int Array::insert(ArrayRec* record, unsigned int index)
{
  if (index > count_) index = count_;
  if (!insertDatum(record, index)) return -1;
  sorted_ = false;
  return int(index);
}

int Array::add(ArrayRec* record)
{
  if (!record) return -1;
  if (!sorted_) return appendDatum(record) ? int(count_ - 1) : -1;
  unsigned int index = 0;
  locate(record, index);
  return insertDatum(record, index) ? int(index) : -1;
}

void Array::add(const Array& other)
{
  if (&other == this) {
    const Array copy(other);
    add(copy);
    return;
  }
  for (uint32_t k = 0; k < other.count_; ++k) add(other.data_[k]);
}

bool Array::intern(ArrayRec* record, unsigned int& index)
{
  if (!record) {
    index = count_;
    return false;
  }
  if (locate(record, index)) {
    // The caller handed the record over; one that nothing counts would leak.
    if (owning_ && record != data_[index] && record->refCount() == 0) delete record;
    return false;
  }
  return insertDatum(record, index);
}

int Array::find(const ArrayRec* record) const
{
  unsigned int index = 0;
  return locate(record, index) ? int(index) : -1;
}

bool Array::locate(const ArrayRec* record, unsigned int& index) const
{
  if (sorted_) return locateSorted(record, index);
  if (record) {
    for (uint32_t k = 0; k < count_; ++k) {
      if (*data_[k] == *record) {
        index = k;
        return true;
      }
    }
  }
  index = count_;
  return false;
}

int Array::compareAt(unsigned int index, const ArrayRec* record) const
{
  if (compareFn_) return compareFn_(&data_[index], &record);
  return data_[index]->compare(*record);
}

bool Array::locateSorted(const ArrayRec* record, unsigned int& index) const
{
  int64_t low = -1;
  int64_t high = count_;
  if (record) {
    while (high - low > 1) {
      const int64_t mid = (low + high) / 2;
      const int order = compareFn_ ? compareFn_(&data_[mid], &record) : data_[mid]->compare(*record);
      if (order == 0) {
        index = unsigned(mid);
        return true;
      }
      if (order < 0)
        low = mid;
      else
        high = mid;
    }
  }
  index = unsigned(high);
  return false;
}

void Array::releaseRecord(ArrayRec* record)
{
  // A record already at 0 was never counted, yet the array was its owner:
  // it goes too.
  if (record->refCount() <= 0 || record->decRef() == 0) delete record;
}

void Array::release(unsigned int index)
{
  ArrayRec* record = data_[index];
  data_[index] = nullptr;
  if (owning_) releaseRecord(record);
}

bool Array::remove(unsigned int index)
{
  if (index >= count_) return false;
  release(index);
  std::memmove(data_ + index, data_ + index + 1, (count_ - index - 1) * sizeof(ArrayRec*));
  --count_;
  return true;
}

bool Array::remove(const ArrayRec* record)
{
  unsigned int index = 0;
  if (!locate(record, index)) return false;
  return remove(index);
}

bool Array::removeIdenticle(const ArrayRec* record)
{
  unsigned int first = 0;
  if (!locate(record, first)) return false;
  unsigned int equal = 0;
  if (sorted_) {
    for (uint32_t k = first; k > 0 && compareAt(k - 1, record) == 0; --k) {
      ++equal;
      if (data_[k - 1] == record) return remove(k - 1);
    }
    for (uint32_t k = first; k < count_ && compareAt(k, record) == 0; ++k) {
      ++equal;
      if (data_[k] == record) return remove(k);
    }
  } else {
    for (uint32_t k = first; k < count_; ++k) {
      if (!(*data_[k] == *record)) continue;
      ++equal;
      if (data_[k] == record) return remove(k);
    }
  }
  // A lone equal record stands in for the one asked for.
  if (equal == 1) return remove(first);
  return false;
}

void Array::clear()
{
  // From the back, so that a record's destructor sees a consistent array.
  while (count_ > 0) {
    --count_;
    release(count_);
  }
}

bool Array::operator==(const Array& other) const
{
  if (count_ != other.count_) return false;
  for (uint32_t k = 0; k < count_; ++k)
    if (!(*data_[k] == *other.data_[k])) return false;
  return true;
}

Array& Array::operator=(const Array& other)
{
  if (&other == this) return *this;
  // The old records are let go only after the new ones are counted in:
  // the two arrays may share records.
  ArrayRec** oldData = data_;
  const uint32_t oldCount = count_;
  const bool oldOwning = owning_;
  data_ = nullptr;
  count_ = 0;
  capacity_ = 0;
  owning_ = other.owning_;
  sorted_ = other.sorted_;
  compareFn_ = other.compareFn_;
  if (other.count_ && sizeFor(other.count_)) {
    for (uint32_t k = 0; k < other.count_; ++k) {
      data_[k] = other.data_[k];
      if (owning_) data_[k]->incRef();
    }
    count_ = other.count_;
  }
  if (oldOwning)
    for (uint32_t k = oldCount; k > 0; --k) releaseRecord(oldData[k - 1]);
  std::free(oldData);
  return *this;
}
