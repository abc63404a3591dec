// Registry stores: one text file each, served from memory, every change
// merged into the file under a lock so that processes sharing it never lose
// each other's values.
#include "libOS/posix/Registry.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <ctime>

#include "libOS/posix/FilePath.h"
#include "libOS/posix/Locations.h"
#include "libOS/posix/Services.h"

namespace posix {
namespace {

std::string text(const LightweightString<char>& s)
{
  return std::string(s.c_str(), s.size());
}

LightweightString<char> lightweight(const std::string& s)
{
  return LightweightString<char>(s.data(), unsigned(s.size()));
}

bool readAll(int fd, std::string& out)
{
  char buffer[65536];
  for (;;) {
    const ssize_t n = ::read(fd, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    if (n == 0) return true;
    out.append(buffer, size_t(n));
  }
}

bool syncAndClose(int fd)
{
  int rc;
  do rc = ::fsync(fd);
  while (rc != 0 && errno == EINTR);
  const bool ok = rc == 0 || errno == EINVAL;
  return ::close(fd) == 0 && ok;
}

// A value no other write of the file will ever have written: the size and
// time of a file can repeat when two writes fall in one clock tick, and an
// inode number can be reused.
std::string newToken()
{
  static const unsigned long seed = [] {
    unsigned long s = 0;
    if (::getrandom(&s, sizeof s, GRND_NONBLOCK) != long(sizeof s))
      s = (unsigned long)::time(nullptr) * 2654435761ul ^ (unsigned long)::getpid();
    return s;
  }();
  static std::atomic<unsigned long> counter{0};
  char buf[40];
  std::snprintf(buf, sizeof buf, "%016lx%016lx", seed, counter.fetch_add(1) + 1);
  return buf;
}

} // namespace

SettingsStore::SettingsStore(const std::string& path) : path_(path) {}

LightweightString<wchar_t> SettingsStore::getFileName() const
{
  return fromUtf8(path_);
}

std::string SettingsStore::readToken(int fd) const
{
  char buf[64];
  ssize_t n;
  do n = ::pread(fd, buf, sizeof buf, 0);
  while (n < 0 && errno == EINTR);
  return n > 0 ? std::string(buf, size_t(n)) : std::string();
}

bool SettingsStore::readDisk(DiskState& state) const
{
  // The token first: a write that lands between the two reads then shows
  // as a changed token at the next commit.
  const int lockFd = ::open((path_ + ".lock").c_str(), O_RDONLY | O_CLOEXEC);
  std::string token;
  if (lockFd >= 0) {
    token = readToken(lockFd);
    ::close(lockFd);
  }
  const int fd = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    if (errno != ENOENT) return false;
    state = DiskState();
    state.token = token;
    return true;
  }
  struct stat st;
  std::string bytes;
  const bool ok = ::fstat(fd, &st) == 0 && readAll(fd, bytes);
  ::close(fd);
  if (!ok) return false;
  state.stamp = Stamp(st);
  state.token = token;
  RegistryFile::parse(bytes.data(), bytes.size(), state.contents, state.badLines);
  state.raw.clear();
  if (state.badLines > 0) state.raw = std::move(bytes);
  return true;
}

bool SettingsStore::adopt(DiskState&& state)
{
  if (state.badLines > 0) {
    const std::string line = "registry: " + path_ + ": " + std::to_string(state.badLines) +
                             " line(s) could not be read; the readable values are kept\n";
    ssize_t ignored = ::write(2, line.data(), line.size());
    (void)ignored;
  }
  garbledRaw_ = std::move(state.raw);
  onDisk_ = std::move(state.contents);
  stamp_ = state.stamp;
  token_ = std::move(state.token);
  contents_ = onDisk_;
  bool lastChanged = false;
  for (const Change& change : unsaved_) lastChanged = apply(contents_, change);
  return lastChanged;
}

void SettingsStore::ensureLoaded()
{
  if (loaded_) return;
  DiskState state;
  if (readDisk(state)) adopt(std::move(state));
  loaded_ = true;
}

bool SettingsStore::apply(RegistryFile::Contents& contents, const Change& change)
{
  return change.remove ? contents.remove(change.section, change.name)
                       : contents.set(change.section, change.name, change.value);
}

bool SettingsStore::keepGarbledCopy() const
{
  for (int i = 0; i < 1000; ++i) {
    std::string name = path_ + ".garbled";
    if (i) name.append(".").append(std::to_string(i));
    const int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0) {
      if (errno == EEXIST) continue;
      return false;
    }
    const bool written = writeAll(fd, garbledRaw_.data(), garbledRaw_.size());
    if (syncAndClose(fd) && written) return true;
    ::unlink(name.c_str());
    return false;
  }
  return false;
}

