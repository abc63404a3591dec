// StartEnv, the host's command line as the library sees it: the built-in
// options "-d", "-v" and "-help", the host's own options described by a line
// of text, plain arguments, and the usage message.
#pragma once

#include "libOS/LightweightString.h"

class StartEnv;

// Walks the words of a StartEnv: either the options (words that begin with
// "-") or the plain arguments, stepping over the value that follows an
// option which takes one. Index 0 means the walk is over.
class ArgIterator
{
public:
  explicit ArgIterator(StartEnv* owner) noexcept : env_(owner) { init(); }

  // Zeroes everything but the owner.
  void init() noexcept;
  // Starts a new walk of options (true) or plain arguments (false); the
  // host's option text stays.
  void restart(bool wantOptions) noexcept;

  // Moves to the next word of the current kind; the walk ends at argc.
  ArgIterator& operator++();
  // The current word, or null when the walk is over.
  const wchar_t* operator*() const noexcept;

  int index() const noexcept { return index_; }
  // The value attached to the current option, or null.
  const wchar_t* value() const noexcept { return value_; }
  bool wantOptions() const noexcept { return wantOptions_; }
  void setAllowed(const wchar_t* allowed) noexcept { allowed_ = allowed; }

private:
  // Reads the word after the current one as the option's value.
  void takeNextAsValue() noexcept;

  StartEnv* env_;
  int index_;
  const wchar_t* value_;
  bool wantOptions_;
  bool skipNext_;
  const wchar_t* allowed_;
};

class StartEnv
{
public:
  // One row of the built-in option table.
  struct Option
  {
    const wchar_t* name;
    int takesValue; // above 0 when the next word is the option's value
    const wchar_t* help;
    void (StartEnv::*boolMember)(bool);
    void (StartEnv::*intMember)(int);
  };
  static constexpr int kOptionCount = 3;
  // The rows "-d", "-v", "-help" in that order; null for an index outside.
  static const Option* option(int i) noexcept;
  // The row with exactly this name, or null.
  static const Option* findOption(const wchar_t* name) noexcept;

  // Keeps argc and argv (which must outlive this object) and readies the
  // iterator for a walk of options; nothing is parsed until init().
  StartEnv(int argc, wchar_t** argv) noexcept
      : argc_(argc < 0 ? 0 : argc), argv_(argv), iterator_(this), preamble_(nullptr), optionText_(nullptr),
        debug_(false), verbose_(false)
  {
    iterator_.restart(true);
  }
  ~StartEnv();
  StartEnv(const StartEnv&) = delete;
  StartEnv& operator=(const StartEnv&) = delete;

  // Clears the host's texts, reads the built-in options ("-d" implies "-v")
  // and makes this the program's environment. A value that does not read as
  // a base-10 integer throws std::invalid_argument or std::out_of_range.
  void init();
  // Sets or resets the flag of every built-in option from the command line.
  void initPreOptions();
  // The environment made active by the last init(), or null.
  static StartEnv* programEnv() noexcept { return programEnv_; }

  // The index of the word equal to name among argv[1..], 0 if absent.
  int arg(const wchar_t* name) const noexcept;
  // argv[0] for 0; else the n-th plain argument, null if there are fewer.
  const wchar_t* arg(unsigned int n);
  // How many plain arguments there are.
  int nargs();
  // The value given to the option, null if the option is absent or has none.
  const wchar_t* optionArg(const wchar_t* name);

  // Checks the command line against the host's options and argument counts
  // (a maxArgs below minArgs means no upper limit). Empty when it is good;
  // else the first problem followed by usageMsg(). The words are walked in
  // the iterator's current mode, which is options unless an earlier nargs()
  // or arg(n) left it on plain arguments.
  LightweightString<wchar_t> usage(const wchar_t* optionText, int minArgs, int maxArgs,
                                   const wchar_t* preamble);
  // The preamble and "Usage: <program> <options>" as set by usage().
  LightweightString<wchar_t> usageMsg() const;
  // With true, prints the usage and the built-in options on the debug console.
  void helpMessage(bool show);
  void debugMode(bool on) noexcept { debug_ = on; }
  void verboseMode(bool on) noexcept { verbose_ = on; }

  int argc() const noexcept { return argc_; }
  wchar_t** argv() const noexcept { return argv_; }
  const wchar_t* preamble() const noexcept { return preamble_; }
  const wchar_t* optionText() const noexcept { return optionText_; }
  bool debug() const noexcept { return debug_; }
  bool verbose() const noexcept { return verbose_; }

private:
  friend class ArgIterator;
  // argv[i] for 0 <= i < argc, else null; a null word reads as "".
  const wchar_t* word(int i) const noexcept;

  static StartEnv* programEnv_;

  int argc_;
  wchar_t** argv_;
  ArgIterator iterator_;
  const wchar_t* preamble_;
  const wchar_t* optionText_;
  bool debug_;
  bool verbose_;
};
