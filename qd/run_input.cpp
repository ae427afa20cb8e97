#include "qd/run_input.h"

#include <fstream>
#include <iostream>

#include "qd/line_editor.h"
#include "qd/session.h"

namespace qd::program {

namespace {

// Scripts that read scripts that read scripts ...
constexpr int most_nested_scripts = 16;

class nesting {
 public:
  nesting() {
    if (++depth_ > most_nested_scripts) {
      --depth_;
      throw sql::error(
          sql::error_code::limit_exceeded,
          "scripts read one another more than " + std::to_string(most_nested_scripts) + " deep");
    }
  }
  ~nesting() { --depth_; }
  nesting(nesting const&) = delete;
  nesting& operator=(nesting const&) = delete;

 private:
  static inline int depth_ = 0;
};

}  // namespace

bool run_script(session& session, std::istream& script, std::string_view name, after_failure then) {
  bool all_good = true;
  // Returns whether to go on.
  auto const run = [&](input_piece const& piece) {
    bool const good = session.run(piece, name);
    all_good = all_good && good;
    bool const stop = !good && (then == after_failure::stop || session.was_interrupted());
    return !stop && !session.wants_to_quit();
  };
  input_splitter input;
  for (std::string line; std::getline(script, line);) {
    for (input_piece const& piece : input.add_line(line)) {
      if (!run(piece)) return all_good;
    }
  }
  if (script.bad()) {
    throw sql::error(sql::error_code::bad_input, "cannot read " + std::string(name));
  }
  if (auto const rest = input.finish()) run(*rest);
  return all_good;
}

bool run_script_file(session& session, std::filesystem::path const& file) {
  nesting const deeper;
  std::ifstream script(file);
  if (!script || std::filesystem::is_directory(file)) {
    throw sql::error(sql::error_code::bad_input, "cannot read " + file.string());
  }
  return run_script(session, script, file.string(), after_failure::stop);
}

void run_prompt(session& session, line_editor& editor) {
  input_splitter input;
  std::string line;
  while (!session.wants_to_quit()) {
    std::string prompt = session.database().in_transaction() ? "qd*> " : "qd> ";
    if (input.in_statement()) prompt = std::string(prompt.size() - 2, '.') + "> ";
    switch (editor.read(prompt, line)) {
      case line_editor::outcome::end:
        std::cout << std::endl;
        return;
      case line_editor::outcome::interrupted:
        input.drop();
        continue;
      case line_editor::outcome::line:
        break;
    }
    if (line.find_first_not_of(" \t") != std::string::npos) editor.remember(line);
    for (input_piece const& piece : input.add_line(line)) {
      if (session.wants_to_quit()) break;
      session.run(piece, {});
      if (session.was_interrupted()) {
        input.drop();
        break;
      }
    }
  }
}

}  // namespace qd::program