bool SettingsStore::writeFile(const RegistryFile::Contents& contents) const
{
  const std::string bytes = RegistryFile::write(contents);
  const std::string temp = path_ + ".TMP";
  const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd < 0) return false;
  // A store that was made private (or shared) by hand stays so.
  struct stat st;
  if (::stat(path_.c_str(), &st) == 0) ::fchmod(fd, st.st_mode & 07777);
  const bool written = writeAll(fd, bytes.data(), bytes.size());
  if (!syncAndClose(fd) || !written || ::rename(temp.c_str(), path_.c_str()) != 0) {
    ::unlink(temp.c_str());
    return false;
  }
  syncFolder(parentFolder(path_));
  return true;
}

bool SettingsStore::commit(Change&& change, bool* lastChanged)
{
  unsaved_.push_back(std::move(change));
  if (!makeFolders(parentFolder(path_))) return false;
  const int lockFd = ::open((path_ + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  if (lockFd < 0) return false;
  int rc;
  do rc = ::flock(lockFd, LOCK_EX);
  while (rc != 0 && errno == EINTR);
  bool ok = rc == 0;

  if (ok) {
    struct stat st;
    Stamp now;
    if (::stat(path_.c_str(), &st) == 0) now = Stamp(st);
    if (!(now == stamp_) || readToken(lockFd) != token_) {
      DiskState state;
      ok = readDisk(state);
      if (ok) {
        const bool changed = adopt(std::move(state));
        if (lastChanged) *lastChanged = changed;
      }
    }
  }
  if (ok && contents_ != onDisk_) {
    ok = (garbledRaw_.empty() || keepGarbledCopy()) && writeFile(contents_);
    if (ok) {
      garbledRaw_.clear();
      onDisk_ = contents_;
      struct stat st;
      if (::stat(path_.c_str(), &st) == 0) stamp_ = Stamp(st);
      token_ = newToken();
      if (::pwrite(lockFd, token_.data(), token_.size(), 0) != ssize_t(token_.size()) ||
          ::ftruncate(lockFd, off_t(token_.size())) != 0)
        token_.clear(); // forces a re-read next time
    }
  }
  if (ok) unsaved_.clear();
  ::close(lockFd);
  return ok;
}

bool SettingsStore::setValue(const LightweightString<char>& name, const LightweightString<char>& value,
                             const LightweightString<char>& section)
{
  std::lock_guard<std::mutex> guard(lock_);
  ensureLoaded();
  Change change{false, text(section), text(name), text(value)};
  apply(contents_, change);
  return commit(std::move(change), nullptr);
}

LightweightString<char> SettingsStore::getValue(const LightweightString<char>& name,
                                                const LightweightString<char>& defaultValue,
                                                const LightweightString<char>& section)
{
  std::lock_guard<std::mutex> guard(lock_);
  ensureLoaded();
  const std::string* value = contents_.find(text(section), text(name));
  return value ? lightweight(*value) : defaultValue;
}

bool SettingsStore::lookup(const std::string& section, const std::string& name, std::string& value)
{
  std::lock_guard<std::mutex> guard(lock_);
  ensureLoaded();
  const std::string* found = contents_.find(section, name);
  if (found) value = *found;
  return found != nullptr;
}

bool SettingsStore::removeValue(const LightweightString<char>& name, const LightweightString<char>& section)
{
  std::lock_guard<std::mutex> guard(lock_);
  ensureLoaded();
  Change change{true, text(section), text(name), {}};
  bool wasThere = apply(contents_, change);
  commit(std::move(change), &wasThere);
  return wasThere;
}

void SettingsStore::getMultipleValues(std::vector<NameValuePair>& pairs,
                                      const LightweightString<char>& section)
{
  std::lock_guard<std::mutex> guard(lock_);
  ensureLoaded();
  const RegistryFile::Section* found = contents_.section(text(section));
  if (!found) return;
  for (const RegistryFile::Value& v : found->values)
    pairs.push_back({lightweight(v.name), lightweight(v.value)});
}

void SettingsStore::getSections(std::vector<LightweightString<char>>& sections)
{
  std::lock_guard<std::mutex> guard(lock_);
  ensureLoaded();
  for (const RegistryFile::Section& s : contents_.sections())
    if (!s.values.empty()) sections.push_back(lightweight(s.name));
}

bool SettingsStore::reload()
{
  std::lock_guard<std::mutex> guard(lock_);
  DiskState state;
  if (!readDisk(state)) return false;
  adopt(std::move(state));
  loaded_ = true;
  return true;
}

namespace {

// The store a registry root names: 1 shared, 0 user, -1 neither.
int storeOfRoot(const LightweightString<wchar_t>& root)
{
  auto equalsIgnoringCase = [&](const char* name) {
    unsigned int i = 0;
    for (; name[i]; ++i) {
      if (i >= root.size()) return false;
      wchar_t c = root[i];
      if (c >= L'a' && c <= L'z') c = wchar_t(c - 32);
      if (c != wchar_t(name[i])) return false;
    }
    return i == root.size();
  };
  if (equalsIgnoringCase("HKEY_LOCAL_MACHINE")) return 1;
  if (equalsIgnoringCase("HKEY_CURRENT_USER")) return 0;
  return -1;
}

class PosixRegistry final : public iRegistry
{
public:
  Zr::Ptr<iSettings> getSettings(iSettings::eType type) override { return store(int(type)); }

  bool readString(const LightweightString<wchar_t>& path, const LightweightString<wchar_t>& name, const char*,
                  LightweightString<wchar_t>& value) override
  {
    std::string section;
    Zr::Ptr<SettingsStore> target = resolve(path, section);
    std::string found;
    if (!target || !target->lookup(section, toUtf8(name), found)) return false;
    value = fromUtf8(found);
    return true;
  }

  bool writeString(const LightweightString<wchar_t>& path, const LightweightString<wchar_t>& name,
                   const char*, const LightweightString<wchar_t>& value) override
  {
    std::string section;
    Zr::Ptr<SettingsStore> target = resolve(path, section);
    if (!target) return false;
    return target->setValue(lightweight(toUtf8(name)), lightweight(toUtf8(value)), lightweight(section));
  }

private:
  Zr::Ptr<SettingsStore> store(int type)
  {
    if (type != 0 && type != 1) return nullptr;
    std::lock_guard<std::mutex> guard(lock_);
    if (!stores_[type]) {
      const LocationRoots roots = currentRoots();
      const std::string path =
          type == 0 ? roots.registryUser + "user.reg" : roots.registryShared + "shared.reg";
      stores_[type] = Zr::Ptr<SettingsStore>(new SettingsStore(path));
    }
    return stores_[type];
  }

  // "ROOT\Section\Name" -> the root's store and "Section\Name".
  Zr::Ptr<SettingsStore> resolve(const LightweightString<wchar_t>& path, std::string& section)
  {
    const wchar_t* p = path.c_str();
    unsigned int slash = 0;
    while (slash < path.size() && p[slash] != L'\\') ++slash;
    const int type = storeOfRoot(LightweightString<wchar_t>(p, slash));
    if (type < 0) return nullptr;
    unsigned int end = path.size();
    while (end > slash && p[end - 1] == L'\\') --end;
    section =
        slash < end ? toUtf8(LightweightString<wchar_t>(p + slash + 1, end - slash - 1)) : std::string();
    return store(type);
  }

  std::mutex lock_;
  Zr::Ptr<SettingsStore> stores_[2];
};

} // namespace

iRegistry* registry()
{
  static PosixRegistry* instance = new PosixRegistry;
  return instance;
}

} // namespace posix
