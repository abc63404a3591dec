// Events shared between processes by name.
//
// The event lives in a POSIX shared-memory block named after a hash of its
// name (names may hold blanks and braces, which shm names may not). The block
// holds a process-shared, robust mutex and condition variable, the state, and
// the full name, so that two names with one hash are told apart and the second
// moves to the next slot. The maker that wins the O_EXCL create initialises
// the block and then publishes it through `ready`; an opener waits for that.
// The block counts the handles open on it across processes; the last one to
// close marks it dead under the mutex and unlinks the name, and an opener that
// finds a dead block starts again, so that nobody keeps using a block that a
// newcomer can no longer reach.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>

#include "libOS/posix/Sync.h"

namespace posix {
namespace {

constexpr uint32_t kReady = 0x5a52'4576; // "ZREv"
constexpr unsigned int kNameCapacity = 256;
constexpr int kHashSlots = 8;
constexpr int kMaxAttempts = 64;
constexpr int kInitWaitMilliseconds = 1000;

struct SharedEventBlock
{
  std::atomic<uint32_t> ready;
  uint32_t openCount;
  uint32_t dead;
  uint32_t manual;
  uint32_t state;
  uint32_t nameLength;
  pthread_mutex_t mutex;
  pthread_cond_t cond;
  char name[kNameCapacity];
};

static_assert(std::atomic<uint32_t>::is_always_lock_free, "the ready flag is shared between processes");

uint64_t nameHash(const char* name, size_t length)
{
  uint64_t hash = 1469598103934665603ULL; // FNV-1a
  for (size_t i = 0; i < length; ++i) {
    hash ^= static_cast<unsigned char>(name[i]);
    hash *= 1099511628211ULL;
  }
  return hash;
}

bool sameName(const SharedEventBlock* block, const char* name, size_t length)
{
  const size_t stored = length < kNameCapacity ? length : kNameCapacity;
  return block->nameLength == length && std::memcmp(block->name, name, stored) == 0;
}

// Locks the shared mutex. A process that died holding it leaves the flag
// and counters whole (each is one word), so the mutex is simply made
// consistent again. False only for a mutex that cannot be recovered.
bool lockShared(SharedEventBlock* block)
{
  const int rc = pthread_mutex_lock(&block->mutex);
  if (rc == EOWNERDEAD) return pthread_mutex_consistent(&block->mutex) == 0;
  return rc == 0;
}

void sleepMilliseconds(long ms)
{
  timespec ts{0, ms * 1000000L};
  nanosleep(&ts, nullptr);
}

class NamedEvent final : public SyncEvent
{
public:
  NamedEvent(SharedEventBlock* block, const char* shmName) : block_(block)
  {
    std::snprintf(shmName_, sizeof shmName_, "%s", shmName);
  }

  ~NamedEvent() override
  {
    if (lockShared(block_)) {
      if (--block_->openCount == 0) {
        block_->dead = 1;
        shm_unlink(shmName_);
      }
      pthread_mutex_unlock(&block_->mutex);
    }
    munmap(block_, sizeof(SharedEventBlock));
  }

  bool set() override
  {
    if (!lockShared(block_)) return false;
    block_->state = 1;
    if (block_->manual)
      pthread_cond_broadcast(&block_->cond);
    else
      pthread_cond_signal(&block_->cond);
    pthread_mutex_unlock(&block_->mutex);
    return true;
  }

  bool reset() override
  {
    if (!lockShared(block_)) return false;
    block_->state = 0;
    pthread_mutex_unlock(&block_->mutex);
    return true;
  }

  eWaitResult wait(unsigned int milliseconds) override
  {
    if (!lockShared(block_)) return eWaitFailed;
    const SyncDeadline deadline(milliseconds);
    eWaitResult result = eWaitSuccess;
    while (!block_->state) {
      if (milliseconds == 0) {
        result = eWaitTimeout;
        break;
      }
      int rc = deadline.infinite() ? pthread_cond_wait(&block_->cond, &block_->mutex)
                                   : pthread_cond_timedwait(&block_->cond, &block_->mutex, &deadline.at());
      if (rc == EOWNERDEAD) rc = pthread_mutex_consistent(&block_->mutex);
      if (rc == ETIMEDOUT && !block_->state) {
        result = eWaitTimeout;
        break;
      }
      if (rc != 0 && rc != ETIMEDOUT) {
        result = eWaitFailed;
        break;
      }
    }
    if (result == eWaitSuccess && !block_->manual) block_->state = 0;
    pthread_mutex_unlock(&block_->mutex);
    return result;
  }

