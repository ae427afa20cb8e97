// What the command line asks for.
#pragma once

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "qd/formats/result_format.h"

namespace qd::program {

struct options {
  std::filesystem::path database;  // Empty: a temporary one.
  std::optional<std::string> sql;
  std::vector<std::string> parameters;
  std::optional<output_format> format;
  bool continue_after_errors = false;
  bool timer = false;
  bool existing = false;  // The database must exist.
};

// The command line asks for help or the version, or is wrong: there is nothing to run.
class nothing_to_run : public std::runtime_error {
 public:
  nothing_to_run(std::string const& text, int status) : std::runtime_error(text), status_(status) {}
  int status() const { return status_; }  // The program's.

 private:
  int status_;
};

// Throws nothing_to_run.
options parse_options(int argument_count, char const* const* arguments);

// "qd 0.1.0"
std::string version_text();

}  // namespace qd::program
