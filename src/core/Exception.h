// The library's exceptions. They are rare: failure is normally a result. Each
// carries a kind name, a message, the source place and the stack at the
// point of construction, so that a report shows where it was thrown.
#pragma once

#include <exception>
#include <vector>

#include "libOS/LightweightString.h"

namespace Zr::Exception {

class Base : public std::exception
{
public:
  // Takes the stack trace at once. The message is copied, so a formatted
  // text may be passed; a null message reads as "".
  Base(const char* message, const char* sourceFile, int line);
  Base(const Base& other);
  Base& operator=(const Base& other);
  ~Base() override;

  // "RuntimeError", "LogicError", "BadAlloc" or the derived class's name.
  const char* kind() const noexcept { return kind_; }
  const char* message() const noexcept { return message_; }
  const char* sourceFile() const noexcept { return sourceFile_; }
  int line() const noexcept { return line_; }
  // One frame per line, innermost first, as the platform's debug service gives them.
  const std::vector<LightweightString<char>>& stackTrace() const noexcept { return stack_; }

  const char* what() const noexcept override { return message_; }

protected:
  Base(const char* kind, const char* message, const char* sourceFile, int line);

private:
  const char* kind_;
  const char* message_;
  const char* sourceFile_;
  int line_;
  std::vector<LightweightString<char>> stack_;
  LightweightString<char> messageText_; // owns what message_ points at
};

class RuntimeError : public Base
{
public:
  RuntimeError(const char* message, const char* sourceFile, int line)
    : Base("RuntimeError", message, sourceFile, line)
  {
  }
};

class LogicError : public Base
{
public:
  LogicError(const char* message, const char* sourceFile, int line) : Base("LogicError", message, sourceFile, line)
  {
  }
};

class BadAlloc : public Base
{
public:
  BadAlloc(const char* message, const char* sourceFile, int line) : Base("BadAlloc", message, sourceFile, line) {}
};

} // namespace Zr::Exception
