// Commands: lines that begin with a dot.
#pragma once

#include <string_view>

namespace qd::program {

class session;

// Runs one. Returns whether it succeeded; throws sql::error.
bool run_command(session& session, std::string_view line);

}  // namespace qd::program