  bool isNamed() const override { return true; }

  bool tryTake() override { return wait(0) == eWaitSuccess; }

  // Another process's set cannot reach a waiter here: wait-for-any polls.
  bool attach(SyncWaitLink*) override { return false; }
  void detach(SyncWaitLink*) override {}

private:
  SharedEventBlock* block_;
  char shmName_[48];
};

void initialiseBlock(SharedEventBlock* block, bool manualReset, bool initialState, const char* name,
                     size_t length)
{
  pthread_mutexattr_t mutexAttr;
  pthread_mutexattr_init(&mutexAttr);
  pthread_mutexattr_setpshared(&mutexAttr, PTHREAD_PROCESS_SHARED);
  pthread_mutexattr_setrobust(&mutexAttr, PTHREAD_MUTEX_ROBUST);
  pthread_mutex_init(&block->mutex, &mutexAttr);
  pthread_mutexattr_destroy(&mutexAttr);
  initMonotonicCond(&block->cond, true);
  block->openCount = 1;
  block->dead = 0;
  block->manual = manualReset;
  block->state = initialState;
  block->nameLength = uint32_t(length);
  std::memcpy(block->name, name, length < kNameCapacity ? length : kNameCapacity);
  block->ready.store(kReady, std::memory_order_release);
}

SharedEventBlock* mapBlock(int fd)
{
  void* memory = mmap(nullptr, sizeof(SharedEventBlock), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  return memory == MAP_FAILED ? nullptr : static_cast<SharedEventBlock*>(memory);
}

// Waits for the maker to size the block; false if it never does.
bool waitForSize(int fd)
{
  for (int waited = 0; waited < kInitWaitMilliseconds; ++waited) {
    struct stat info;
    if (fstat(fd, &info) != 0) return false;
    if (size_t(info.st_size) >= sizeof(SharedEventBlock)) return true;
    sleepMilliseconds(1);
  }
  return false;
}

bool waitForReady(SharedEventBlock* block)
{
  for (int waited = 0; waited < kInitWaitMilliseconds; ++waited) {
    if (block->ready.load(std::memory_order_acquire) == kReady) return true;
    sleepMilliseconds(1);
  }
  return false;
}

} // namespace

Zr::Ptr<iThreadEvent> makeNamedEvent(bool manualReset, bool initialState, const char* name)
{
  const size_t length = std::strlen(name);
  const uint64_t hash = nameHash(name, length);
  int slot = 0;
  for (int attempt = 0; attempt < kMaxAttempts && slot < kHashSlots; ++attempt) {
    char shmName[48];
    std::snprintf(shmName, sizeof shmName, "/zr-event-%016llx-%d", static_cast<unsigned long long>(hash),
                  slot);

    int fd = shm_open(shmName, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd >= 0) {
      SharedEventBlock* block = nullptr;
      if (ftruncate(fd, sizeof(SharedEventBlock)) == 0) block = mapBlock(fd);
      close(fd);
      if (!block) {
        shm_unlink(shmName);
        return nullptr;
      }
      initialiseBlock(block, manualReset, initialState, name, length);
      return Zr::Ptr<iThreadEvent>(new NamedEvent(block, shmName));
    }
    if (errno != EEXIST) return nullptr;

    fd = shm_open(shmName, O_RDWR | O_CLOEXEC, 0600);
    if (fd < 0) {
      if (errno == ENOENT) continue; // its last user closed it meanwhile: make it afresh
      return nullptr;
    }
    SharedEventBlock* block = waitForSize(fd) ? mapBlock(fd) : nullptr;
    close(fd);
    if (!block || !waitForReady(block)) {
      // The maker died half-way through; nobody can use this block.
      if (block) munmap(block, sizeof(SharedEventBlock));
      shm_unlink(shmName);
      continue;
    }
    if (!lockShared(block)) {
      munmap(block, sizeof(SharedEventBlock));
      return nullptr;
    }
    const bool dead = block->dead != 0;
    const bool mine = sameName(block, name, length);
    if (!dead && mine) ++block->openCount;
    pthread_mutex_unlock(&block->mutex);
    if (!dead && mine) return Zr::Ptr<iThreadEvent>(new NamedEvent(block, shmName));
    munmap(block, sizeof(SharedEventBlock));
    if (!mine && !dead) ++slot; // another name with the same hash holds this slot
  }
  return nullptr;
}

} // namespace posix
