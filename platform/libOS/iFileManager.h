// The file manager of OS(): opening files, and the folder operations.
//
// Paths are wide strings. A path that starts with a drive letter and a colon
// ("C:\ZRPROJ") or with a backslash ("\qor\dat") is a Windows-style path: it is
// mapped onto the drive's root folder (see locations in the README) and its
// backslashes become slashes. Every other path is used as it is. All
// operations are thread-safe and report failure by their result.
#pragma once

#include <vector>

#include "libOS/LightweightString.h"
#include "libOS/iFile.h"

class iFileManager
{
public:
  virtual ~iFileManager() = default;

  struct DirectoryItem
  {
    LightweightString<wchar_t> name;  // bare name, no folder
    unsigned long size = 0;           // bytes; 0 for folders
    unsigned long time = 0;           // last modification, ns since 1970 UTC
    bool isDirectory = false;
  };

  // Opens a file. access is iFile::eAccess bits; see iFile for the behaviour
  // and share mode. Null when the file cannot be opened or locked.
  virtual Zr::Ptr<iFile> open(const LightweightString<wchar_t>& name, unsigned int access,
                              iFile::eOpenBehaviour behaviour, iFile::eShareMode share) = 0;

  // Renames, replacing an existing target atomically. The data of the source
  // reaches the disk before the rename, and the folder's entry after it, so a
  // power cut leaves either the old file or the new one.
  virtual bool rename(const LightweightString<wchar_t>& from, const LightweightString<wchar_t>& to) = 0;

  // True if a file or folder of that name exists.
  virtual bool exists(const LightweightString<wchar_t>& path) = 0;
  virtual bool isDirectory(const LightweightString<wchar_t>& path) = 0;

  // Makes a folder; with recursive, every missing parent too. True if the
  // folder exists afterwards.
  virtual bool makeDirectory(const LightweightString<wchar_t>& path, bool recursive = false) = 0;

  // Removes an empty folder.
  virtual bool removeDirectory(const LightweightString<wchar_t>& path) = 0;

  // Copies a file's content and modification time; with failIfExists an
  // existing target is kept and the call fails.
  virtual bool copyFile(const LightweightString<wchar_t>& from, const LightweightString<wchar_t>& to,
                        bool failIfExists) = 0;

  virtual bool deleteFile(const LightweightString<wchar_t>& path) = 0;

  // Lists a folder. `pattern` is the folder path followed by a name pattern
  // with Windows wildcard rules: "*" any run, "?" one character, "*.*"
  // everything, matched without regard to case. "." and ".." are never
  // listed. Items are appended to `items` sorted by name. False if the folder
  // cannot be read.
  virtual bool listDirectory(const LightweightString<wchar_t>& pattern, bool wantFiles, bool wantDirs,
                             std::vector<DirectoryItem>& items) = 0;

  // Times of a file by name, in ns since 1970 UTC; 0 if it does not exist.
  virtual unsigned long getFileTime(const LightweightString<wchar_t>& path, iFile::eTimeType type) = 0;
  virtual bool setFileTime(const LightweightString<wchar_t>& path, iFile::eTimeType type,
                           unsigned long time) = 0;
  // Size of a file by name; 0 if it does not exist.
  virtual unsigned long getFileSize(const LightweightString<wchar_t>& path) = 0;

  // The separator of paths on this system.
  virtual wchar_t pathSeparator() const = 0;

  // The folder of the running program, with a trailing separator.
  virtual LightweightString<wchar_t> getApplicationPath() = 0;

  // The name of the application's folder under the user data folder.
  virtual LightweightString<wchar_t> getApplicationDataFolderName() = 0;

  // The path a Windows-style or plain path maps to on this system.
  virtual LightweightString<wchar_t> mapPath(const LightweightString<wchar_t>& path) = 0;

  // The current working folder, with a trailing separator.
  virtual LightweightString<wchar_t> getCurrentDirectory() = 0;
};
