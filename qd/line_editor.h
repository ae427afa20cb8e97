// Lines from a terminal, with editing and history.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

namespace qd::program {

// One at a time, over standard input and output.
class line_editor {
 public:
  // The history is read from a file and kept there; an empty path keeps none.
  explicit line_editor(std::filesystem::path history_file);
  ~line_editor();
  line_editor(line_editor const&) = delete;
  line_editor& operator=(line_editor const&) = delete;

  enum class outcome { line, interrupted, end };
  // Shows the prompt and reads a line, without its line end.
  outcome read(std::string const& prompt, std::string& line);
  // Puts a line into the history.
  void remember(std::string const& line);
  // From another thread: the read that is in progress ends as `interrupted`.
  void interrupt();

 private:
  struct state;
  std::unique_ptr<state> state_;
};

// $QD_HISTORY, or .qd_history in the home directory; empty without either.
std::filesystem::path default_history_file();

}  // namespace qd::program
