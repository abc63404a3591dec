#include "core/Exception.h"

#include "libOS/OS.h"

namespace Zr::Exception {

Base::Base(const char* message, const char* sourceFile, int line) : Base("Base", message, sourceFile, line) {}

Base::Base(const char* kind, const char* message, const char* sourceFile, int line)
  : kind_(kind), message_(""), sourceFile_(sourceFile ? sourceFile : ""), line_(line),
    messageText_(message ? message : "")
{
  message_ = messageText_.c_str();
  // Frame 0 is this constructor: the trace starts at the thrower.
  stack_ = OS()->debug()->getStackTrace(1);
}

Base::Base(const Base& other)
  : std::exception(other), kind_(other.kind_), message_(""), sourceFile_(other.sourceFile_), line_(other.line_),
    stack_(other.stack_), messageText_(other.messageText_)
{
  message_ = messageText_.c_str();
}

Base& Base::operator=(const Base& other)
{
  if (this != &other) {
    kind_ = other.kind_;
    sourceFile_ = other.sourceFile_;
    line_ = other.line_;
    stack_ = other.stack_;
    messageText_ = other.messageText_;
    message_ = messageText_.c_str();
  }
  return *this;
}

Base::~Base() = default;

} // namespace Zr::Exception
