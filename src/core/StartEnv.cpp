#include "core/StartEnv.h"

#include <cwchar>
#include <cwctype>
#include <string>

#include "libOS/Utf8.h"
#include "logging/DebugConsole.h"

namespace {

const StartEnv::Option kOptions[StartEnv::kOptionCount] = {
    {L"-d", 0, L"debug mode", &StartEnv::debugMode, nullptr},
    {L"-v", 0, L"verbose mode", &StartEnv::verboseMode, nullptr},
    {L"-help", 0, L"Help", &StartEnv::helpMessage, nullptr},
};

bool isOption(const wchar_t* word)
{
  return word[0] == L'-';
}

LightweightString<char> narrow(const LightweightString<wchar_t>& text)
{
  return OSUtf8::toNarrow(text.c_str(), text.size());
}

} // namespace

StartEnv* StartEnv::programEnv_ = nullptr;

// ArgIterator

void ArgIterator::init() noexcept
{
  index_ = 0;
  value_ = nullptr;
  wantOptions_ = false;
  skipNext_ = false;
  allowed_ = nullptr;
}

void ArgIterator::restart(bool wantOptions) noexcept
{
  // A walk that stopped on an option with a value leaves skipNext set; the
  // next walk must not carry it over to its first word.
  index_ = 0;
  value_ = nullptr;
  skipNext_ = false;
  wantOptions_ = wantOptions;
}

const wchar_t* ArgIterator::operator*() const noexcept
{
  return index_ == 0 ? nullptr : env_->word(index_);
}

void ArgIterator::takeNextAsValue() noexcept
{
  // Bounded: the value of an option given last on the line is absent.
  value_ = index_ + 1 < env_->argc_ ? env_->word(index_ + 1) : nullptr;
}

ArgIterator& ArgIterator::operator++()
{
  for (;;) {
    if (++index_ >= env_->argc_) {
      index_ = 0;
      value_ = nullptr;
      return *this;
    }
    const wchar_t* word = env_->word(index_);
    if (!isOption(word)) {
      if (skipNext_) {
        skipNext_ = false; // the value of the option just passed
        continue;
      }
      if (!wantOptions_) return *this;
      continue;
    }

    skipNext_ = false;
    value_ = nullptr;
    if (const StartEnv::Option* row = StartEnv::findOption(word)) {
      if (row->takesValue > 0) {
        skipNext_ = true;
        takeNextAsValue();
      }
    } else if (allowed_) {
      // The host describes its options in free text, such as
      // "-o <file> -q": an option followed by a word that is not another
      // option takes a value.
      std::wstring needle(L"-");
      for (const wchar_t* p = word + 1; *p && std::iswalnum(static_cast<wint_t>(*p)); ++p)
        needle.push_back(*p);
      if (const wchar_t* match = std::wcsstr(allowed_, needle.c_str())) {
        const wchar_t* after = match + needle.size();
        while (*after && std::iswspace(static_cast<wint_t>(*after))) ++after;
        if (*after != L'-' && *after != 0 && index_ + 1 < env_->argc_) {
          const wchar_t* next = env_->word(index_ + 1);
          if (!isOption(next)) {
            value_ = next;
            skipNext_ = true;
          }
        }
      }
    }
    if (wantOptions_) return *this;
  }
}

// StartEnv

const StartEnv::Option* StartEnv::option(int i) noexcept
{
  return i >= 0 && i < kOptionCount ? &kOptions[i] : nullptr;
}

const StartEnv::Option* StartEnv::findOption(const wchar_t* name) noexcept
{
  if (!name) return nullptr;
  for (const Option& row : kOptions)
    if (std::wcscmp(row.name, name) == 0) return &row;
  return nullptr;
}

StartEnv::~StartEnv()
{
  if (programEnv_ == this) programEnv_ = nullptr;
}

const wchar_t* StartEnv::word(int i) const noexcept
{
  if (i < 0 || i >= argc_ || !argv_) return nullptr;
  return argv_[i] ? argv_[i] : L"";
}

