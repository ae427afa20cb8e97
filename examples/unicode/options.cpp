#include "options.h"

#include <getopt.h>

#include <charconv>
#include <string>
#include <string_view>

namespace unicode_demo {

char const* const usage =
    "usage: unicode_demo [OPTION...]\n"
    "\n"
    "Loads the Unicode Character Database into an embedded object database, unless it is\n"
    "loaded already, and runs example queries over it.\n"
    "\n"
    "  --database PATH   the database (default: build/unicode.qdb)\n"
    "  --data DIRECTORY  the text files (default: /usr/share/unicode)\n"
    "  --reload          load again\n"
    "  --query N         run query N only; --query list lists the queries\n"
    "  --rows N          print at most N rows of a result (default: 10)\n"
    "  --help            print this\n";

namespace {

std::size_t number(std::string_view option, std::string_view text) {
  std::size_t result = 0;
  auto const [end, error] = std::from_chars(text.begin(), text.end(), result);
  if (error != std::errc() || end != text.end()) {
    throw usage_error(std::string(option) + ": '" + std::string(text) + "' is no number");
  }
  return result;
}

}  // namespace

options parse_options(int argument_count, char** arguments) {
  static constexpr option known[] = {{"database", required_argument, nullptr, 'd'},
                                     {"data", required_argument, nullptr, 'u'},
                                     {"reload", no_argument, nullptr, 'l'},
                                     {"query", required_argument, nullptr, 'q'},
                                     {"rows", required_argument, nullptr, 'r'},
                                     {"help", no_argument, nullptr, 'h'},
                                     {nullptr, 0, nullptr, 0}};
  options result;
  opterr = 0;
  for (int found; (found = getopt_long(argument_count, arguments, "h", known, nullptr)) != -1;) {
    switch (found) {
      case 'd':
        result.database = optarg;
        break;
      case 'u':
        result.data = optarg;
        break;
      case 'l':
        result.reload = true;
        break;
      case 'q':
        if (std::string_view(optarg) == "list") {
          result.list = true;
        } else {
          result.query = number("--query", optarg);
        }
        break;
      case 'r':
        result.rows = number("--rows", optarg);
        break;
      case 'h':
        result.help = true;
        break;
      default:
        throw usage_error(std::string("not understood: ") + arguments[optind - 1]);
    }
  }
  if (optind < argument_count) {
    throw usage_error(std::string("not understood: ") + arguments[optind]);
  }
  return result;
}

}  // namespace unicode_demo
