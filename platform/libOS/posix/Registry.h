// SettingsStore: the iSettings of one registry file, shared safely with
// other processes that use the same file.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <mutex>
#include <string>
#include <vector>

#include "libOS/iSettings.h"
#include "libOS/posix/RegistryFile.h"

namespace posix {

class SettingsStore final : public iSettings
{
public:
  // A store over `path` (UTF-8). Nothing is read until first use; a missing
  // file is an empty store, made at the first write.
  explicit SettingsStore(const std::string& path);

  // Every change is written back at once, under an exclusive lock on
  // "<file>.lock": a file another process changed since it was last read is
  // read again, this store's unsaved changes are applied on top of it, and
  // the result replaces the file through "<file>.TMP", flushed and renamed.
  // A change that cannot be written stays in memory and goes with the next
  // write that succeeds.
  //
  // A file with unreadable lines keeps its readable values; each time such
  // a file is read, one line naming it and the count goes to standard
  // error. Before the first write replaces it, the original is kept as
  // "<file>.garbled" (or "<file>.garbled.N" when that exists).
  //
  // All operations are thread-safe.
  bool setValue(const LightweightString<char>& name, const LightweightString<char>& value,
                const LightweightString<char>& section) override;
  LightweightString<char> getValue(const LightweightString<char>& name,
                                   const LightweightString<char>& defaultValue,
                                   const LightweightString<char>& section) override;
  bool removeValue(const LightweightString<char>& name, const LightweightString<char>& section) override;
  void getMultipleValues(std::vector<NameValuePair>& pairs, const LightweightString<char>& section) override;
  // The top level appears as an empty name, first, when it holds values.
  void getSections(std::vector<LightweightString<char>>& sections) override;
  // False if the file exists but cannot be read; the store is then unchanged.
  bool reload() override;
  LightweightString<wchar_t> getFileName() const override;

  // The value if it exists.
  bool lookup(const std::string& section, const std::string& name, std::string& value);

private:
  struct Change
  {
    bool remove = false;
    std::string section, name, value;
  };

  // What identifies one version of the file on disk.
  struct Stamp
  {
    bool exists = false;
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    long long modifiedNs = 0;
    Stamp() = default;
    explicit Stamp(const struct stat& st)
        : exists(true), device(st.st_dev), inode(st.st_ino), size(st.st_size),
          modifiedNs((long long)st.st_mtim.tv_sec * 1000000000ll + st.st_mtim.tv_nsec)
    {
    }
    bool operator==(const Stamp& o) const
    {
      return exists == o.exists && device == o.device && inode == o.inode && size == o.size &&
             modifiedNs == o.modifiedNs;
    }
  };

  // The file as it is on disk.
  struct DiskState
  {
    RegistryFile::Contents contents;
    Stamp stamp;
    std::string raw;   // the bytes, kept only for a garbled file
    std::string token; // the lock file's token, read before the file
    unsigned badLines = 0;
  };

  // The members below are guarded by lock_; these helpers expect it held.
  void ensureLoaded();
  bool readDisk(DiskState& state) const;
  // Takes the disk's version and applies unsaved_ on top; returns what the
  // last unsaved change did (true: it changed something).
  bool adopt(DiskState&& state);
  static bool apply(RegistryFile::Contents& contents, const Change& change);
  bool commit(Change&& change, bool* lastChanged);
  bool writeFile(const RegistryFile::Contents& contents) const;
  bool keepGarbledCopy() const;
  std::string readToken(int fd) const;

  const std::string path_;
  std::mutex lock_;
  bool loaded_ = false;
  RegistryFile::Contents contents_; // disk plus unsaved_
  RegistryFile::Contents onDisk_;   // as last read or written
  Stamp stamp_;
  std::string token_; // the lock file's token as last seen
  std::vector<Change> unsaved_;
  std::string garbledRaw_; // the garbled file on disk, until it has been kept
};

} // namespace posix
