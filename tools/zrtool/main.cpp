// zrtool: decodes and checks the values and files of the library from the
// command line, for the engineers who build on it. Each command lives in its
// own file; this one holds the table and the dispatch.
#include <cstdio>
#include <cstring>

#include "Tool.h"

namespace zrtool {

const std::vector<Command>& commands()
{
  static const std::vector<Command> table = {
      {"cookie", "decode cookie texts",
       "usage: zrtool cookie TEXT...\n"
       "Decodes each cookie text: type letter, form (short or long), sub-type, and\n"
       "serial and machine number (short form) or UUID (long form), whether the\n"
       "cookie is valid and the text well formed, and the text written back without\n"
       "and with the sub-type. Exits 1 if any text is not a valid cookie, or is\n"
       "one that the reader accepts but the text check does not.\n",
       &runCookie},
      {"stamp", "decode IdStamp texts",
       "usage: zrtool stamp TEXT...\n"
       "Decodes each IdStamp text: machine number, time (seconds since the stamp\n"
       "epoch, and as a UTC date), tick count, magic type, validity, and the text\n"
       "written back. Exits 1 if any text is not a valid, well-formed stamp.\n",
       &runStamp},
      {"config", "list the entries of a settings file",
       "usage: zrtool config FILE\n"
       "Reads a settings file (\"{\", \"name[:type] value\" lines, \"}\") as the\n"
       "library reads it and prints each entry as \"name[:type] = value\", in the\n"
       "library's (case-insensitive) order. A file without its end line is read\n"
       "all the same, and a last line says so.\n",
       &runConfig},
      {"compress", "make a compressed block of a file",
       "usage: zrtool compress IN OUT [-level N]\n"
       "Writes to OUT the compressed block of IN's bytes: a 4-byte big-endian\n"
       "length, then the zlib stream. N is the zlib level, 0 to 9 (default -1,\n"
       "zlib's own choice).\n",
       &runCompress},
      {"uncompress", "unpack a compressed block",
       "usage: zrtool uncompress IN OUT\n"
       "Writes to OUT the data of the compressed block in IN. A block that does not\n"
       "decompress exits 1 and writes nothing.\n",
       &runUncompress},
      {"dump", "list the streamed objects of a file",
       "usage: zrtool dump FILE\n"
       "Lists each streamed object of FILE by its layer headers, with no need of\n"
       "its classes: its offset, hierarchy name and size, then each layer's short\n"
       "name, version, own size and hierarchy size, outermost first. An object\n"
       "whose inside is damaged is stepped over; a file that stops making sense\n"
       "(no object where one should start, or a size past its end) is listed up\n"
       "to that point, with where and why. Exits 1 for a damaged file; an empty\n"
       "file holds no objects.\n",
       &runDump},
  };
  return table;
}

namespace {

bool isHelpFlag(const std::string& arg)
{
  return arg == "--help" || arg == "-help" || arg == "-h";
}

const Command* findCommand(const std::string& name)
{
  for (const Command& c : commands())
    if (name == c.name) return &c;
  return nullptr;
}

void printUsage(FILE* out)
{
  std::fprintf(out, "usage: zrtool COMMAND [ARGS...]\n"
                    "       zrtool COMMAND --help\n\n"
                    "Commands:\n");
  for (const Command& c : commands()) std::fprintf(out, "  %-12s %s\n", c.name, c.summary);
  std::fprintf(out, "\nExit codes: 0 done, 1 bad data or unreadable file, 2 bad command line.\n");
}

int unknownCommand(const std::string& name)
{
  std::fprintf(stderr, "zrtool: unknown command '%s'. Run 'zrtool --help' for the list.\n", name.c_str());
  return eUsage;
}

} // namespace
} // namespace zrtool

int main(int argc, char** argv)
{
  using namespace zrtool;
  if (argc < 2) {
    printUsage(stderr);
    return eUsage;
  }
  const std::string name = argv[1];
  if (isHelpFlag(name)) {
    printUsage(stdout);
    return eOk;
  }
  if (name == "help") {
    if (argc == 2) {
      printUsage(stdout);
      return eOk;
    }
    const Command* c = findCommand(argv[2]);
    if (!c) return unknownCommand(argv[2]);
    std::fputs(c->help, stdout);
    return eOk;
  }
  const Command* command = findCommand(name);
  if (!command) return unknownCommand(name);
  Args args(argv + 2, argv + argc);
  for (const std::string& arg : args) {
    if (isHelpFlag(arg)) {
      std::fputs(command->help, stdout);
      return eOk;
    }
  }
  const int rc = command->run(args);
  std::fflush(stdout);
  return rc;
}
