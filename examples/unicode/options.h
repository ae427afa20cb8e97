// The command line of unicode_demo.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <stdexcept>

namespace unicode_demo {

// A command line that cannot be understood; what() says why.
class usage_error : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct options {
  std::filesystem::path database = "build/unicode.qdb";
  std::filesystem::path data = "/usr/share/unicode";
  bool reload = false;
  bool list = false;
  bool help = false;
  std::optional<std::size_t> query;  // From 1 on; empty: all of them.
  std::size_t rows = 10;             // How many rows of each result to print.
};

extern char const* const usage;

options parse_options(int argument_count, char** arguments);

}  // namespace unicode_demo