void StartEnv::init()
{
  preamble_ = nullptr;
  optionText_ = nullptr;
  initPreOptions();
  if (debug_) verbose_ = true;
  programEnv_ = this;
}

void StartEnv::initPreOptions()
{
  for (const Option& row : kOptions) {
    const int i = arg(row.name);
    if (i == 0) {
      if (row.intMember) (this->*row.intMember)(0);
      if (row.boolMember) (this->*row.boolMember)(false);
    } else if (row.takesValue > 0) {
      // std::stoi throws std::invalid_argument or std::out_of_range ("stoi").
      const wchar_t* text = word(i + 1);
      const int value = std::stoi(std::wstring(text ? text : L""), nullptr, 10);
      if (row.intMember) (this->*row.intMember)(value);
    } else if (row.boolMember) {
      (this->*row.boolMember)(true);
    }
  }
}

int StartEnv::arg(const wchar_t* name) const noexcept
{
  if (!name || argc_ < 2) return 0;
  for (int i = 1; i < argc_; ++i)
    if (std::wcscmp(word(i), name) == 0) return i;
  return 0;
}

const wchar_t* StartEnv::arg(unsigned int n)
{
  if (n == 0) return word(0);
  iterator_.restart(false);
  for (++iterator_; iterator_.index() != 0; ++iterator_)
    if (--n == 0) return *iterator_;
  return nullptr;
}

int StartEnv::nargs()
{
  iterator_.restart(false);
  int count = 0;
  for (++iterator_; iterator_.index() != 0; ++iterator_) ++count;
  return count;
}

const wchar_t* StartEnv::optionArg(const wchar_t* name)
{
  if (!name) return nullptr;
  iterator_.restart(true);
  for (++iterator_; iterator_.index() != 0; ++iterator_)
    if (std::wcscmp(*iterator_, name) == 0) return iterator_.value();
  return nullptr;
}

LightweightString<wchar_t> StartEnv::usage(const wchar_t* optionText, int minArgs, int maxArgs,
                                           const wchar_t* preamble)
{
  optionText_ = optionText;
  preamble_ = preamble;
  iterator_.setAllowed(optionText);

  LightweightString<wchar_t> error;
  iterator_.restart(iterator_.wantOptions());
  for (++iterator_; iterator_.index() != 0; ++iterator_) {
    const wchar_t* w = *iterator_;
    if (findOption(w) || (optionText && std::wcsstr(optionText, w))) continue;
    error = LightweightString<wchar_t>(L"unrecognised option `") + w + L"'.\n";
    break;
  }

  if (error.empty()) {
    const int count = nargs();
    if (minArgs >= 1 && count < minArgs) {
      error = L"Expected at least ";
      const std::wstring n = std::to_wstring(minArgs);
      error += n.c_str();
      error += L" argument";
      if (minArgs != 1) error += L"s";
      error += L".\n";
    } else if (maxArgs >= minArgs && count > maxArgs) {
      error = L"too many arguments.\n";
    }
  }

  if (!error.empty()) error += usageMsg();
  return error;
}

LightweightString<wchar_t> StartEnv::usageMsg() const
{
  LightweightString<wchar_t> msg;
  if (!preamble_ && !optionText_) return msg;
  if (preamble_ || !optionText_) {
    msg += preamble_;
    msg += L"\n";
    if (!optionText_) return msg;
  }
  msg += L"Usage: ";
  msg += word(0);
  msg += L" ";
  msg += optionText_;
  msg += L"\n";
  return msg;
}

void StartEnv::helpMessage(bool show)
{
  if (!show) return;
  herc_printf("%s\n", narrow(usageMsg()).c_str());
  for (const Option& row : kOptions) {
    const LightweightString<char> name = narrow(row.name);
    const LightweightString<char> help = narrow(row.help);
    if (row.takesValue > 0)
      herc_printf("%s <value>\t\t%s\n", name.c_str(), help.c_str());
    else
      herc_printf("%s\t\t%s\n", name.c_str(), help.c_str());
  }
}
