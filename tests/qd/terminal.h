// The program as somebody at a terminal, or a shell, runs it.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

// Ends of a run: what it wrote and its exit status.
struct finished_run {
  int status;
  std::string out;
  std::string messages;
};

// Runs the program with this standard input, to its end.
finished_run run_program(std::vector<std::string> const& arguments, std::string const& input = {});

// The program at a terminal of its own.
class terminal {
 public:
  explicit terminal(std::vector<std::string> const& arguments);
  ~terminal();
  terminal(terminal const&) = delete;
  terminal& operator=(terminal const&) = delete;

  void type(std::string const& keys);
  // Reads until the text has come, and returns all since the last call; fails the test after ten
  // seconds.
  std::string wait_for(std::string const& text);
  // Waits for the program's end.
  int status();

 private:
  pid_t process_;
  int file_;
  std::string seen_;
};
