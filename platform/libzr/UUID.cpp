#include "libzr/UUID.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <unistd.h>

namespace {

// Random bytes are fetched a page at a time per thread, so that most calls of
// generate() cost a copy rather than a system call.
constexpr size_t kPoolSize = 4096;

struct Pool
{
  uint32_t remaining;  // unused bytes, taken from the end of `bytes`
  uint32_t generation; // forkGeneration when the bytes were fetched
  uint8_t bytes[kPoolSize - 8];
};
static_assert(sizeof(Pool) == kPoolSize);

// A forked child must never hand out the bytes its parent still holds. The
// pool's page is wiped in the child by the kernel (MADV_WIPEONFORK), and, for
// kernels without it, the child's fork handler moves this counter on so that
// the inherited pool no longer matches. Starts at 1 so a wiped pool never matches.
std::atomic<uint32_t> forkGeneration{1};

void afterForkInChild()
{
  forkGeneration.fetch_add(1, std::memory_order_relaxed);
}

struct ForkHandlerRegistrar
{
  ForkHandlerRegistrar() { pthread_atfork(nullptr, nullptr, afterForkInChild); }
} forkHandlerRegistrar;

thread_local Pool* tPool = nullptr;
// Set once the thread's pool is gone; later calls on this thread (from other
// thread-local destructors) fetch their bytes one UUID at a time.
thread_local bool tPoolReleased = false;

struct PoolOwner
{
  Pool* pool = nullptr;
  ~PoolOwner()
  {
    if (pool) munmap(pool, sizeof(Pool));
    tPool = nullptr;
    tPoolReleased = true;
  }
};
thread_local PoolOwner tPoolOwner;

bool readUrandom(uint8_t* out, size_t size)
{
  const int fd = open("/dev/urandom", O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  size_t done = 0;
  while (done < size) {
    const ssize_t n = read(fd, out + done, size - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    done += size_t(n);
  }
  close(fd);
  return done == size;
}

// Last resort when the kernel gives no randomness at all (a sandbox that
// forbids both getrandom and /dev/urandom): clock, process and a counter
// through splitmix64, unique within and across processes in practice.
void fillFromClock(uint8_t* out, size_t size)
{
  static std::atomic<uint64_t> counter{0};
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  uint64_t state = uint64_t(now.tv_sec) * 1000000000ull + uint64_t(now.tv_nsec);
  state ^= uint64_t(getpid()) << 40;
  state += counter.fetch_add(size, std::memory_order_relaxed) * 0x9E3779B97F4A7C15ull;
  for (size_t i = 0; i < size; i += 8) {
    state += 0x9E3779B97F4A7C15ull;
    uint64_t z = state;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    z ^= z >> 31;
    std::memcpy(out + i, &z, size - i < 8 ? size - i : 8);
  }
}

void fillRandom(uint8_t* out, size_t size)
{
  size_t done = 0;
  while (done < size) {
    const ssize_t n = getrandom(out + done, size - done, 0);
    if (n > 0) {
      done += size_t(n);
      continue;
    }
    if (n < 0 && errno == EINTR) continue;
    break;
  }
  if (done == size) return;
  if (readUrandom(out + done, size - done)) return;
  fillFromClock(out + done, size - done);
}

// The calling thread's pool, filled and current; null if the thread has no
// pool any more or no page could be had.
Pool* refill(uint32_t generation)
{
  Pool* pool = tPool;
  if (!pool) {
    if (tPoolReleased) return nullptr;
    void* page = mmap(nullptr, sizeof(Pool), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (page == MAP_FAILED) return nullptr;
#ifdef MADV_WIPEONFORK
    madvise(page, sizeof(Pool), MADV_WIPEONFORK);
#endif
    pool = static_cast<Pool*>(page);
    tPoolOwner.pool = pool;
    tPool = pool;
  }
  fillRandom(pool->bytes, sizeof pool->bytes);
  pool->remaining = sizeof pool->bytes;
  pool->generation = generation;
  return pool;
}

int hexValue(uint32_t c)
{
  if (c >= '0' && c <= '9') return int(c - '0');
  if (c >= 'A' && c <= 'F') return int(c - 'A' + 10);
  if (c >= 'a' && c <= 'f') return int(c - 'a' + 10);
  return -1;
}

// Where each byte of the text form comes from: GUID field order.
constexpr unsigned kTextOrder[16] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};

inline bool isHyphenPosition(unsigned i)
{
  return i == 8 || i == 13 || i == 18 || i == 23;
}

// Parses exactly the 36-character form followed by a terminator. Stops at the
// first wrong character, so a short text is never read past its end.
template <class C> bool parse(const C* text, uint8_t* out)
{
  if (!text) return false;
  uint8_t textBytes[16];
  unsigned nibble = 0;
  for (unsigned i = 0; i < Zr::UUID::kTextLength; ++i) {
    const uint32_t c = uint32_t(text[i]);
    if (isHyphenPosition(i)) {
      if (c != '-') return false;
      continue;
    }
    const int v = hexValue(c);
    if (v < 0) return false;
    if (nibble % 2 == 0)
      textBytes[nibble / 2] = uint8_t(v << 4);
    else
      textBytes[nibble / 2] |= uint8_t(v);
    ++nibble;
  }
  if (text[Zr::UUID::kTextLength] != 0) return false;
  for (unsigned i = 0; i < 16; ++i) out[kTextOrder[i]] = textBytes[i];
  return true;
}

template <class C> void parseInto(const C* text, uint8_t* bytes)
{
  if (!parse(text, bytes)) std::memset(bytes, 0, 16);
}

} // namespace

namespace Zr {

UUID::UUID(const char* text) noexcept : bytes_{}
{
  parseInto(text, bytes_);
}
UUID::UUID(const wchar_t* text) noexcept : bytes_{}
{
  parseInto(text, bytes_);
}

UUID::UUID(const LightweightString<char>& text) noexcept : bytes_{}
{
  if (text.size() == kTextLength) parseInto(text.c_str(), bytes_);
}

UUID::UUID(const LightweightString<wchar_t>& text) noexcept : bytes_{}
{
  if (text.size() == kTextLength) parseInto(text.c_str(), bytes_);
}

UUID UUID::generate()
{
  UUID id;
  const uint32_t generation = forkGeneration.load(std::memory_order_relaxed);
  Pool* pool = tPool;
  if (!pool || pool->remaining < sizeof id.bytes_ || pool->generation != generation)
    pool = refill(generation);
  if (pool) {
    pool->remaining -= sizeof id.bytes_;
    std::memcpy(id.bytes_, pool->bytes + pool->remaining, sizeof id.bytes_);
  } else {
    fillRandom(id.bytes_, sizeof id.bytes_);
  }
  // Version 4 in the high nibble of the third field (byte 7, little-endian),
  // and the RFC 4122 variant in byte 8.
  id.bytes_[7] = uint8_t((id.bytes_[7] & 0x0F) | 0x40);
  id.bytes_[8] = uint8_t((id.bytes_[8] & 0x3F) | 0x80);
  return id;
}

UUID UUID::fromBytes(const void* bytes16) noexcept
{
  UUID id;
  if (bytes16) std::memcpy(id.bytes_, bytes16, sizeof id.bytes_);
  return id;
}

bool UUID::valid() const noexcept
{
  for (uint8_t b : bytes_)
    if (b) return true;
  return false;
}

void UUID::format(char* out) const noexcept
{
  // Two hex digits per byte, looked up as a pair.
  static constexpr auto pairs = [] {
    std::array<char, 512> table{};
    const char digits[] = "0123456789ABCDEF";
    for (unsigned b = 0; b < 256; ++b) {
      table[2 * b] = digits[b >> 4];
      table[2 * b + 1] = digits[b & 0x0F];
    }
    return table;
  }();
  // Where the text of each byte starts, past the hyphens.
  static constexpr uint8_t at[16] = {0, 2, 4, 6, 9, 11, 14, 16, 19, 21, 24, 26, 28, 30, 32, 34};
  for (unsigned i = 0; i < 16; ++i) std::memcpy(out + at[i], &pairs[2 * bytes_[kTextOrder[i]]], 2);
  out[8] = out[13] = out[18] = out[23] = '-';
  out[kTextLength] = 0;
}

LightweightString<char> UUID::asString() const
{
  char text[kTextLength + 1];
  format(text);
  return LightweightString<char>(text, kTextLength);
}

LightweightString<wchar_t> UUID::asWString() const
{
  char text[kTextLength + 1];
  format(text);
  wchar_t wide[kTextLength];
  for (unsigned i = 0; i < kTextLength; ++i) wide[i] = wchar_t(text[i]);
  return LightweightString<wchar_t>(wide, kTextLength);
}

bool UUID::operator<(const UUID& other) const noexcept
{
  return std::memcmp(bytes_, other.bytes_, sizeof bytes_) < 0;
}

bool UUID::operator==(const UUID& other) const noexcept
{
  return std::memcmp(bytes_, other.bytes_, sizeof bytes_) == 0;
}

} // namespace Zr
