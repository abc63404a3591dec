#include "text/tokeniser.h"

#include <cstring>

#include "libOS/OS.h"
#include "libOS/iAllocator.h"

namespace {

char* copyOf(const char* text)
{
  if (text == nullptr) return nullptr;
  size_t n = std::strlen(text) + 1;
  char* copy = static_cast<char*>(OS()->allocator()->allocate(n));
  if (copy != nullptr) std::memcpy(copy, text, n);
  return copy;
}

} // namespace

tokeniser::tokeniser(const char* text, const char* delimiters)
{
  text_ = copyOf(text);
  if (text_ == nullptr) return;
  if (delimiters == nullptr) delimiters = "";
  // strtok_r splits exactly as strtok does, without its hidden shared state.
  char* state = nullptr;
  for (char* token = strtok_r(text_, delimiters, &state); token != nullptr;
       token = strtok_r(nullptr, delimiters, &state)) {
    if (tokens_ == nullptr || count_ == capacity_) {
      int wanted = tokens_ == nullptr ? capacity_ : capacity_ + 10;
      void* grown = OS()->allocator()->reallocate(tokens_, sizeof(char*) * static_cast<size_t>(wanted));
      if (grown == nullptr) break;
      tokens_ = static_cast<char**>(grown);
      capacity_ = wanted;
    }
    tokens_[count_++] = token;
  }
}

tokeniser::~tokeniser()
{
  OS()->allocator()->release(tokens_);
  OS()->allocator()->release(text_);
}

tokeniser2::tokeniser2(char* text, const char* delimiters)
  : delimiters_(copyOf(delimiters == nullptr ? "" : delimiters)), scan_(text)
{
}

tokeniser2::~tokeniser2()
{
  OS()->allocator()->release(delimiters_);
}

char* tokeniser2::next()
{
  token_ = nullptr;
  if (scan_ == nullptr || delimiters_ == nullptr) return nullptr;
  scan_ += std::strspn(scan_, delimiters_);
  if (*scan_ == 0) {
    scan_ = nullptr;
    return nullptr;
  }
  token_ = scan_;
  char* end = std::strpbrk(scan_, delimiters_);
  if (end == nullptr) {
    scan_ = nullptr;
  } else {
    *end = 0;
    scan_ = end + 1;
  }
  return token_;
}
