#include "qd/line_editor.h"

#include <histedit.h>
#include <langinfo.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <iostream>
#include <stdexcept>

#include "qd/interrupts.h"

namespace qd::program {

namespace {

constexpr int history_lines = 2000;

// Ctrl-D, and what the terminal makes of it when it is typed before the editor has left line mode.
constexpr char end_of_input = '\x04';
constexpr char end_typed_early = '\0';

// Texts of the database are UTF-8 whatever the machine's locale says.
void use_utf8() {
  std::setlocale(LC_CTYPE, "");
  if (std::strcmp(nl_langinfo(CODESET), "UTF-8") != 0) std::setlocale(LC_CTYPE, "C.UTF-8");
}

}  // namespace

struct line_editor::state {
  explicit state(std::filesystem::path file) : history_file(std::move(file)) {
    use_utf8();
    editor = el_init("qd", stdin, stdout, stderr);
    lines = history_init();
    if (!editor || !lines) throw std::runtime_error("the terminal cannot be used for editing");
    HistEvent event;
    history(lines, &event, H_SETSIZE, history_lines);
    history(lines, &event, H_SETUNIQUE, 1);
    el_set(editor, EL_CLIENTDATA, this);
    el_set(editor, EL_EDITOR, "emacs");
    el_set(editor, EL_PROMPT, &prompt_of);
    el_set(editor, EL_HIST, history, lines);
    el_set(editor, EL_GETCFN, &read_character);
    el_set(editor, EL_BIND, "^R", "em-inc-search-prev", nullptr);
    el_source(editor, nullptr);
    if (!history_file.empty() && std::filesystem::exists(history_file) &&
        history(lines, &event, H_LOAD, history_file.c_str()) < 0) {
      std::cerr << "The history in " << history_file.string() << " cannot be read.\n";
    }
  }
  ~state() {
    HistEvent event;
    if (!history_file.empty()) {
      // What people type is theirs alone.
      mode_t const mask = umask(0077);
      if (history(lines, &event, H_SAVE, history_file.c_str()) < 0) {
        std::cerr << "The history cannot be written to " << history_file.string() << ".\n";
      }
      umask(mask);
    }
    history_end(lines);
    el_end(editor);
  }

  static state& of(EditLine* editor) {
    void* data = nullptr;
    el_get(editor, EL_CLIENTDATA, &data);
    return *static_cast<state*>(data);
  }
  static char* prompt_of(EditLine* editor) { return of(editor).prompt.data(); }

  // Reads one character for the editor: 1, 0 at the end, -1 when interrupted or failed.
  static int read_character(EditLine* editor, wchar_t* character) {
    state& self = of(editor);
    std::mbstate_t decoding{};
    while (true) {
      if (!self.interruption.wait_for(STDIN_FILENO)) {
        self.was_interrupted = true;
        errno = EINTR;
        return -1;
      }
      char byte;
      ssize_t const count = ::read(STDIN_FILENO, &byte, 1);
      if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
      if (count <= 0) return static_cast<int>(count);
      if (byte == end_typed_early) byte = end_of_input;
      std::size_t const length = std::mbrtowc(character, &byte, 1, &decoding);
      if (length == static_cast<std::size_t>(-2)) continue;  // More bytes follow.
      if (length != static_cast<std::size_t>(-1)) return 1;
      // A byte that is none of UTF-8 is dropped.
      decoding = std::mbstate_t{};
    }
  }

  std::filesystem::path history_file;
  EditLine* editor = nullptr;
  History* lines = nullptr;
  std::string prompt;
  wake_up interruption;
  bool was_interrupted = false;
};

line_editor::line_editor(std::filesystem::path history_file)
    : state_(std::make_unique<state>(std::move(history_file))) {}
line_editor::~line_editor() = default;

line_editor::outcome line_editor::read(std::string const& prompt, std::string& line) {
  state_->prompt = prompt;
  state_->interruption.clear();
  state_->was_interrupted = false;
  el_resize(state_->editor);
  int length = 0;
  char const* const text = el_gets(state_->editor, &length);
  if (state_->was_interrupted) {
    el_reset(state_->editor);
    std::cout << "^C" << std::endl;
    return outcome::interrupted;
  }
  if (!text || length <= 0) return outcome::end;
  line.assign(text, static_cast<std::size_t>(length));
  if (line.ends_with('\n')) line.pop_back();
  return outcome::line;
}

void line_editor::remember(std::string const& line) {
  HistEvent event;
  history(state_->lines, &event, H_ENTER, line.c_str());
}

void line_editor::interrupt() {
  state_->interruption.set();
}

std::filesystem::path default_history_file() {
  if (char const* const file = std::getenv("QD_HISTORY")) return file;
  if (char const* const home = std::getenv("HOME")) {
    return std::filesystem::path(home) / ".qd_history";
  }
  return {};
}

}  // namespace qd::program
