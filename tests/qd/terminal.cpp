#include "qd/terminal.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

#include "support/scratch_directory.h"

namespace {

void execute(std::vector<std::string> const& arguments) {
  std::vector<char*> words = {const_cast<char*>("qd")};
  for (std::string const& each : arguments) words.push_back(const_cast<char*>(each.c_str()));
  words.push_back(nullptr);
  execv(QD_PROGRAM, words.data());
  _exit(127);
}

// The exit status, or minus the signal that ended the program.
int exit_status_of(int status) {
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

int wait_for_end(pid_t process) {
  int status = 0;
  waitpid(process, &status, 0);
  return exit_status_of(status);
}

std::string content_of(std::filesystem::path const& file) {
  std::ostringstream content;
  content << std::ifstream(file).rdbuf();
  return content.str();
}

}  // namespace

finished_run run_program(std::vector<std::string> const& arguments, std::string const& input) {
  scratch_directory const files;
  std::ofstream(files / "in") << input;
  pid_t const process = fork();
  if (process == 0) {
    bool const good = std::freopen((files / "in").c_str(), "r", stdin) &&
                      std::freopen((files / "out").c_str(), "w", stdout) &&
                      std::freopen((files / "messages").c_str(), "w", stderr);
    if (!good) _exit(126);
    execute(arguments);
  }
  int const status = wait_for_end(process);
  return {status, content_of(files / "out"), content_of(files / "messages")};
}

terminal::terminal(std::vector<std::string> const& arguments) {
  process_ = forkpty(&file_, nullptr, nullptr, nullptr);
  if (process_ == 0) {
    setenv("TERM", "xterm", 1);
    setenv("QD_HISTORY", "", 1);
    execute(arguments);
  }
}

terminal::~terminal() {
  if (process_ > 0) {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
  close(file_);
}

void terminal::type(std::string const& keys) {
  ASSERT_EQ(write(file_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
}

std::string terminal::wait_for(std::string const& text) {
  auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (true) {
    if (std::size_t const found = seen_.find(text); found != std::string::npos) {
      std::string const until = seen_.substr(0, found + text.size());
      seen_.erase(0, until.size());
      return until;
    }
    pollfd waiting{file_, POLLIN, 0};
    char buffer[4096];
    bool const ready = poll(&waiting, 1, 100) > 0;
    ssize_t const count = ready ? read(file_, buffer, sizeof buffer) : 0;
    if ((ready && count <= 0) || std::chrono::steady_clock::now() > end) {
      ADD_FAILURE() << "waited for " << text << " and saw " << seen_;
      return {};
    }
    seen_.append(buffer, static_cast<std::size_t>(count));
  }
}

int terminal::status() {
  auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  int status = 0;
  while (waitpid(process_, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > end) {
      ADD_FAILURE() << "the program does not end";
      return -1;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  process_ = 0;
  return exit_status_of(status);
}
