// Where statements and commands come from.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <string_view>

namespace qd::program {

class session;
class line_editor;

enum class after_failure { stop, go_on };

// Runs what a script holds up to its end, .quit or, with `stop`, the first failure; an interrupt
// stops it always. Returns whether everything succeeded. `name` is what failures are told with.
bool run_script(session& session, std::istream& script, std::string_view name, after_failure then);

// A file's, up to the first failure. Throws sql::error when it cannot be read.
bool run_script_file(session& session, std::filesystem::path const& file);

// Runs what people type, until they leave.
void run_prompt(session& session, line_editor& editor);

}  // namespace qd::program
