// LightweightString<T>, the shared copy-on-write string of the libraries, for
// char and for 32-bit wchar_t.
//
// A string is one Zr::Ptr to an Impl block from the OS allocator: a header
// (data pointer, length, capacity, count) with the text directly behind it.
// The empty string owns no block. Copies share the block; a mutator works in
// place only when the block is unshared and the new length stays below the
// capacity, and otherwise makes a new block of the next power of two.
#pragma once

#include <cstdint>
#include <cstring>
#include <cwchar>
#include <functional>
#include <new>
#include <type_traits>

#include "libOS/Ptr.h"
#include "libOS/iAllocator.h"

template <class T> class LightweightString
{
public:
  struct Impl
  {
    T* data;               // the text, directly behind this header
    uint32_t length;       // characters, terminator not counted
    uint32_t capacity;     // characters the text area holds, terminator included
    uint32_t count;        // reference count; the handle's counter word points here

    // Counter inside the block; the last release hands the block back.
    struct DtorTraits
    {
      static unsigned int* counterFor(Impl* impl) noexcept { return &impl->count; }
      template <class U, class D> static void release(unsigned int*, U* impl) noexcept
      {
        OSAllocator()->release(impl);
      }
      template <class U> static void destroy(U* impl) noexcept { OSAllocator()->release(impl); }
    };
  };

  using ImplPtr = Zr::Ptr<Impl, typename Impl::DtorTraits, typename Impl::DtorTraits>;

  // Proxy for one writable character; assignment is the only single-character write.
  class StringChar
  {
  public:
    StringChar(LightweightString& s, unsigned int i) : string_(s), index_(i) {}
    operator T() const { return string_.at(index_); }
    StringChar& operator=(T c)
    {
      // A no-op write must not split a shared block.
      if (string_.at(index_) == c) return *this;
      string_.makeUnique();
      string_.impl_->data[index_] = c;
      return *this;
    }
    StringChar& operator=(const StringChar& other) { return *this = T(other); }

  private:
    LightweightString& string_;
    unsigned int index_;
  };

  LightweightString() noexcept = default;
  LightweightString(const T* text) { assign(text); }
  LightweightString(const T* text, unsigned int n) { assign(text, n); }
  LightweightString(unsigned int n, T c)
  {
    if (n == 0) return;
    impl_ = createImpl(n, true);
    for (unsigned int i = 0; i < n; ++i) impl_->data[i] = c;
  }
  // Takes a block from createImpl; bulk writers fill its text through writableBuffer.
  explicit LightweightString(ImplPtr impl) noexcept : impl_(std::move(impl)) {}
  LightweightString(const LightweightString&) noexcept = default;
  LightweightString(LightweightString&&) noexcept = default;
  LightweightString& operator=(const LightweightString&) noexcept = default;
  LightweightString& operator=(LightweightString&&) noexcept = default;
  LightweightString& operator=(const T* text) { return assign(text); }
  ~LightweightString() = default;

  // A new block for a string of length n: capacity the smallest power of two
  // above n, or exactly n + 1 when roundUp is false. Length n, terminated.
  static ImplPtr createImpl(unsigned int n, bool roundUp)
  {
    uint64_t capacity = n + uint64_t(1);
    if (roundUp) {
      capacity = 1;
      while (capacity <= n) capacity <<= 1;
    }
    if (capacity > UINT32_MAX) throw std::bad_alloc();
    void* block = OSAllocator()->allocate(sizeof(Impl) + capacity * sizeof(T));
    if (!block) throw std::bad_alloc();
    Impl* impl = static_cast<Impl*>(block);
    impl->data = reinterpret_cast<T*>(static_cast<char*>(block) + sizeof(Impl));
    impl->length = n;
    impl->capacity = uint32_t(capacity);
    impl->count = 0;
    impl->data[n] = T(0);
    return ImplPtr(&impl->count, impl);
  }

  // Makes a new string from two pieces.
  static LightweightString join(const T* a, unsigned int lenA, const T* b, unsigned int lenB)
  {
    LightweightString result;
    if (lenA + uint64_t(lenB) == 0) return result;
    result.impl_ = createImpl(lenA + lenB, true);
    if (lenA) std::memcpy(result.impl_->data, a, lenA * sizeof(T));
    if (lenB) std::memcpy(result.impl_->data + lenA, b, lenB * sizeof(T));
    return result;
  }

  // Compares raw texts: null equals empty, identical pointers are equal
  // unread, null against non-empty is -1, otherwise strcmp's result (wide
  // texts compare their characters as unsigned values in the same way).
  static int compare(const T* a, const T* b)
  {
    if (a == b) return 0;
    const bool aEmpty = !a || !*a;
    const bool bEmpty = !b || !*b;
    if (aEmpty && bEmpty) return 0;
    if (!a) return -1;
    if (!b) return 1;
    if constexpr (std::is_same_v<T, char>) return std::strcmp(a, b);
    for (;; ++a, ++b) {
      if (*a != *b) return uless(*a, *b) ? -1 : 1;
      if (!*a) return 0;
    }
  }

  LightweightString& assign(const T* text) { return assign(text, text ? textLength(text) : 0); }

  LightweightString& assign(const T* text, unsigned int n)
  {
    if (!text || n == 0) {
      impl_.decRef();
      return *this;
    }
    if (canWriteInPlace(n) && !overlaps(text)) {
      std::memcpy(impl_->data, text, n * sizeof(T));
      setLength(n);
      return *this;
    }
    ImplPtr fresh = createImpl(n, true);
    std::memcpy(fresh->data, text, n * sizeof(T));
    impl_ = std::move(fresh);
    return *this;
  }

  LightweightString& append(const T* text, unsigned int n)
  {
    if (!text || n == 0) return *this;
    const unsigned int old = size();
    const uint64_t total = old + uint64_t(n);
    if (total > UINT32_MAX - 1) throw std::bad_alloc();
    if (canWriteInPlace(unsigned(total))) {
      std::memmove(impl_->data + old, text, n * sizeof(T));
      setLength(unsigned(total));
      return *this;
    }
    ImplPtr fresh = createImpl(unsigned(total), true);
    if (old) std::memcpy(fresh->data, impl_->data, old * sizeof(T));
    std::memcpy(fresh->data + old, text, n * sizeof(T));
    impl_ = std::move(fresh);
    return *this;
  }

  // A zero character is never stored: a string holds no terminator inside it.
  LightweightString& push_back(T c)
  {
    if (c == T(0)) return *this;
    return append(&c, 1);
  }

  LightweightString& operator+=(const T* text) { return append(text, text ? textLength(text) : 0); }
  LightweightString& operator+=(const LightweightString& s)
  {
    // Hold a reference so that s += s survives the reallocation.
    LightweightString keep(s);
    return append(keep.c_str(), keep.size());
  }
  LightweightString& operator+=(T c) { return push_back(c); }

  LightweightString operator+(const LightweightString& s) const
  {
    return join(c_str(), size(), s.c_str(), s.size());
  }
  LightweightString operator+(const T* text) const
  {
    return join(c_str(), size(), text ? text : emptyText(), text ? textLength(text) : 0);
  }

  // Replaces n characters at pos (both clamped to the text) with textLen of text.
  LightweightString& replace(unsigned int pos, unsigned int n, const T* text, unsigned int textLen)
  {
    const unsigned int len = size();
    if (pos > len) pos = len;
    if (n > len - pos) n = len - pos;
    if (!text) textLen = 0;
    const uint64_t total = uint64_t(len) - n + textLen;
    if (total > UINT32_MAX - 1) throw std::bad_alloc();
    if (total == 0) {
      impl_.decRef();
      return *this;
    }
    ImplPtr fresh = createImpl(unsigned(total), true);
    if (pos) std::memcpy(fresh->data, impl_->data, pos * sizeof(T));
    if (textLen) std::memcpy(fresh->data + pos, text, textLen * sizeof(T));
    const unsigned int tail = len - pos - n;
    if (tail) std::memcpy(fresh->data + pos + textLen, impl_->data + pos + n, tail * sizeof(T));
    impl_ = std::move(fresh);
    return *this;
  }

  // Keeps the head of the text; a longer string is padded with zero characters.
  LightweightString& resize(unsigned int n)
  {
    if (n == 0) {
      impl_.decRef();
      return *this;
    }
    const unsigned int old = size();
    if (canWriteInPlace(n)) {
      for (unsigned int i = old; i < n; ++i) impl_->data[i] = T(0);
      setLength(n);
      return *this;
    }
    ImplPtr fresh = createImpl(n, true);
    const unsigned int keep = old < n ? old : n;
    if (keep) std::memcpy(fresh->data, impl_->data, keep * sizeof(T));
    for (unsigned int i = keep; i < n; ++i) fresh->data[i] = T(0);
    impl_ = std::move(fresh);
    return *this;
  }

  // Room for exactly a string of length n; the old text is kept only when the
  // block could be reused, and a new block starts zeroed.
  LightweightString& resizeFor(unsigned int n)
  {
    if (n == 0) {
      impl_.decRef();
      return *this;
    }
    if (canWriteInPlace(n)) {
      setLength(n);
      return *this;
    }
    ImplPtr fresh = createImpl(n, true);
    std::memset(fresh->data, 0, n * sizeof(T));
    impl_ = std::move(fresh);
    return *this;
  }

  StringChar operator[](unsigned int i) { return StringChar(*this, i); }
  T operator[](unsigned int i) const { return at(i); }
  T at(unsigned int i) const { return impl_ ? impl_->data[i] : T(0); }

  const T* c_str() const noexcept { return impl_ ? impl_->data : emptyText(); }
  unsigned int size() const noexcept { return impl_ ? impl_->length : 0; }
  unsigned int length() const noexcept { return size(); }
  unsigned int capacity() const noexcept { return impl_ ? impl_->capacity : 0; }
  bool empty() const noexcept { return size() == 0; }
  bool isShared() const noexcept { return impl_ && OSAtomics::load(&impl_->count) > 1; }
  const ImplPtr& impl() const noexcept { return impl_; }

  // Writable text for bulk writers that fill a string after resizeFor.
  T* writableBuffer()
  {
    if (!impl_) return nullptr;
    makeUnique();
    return impl_->data;
  }

  bool operator==(const LightweightString& o) const
  {
    if (impl_.get() == o.impl_.get()) return true;
    return size() == o.size() && std::memcmp(c_str(), o.c_str(), size() * sizeof(T)) == 0;
  }
  bool operator!=(const LightweightString& o) const { return !(*this == o); }
  bool operator==(const T* text) const { return compare(c_str(), text) == 0; }
  bool operator!=(const T* text) const { return !(*this == text); }
  bool operator<(const LightweightString& o) const { return compare(c_str(), o.c_str()) < 0; }

private:
  static const T* emptyText() noexcept
  {
    static const T zero = T(0);
    return &zero;
  }
  // The C library's own, which reads many characters per step (and which the
  // compiler works out for a literal).
  static unsigned int textLength(const T* text)
  {
    if constexpr (std::is_same_v<T, char>)
      return unsigned(std::strlen(text));
    else if constexpr (std::is_same_v<T, wchar_t>)
      return unsigned(std::wcslen(text));
    unsigned int n = 0;
    while (text[n]) ++n;
    return n;
  }
  static bool uless(T a, T b)
  {
    using U = std::make_unsigned_t<T>;
    return U(a) < U(b);
  }
  bool overlaps(const T* text) const
  {
    return impl_ && text >= impl_->data && text < impl_->data + impl_->capacity;
  }
  // The count is read atomically: another thread may be releasing its copy
  // of this block at the same moment.
  bool canWriteInPlace(unsigned int newLength) const
  {
    return impl_ && OSAtomics::load(&impl_->count) == 1 && newLength < impl_->capacity;
  }
  void setLength(unsigned int n)
  {
    impl_->length = n;
    impl_->data[n] = T(0);
  }
  void makeUnique()
  {
    if (!impl_ || OSAtomics::load(&impl_->count) == 1) return;
    ImplPtr fresh = createImpl(impl_->length, true);
    std::memcpy(fresh->data, impl_->data, impl_->length * sizeof(T));
    impl_ = std::move(fresh);
  }

  ImplPtr impl_;
};

template <class T> LightweightString<T> operator+(const T* text, const LightweightString<T>& s)
{
  unsigned int n = 0;
  if (text)
    while (text[n]) ++n;
  return LightweightString<T>::join(text, n, s.c_str(), s.size());
}

template <class T> struct std::hash<LightweightString<T>>
{
  size_t operator()(const LightweightString<T>& s) const noexcept
  {
    // FNV-1a over the characters.
    size_t h = 1469598103934665603ull;
    const T* p = s.c_str();
    for (unsigned int i = 0; i < s.size(); ++i) {
      h ^= size_t(std::make_unsigned_t<T>(p[i]));
      h *= 1099511628211ull;
    }
    return h;
  }
};
