// config_outb, the older writer of settings blocks: "{ name", one indented
// "name value" line per out(), and "} name" when it goes out of scope. Each
// line is flushed as it is written; stream failures show in the stream.
#pragma once

#include <fstream>

class Cookie;
class IdStamp;

class config_outb
{
public:
  // Writes the opening line "<prefix>{ name".
  config_outb(std::ofstream* out, const char* name);
  // Writes the closing line "<prefix>} name".
  ~config_outb();

  config_outb(const config_outb&) = delete;
  config_outb& operator=(const config_outb&) = delete;

  // Each writes "<prefix>  name value".
  void out(const char* name, const char* value);
  void out(const char* name, int value);
  void out(const char* name, unsigned int value);
  // "%.8lf".
  void out(const char* name, double value);
  // The default text form of the cookie.
  void out(const char* name, const Cookie& value);
  // The stamp's text form.
  void out(const char* name, const IdStamp& value);
  // "true" or "false".
  void out(const char* name, const bool& value);

  // Builds the 16 prefixes of 0, 2, ... 30 blanks; once is enough.
  static void make_prefixes();
  // The prefix of the current depth_.
  static const char* get_prefix_string();

  // The nesting depth, 0 to 15; 0 unless a caller changes it.
  static int depth_;

private:
  void line(const char* name, const char* value);

  std::ofstream* out_;
  const char* name_;
};
