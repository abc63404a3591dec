// Two small splitters of a text into tokens at any of a set of delimiters.
//
// tokeniser works on its own copy and splits it all at once; tokeniser2
// splits the caller's text in place, one token per call, writing a zero over
// each delimiter that ends a token. Runs of delimiters never give empty
// tokens. Neither is shared between threads.
#pragma once

class tokeniser
{
public:
  // Copies text and splits the copy. A null text, or a failed copy, gives no
  // tokens.
  tokeniser(const char* text, const char* delimiters);
  ~tokeniser();

  tokeniser(const tokeniser&) = delete;
  tokeniser& operator=(const tokeniser&) = delete;

  // The number of tokens.
  int count() const { return count_; }
  // Token i, or null out of range.
  const char* operator[](int i) const { return i >= 0 && i < count_ ? tokens_[i] : nullptr; }
  // The next token in order, or null after the last.
  const char* next() { return next_ < count_ ? tokens_[next_++] : nullptr; }
  // Makes next() start again from the first token.
  void rewind() { next_ = 0; }

private:
  char* text_ = nullptr;
  char** tokens_ = nullptr;
  int count_ = 0;
  int next_ = 0;
  int capacity_ = 10;
};

class tokeniser2
{
public:
  // Splits text, which the caller owns and which must outlive the splitter.
  // The delimiters are copied.
  tokeniser2(char* text, const char* delimiters);
  ~tokeniser2();

  tokeniser2(const tokeniser2&) = delete;
  tokeniser2& operator=(const tokeniser2&) = delete;

  // The next token, or null after the last.
  char* next();
  // The token next() gave last, or null.
  char* current() const { return token_; }

private:
  char* delimiters_ = nullptr;
  char* token_ = nullptr;
  char* scan_ = nullptr;
};
