// SmartPtr<T>, the one-word counted handle of the older classes.
//
// The handle points at a 16-byte control block made by plain new that holds
// the object pointer and a count. The count changes without atomics, so a
// SmartPtr and its copies must stay on one thread.
#pragma once

#include <cstdint>

// g++ 12 cannot tell that a count above one keeps the block alive, and flags
// every inlined copy-then-release of a handle as a use after free.
#if defined(__GNUC__) && !defined(__clang__) && __GNUC__ >= 12
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuse-after-free"
#endif

template <class T> class SmartPtr
{
public:
  SmartPtr() noexcept : block_(nullptr) {}

  // Takes ownership of the object; a null pointer gives a null handle and no
  // block. If the block cannot be made, the object is deleted and the error raised.
  SmartPtr(T* object) : block_(nullptr)
  {
    if (!object) return;
    try {
      block_ = new Block{object, 1};
    } catch (...) {
      delete object;
      throw;
    }
  }

  SmartPtr(const SmartPtr& other) noexcept : block_(other.block_)
  {
    if (block_) ++block_->count;
  }

  SmartPtr(SmartPtr&& other) noexcept : block_(other.block_) { other.block_ = nullptr; }

  ~SmartPtr() { purge(); }

  // Counts the source first, so assigning a handle to itself keeps the object.
  SmartPtr& operator=(const SmartPtr& other) noexcept
  {
    // The source is read before the purge: it may live inside the object
    // that the purge deletes.
    Block* incoming = other.block_;
    if (incoming) ++incoming->count;
    purge();
    block_ = incoming;
    return *this;
  }

  // Takes the source's reference. As with copying, the source may live inside
  // the object that this handle lets go of, so it is emptied before the purge.
  SmartPtr& operator=(SmartPtr&& other) noexcept
  {
    Block* incoming = other.block_;
    other.block_ = nullptr;
    purge();
    block_ = incoming;
    return *this;
  }

  // Gives up this handle's reference. The last one deletes the object and the
  // block and nulls the handle. A shared handle keeps its old pointer, because
  // its callers (operator= and the destructor) overwrite or drop it at once;
  // called on its own, a shared handle must not be used as an owner again.
  void purge() noexcept
  {
    Block* block = block_;
    if (!block || --block->count != 0) return;
    // Nulled first: the object's destructor may reach this handle again.
    block_ = nullptr;
    delete block->object;
    delete block;
  }

  T* operator->() const noexcept { return block_ ? block_->object : nullptr; }
  T& operator*() const noexcept { return *block_->object; }
  T* get() const noexcept { return block_ ? block_->object : nullptr; }
  explicit operator bool() const noexcept { return block_ != nullptr; }
  bool operator!() const noexcept { return block_ == nullptr; }

  // Number of handles sharing the object, 0 for a null handle.
  unsigned int count() const noexcept { return block_ ? block_->count : 0; }

  // Compares the objects, not the handles; two null handles are equal.
  bool operator==(const SmartPtr& other) const
  {
    if (block_ == other.block_) return true;
    if (!block_ || !other.block_) return false;
    return *block_->object == *other.block_->object;
  }
  bool operator!=(const SmartPtr& other) const { return !(*this == other); }

  // Orders by the objects; a null handle comes before everything.
  bool operator<=(const SmartPtr& other) const
  {
    if (!block_) return true;
    if (!other.block_) return false;
    return *block_->object <= *other.block_->object;
  }

private:
  struct Block
  {
    T* object;
    uint32_t count;
  };
  static_assert(sizeof(Block) == 2 * sizeof(void*));

  Block* block_;
};

#if defined(__GNUC__) && !defined(__clang__) && __GNUC__ >= 12
#pragma GCC diagnostic pop
#endif
